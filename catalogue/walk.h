// The regular files of a folder, one after the other, in the order of their paths' bytes: that of an index.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "directoryTree.h"
#include "records.h"

namespace catalogue {

struct WalkOptions {
  std::vector<std::string> excluded;  // globs: files and folders that match are passed over
  std::vector<std::string> included;  // if there are any: other files are passed over
  bool oneFileSystem = false;         // folders on another file system are passed over
};

// What a walk meets besides files. Paths are below the walk's folder; those of folders end with '/'.
struct WalkNotes {
  std::function<void(const std::string& path, int error)> unreadable = [](const std::string&, int) {};
  std::function<void(const std::string& path)> passedOver = [](const std::string&) {};
  std::function<void(const std::string& path, uint64_t mountId)> otherMount = [](const std::string&, uint64_t) {};
};

// Symbolic links are not followed, and what is mounted in the folder is not entered but noted.
class Walk {
 public:
  Walk(std::shared_ptr<const DirectoryTree> tree, WalkOptions options, WalkNotes notes);

  // The next file and what stat tells of it; false at the end.
  bool next(std::string* path, FileStat* stat);

  // The next file's name alone, which costs no stat.
  bool nextName(std::string* path);

 private:
  struct Directory {
    std::string path;                // with '/' at its end; empty: the walk's own
    std::vector<std::string> names;  // those of directories with '/' at their end, the last one first
    Descriptor opened;               // closed where directories lie too deep to hold them all open
  };
  bool nextEntry();
  bool isWanted(const std::string& path);
  void enter(std::string path);
  bool isOtherMount(const Descriptor& opened, const std::string& path);
  const Descriptor& heldOpen(Directory& directory) const;
  bool statOf(const std::string& path, FileStat* stat);

  const std::shared_ptr<const DirectoryTree> tree_;
  const WalkOptions options_;
  const WalkNotes notes_;
  std::vector<Directory> directories_;  // those being walked, the innermost last
  std::string name_;                    // of the file at hand, in the innermost
  uint64_t mountId_ = 0;
  int64_t device_ = 0;
};

// What a stat tells; false for everything but a regular file.
bool fileStatOf(int descriptor, FileStat* stat);

}  // namespace catalogue
