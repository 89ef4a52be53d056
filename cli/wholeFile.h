// Files that are written as a whole or not at all.
#pragma once

#include <string>
#include <string_view>

namespace cli {

// Whether a file can be made in the folder of this path; errno tells why not.
bool canMakeFile(const std::string& path);

// Writes the bytes under a name beside the path and gives the file its name when all of it is written. False with errno
// set, and nothing changed, when that cannot be done.
bool writeWholeFile(const std::string& path, std::string_view bytes);

}  // namespace cli
