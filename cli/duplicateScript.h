// The shell script of `kmhash duplicates --script`, which moves what may go into a folder.
#pragma once

#include <string>

#include "duplicates.h"

namespace cli {

// A word of a POSIX shell that stands for these bytes, whatever they are but NUL.
std::string shellWord(const std::string& bytes);

// The script's beginning, the part for a group, its end. Files keep the path that they have below their root or, when
// there are several roots, their whole path, below the folder `to`. report/page/export.js writes the parts for groups
// likewise.
std::string scriptBegin(const std::string& to);
std::string scriptGroup(const catalogue::Group& group, bool areSeveralRoots);
std::string scriptEnd();

}  // namespace cli
