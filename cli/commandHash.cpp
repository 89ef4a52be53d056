#include <algorithm>

#include "commands.h"
#include "hashList.h"
#include "inputPaths.h"
#include "jsonLine.h"
#include "kmhash.h"
#include "orderedRunner.h"

namespace cli {
namespace {

struct Options {
  InputOptions input;
  RunOptions run;
  bool quick = false, zero = false, json = false;
};

struct Answer {
  std::string data;
  Failure failure;
};

Options readOptions(CommandLine& line) {
  Options options;
  line.flag("--quick", &options.quick, "Hash size and bytes of files of any format");
  line.flag("-z,--zero", &options.zero, "End lines with NUL and escape nothing");
  line.flag("--json", &options.json, "Write a JSON object for each file");
  addInputOptions(line, &options.input);
  addRunOptions(line, &options.run);
  options.input.operands = line.read();
  checkInputOptions(options.input);
  if (options.zero && options.json) throw UsageError("--zero and --json exclude each other");
  return options;
}

Answer answerFor(const InputFile& file, const Options& options) {
  HashAnswer hashed;
  if (file.failure.code != 0) {
    hashed.failure = file.failure;
  } else {
    hashed = hashFile(file.path, options.quick ? KMHASH_MODE_QUICK : KMHASH_MODE_NORMAL, file.kind);
  }
  Answer answer{{}, hashed.failure};
  if (options.json) {
    answer.data = jsonLine(file.path, hashed);
  } else if (hashed.failure.code == 0) {
    answer.data = listLine(hashed.hash, file.path, options.zero ? LineEnd::nul : LineEnd::newline);
  }
  return answer;
}

int run(CommandLine& line, Output& output) {
  const Options options = readOptions(line);
  if (options.input.names == "-") output.writeAtOnce();
  int status = kAllWell;
  InputFiles files(options.input);
  runInOrder<InputFile, Answer>(output, limitedTo(options.input, options.run),
                                {.next = [&](InputFile& file) { return files.next(&file); },
                                 .work = [&](const InputFile& file) { return answerFor(file, options); },
                                 .commit =
                                     [&](const InputFile& file, const Answer& answer) {
                                       output.write(answer.data);
                                       if (answer.failure.code == 0) return;
                                       output.message(file.path, describe(answer.failure));
                                       status = kSomethingFailed;
                                     }});
  return status;
}

}  // namespace

const Command kHashCommand{
    "hash", "FILE...", "Hash files: a line \"HASH  PATH\" for each, in the order given",
    "A path with a backslash, newline or carriage return is written with \\\\, \\n and \\r, and\n"
    "its line begins with a backslash, as sha1sum does. Labels that were never set (a file\n"
    "that is recognised but holds no media) are written as dots. A file that cannot be\n"
    "hashed gets a message, the others are still done.\n\n"
    "In directories, symbolic links and everything but regular files are passed over.\n\n"
    "A path that is not UTF-8 stands in JSON with U+FFFD in place of its wrong bytes, and\n"
    "whole, as hex digits, in \"path_hex\".",
    run};

}  // namespace cli
