// The built-in callbacks: a source read by position, so that a seek costs no system call.
//
// A read that goes on where the last one ended is a walk or a whole range: it fetches ahead, twice as far each time. A
// read that jumps far is a sample and fetches what was asked for, or a header field and fetches its surroundings.

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "fileSource.h"
#include "fileStream.h"

namespace {

constexpr uint32_t kBufferSize = 32768;
constexpr uint32_t kFirstFetch = 4096;   // of a file too large to be fetched whole at once
constexpr uint32_t kWholeFetch = 16384;  // a file up to this size is fetched in one go
constexpr uint32_t kFieldSize = 32;      // a jump to a read of at most this many bytes is to a header field
constexpr uint32_t kFieldFetch = 512;
constexpr uint64_t kNear = 3072;  // a jump ahead no longer than this is cheaper read than made

struct File {
  const KmhashSource* source;
  FileSource own;                 // source is its own, or another's that outlives this
  ReadAhead ahead = {buffer, 0};  // what of the buffer was not delivered yet
  uint64_t position = 0;          // of the first byte behind that
  uint64_t fetchEnd = 0;          // where the last fetch ended
  uint32_t lastFetch = 0;         // how many bytes it asked for
  bool failed = false;            // a read was reported to have failed
  // Last, and with own the one member that open leaves as it is: most calls use little of it.
  uint8_t buffer[kBufferSize];
};

// As many of count bytes as there are; errno is set only when a failure is reported.
uint32_t readAt(File* file, void* destination, uint32_t count, uint64_t position) {
  const KmhashSource& source = *file->source;
  if (position >= source.size) return 0;
  const int64_t n = source.readAt(source.user, position, destination, count);
  if (n >= 0) return n <= count ? static_cast<uint32_t>(n) : 0;
  errno = n == HASHCREATE_SEEK_ERROR ? ESPIPE : EIO;
  file->failed = file->failed || n != HASHCREATE_SEEK_ERROR;
  return 0;
}

// ---- The callbacks ----

uint32_t fetchSize(const File* file, uint32_t count) {
  if (file->lastFetch == 0) return file->source->size <= kWholeFetch ? kWholeFetch : kFirstFetch;
  const bool goesOn = file->position - file->fetchEnd <= kNear;
  if (goesOn)
    return static_cast<uint32_t>(std::min<uint64_t>(2 * std::max<uint64_t>(file->lastFetch, count), kBufferSize));
  return count <= kFieldSize ? kFieldFetch : count;
}

uint32_t takeAhead(File* file, uint8_t* destination, uint32_t count) {
  const uint32_t taken = std::min(count, file->ahead.count);
  std::memcpy(destination, file->ahead.bytes, taken);
  file->ahead.pass(taken);
  return taken;
}

void* open_impl(const char* path) {
  File* file = new (std::nothrow) File;
  if (file == nullptr) return nullptr;
  file->source = &file->own.source;
  if (openFileSource(&file->own, path)) return file;
  delete file;
  return nullptr;
}

void* openSource(const char* path) {
  File* file = new (std::nothrow) File;
  if (file != nullptr) file->source = reinterpret_cast<const KmhashSource*>(path);  // see sourcePath
  return file;
}

uint32_t read_impl(void* buffer, uint32_t count, void* handle) {
  File* file = static_cast<File*>(handle);
  uint8_t* destination = static_cast<uint8_t*>(buffer);
  const uint32_t done = takeAhead(file, destination, count);
  if (done == count) return done;

  const uint32_t rest = count - done;
  const uint32_t fetch = fetchSize(file, rest);
  file->lastFetch = std::min(fetch, kBufferSize);
  const bool isBuffered = rest < fetch;  // else there is nothing to fetch ahead
  const uint32_t n = isBuffered ? readAt(file, file->buffer, fetch, file->position)
                                : readAt(file, destination + done, rest, file->position);
  file->position += n;
  file->fetchEnd = file->position;
  if (!isBuffered) return done + n;
  file->ahead = {file->buffer, n};
  return done + takeAhead(file, destination + done, rest);
}

int seek_impl(int64_t offset, int whence, void* handle) {
  File* file = static_cast<File*>(handle);
  if (whence != SEEK_CUR || offset < 0) {
    errno = EINVAL;
    return -1;
  }
  const uint64_t distance = static_cast<uint64_t>(offset);
  const uint32_t passed = static_cast<uint32_t>(std::min<uint64_t>(distance, file->ahead.count));
  file->ahead.pass(passed);
  file->position += distance - passed;
  return 0;
}

void close_impl(void* handle) {
  File* file = static_cast<File*>(handle);
  if (file->source == &file->own.source) closeFileSource(&file->own);
  delete file;
}

int64_t fsize_impl(const char*, void* handle) {
  return static_cast<int64_t>(static_cast<const File*>(handle)->source->size);
}

}  // namespace

const KmhashFileCallbacks kBuiltInCallbacks = {open_impl, read_impl, seek_impl, close_impl, fsize_impl};
const KmhashFileCallbacks kSourceCallbacks = {openSource, read_impl, seek_impl, close_impl, fsize_impl};

ReadAhead* aheadOf(void* handle) { return &static_cast<File*>(handle)->ahead; }

bool hasSystemFailed(const void* handle) { return static_cast<const File*>(handle)->failed; }

void expectSamples(void* handle, const Samples& samples) {
  File* file = static_cast<File*>(handle);
  const uint64_t next = file->position - file->ahead.count;
  const uint64_t first = next - std::min(next, samples.buffered);
  if (samples.distance - samples.size <= kNear) file->lastFetch = kBufferSize;  // they are read through
  FileSource* disk = fileSourceOf(*file->source);
  if (disk == nullptr) return;
  uint64_t offsets[kMostExpectedReads];
  const uint32_t count = static_cast<uint32_t>(std::min<uint64_t>(samples.count, kMostExpectedReads));
  for (uint32_t i = 0; i < count; ++i) offsets[i] = first + i * samples.distance;
  expectReads(disk, offsets, count, static_cast<uint32_t>(samples.size));
}
