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

// What a command has to say of a file: data, or why it has none.
struct FileAnswer {
  Failure failure;
  std::string data;
};

// Makes the answer for each file: openAs opens it, path is its name. Called on any number of threads.
using FileStep = std::function<FileAnswer(const std::string& openAs, const std::string& path)>;

// Gives the exit status. Throws UsageError when the options do not go together.
int runOnFiles(const FileRunOptions& options, const std::vector<std::string>& operands, const FileStep& step,
               Output& output);

}  // namespace cli
