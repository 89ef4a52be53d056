#include "globs.h"

#include <fnmatch.h>

#include <algorithm>

namespace catalogue {
namespace {

bool matches(std::string glob, std::string_view below) {
  const bool isForDirectories = glob.ends_with('/');
  if (isForDirectories && !below.ends_with('/')) return false;
  if (isForDirectories) glob.pop_back();
  if (below.ends_with('/')) below.remove_suffix(1);
  if (glob.find('/') == std::string::npos) below.remove_prefix(below.rfind('/') + 1);
  return fnmatch(glob.c_str(), std::string(below).c_str(), FNM_PATHNAME) == 0;
}

}  // namespace

bool matchesAny(const std::vector<std::string>& globs, std::string_view below) {
  return std::any_of(globs.begin(), globs.end(), [&](const std::string& glob) { return matches(glob, below); });
}

}  // namespace catalogue
