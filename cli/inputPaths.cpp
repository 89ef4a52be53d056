#include "inputPaths.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "format.h"
#include "globs.h"
#include "kmhash.h"

namespace cli {
namespace {

bool isDirectory(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

Failure cannotOpen() { return systemFailure(HASHCREATE_FILE_NOTFOUND, errno); }

}  // namespace

void addInputOptions(CommandLine& line, InputOptions* options) {
  line.flag("-r,--recursive", &options->recursive,
            "Take the files in directories, in the order of LC_ALL=C sort. Symbolic links and everything but regular "
            "files are passed over in them; a link that is an operand is followed.");
  line.list("--exclude", "GLOB", &options->excluded,
            "With -r, pass over files and directories whose name matches GLOB. A GLOB with a slash in it is matched "
            "against the path below the directory that was named, one with a slash at its end against directories "
            "only. May be given again and again.");
  line.text("--files0-from", "FILE", &options->names,
            "Take the paths in FILE, each ended by NUL (find -print0), in place of operands; - is standard input, and "
            "then each line is written as soon as it can be.");
}

void checkInputOptions(const InputOptions& options, const std::vector<std::string>& operands) {
  if (!options.names.empty() && !operands.empty()) {
    throw UsageError(text::format("{}: no file can be named beside --files0-from", operands.front()));
  }
  if (options.names.empty() && operands.empty()) throw UsageError("no file is named");
  if (!options.excluded.empty() && !options.recursive) {
    throw UsageError("--exclude is for what -r finds, and there is no -r");
  }
}

// ---- Reached ----

Reached::Reached(const InputFile& file) : failure_(file.failure), path_(file.path) {
  if (failure_.code != 0) return;
  if (file.tree == nullptr) {
    failure_ = refusal(path_);
    return;
  }
  held_ = file.tree->find(std::string_view(file.path).substr(file.below));
  failure_ = held_.number() < 0 ? cannotOpen() : refusal(held_.number());
  if (std::string path = pathOf(held_); !path.empty()) path_ = std::move(path);
}

// ---- InputFiles ----

InputFiles::InputFiles(InputOptions options, std::vector<std::string> operands)
    : options_(std::move(options)), operands_(std::move(operands)) {
  if (!options_.names.empty()) names_.emplace(options_.names, '\0');
}

bool InputFiles::next(InputFile* file) { return nextInDirectory(file) || nextOperand(file); }

bool InputFiles::nextOperand(InputFile* file) {
  while (nextName(file)) {
    if (file->failure.code != 0 || !options_.recursive || !isDirectory(file->path)) return true;
    if (enterTree(file->path, file) || nextInDirectory(file)) return true;
  }
  return false;
}

bool InputFiles::nextName(InputFile* file) {
  *file = {};
  if (options_.names.empty()) {
    if (nextOperand_ == operands_.size()) return false;
    file->path = operands_[nextOperand_++];
    return true;
  }
  if (!names_) return false;
  if (names_->next(&file->path)) {
    anyName_ = true;
    if (!file->path.empty()) return true;
    file->failure = {HASHCREATE_INVALID_PARAM, "an empty name in it"};
  } else {
    file->failure = names_->failure();
    if (file->failure.code == 0 && !anyName_) file->failure = {HASHCREATE_INVALID_PARAM, "holds no name"};
    names_.reset();
  }
  file->path = options_.names;
  return file->failure.code != 0;
}

bool InputFiles::nextInDirectory(InputFile* file) {
  while (!directories_.empty()) {
    Directory& innermost = directories_.back();
    if (innermost.names.empty()) {
      directories_.pop_back();
      continue;
    }
    std::string path = innermost.prefix + innermost.names.back();
    innermost.names.pop_back();
    if (path.ends_with('/')) {
      if (enter(std::move(path), file)) return true;
      continue;
    }
    *file = {std::move(path), {}, tree_, below_};
    return true;
  }
  tree_.reset();
  return false;
}

// As enter.
bool InputFiles::enterTree(const std::string& path, InputFile* file) {
  std::string prefix = path.ends_with('/') ? path : path + '/';
  tree_ = DirectoryTree::open(path);
  if (tree_ == nullptr) {
    *file = {std::move(prefix), cannotOpen(), nullptr, 0};
    return true;
  }
  below_ = prefix.size();
  return enter(std::move(prefix), file);
}

// True when the directory cannot be read to its end; that is then what the file says.
bool InputFiles::enter(std::string prefix, InputFile* file) {
  Directory directory{std::move(prefix), {}};
  const std::string below = directory.prefix.substr(below_);
  const int error = tree_->readNames(below, &directory.names);
  std::erase_if(directory.names, [&](const std::string& name) { return isExcluded(below + name); });
  std::sort(directory.names.begin(), directory.names.end(), std::greater<>());
  directories_.push_back(std::move(directory));
  if (error == 0) return false;
  *file = {directories_.back().prefix, systemFailure(HASHCREATE_FILE_NOTFOUND, error), nullptr, 0};
  return true;
}

bool InputFiles::isExcluded(std::string_view below) const { return catalogue::matchesAny(options_.excluded, below); }

}  // namespace cli
