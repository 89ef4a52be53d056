// Brings a catalogue up to date with what is in folders.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "catalogue.h"
#include "fileHashes.h"
#include "walk.h"

namespace catalogue {

struct ScanOptions {
  unsigned jobs = 0;  // threads that hash; 0: as suits the disk
  HashWishes wishes;
  WalkOptions walk;
};

// What is told while a scan goes on, on the thread that called it. Paths are absolute.
struct ScanObserver {
  std::function<void(const std::string& path, int result, int error)> failed;  // could not be hashed; error as errno
  // A folder; what is recorded of it stays as it is.
  std::function<void(const std::string& path, const std::string& reason)> unreadable;
  std::function<void(const std::string& path)> passedOver;  // excluded, a link, a device, or on another file system
  // A root that is not here, and why; nothing is marked missing.
  std::function<void(const std::string& path, const std::string& reason)> absent;
  std::function<void(uint64_t bytes)> done;  // a file is dealt with, of which so much was to be read
  std::function<bool()> isStopped;           // asked often; true ends the scan in good order
};

// Numbers of files, but for bytes.
struct ScanTotals {
  uint64_t seen = 0, known = 0, isNew = 0, changed = 0, moved = 0, back = 0, again = 0,
           missing = 0;                                 // again: hashed, and found as it was
  uint64_t unsupported = 0, failed = 0;                 // of those that were looked into
  uint64_t passedOver = 0, unreadable = 0, absent = 0;  // unreadable and absent ones are folders
  uint64_t bytes = 0;                                   // of the files that were looked into
  bool stopped = false;
};

// A file of which size, time and inode are recorded is known by one stat and not opened, unless its time is so close to
// the begin of the scan that found it that a change could hide behind it. Whatever was recorded is kept when the
// process ends at any moment; the next scan goes on. Throws Error.
ScanTotals scan(Catalogue& catalogue, const std::vector<std::string>& folders, const ScanOptions& options,
                const ScanObserver& observer);

}  // namespace catalogue
