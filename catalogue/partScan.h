// The scan of one folder that is not on several file systems: its files are walked side by side with what is recorded.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "batches.h"
#include "directoryTree.h"
#include "knownFiles.h"
#include "movedFiles.h"
#include "recorder.h"
#include "roots.h"
#include "scan.h"
#include "workers.h"

namespace catalogue {

// A folder to be scanned.
struct ScanTarget {
  Part part;
  std::string path;  // absolute, now
};

// What all parts of a scan have in common.
struct ScanCall {
  Database& database;
  const std::string catalogue;  // its absolute path
  const ScanOptions& options;
  const ScanObserver& observer;
  const int64_t began;  // time of all that is recorded, as it is found side by side
  ScanTotals totals{};
  MovedFiles joined{};
};

class PartScan {
 public:
  // Paths of what is mounted in the folder are added to otherMounts, to be scanned after it.
  PartScan(ScanCall& call, ScanTarget target, std::vector<std::string>* otherMounts);

  // False when it was stopped.
  bool run();

 private:
  struct Job {
    std::string path;  // below the target
    FileStat stat;
  };
  Statement prepareGone();
  void begin();
  void walk(Walk& walk, Workers<Job, FileHashes>& workers);
  void step(Walk& walk, Workers<Job, FileHashes>& workers);
  void handOver(Workers<Job, FileHashes>& workers, bool all);
  void takeDone(Workers<Job, FileHashes>& workers, bool waits);
  void passRowsBefore(const std::string& path);
  void meet(Job job);
  bool isKnown(const KnownFile& file, const FileStat& stat) const;
  void takeKnown(const KnownFile& file, const FileStat& stat);
  bool takeOtherName(const Job& job, bool isRecordedHere);
  bool isCatalogues(const std::string& path) const;
  enum class Former { gone, same, another };  // another: of another device, which has the inode's number too
  struct OtherRoot {
    std::shared_ptr<const DirectoryTree> tree;
    Former without = Former::same;  // what its files are where there is no tree
  };
  OtherRoot otherRootAt(const std::string& rootPath) const;
  Former formerOf(const KnownFile& file, const std::string& rootPath, const FileStat& stat);
  void store(const Job& job, const FileHashes& made);
  void noteGone(const KnownFile& file);
  void finish();
  uint64_t markMissing();
  MovedFiles joinMovedFiles(uint64_t missing);
  void addMissingEvents();
  void end();
  WalkNotes notes();
  std::string pathInRoot(const std::string& below) const { return target_.part.folder + below; }
  std::string absolute(const std::string& below) const { return target_.path + below; }

  ScanCall& call_;
  Database& database_;
  const ScanOptions& options_;
  const ScanObserver& observer_;
  const ScanTarget target_;
  const int64_t began_, partBegan_;
  ScanTotals& totals_;
  const ScanTotals before_;
  std::vector<std::string>& otherMounts_;
  std::vector<std::string> mountsBelow_;  // paths in the root
  const std::shared_ptr<const DirectoryTree> tree_;
  std::map<std::string, OtherRoot> otherRoots_;  // by path on the file system
  Batches batches_;
  Recorder recorder_;
  KnownFiles known_;
  Statement sameInode_, addGone_;
  int64_t scan_ = 0;
  std::vector<Job> found_;  // and not handed to the workers
  bool walked_ = false, isRotating_ = false;
  std::atomic<bool> isStopped_{false};  // for the workers
};

}  // namespace catalogue
