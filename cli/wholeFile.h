// Files that are written as a whole or not at all.
#pragma once

#include <string>
#include <string_view>

#include "output.h"

namespace cli {

// Whether a file can be made in the folder of this path; errno tells why not.
bool canMakeFile(const std::string& path);

// Writes the bytes under a name beside the path and gives the file its name when all of it is on the disk. False with
// errno set, and nothing changed, when that cannot be done. A signal that ends the program leaves no part of it either.
bool writeWholeFile(const std::string& path, std::string_view bytes, Output& output);

}  // namespace cli
