// Whether files take their space together.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace catalogue {

// Where a file's bytes lie on its disk, if all of it is shared with other files (reflinks): two files with the same
// answer on one disk are copies that share their space. Empty where nothing is shared, the file system does not tell
// (only few know reflinks: Btrfs, XFS, bcachefs), or the file is in more than 128 pieces.
struct Extent {
  uint64_t logical = 0, physical = 0, length = 0;  // bytes
  bool operator==(const Extent&) const = default;
};
std::vector<Extent> sharedExtents(const std::string& path);

}  // namespace catalogue
