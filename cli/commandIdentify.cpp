#include <memory>

#include "commands.h"
#include "fileRun.h"
#include "format.h"
#include "hashList.h"
#include "hashText.h"
#include "jsonLine.h"
#include "methodOptions.h"

namespace cli {
namespace {

struct Options {
  FileRunOptions files;
  std::string preferred = "3";
};

int run(const Options& options, const std::vector<std::string>& operands, Output& output) {
  const uint32_t flags = preferenceFlags(options.preferred);
  const LineEnd end = options.files.zero ? LineEnd::nul : LineEnd::newline;
  const FileStep step = [&](const std::string& openAs, const std::string& path) -> FileAnswer {
    IdentifyAnswer answer = identifyRegularFile(openAs, flags);
    const int id = answer.algorithmId;
    if (answer.failure.code != 0) return {std::move(answer.failure), ""};
    if (options.files.json) return {{}, jsonOfAlgorithm(path, id)};
    return {{}, listLine(text::format("{:3}  {:7}", id, algorithmName(id)), path, end)};
  };
  return runOnFiles(options.files, operands, step, output);
}

Work declare(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  addPreferOption(line, &options->preferred);
  addFileRunOptions(line, &options->files);
  return
      [options](const std::vector<std::string>& operands, Output& output) { return run(*options, operands, output); };
}

}  // namespace

const Command kIdentifyCommand{"identify", "FILE...",
                               "Say which algorithm hashes a file: its id and name, without hashing",
                               "Paths are written as by `kmhash hash`.", declare};

}  // namespace cli
