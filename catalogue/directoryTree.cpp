#include "directoryTree.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace catalogue {
namespace {

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

}  // namespace

Descriptor::~Descriptor() {
  if (number_ >= 0) close(number_);
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(number_, other.number_);
  return *this;
}

int Descriptor::release() { return std::exchange(number_, -1); }

std::shared_ptr<const DirectoryTree> DirectoryTree::open(const std::string& path) {
  Descriptor root(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (root.number() < 0) return nullptr;
  return std::shared_ptr<const DirectoryTree>(new DirectoryTree(std::move(root)));
}

Descriptor DirectoryTree::find(std::string_view below) const { return openAt(below, O_PATH); }

Descriptor DirectoryTree::openToRead(std::string_view below) const {
  return openAt(below, O_RDONLY | O_NONBLOCK | O_NOCTTY);
}

Descriptor DirectoryTree::openAt(std::string_view below, int flags) const {
  // The files of a directory come one after the other.
  thread_local struct {
    std::shared_ptr<const DirectoryTree> tree;
    std::string path;
    Descriptor opened;
  } last;
  const std::string_view path = below.substr(0, below.rfind('/') + 1);
  if (last.tree.get() != this || last.path != path) {
    last = {shared_from_this(), std::string(path), openBelow(path.empty() ? "." : path, O_PATH | O_DIRECTORY)};
  }
  if (last.opened.number() < 0) return openBelow(below, flags);  // for the reason
  below.remove_prefix(path.size());
  const std::string name = below.empty() ? "." : std::string(below);
  return Descriptor(openat(last.opened.number(), name.c_str(), flags | O_NOFOLLOW | O_CLOEXEC));
}

int DirectoryTree::readNames(std::string_view below, std::vector<std::string>* names) const {
  Descriptor opened = openBelow(below.empty() ? "." : below, O_RDONLY | O_DIRECTORY);
  if (opened.number() < 0) return errno;
  return readNames(opened.number(), names, nullptr);
}

int DirectoryTree::readNames(int opened, std::vector<std::string>* names, std::vector<std::string>* others) {
  Descriptor copy(fcntl(opened, F_DUPFD_CLOEXEC, 0));
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(copy.number() < 0 ? nullptr : fdopendir(copy.number()), closedir);
  if (!directory) return errno;
  copy.release();
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(directory.get());
    if (entry == nullptr) return errno;
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    const EntryKind kind = kindOf(directory.get(), *entry);
    if (kind == EntryKind::file) names->emplace_back(name);
    if (kind == EntryKind::directory) names->push_back(std::string(name) + '/');
    if (kind == EntryKind::other && others != nullptr) others->emplace_back(name);
  }
}

Descriptor DirectoryTree::openBelow(std::string_view below, int flags) const {
  Descriptor held;
  for (int at = root_.number();;) {
    const size_t length = below.find('/');
    const std::string name(below.substr(0, length));
    below.remove_prefix(length == std::string_view::npos ? below.size() : length + 1);
    const int how = below.empty() ? flags : O_PATH | O_DIRECTORY;
    Descriptor next(openat(at, name.c_str(), how | O_NOFOLLOW | O_CLOEXEC));
    if (below.empty() || next.number() < 0) return next;
    held = std::move(next);
    at = held.number();
  }
}

bool saysNotThere(int error) { return error == ENOENT || error == ENOTDIR || error == ELOOP; }

std::string pathOf(const Descriptor& descriptor) {
  static const bool isThere = access("/proc/self/fd/.", X_OK) == 0;
  return isThere ? "/proc/self/fd/" + std::to_string(descriptor.number()) : "";
}

}  // namespace catalogue
