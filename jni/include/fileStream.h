// The file stream: the only way the library touches a file. It wraps the five callbacks, keeps its own idea of size and
// position, and holds a read buffer over the front of what comes next, which is what makes short seeks backwards
// possible: the underlying stream only ever moves forward.
//
// Predicates c_open, c_is_open, c_init_callback and c_fsize answer 0 for yes.
#pragma once

#include <cstdint>
#include <cstring>

#include "readBuffer.h"
#include "resultCode.h"
#include "sha1.h"

// Bytes of the read buffer that a call puts in front of a file, a slice or a run of zeros.
inline constexpr uint32_t kReadBufferSize = 200;

// What the built-in callbacks have fetched and deliver next.
struct ReadAhead {
  const uint8_t* bytes;
  uint32_t count;

  void pass(uint32_t n) {
    bytes += n;
    count -= n;
  }
};

struct Stream {
  void* handle;
  KmhashFileCallbacks callbacks;
  ReadAhead* ahead;  // of the built-in callbacks, which are spared calls for it; null for others
  ReadBuffer readBuffer;
  SHA1Context contentSha1;
  SHA1Context metaSha1;
  uint64_t fileSize;         // what the stream believes; a slice overwrites it
  uint64_t currentPosition;  // offset of the next byte to be delivered
  int32_t hashMode;          // KMHASH_MODE_*
  uint32_t nestingDepth;     // slices within slices
  bool isWhole;              // nothing is sampled
};

inline constexpr int kSeekAbsolute = 0;
inline constexpr int kSeekRelative = 1;

// Installs a table, or the built-in callbacks when it is null. 1 when an entry of the table is null.
int c_init_callback(Stream* stream, const KmhashFileCallbacks* table);
int c_open(Stream* stream, const char* path);
int c_is_open(const Stream* stream);
void c_close(Stream* stream);
int c_fsize(Stream* stream, const char* path);

// 1 when the system has reported a failing read to the built-in callbacks, else 0. Such a call cannot succeed, whatever
// the analyzer made of the bytes that did not come.
int c_has_failed(const Stream* stream);

inline uint64_t c_get_file_size(const Stream* stream) { return stream->fileSize; }
inline void c_set_file_size(Stream* stream, uint64_t size) { stream->fileSize = size; }
inline uint64_t c_ftell(const Stream* stream) { return stream->currentPosition; }

// Clamped to the file size.
void c_set_file_current_file_pos(Stream* stream, uint64_t position);

// 1 when position is below the file size, else 0.
inline int c_is_valid_file_pos(const Stream* stream, uint64_t position) { return position < stream->fileSize ? 1 : 0; }

// Reads past the buffer, straight from the callback; does not move the current position. Returns the bytes read.
uint32_t c_read(Stream* stream, void* buffer, uint32_t count);

// Reads from the buffer first, then from the callback. Returns the bytes read, fewer than count at the end.
uint32_t c_hybrid_read(Stream* stream, void* buffer, uint32_t count);

// 0, HASHCREATE_SEEK_ERROR (backwards outside the buffer, past the file size, unknown whence), HASHCREATE_READ_ERROR
// (refused by the buffer) or the seek callback's own answer.
ResultCode c_hybrid_seek(Stream* stream, uint64_t offset, int whence);

// Buffers the next bytes, up to size, in storage, which must live until the buffer is loaded again. Does nothing when
// they are buffered already. 0, HASHCREATE_REACH_EOF, HASHCREATE_INVALID_PARAM (position past the end), or a read's
// code.
ResultCode c_set_buffer(Stream* stream, uint8_t* storage, uint32_t size);

// Storage lent to the read buffer: pass it to c_set_buffer. When the scope ends, the buffer delivers nothing of it any
// more; only its positions stay known.
struct BufferScope {
  explicit BufferScope(Stream* borrower) : stream(borrower) {}
  BufferScope(const BufferScope&) = delete;
  ~BufferScope() { drop_read_buff_storage(&stream->readBuffer, storage); }

  Stream* stream;
  uint8_t storage[kReadBufferSize] = {};
};

// While the scope lasts, the size bytes from the current position on, whose beginning is buffered, look like a whole
// file. Afterwards the stream has its own size again and stands where the slice was left, at most at the file's end,
// with nothing buffered that a read would deliver.
struct SliceScope {
  SliceScope(Stream* whole, uint64_t size);
  SliceScope(const SliceScope&) = delete;
  ~SliceScope();

  Stream* stream;
  uint64_t base;
  uint64_t total;
};

// Announces samples that begin at the current position.
void c_expect_samples(Stream* stream, uint64_t size, uint64_t distance, uint64_t count);

// c_hybrid_read and c_hybrid_seek with results as codes: 0 when all of count was read, else errno when the C library
// set it, else HASHCREATE_READ_ERROR; for a seek HASHCREATE_SEEK_ERROR likewise, also for a negative offset.
//
// Small reads and seeks are most of the work of a file of many small pieces, and built-in callbacks have most of their
// bytes fetched already: those take no call.
ResultCode readByCallback(Stream* stream, void* buffer, uint32_t count);
ResultCode seekByCallback(Stream* stream, int64_t offset, int whence);

// True when the next count bytes are fetched already, and within the file.
inline bool isAhead(const Stream* stream, uint64_t count) {
  return stream->ahead != nullptr && count <= stream->ahead->count && is_read_buff_empty(&stream->readBuffer) &&
         stream->currentPosition <= stream->fileSize && count <= stream->fileSize - stream->currentPosition;
}

inline void passAhead(Stream* stream, uint32_t count) {
  stream->ahead->pass(count);
  stream->currentPosition += count;
}

inline ResultCode callbackRead(Stream* stream, void* buffer, uint32_t count) {
  if (!isAhead(stream, count)) return readByCallback(stream, buffer, count);
  std::memcpy(buffer, stream->ahead->bytes, count);
  passAhead(stream, count);
  return HASHCREATE_SUCCESS;
}

inline ResultCode callbackSeek(Stream* stream, int64_t offset, int whence) {
  if (whence != kSeekRelative || !isAhead(stream, static_cast<uint64_t>(offset))) {
    return seekByCallback(stream, offset, whence);
  }
  passAhead(stream, static_cast<uint32_t>(offset));
  return HASHCREATE_SUCCESS;
}

// The built-in callbacks, over the file system, and whether the system has reported a failing read to an open handle of
// theirs.
extern const KmhashFileCallbacks kBuiltInCallbacks;
bool hasSystemFailed(const void* handle);
ReadAhead* aheadOf(void* handle);

// The same over a source that outlives the call; its path is sourcePath(source).
extern const KmhashFileCallbacks kSourceCallbacks;
inline const char* sourcePath(const KmhashSource* source) { return reinterpret_cast<const char*>(source); }

// Reads of even distance that are to come, the first of them buffered bytes before the position of the handle.
struct Samples {
  uint64_t buffered;
  uint64_t size;
  uint64_t distance;
  uint64_t count;
};

// Lets an open handle of the built-in callbacks prepare for them; callers' own callbacks are not told.
void expectSamples(void* handle, const Samples& samples);
