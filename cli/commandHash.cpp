#include <memory>

#include "commands.h"
#include "fileRun.h"
#include "hashList.h"
#include "jsonLine.h"
#include "kmhash.h"

namespace cli {
namespace {

struct Options {
  FileRunOptions files;
  bool quick = false;
};

int run(const Options& options, const std::vector<std::string>& operands, Output& output) {
  const int32_t mode = options.quick ? KMHASH_MODE_QUICK : KMHASH_MODE_NORMAL;
  const LineEnd end = options.files.zero ? LineEnd::nul : LineEnd::newline;
  const FileSteps steps{[&](const std::string& path) { return hashRegularFile(path, mode); },
                        [&](const std::string& path, const HashAnswer& answer) {
                          return options.files.json ? jsonOfHash(path, answer) : listLine(answer.hash, path, end);
                        }};
  return runOnFiles(options.files, operands, steps, output);
}

Work declare(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  line.flag("--quick", &options->quick, "Hash size and bytes of files of any format.");
  addFileRunOptions(line, &options->files);
  return
      [options](const std::vector<std::string>& operands, Output& output) { return run(*options, operands, output); };
}

}  // namespace

const Command kHashCommand{
    "hash", "FILE...", "Hash files: a line \"HASH  PATH\" for each, in the order given",
    "A path with a backslash, newline or carriage return is written with \\\\, \\n and \\r, and its line begins with a "
    "backslash, as sha1sum does. Labels that were never set (a file that is recognised but holds no media) are written "
    "as dots. A file that cannot be hashed gets a message, the others are still done.\n\n"
    "A path that is not UTF-8 stands in JSON with U+FFFD in place of its wrong bytes, and whole, as hex digits, in "
    "\"path_hex\".",
    declare};

}  // namespace cli
