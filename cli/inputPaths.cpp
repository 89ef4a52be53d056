#include "inputPaths.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>

#include "kmhash.h"

namespace cli {
namespace {

bool isDirectory(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

enum class EntryKind { file, directory, other };

EntryKind kindOf(DIR* directory, const dirent& entry) {
  if (entry.d_type == DT_REG) return EntryKind::file;
  if (entry.d_type == DT_DIR) return EntryKind::directory;
  struct stat status {};
  if (entry.d_type != DT_UNKNOWN || fstatat(dirfd(directory), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return EntryKind::other;
  }
  if (S_ISREG(status.st_mode)) return EntryKind::file;
  return S_ISDIR(status.st_mode) ? EntryKind::directory : EntryKind::other;
}

// The names in a directory, those of directories with a slash at their end. Gives errno, or 0.
int readNames(const std::string& path, std::vector<std::string>* names) {
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(path.c_str()), closedir);
  if (!directory) return errno;
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(directory.get());
    if (entry == nullptr) return errno;
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    switch (kindOf(directory.get(), *entry)) {
      case EntryKind::file:
        names->push_back(name);
        break;
      case EntryKind::directory:
        names->push_back(name + '/');
        break;
      case EntryKind::other:
        break;
    }
  }
}

}  // namespace

void addInputOptions(CommandLine& line, InputOptions* options) {
  line.flag("-r,--recursive", &options->recursive, "Take the files in directories, sorted");
  line.text("--files0-from", "FILE", &options->names, "Read names that end with NUL; - is stdin");
}

void checkInputOptions(const InputOptions& options) {
  if (!options.names.empty() && !options.operands.empty()) {
    throw UsageError(fmt::format("{}: no file can be named beside --files0-from", options.operands.front()));
  }
  if (options.names.empty() && options.operands.empty()) throw UsageError("no file is named");
}

RunOptions limitedTo(const InputOptions& input, RunOptions run) {
  const bool numberIsKnown = !input.recursive && input.names.empty();
  if (numberIsKnown) run.jobs = static_cast<unsigned>(std::min<size_t>(run.jobs, input.operands.size()));
  return run;
}

InputFiles::InputFiles(InputOptions options) : options_(std::move(options)) {
  if (!options_.names.empty()) names_.emplace(options_.names, '\0');
}

bool InputFiles::next(InputFile* file) { return nextInDirectory(file) || nextOperand(file); }

bool InputFiles::nextOperand(InputFile* file) {
  for (;;) {
    *file = {};
    if (!names_) {
      if (nextOperand_ == options_.operands.size()) return false;
      file->path = options_.operands[nextOperand_++];
    } else if (!names_->next(&file->path)) {
      *file = {options_.names, FileKind::unknown, names_->failure()};
      names_.reset();
      return file->failure.code != 0;
    } else if (file->path.empty()) {
      *file = {options_.names, FileKind::unknown, {HASHCREATE_INVALID_PARAM, "an empty name in it"}};
      return true;
    }
    if (!options_.recursive || !isDirectory(file->path)) return true;
    if (enter(file->path.ends_with('/') ? file->path : file->path + '/', file) || nextInDirectory(file)) return true;
  }
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
    *file = {std::move(path), FileKind::regular, {}};
    return true;
  }
  return false;
}

// True when the directory cannot be read to its end; that is then what the file says.
bool InputFiles::enter(std::string prefix, InputFile* file) {
  Directory directory{std::move(prefix), {}};
  const int error = readNames(directory.prefix, &directory.names);
  std::sort(directory.names.begin(), directory.names.end(), std::greater<>());
  directories_.push_back(std::move(directory));
  if (error == 0) return false;
  *file = {directories_.back().prefix,
           FileKind::unknown,
           {HASHCREATE_FILE_NOTFOUND, std::generic_category().message(error)}};
  return true;
}

}  // namespace cli
