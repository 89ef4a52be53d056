// The options that say which duplicates are looked for, and which file of a group stays.
#pragma once

#include <string>
#include <vector>

#include "commandLine.h"
#include "duplicateSearch.h"

namespace cli {

struct SearchOptions {
  std::vector<std::string> catalogues, references, keep;
  std::string match = "same", under, minSize;
};
void addSearchOptions(CommandLine& line, SearchOptions* options);

// Throws UsageError.
catalogue::DuplicateSearch searchFor(const SearchOptions& options);

}  // namespace cli
