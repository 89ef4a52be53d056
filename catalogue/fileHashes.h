// What is recorded of one file: its hashes, made in as few readings as can be.
#pragma once

#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "directoryTree.h"
#include "records.h"

namespace catalogue {

struct HashWishes {
  bool whole = false;     // the hash of the whole payload and the digest of the whole file
  bool version3 = false;  // version 3's beside version 4's
  bool quick = false;     // the quick hash of an unsupported file

  int64_t recorded() const;  // as FileRecord::recorded
};

struct FileHashes {
  bool isGone = false;  // no regular file is there any more; nothing else is set then
  FileStat stat;        // before it was read
  std::string_view status = kStatusFailed;
  int result = 0;        // result code of the library
  int error = 0;         // errno, where the system failed
  int64_t recorded = 0;  // 0: to be tried again, it was the system that failed
  bool changedMeanwhile = false;
  std::vector<std::pair<std::string, HashRecord>> hashes;  // kind and hash
  std::string digest;
};

// Of a file of the tree; known is what the walk's stat said. Never throws but for lack of memory.
// Reading every byte is given up when isStopped becomes true; the result is then of no use.
//
// For the whole-file digest, the library's own reads are digested as they pass when they go forward; what lies between
// two of them is read beside, and what it reads twice counts once. So each byte is read from the disk once, unless the
// payload's parts lie so that the library itself goes back farther than the system's cache.
FileHashes hashesOf(const DirectoryTree& tree, const std::string& path, const FileStat& known, const HashWishes& wishes,
                    const std::atomic<bool>* isStopped = nullptr);

// Whether a result code tells of the system, or of this moment, and not of the file.
bool tellsOfSystem(int code);

// XXH3-128 of an open file, 16 bytes, the most significant first; nothing and errno when it cannot be read.
std::string digestOf(int descriptor);

}  // namespace catalogue
