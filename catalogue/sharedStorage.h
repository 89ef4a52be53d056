// Whether files take their space together.
#pragma once

#include <string>

namespace catalogue {

// Stands for the place on its disk where a file's bytes lie, if all of them are shared with other files (reflinks): two
// files of one disk with the same answer are copies that take their space together. Empty where not everything is
// shared, or the file system does not tell (only few know reflinks: Btrfs, XFS, bcachefs).
std::string sharedStorage(const std::string& path);

}  // namespace catalogue
