// The files that a command works on: operands, names from a list, and what directories hold.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "hashFile.h"
#include "recordReader.h"
#include "runOptions.h"

namespace cli {

struct InputOptions {
  std::vector<std::string> operands;
  std::string names;  // file of names that end with NUL, "-" for standard input; empty: none
  bool recursive = false;
};
void addInputOptions(CommandLine& line, InputOptions* options);

// Throws UsageError unless there are either operands or a file of names.
void checkInputOptions(const InputOptions& options);

// The options without threads that would find no file to work on.
RunOptions limitedTo(const InputOptions& input, RunOptions run);

struct InputFile {
  std::string path;
  FileKind kind = FileKind::unknown;
  Failure failure;  // this path cannot be taken, a directory that cannot be read, say

  static constexpr bool isFile() { return true; }  // counts in the progress
};

// Hands the files out one by one, reading names and directories as it goes.
//
// What a directory holds comes in the order of its paths' bytes (the order of LC_ALL=C sort). Regular files are taken,
// symbolic links and everything else in a directory are passed over; a link that is named as an operand is followed.
class InputFiles {
 public:
  explicit InputFiles(InputOptions options);
  bool next(InputFile* file);

 private:
  struct Directory {
    std::string prefix;              // path with a slash at its end
    std::vector<std::string> names;  // those of directories with a slash at their end, last one first
  };
  bool nextOperand(InputFile* file);
  bool nextInDirectory(InputFile* file);
  bool enter(std::string prefix, InputFile* file);

  InputOptions options_;
  size_t nextOperand_ = 0;
  std::optional<RecordReader> names_;
  std::vector<Directory> directories_;  // being walked, the innermost last
};

}  // namespace cli
