// Compares recorded files with what is on the disks now.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "catalogue.h"
#include "directoryTree.h"
#include "recorder.h"
#include "records.h"
#include "roots.h"
#include "verdict.h"
#include "verificationLog.h"
#include "walk.h"

namespace catalogue {

struct VerifyOptions {
  bool whole = false;                // every byte is compared, where it can be
  unsigned percent = 100;            // of the files that are there, chosen at random, to be read
  std::vector<std::string> folders;  // absolute, with '/' at the end; none: everything that is recorded
  WalkOptions newFiles;              // which of the files that are not recorded are new
};

// What a file is compared with.
struct RecordedFile {
  int64_t id = 0;
  std::string path;  // absolute, where it is to be
  std::optional<FileStat> stat;
  bool settled = false;
  std::string digest;       // of 16 bytes; empty: none
  std::string text, whole;  // hash texts; empty: none
};

// Something that a word is to be said of.
struct VerifyTask {
  enum class Kind { compare, find, tell };
  Kind kind = Kind::tell;
  std::shared_ptr<const DirectoryTree> tree;
  std::string below;               // in the tree
  std::string path;                // absolute
  RecordedFile recorded;           // to be compared with
  std::vector<RecordedFile> gone;  // to be found: those of its size and time that are gone from where they were
  Word word = Word::absent;        // to be told
  std::string reason;
};

struct Verified {
  bool isSaid = false;  // false: nothing is recorded that it could be compared with
  Word word = Word::absent;
  std::string path;
  int64_t file = 0;     // its record; 0: new
  std::string reason;   // of what is unreadable
  std::string oldPath;  // of what moved
  std::string oldHash, newHash;
  bool lacksWhole = false;  // every byte was to be read, but only a hash of samples is recorded
};

// Compares, on any thread; every byte if `whole`, where digests of every byte are recorded.
Verified verifyTask(const VerifyTask& task, bool whole);

// The files of one catalogue. What is on the disk and what is recorded are gone through side by side, in the order of
// paths, so that neither has to be held. All but verifyTask() is for one thread at a time.
class Verification {
 public:
  // Unless the catalogue is open for writing nothing is recorded.
  Verification(Catalogue& catalogue, VerifyOptions options, bool records);
  ~Verification();

  // The next file; false at the end, and then those that nobody found are left().
  bool next(VerifyTask* task);
  bool nextMissing(Verified* verified);

  // What verifyTask() said: kept as an event unless the file is as it was.
  void take(const Verified& verified);

  // All was taken: what was said is recorded.
  void finish();

  // Folders in which nothing is recorded.
  const std::vector<std::string>& unknownFolders() const { return unknownFolders_; }

 private:
  struct Place {
    Root root;
    std::string at;      // where the root is now, or was
    std::string folder;  // below it
    bool isHere = false;
  };
  struct Barred {  // a folder that could not be entered
    std::string folder;
    Word word;
    std::string reason;
  };
  void addPlaces();
  bool openPlace();
  void advanceWalk();
  void advanceRow();
  void beginLog();
  void endTransaction();
  bool isChosen();
  void bar(const std::string& folder, Word word, const std::string& reason);
  bool tellRow(VerifyTask* task);
  void compareRow(VerifyTask* task);
  bool findNew(VerifyTask* task);
  RecordedFile recordedOf(const Statement& row, const std::string& at) const;

  Catalogue& catalogue_;
  const VerifyOptions options_;
  std::vector<Place> places_;
  std::vector<std::string> unknownFolders_;
  size_t place_ = 0;
  bool isOpen_ = false;  // the place at hand

  std::shared_ptr<const DirectoryTree> tree_;
  std::unique_ptr<Walk> walk_;
  std::string walked_;  // path below the root
  FileStat walkedStat_;
  bool walkEnded_ = true;
  std::string end_;  // of the place's paths; rows_ reads it
  Statement rows_, gone_, goneRow_;
  bool rowsEnded_ = true;
  std::vector<Barred> barred_;

  std::vector<int64_t> missing_, moved_;
  size_t told_ = 0;  // of missing_
  std::minstd_rand random_{std::random_device{}()};
  const bool records_;
  std::optional<Recorder> recorder_;
  std::optional<VerificationLog> log_;
  std::map<std::string, uint64_t> words_;  // said so far
  std::optional<Transaction> transaction_;
  size_t events_ = 0;  // in the transaction
};

}  // namespace catalogue
