// The files that a command works on: operands, names from a list, and what directories hold.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commandLine.h"
#include "directoryTree.h"
#include "hashFile.h"
#include "recordReader.h"

namespace cli {

using catalogue::Descriptor;
using catalogue::DirectoryTree;

struct InputOptions {
  std::string names;  // file of names that end with NUL, "-" for standard input; empty: none
  bool recursive = false;
  std::vector<std::string> excluded;  // globs
};
void addInputOptions(CommandLine& line, InputOptions* options);

// Throws UsageError unless there are either operands or a file of names.
void checkInputOptions(const InputOptions& options, const std::vector<std::string>& operands);

struct InputFile {
  std::string path;
  Failure failure;                            // this path cannot be taken, a directory that cannot be read, say
  std::shared_ptr<const DirectoryTree> tree;  // that the file was found in; none for an operand
  size_t below = 0;                           // where in the path the part within the tree begins

  static constexpr bool isFile() { return true; }  // counts in the progress
};

// Where a file can be opened as long as this lives: an operand by its name, a file of a tree only within the tree.
// Fails for what is not to be hashed.
class Reached {
 public:
  explicit Reached(const InputFile& file);
  const Failure& failure() const { return failure_; }
  const std::string& path() const { return path_; }

 private:
  Failure failure_;
  Descriptor held_;
  std::string path_;
};

// Hands the files out one by one, reading names and directories as it goes.
//
// What a directory holds comes in the order of its paths' bytes (the order of LC_ALL=C sort). Regular files are taken,
// symbolic links and everything else in a directory are passed over; a link that is named as an operand is followed.
class InputFiles {
 public:
  InputFiles(InputOptions options, std::vector<std::string> operands);
  bool next(InputFile* file);

 private:
  struct Directory {
    std::string prefix;              // path with a slash at its end
    std::vector<std::string> names;  // those of directories with a slash at their end, last one first
  };
  bool nextName(InputFile* file);
  bool nextOperand(InputFile* file);
  bool nextInDirectory(InputFile* file);
  bool enterTree(const std::string& path, InputFile* file);
  bool enter(std::string prefix, InputFile* file);
  bool isExcluded(std::string_view below) const;

  const InputOptions options_;
  const std::vector<std::string> operands_;
  size_t nextOperand_ = 0;
  std::optional<RecordReader> names_;
  bool anyName_ = false;

  std::shared_ptr<const DirectoryTree> tree_;  // being walked
  size_t below_ = 0;                           // where in a path the part within the tree begins
  std::vector<Directory> directories_;         // of the tree, those being walked, the innermost last
};

}  // namespace cli
