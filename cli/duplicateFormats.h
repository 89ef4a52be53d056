// How `kmhash duplicates` writes groups.
#pragma once

#include <cstdint>
#include <string>

#include "duplicates.h"

namespace cli {

// What all groups come to; names of one file count once.
struct DuplicateSums {
  uint64_t groups = 0, files = 0, toGo = 0;
  uint64_t freeable = 0;  // bytes
};

// What is to be written of a group, and of all when they are told. Both give whole lines.
struct DuplicateFormat {
  const char* option;
  std::string (*begin)();
  std::string (*group)(const catalogue::Group& group, uint64_t number);
  std::string (*end)(const DuplicateSums& sums);
};

extern const DuplicateFormat kGroupText, kGroupJson, kGroupCsv, kGroupFdupes, kGroupZero;

}  // namespace cli
