#include <fmt/format.h>

#include "commands.h"
#include "hashList.h"
#include "hashText.h"
#include "inputPaths.h"
#include "orderedRunner.h"

namespace cli {
namespace {

struct Options {
  InputOptions input;
  RunOptions run;
  bool zero = false;
};

Options readOptions(CommandLine& line) {
  Options options;
  line.flag("-z,--zero", &options.zero, "End lines with NUL and escape nothing");
  addInputOptions(line, &options.input);
  addRunOptions(line, &options.run);
  options.input.operands = line.read();
  checkInputOptions(options.input);
  return options;
}

IdentifyAnswer answerFor(const InputFile& file) {
  return file.failure.code != 0 ? IdentifyAnswer{file.failure, 0} : identifyFile(file.path, file.kind);
}

int run(CommandLine& line, Output& output) {
  const Options options = readOptions(line);
  if (options.input.names == "-") output.writeAtOnce();
  const LineEnd end = options.zero ? LineEnd::nul : LineEnd::newline;
  int status = kAllWell;
  InputFiles files(options.input);
  runInOrder<InputFile, IdentifyAnswer>(output, limitedTo(options.input, options.run),
                                        {.next = [&](InputFile& file) { return files.next(&file); },
                                         .work = answerFor,
                                         .commit =
                                             [&](const InputFile& file, const IdentifyAnswer& answer) {
                                               if (answer.failure.code == 0) {
                                                 const std::string kind =
                                                     fmt::format("{:3}  {:7}", answer.algorithmId,
                                                                 algorithmName(answer.algorithmId));
                                                 output.write(listLine(kind, file.path, end));
                                               } else {
                                                 output.message(file.path, describe(answer.failure));
                                                 status = kSomethingFailed;
                                               }
                                             }});
  return status;
}

}  // namespace

const Command kIdentifyCommand{"identify", "FILE...",
                               "Say which algorithm hashes a file: its id and name, without hashing",
                               "Paths are escaped and directories walked as in `kmhash hash`.", run};

}  // namespace cli
