#include <memory>

#include "commands.h"
#include "fileRun.h"
#include "hashList.h"
#include "jsonLine.h"
#include "methodOptions.h"

namespace cli {
namespace {

struct Options {
  FileRunOptions files;
  MethodOptions method;
  bool both = false;
};

Method chosenMethod(const Options& options) {
  Method method = methodFrom(options.method);
  method.both = options.both;
  if (method.both && (method.quick || options.method.whole)) {
    throw UsageError("--both goes with neither --quick nor --whole");
  }
  return method;
}

int run(const Options& options, const std::vector<std::string>& operands, Output& output) {
  const Method method = chosenMethod(options);
  const LineEnd end = options.files.zero ? LineEnd::nul : LineEnd::newline;
  const auto lineOf = [&](const std::string& hash, const std::string& path) {
    return options.files.json ? jsonOfHash(path, hash) : listLine(hash, path, end);
  };
  const FileStep step = [&](const std::string& openAs, const std::string& path) -> FileAnswer {
    HashAnswer answer = hashRegularFile(openAs, method);
    if (answer.failure.code != 0) return {std::move(answer.failure), ""};
    return {{}, lineOf(answer.hash, path) + (method.both ? lineOf(answer.whole, path) : "")};
  };
  return runOnFiles(options.files, operands, step, output);
}

Work declare(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  addMethodOptions(line, &options->method);
  line.flag("--both", &options->both, "Write two lines for a file: its hash of samples and its hash of every byte.");
  addFileRunOptions(line, &options->files);
  return
      [options](const std::vector<std::string>& operands, Output& output) { return run(*options, operands, output); };
}

}  // namespace

const Command kHashCommand{
    "hash",
    "FILE...",
    "Hash files: a line \"HASH  PATH\" for each, in the order given",
    "A path with a backslash, newline or carriage return is written with \\\\, \\n and \\r, and its line begins with a "
    "backslash, as sha1sum does. Labels that were never set (a file that is recognised but holds no media) are written "
    "as dots. A file that cannot be hashed gets a message, the others are still done.\n\n"
    "A path that is not UTF-8 stands in JSON with U+FFFD in place of its wrong bytes, and whole, as hex digits, in "
    "\"path_hex\".",
    declare,
    "",
    "kmhash hash photo.jpg song.mp3\n"
    "kmhash hash -r --skip-unsupported ~/Pictures >pictures.kmhash"};

}  // namespace cli
