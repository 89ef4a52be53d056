#include "fileSource.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <limits>

namespace {

constexpr uint64_t kToldFirst = 262144;             // a file up to this size is told of before its first read
constexpr uint64_t kToldWhole = uint64_t{1} << 20;  // a file up to this size is told of as a whole
constexpr uint32_t kToldAhead = 8;                  // reads; file systems that have too many to serve forget the rest
constexpr int64_t kColdNanoseconds = 20'000;        // a read that took longer was waited for
constexpr int64_t kFarNanoseconds = 1'000'000;

// What is told at once, for some file systems cut what goes beyond, and the distance of samples that are told of with
// what lies between. FUSE serves about ten requests at once.
struct Strides {
  uint64_t toldAtOnce, dense;
};
constexpr Strides kNear = {131072, 16384}, kFar = {262144, 49152};

// ---- Telling the kernel what will be read ----

const Strides& stridesFor(const FileSource& file) { return file.isFar ? kFar : kNear; }

void tell([[maybe_unused]] const FileSource& file, [[maybe_unused]] uint64_t offset, [[maybe_unused]] uint64_t count) {
#if defined(POSIX_FADV_WILLNEED)
  while (count > 0) {
    const uint64_t length = std::min(count, stridesFor(file).toldAtOnce);
    ::posix_fadvise(file.descriptor, static_cast<off_t>(offset), static_cast<off_t>(length), POSIX_FADV_WILLNEED);
    offset += length;
    count -= length;
  }
#endif
}

void tellOfHead(FileSource* file) {
  file->isToldOf = file->source.size <= kToldWhole;
  tell(*file, 0, file->isToldOf ? file->source.size : stridesFor(*file).toldAtOnce);
}

void tellOfExpected(const FileSource& file) {
  if (file.isToldOf || file.reads >= file.expectedCount) return;
  const uint64_t* first = file.expected + file.reads;
  const uint64_t* last = file.expected + file.expectedCount - 1;
  if (*last - *first <= stridesFor(file).dense * static_cast<uint64_t>(last - first)) {
    tell(file, *first, *last - *first + file.expectedSize);
    return;
  }
  for (; first <= last; ++first) tell(file, *first, file.expectedSize);
}

// Tells once more of the read that comes some reads after the one at hand.
void tellAgain(const FileSource& file) {
  const uint32_t next = file.reads + kToldAhead;
  if (!file.isToldOf && next < file.expectedCount) tell(file, file.expected[next], file.expectedSize);
}

void becomeFar(FileSource* file) {
  file->isFar = true;
#if defined(POSIX_FADV_SEQUENTIAL)
  ::posix_fadvise(file->descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);  // doubles what can be told at once
#endif
}

void becomeCold(FileSource* file) {
  file->isCold = true;
  if (file->expectedCount > 0) {
    tellOfExpected(*file);
  } else {
    tellOfHead(file);
  }
}

// ---- Reading ----

int64_t waitAndRead(const FileSource& file, uint64_t offset, void* buffer, uint32_t count) {
  for (;;) {
    const ssize_t n = ::pread(file.descriptor, buffer, count, static_cast<off_t>(offset));
    if (n >= 0 || errno != EINTR) return n;
  }
}

// True when all of it was in memory and has been read; else tells whether that could be found out.
bool readFromMemory([[maybe_unused]] FileSource* file, [[maybe_unused]] uint64_t offset, [[maybe_unused]] void* buffer,
                    [[maybe_unused]] uint32_t count) {
// The system call filter of older Androids ends a program that calls preadv2.
#if defined(RWF_NOWAIT) && !defined(__ANDROID__)
  if (!file->cannotAsk) {
    const int before = errno;  // to fail here is no failure of the read
    const iovec piece = {buffer, count};
    const ssize_t n = ::preadv2(file->descriptor, &piece, 1, static_cast<off_t>(offset), RWF_NOWAIT);
    file->cannotAsk = n < 0 && errno != EAGAIN;
    errno = before;
    return n > 0 && static_cast<uint64_t>(n) == std::min<uint64_t>(count, file->source.size - offset);
  }
#else
  file->cannotAsk = true;
#endif
  return false;
}

int64_t now() {
  timespec time = {};
  ::clock_gettime(CLOCK_MONOTONIC, &time);
  return int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

// Reads, and finds out whether that had to wait.
int64_t readAsking(FileSource* file, uint64_t offset, void* buffer, uint32_t count) {
  if (readFromMemory(file, offset, buffer, count)) {
    return static_cast<int64_t>(std::min<uint64_t>(count, file->source.size - offset));
  }
  if (!file->cannotAsk) {
    becomeCold(file);
    return waitAndRead(*file, offset, buffer, count);
  }
  if (file->reads == 1 && file->source.size <= kToldFirst) tell(*file, 0, file->source.size);
  const int64_t begin = now();
  const int64_t n = waitAndRead(*file, offset, buffer, count);
  const int64_t waited = now() - begin;
  if (waited > kFarNanoseconds) becomeFar(file);
  if (waited > kColdNanoseconds) becomeCold(file);
  return n;
}

int64_t readAt(void* user, uint64_t offset, void* buffer, uint32_t count) {
  FileSource* file = static_cast<FileSource*>(user);
  if (offset >= file->source.size) return 0;
  // The 1st, 2nd, 4th, 8th ... are asked about: the beginning of a file may be in memory when the rest is not.
  const uint32_t number = ++file->reads;
  const bool isAsked = number == 1 || (number < file->expectedCount && std::has_single_bit(number));
  if (file->isCold) tellAgain(*file);
  const int64_t n =
      isAsked && !file->isCold ? readAsking(file, offset, buffer, count) : waitAndRead(*file, offset, buffer, count);
  file->failed = file->failed || n < 0;
  return n;
}

// ---- Opening ----

bool isRegularFile(const char* path) {
  struct stat status;
  return ::stat(path, &status) == 0 && S_ISREG(status.st_mode);
}

int openForReading(const char* path) {
  constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOCTTY;
  int descriptor;
  do {
    descriptor = ::open(path, kFlags | O_NONBLOCK);
    // The system takes the lease back.
    if (descriptor < 0 && errno == EWOULDBLOCK && isRegularFile(path)) descriptor = ::open(path, kFlags);
  } while (descriptor < 0 && errno == EINTR);
  return descriptor;
}

}  // namespace

bool openFileSource(FileSource* file, const char* path) {
  const int descriptor = openForReading(path);
  if (descriptor < 0) return false;
  struct stat status;
  if (::fstat(descriptor, &status) != 0 || status.st_size < 0) {
    ::close(descriptor);
    return false;
  }
  file->source = {sizeof(KmhashSource), static_cast<uint64_t>(status.st_size), file, readAt};
  file->descriptor = descriptor;
  file->failed = file->cannotAsk = file->isCold = file->isFar = file->isToldOf = false;
  file->reads = file->expectedCount = 0;
  return true;
}

void closeFileSource(FileSource* file) { ::close(file->descriptor); }

void expectReads(FileSource* file, const uint64_t* offsets, uint32_t count, uint32_t size) {
  file->reads = 0;
  file->expectedCount = std::min(count, kMostExpectedReads);
  file->expectedSize = size;
  std::copy_n(offsets, file->expectedCount, file->expected);
  if (file->isCold) tellOfExpected(*file);
}

FileSource* fileSourceOf(const KmhashSource& source) {
  return source.readAt == readAt ? static_cast<FileSource*>(source.user) : nullptr;
}
