// The objects of `kmhash hash --json` and `kmhash identify --json`.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "hashFile.h"

namespace cli {

// One object with its newline. JSON text is UTF-8, paths are bytes: one that is not UTF-8 stands in "path" with U+FFFD
// in place of what is not, and exactly, as hex digits, in "path_hex".
std::string jsonOfHash(const std::string& path, const std::string& hash);
std::string jsonOfAlgorithm(const std::string& path, int algorithmId);
std::string jsonOfFailure(const std::string& path, const Failure& failure);

// The same of any object that has its path in "path".
std::string jsonLine(nlohmann::ordered_json object, const std::string& path);

}  // namespace cli
