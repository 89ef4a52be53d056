#include <fmt/format.h>

#include <memory>

#include "commands.h"
#include "fileRun.h"
#include "hashList.h"
#include "hashText.h"
#include "jsonLine.h"

namespace cli {
namespace {

std::string identifyLine(const std::string& path, const HashAnswer& answer, LineEnd end) {
  const int id = fieldsOf(answer.hash).algorithmId;
  return listLine(fmt::format("{:3}  {:7}", id, algorithmName(id)), path, end);
}

int run(const FileRunOptions& options, const std::vector<std::string>& operands, Output& output) {
  const LineEnd end = options.zero ? LineEnd::nul : LineEnd::newline;
  const FileSteps steps{identifyRegularFile, [&](const std::string& path, const HashAnswer& answer) {
                          return options.json ? jsonOfFormat(path, answer) : identifyLine(path, answer, end);
                        }};
  return runOnFiles(options, operands, steps, output);
}

Work declare(CommandLine& line) {
  const auto options = std::make_shared<FileRunOptions>();
  addFileRunOptions(line, options.get());
  return
      [options](const std::vector<std::string>& operands, Output& output) { return run(*options, operands, output); };
}

}  // namespace

const Command kIdentifyCommand{"identify", "FILE...",
                               "Say which algorithm hashes a file: its id and name, without hashing",
                               "Paths are written as by `kmhash hash`.", declare};

}  // namespace cli
