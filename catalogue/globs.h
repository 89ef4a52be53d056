// The patterns of --exclude and --include.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace catalogue {

// Whether one of the globs matches a path below the folder that was named, which ends with a slash for a directory. A
// glob with a slash in it is matched against the path, others against the name; one with a slash at its end matches
// directories only.
bool matchesAny(const std::vector<std::string>& globs, std::string_view below);

}  // namespace catalogue
