// Paths in JSON, which is UTF-8 while paths are bytes.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace cli {

// Two lower-case digits a byte.
std::string hexOf(std::string_view bytes);

// The path under a key and, where it is not UTF-8, as hex digits under KEY_hex. For an object that is written with
// dumped().
void putPath(nlohmann::ordered_json* object, const std::string& key, const std::string& path);

// A line. What is not UTF-8 becomes U+FFFD.
std::string dumped(const nlohmann::ordered_json& object);

}  // namespace cli
