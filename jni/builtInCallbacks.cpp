// The built-in callbacks: a file of the file system, read by position so that a seek costs no system call.
//
// A read that goes on where the last one ended is a walk or a whole range: it fetches ahead, twice as far each time. A
// read that jumps far is a sample and fetches what was asked for, or a header field and fetches its surroundings. Where
// samples of even distance turn out not to be in memory, the kernel is told of those to come, so that the disk can
// fetch them all at once.

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <limits>
#include <new>

#include "fileSource.h"
#include "fileStream.h"

namespace {

constexpr uint32_t kBufferSize = 32768;
constexpr uint32_t kFirstFetch = 4096;   // of a file too large to be fetched whole at once
constexpr uint32_t kWholeFetch = 16384;  // a file up to this size is fetched in one go
constexpr uint32_t kFieldSize = 32;      // a jump to a read of at most this many bytes is to a header field
constexpr uint32_t kFieldFetch = 512;
constexpr uint64_t kNear = 1024;        // a jump ahead no longer than this is cheaper read than made
constexpr uint32_t kMostSamples = 100;  // of one range

struct File {
  const KmhashSource* source;  // null for a file of the file system that these callbacks opened
  int descriptor;              // -1 for a source that is no file
  int64_t size = 0;            // when it was asked for
  uint64_t position = 0;       // of the next byte to deliver
  uint64_t bufferStart = 0;    // file offset of buffer[0]
  uint32_t bufferLength = 0;
  uint32_t lastFetch = 0;   // how many bytes the last fetch asked for
  uint64_t lastSample = 0;  // position of the last read that fetched no more than it was asked for
  uint64_t distance = 0;    // of that read from the one before
  uint32_t samples = 0;     // how many such reads came at that distance
  bool told = false;        // the kernel knows of the samples to come
  bool failed = false;      // the system has reported a failing read
  // Last, and the one member that open leaves as it is: most calls use little of it.
  uint8_t buffer[kBufferSize];
};

uint32_t readSource(File* file, void* destination, uint32_t count, uint64_t position) {
  if (position >= file->source->size) return 0;
  const int64_t n = file->source->readAt(file->source->user, position, destination, count);
  if (n >= 0) return n <= count ? static_cast<uint32_t>(n) : 0;
  errno = n == HASHCREATE_SEEK_ERROR ? ESPIPE : EIO;
  file->failed = n != HASHCREATE_SEEK_ERROR;
  return 0;
}

// As many of count bytes as there are; errno is set only when the system reports a failure.
uint32_t readAt(File* file, void* destination, uint32_t count, uint64_t position) {
  if (file->source != nullptr) return readSource(file, destination, count, position);
  if (position > static_cast<uint64_t>(std::numeric_limits<off_t>::max())) return 0;
  for (;;) {
    const ssize_t n = ::pread(file->descriptor, destination, count, static_cast<off_t>(position));
    if (n >= 0) return static_cast<uint32_t>(n);
    if (errno == EINTR) continue;
    file->failed = true;
    return 0;
  }
}

// ---- Samples ----

enum class InMemory { delivered, no, unknown };

InMemory readFromMemory([[maybe_unused]] const File* file, [[maybe_unused]] void* destination,
                        [[maybe_unused]] uint32_t count) {
// The system call filter of older Androids ends a program that calls preadv2.
#if defined(RWF_NOWAIT) && !defined(__ANDROID__)
  const int before = errno;  // to fail here is no failure of the read
  const iovec piece = {destination, count};
  const ssize_t n = ::preadv2(file->descriptor, &piece, 1, static_cast<off_t>(file->position), RWF_NOWAIT);
  const bool isKnown = n >= 0 || errno == EAGAIN;
  errno = before;
  if (isKnown) return n == static_cast<ssize_t>(count) ? InMemory::delivered : InMemory::no;
#endif
  return InMemory::unknown;
}

void tellOfSamplesToCome([[maybe_unused]] const File* file, [[maybe_unused]] uint32_t count) {
#if defined(POSIX_FADV_WILLNEED)
  for (uint64_t i = 0; i + file->samples < kMostSamples; ++i) {
    const off_t position = static_cast<off_t>(file->position + i * file->distance);
    ::posix_fadvise(file->descriptor, position, count, POSIX_FADV_WILLNEED);
  }
#endif
}

uint32_t readSample(File* file, void* destination, uint32_t count) {
  const uint64_t distance = file->position - file->lastSample;
  file->samples = distance == file->distance ? file->samples + 1 : 0;
  file->distance = distance;
  file->lastSample = file->position;
  // The 1st, 2nd, 4th, 8th ... are asked about: the beginning of a file may be in memory when the rest is not.
  if (file->samples > 0 && std::has_single_bit(file->samples) && !file->told) {
    const InMemory answer = readFromMemory(file, destination, count);
    if (answer == InMemory::delivered) return count;
    file->told = true;
    if (answer == InMemory::no) tellOfSamplesToCome(file, count);
  }
  return readAt(file, destination, count, file->position);
}

// ---- The callbacks ----

uint32_t fetchSize(const File* file, uint32_t count) {
  if (file->lastFetch == 0) return file->size <= kWholeFetch ? kWholeFetch : kFirstFetch;
  const uint64_t bufferEnd = file->bufferStart + file->bufferLength;
  const bool goesOn = file->position >= bufferEnd && file->position - bufferEnd <= kNear;
  if (goesOn)
    return static_cast<uint32_t>(std::min<uint64_t>(2 * std::max<uint64_t>(file->lastFetch, count), kBufferSize));
  return count <= kFieldSize ? kFieldFetch : count;
}

// Delivers from the buffer what it holds of the current position.
uint32_t takeBuffered(File* file, uint8_t* destination, uint32_t count) {
  if (file->position < file->bufferStart || file->position - file->bufferStart >= file->bufferLength) return 0;
  const uint32_t offset = static_cast<uint32_t>(file->position - file->bufferStart);
  const uint32_t taken = std::min(count, file->bufferLength - offset);
  std::memcpy(destination, file->buffer + offset, taken);
  file->position += taken;
  return taken;
}

void* open_impl(const char* path) {
  const int descriptor = openForReading(path);
  if (descriptor < 0) return nullptr;
  File* file = new (std::nothrow) File;
  if (file == nullptr) {
    ::close(descriptor);
    return nullptr;
  }
  file->source = nullptr;
  file->descriptor = descriptor;
  return file;
}

void* openSource(const char* path) {
  File* file = new (std::nothrow) File;
  if (file == nullptr) return nullptr;
  file->source = sourceOf(path);
  file->descriptor = descriptorOf(*file->source);
  return file;
}

uint32_t read_impl(void* buffer, uint32_t count, void* handle) {
  File* file = static_cast<File*>(handle);
  uint8_t* destination = static_cast<uint8_t*>(buffer);
  uint32_t done = takeBuffered(file, destination, count);
  if (done == count) return done;

  const uint32_t rest = count - done;
  const uint32_t fetch = fetchSize(file, rest);
  file->lastFetch = std::min(fetch, kBufferSize);
  file->bufferStart = file->position;
  if (rest >= fetch) {  // nothing to fetch ahead
    const uint32_t n = readSample(file, destination + done, rest);
    file->position += n;
    file->bufferStart = file->position;
    file->bufferLength = 0;
    return done + n;
  }
  file->bufferLength = readAt(file, file->buffer, fetch, file->position);
  return done + takeBuffered(file, destination + done, rest);
}

int seek_impl(int64_t offset, int whence, void* handle) {
  File* file = static_cast<File*>(handle);
  if (whence != SEEK_CUR || offset < 0) {
    errno = EINVAL;
    return -1;
  }
  file->position += static_cast<uint64_t>(offset);
  return 0;
}

void close_impl(void* handle) {
  File* file = static_cast<File*>(handle);
  if (file->source == nullptr) ::close(file->descriptor);
  delete file;
}

int64_t fsize_impl(const char*, void* handle) {
  constexpr int64_t kSizeFailed = -255;
  File* file = static_cast<File*>(handle);
  const int64_t size = file->source != nullptr ? static_cast<int64_t>(file->source->size) : sizeOf(file->descriptor);
  if (size < 0) return kSizeFailed;
  return file->size = size;
}

}  // namespace

const KmhashFileCallbacks kBuiltInCallbacks = {open_impl, read_impl, seek_impl, close_impl, fsize_impl};
const KmhashFileCallbacks kSourceCallbacks = {openSource, read_impl, seek_impl, close_impl, fsize_impl};

bool hasSystemFailed(const void* handle) { return static_cast<const File*>(handle)->failed; }
