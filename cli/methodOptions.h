// The options of commands that hash files one way or another.
#pragma once

#include "commandLine.h"
#include "hashFile.h"

namespace cli {

struct MethodOptions {
  bool quick = false, whole = false;
  std::string preferred = "3";
};
void addPreferOption(CommandLine& line, std::string* preferred);
void addMethodOptions(CommandLine& line, MethodOptions* options);

// KMHASH_PREFER_VERSION_4 or 0.
uint32_t preferenceFlags(const std::string& preferred);

// Throws UsageError when the options do not go together.
Method methodFrom(const MethodOptions& options);

}  // namespace cli
