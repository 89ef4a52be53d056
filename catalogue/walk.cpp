#include "walk.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <functional>

#include "globs.h"
#include "place.h"

namespace catalogue {
namespace {

constexpr size_t kMostHeldOpen = 64;

FileStat fileStat(const struct stat& status) {
  return {static_cast<int64_t>(status.st_size), int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec,
          static_cast<int64_t>(status.st_dev), static_cast<int64_t>(status.st_ino),
          static_cast<int64_t>(status.st_nlink)};
}

}  // namespace

bool fileStatOf(int descriptor, FileStat* stat) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return false;
  *stat = fileStat(status);
  return true;
}

Walk::Walk(std::shared_ptr<const DirectoryTree> tree, WalkOptions options, WalkNotes notes)
    : tree_(std::move(tree)), options_(std::move(options)), notes_(std::move(notes)) {
  enter("");
}

bool Walk::next(std::string* path, FileStat* stat) {
  while (nextName(path)) {
    if (statOf(*path, stat)) return true;
  }
  return false;
}

bool Walk::nextName(std::string* path) {
  while (nextEntry()) {
    *path = directories_.back().path + name_;
    if (!isWanted(*path)) {
      notes_.passedOver(*path);
    } else if (path->ends_with('/')) {
      enter(std::move(*path));
    } else {
      return true;
    }
  }
  return false;
}

bool Walk::nextEntry() {
  while (!directories_.empty()) {
    Directory& innermost = directories_.back();
    if (!innermost.names.empty()) {
      name_ = std::move(innermost.names.back());
      innermost.names.pop_back();
      return true;
    }
    directories_.pop_back();
  }
  return false;
}

bool Walk::isWanted(const std::string& path) {
  if (!options_.excluded.empty() && matchesAny(options_.excluded, path)) return false;
  return path.ends_with('/') || options_.included.empty() || matchesAny(options_.included, path);
}

void Walk::enter(std::string path) {
  Directory directory{std::move(path), {}, Descriptor()};
  directory.opened = tree_->openToRead(directory.path);
  if (directory.opened.number() < 0) return notes_.unreadable(directory.path, errno);
  if (isOtherMount(directory.opened, directory.path)) return;
  std::vector<std::string> others;
  const int error = DirectoryTree::readNames(directory.opened.number(), &directory.names, &others);
  for (const std::string& name : others) notes_.passedOver(directory.path + name);
  if (error != 0) notes_.unreadable(directory.path, error);
  std::sort(directory.names.begin(), directory.names.end(), std::greater<>());
  directories_.push_back(std::move(directory));
  if (directories_.size() > kMostHeldOpen) directories_[directories_.size() - kMostHeldOpen].opened = Descriptor();
}

bool Walk::isOtherMount(const Descriptor& opened, const std::string& path) {
  struct stat status {};
  if (fstat(opened.number(), &status) != 0) return false;
  const uint64_t mount = mountIdOf(opened.number());
  const auto device = static_cast<int64_t>(status.st_dev);
  if (path.empty()) {
    mountId_ = mount;
    device_ = device;
    return false;
  }
  const bool isOther = mount != mountId_ || (mount == 0 && device != device_);
  if (options_.oneFileSystem && (isOther || device != device_)) {
    notes_.passedOver(path);
    return true;
  }
  if (isOther) notes_.otherMount(path, mount);
  return isOther;
}

const Descriptor& Walk::heldOpen(Directory& directory) const {
  if (directory.opened.number() < 0) directory.opened = tree_->openToRead(directory.path);
  return directory.opened;
}

bool Walk::statOf(const std::string& path, FileStat* stat) {
  struct stat status {};
  const Descriptor& directory = heldOpen(directories_.back());
  if (directory.number() < 0 || fstatat(directory.number(), name_.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno != ENOENT) notes_.unreadable(path, errno);
    return false;
  }
  if (!S_ISREG(status.st_mode)) return false;
  *stat = fileStat(status);
  return true;
}

}  // namespace catalogue
