// Files of the file system as sources.
//
// A disk, and a network even more, takes its time for each read that has to wait, but it can serve many at once. So the
// first read, and a few of those that were announced, tell whether the file lies in memory; where it does not, the
// kernel is told of everything that will be wanted before it is waited for. A file in memory costs no call more than
// its reads; only a small one on a file system that does not say what is in memory is told of in any case.
#pragma once

#include <cstdint>

#include "kmhash.h"

inline constexpr uint32_t kMostExpectedReads = 200;

struct FileSource {
  KmhashSource source;  // its user is this FileSource
  int descriptor;
  bool failed;     // the system reported an error of a read
  bool cannotAsk;  // the file system does not say what is in memory: the time of a read does
  bool isCold;     // a read had to wait; what is announced from now on is told of at once
  bool isFar;      // a read took so long that it counts how many there are, more than what they bring
  bool isToldOf;   // the kernel has been told of the whole file
  uint32_t reads;  // so far, or since reads were announced
  uint32_t expectedCount, expectedSize;
  uint64_t expected[kMostExpectedReads];  // offsets
};

// False when the file cannot be opened or has no size. A pipe without a writer does not hang; a file on which another
// process holds a lease is waited for. The FileSource must stay where it is.
bool openFileSource(FileSource* file, const char* path);
void closeFileSource(FileSource* file);

// Announces reads of size bytes at ascending offsets, as many as count, at most kMostExpectedReads, in place of those
// announced before.
void expectReads(FileSource* file, const uint64_t* offsets, uint32_t count, uint32_t size);

// The FileSource behind a source; null when it is none.
FileSource* fileSourceOf(const KmhashSource& source);
