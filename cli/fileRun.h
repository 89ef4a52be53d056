// What commands share that write a line for each of many files: options, messages, the closing sum.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "commandLine.h"
#include "hashFile.h"
#include "inputPaths.h"
#include "output.h"
#include "runOptions.h"

namespace cli {

struct FileRunOptions {
  InputOptions input;
  RunOptions run;
  bool zero = false, json = false, skipUnsupported = false;
};
void addFileRunOptions(CommandLine& line, FileRunOptions* options);

// What a command does with each file. Called on any number of threads.
struct FileSteps {
  std::function<HashAnswer(const std::string& path)> hash;
  std::function<std::string(const std::string& path, const HashAnswer& answer)> data;  // on failure for JSON only
};

// Gives the exit status. Throws UsageError when the options do not go together.
int runOnFiles(const FileRunOptions& options, const std::vector<std::string>& operands, const FileSteps& steps,
               Output& output);

}  // namespace cli
