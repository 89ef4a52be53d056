// Writes what was found of files, with the events that this makes. Its statements are prepared once.
#pragma once

#include <optional>
#include <string>

#include "fileHashes.h"
#include "records.h"
#include "sqlite.h"

namespace catalogue {

// What is recorded of a file and decides whether it is known.
struct KnownFile {
  int64_t id = 0, root = 0;
  std::string path;
  std::optional<FileStat> stat;
  int64_t recorded = 0;
  bool settled = false, isMissing = false;
};
inline constexpr const char* kKnownColumns =
    "files.id, files.root, files.path, files.size, files.mtime_ns, files.device, files.inode, files.links, "
    "files.recorded, files.settled, files.missing_since IS NOT NULL";
inline constexpr int kKnownColumnCount = 11;
KnownFile knownOf(const Statement& row);

// The word of an event.
inline constexpr std::string_view kWordChanged = "changed", kWordMoved = "moved", kWordMissing = "missing",
                                  kWordBack = "back";

class Recorder {
 public:
  Recorder(Database& database, int64_t time);  // of the events, and of what is seen first

  enum class Stored { isNew, isChanged, isBack, isSame };
  // Of the file at this path of the root: new, or in place of what was recorded there. Kinds of hashes that it does not
  // bring stay when the file is as it was.
  Stored store(const Root& root, const std::string& path, const FileHashes& made, bool settled);

  // What is recorded of a file's hashes, to be stored again under another of its names.
  FileHashes hashesOf(const KnownFile& file);

  // The file, which was at an absolute path, is recorded elsewhere from now on, and is no longer missing. True when the
  // event that it is was one of this time; that is taken back.
  bool move(int64_t file, const std::string& oldPath, const Root& root, const std::string& path, const FileStat& stat);

  void markBack(const Root& root, const KnownFile& file);
  void refresh(int64_t file, const FileStat& stat);  // what may change without the file

  // The text of the hash that stands for the file; nothing when it has none.
  std::optional<std::string> hashText(int64_t file);

  struct Event {
    int64_t file = 0;
    std::string_view word;
    std::string path;  // absolute, of the file now
    std::optional<std::string> oldHash, newHash, oldPath;
  };
  void add(const Event& event);

  int64_t time() const { return time_; }

 private:
  void replaceHashes(int64_t file, const FileHashes& made, bool keepsOthers);

  const int64_t time_;
  Database& database_;
  Statement find_, insert_, update_, dropAll_, drop_, keepAsVersion3_, addHash_, hashText_, hashes_, record_, move_,
      back_, refresh_, event_, dropEvent_;
};

}  // namespace catalogue
