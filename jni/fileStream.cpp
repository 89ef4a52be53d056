#include "fileStream.h"

#include <algorithm>
#include <cerrno>

#include "debugLog.h"

namespace {

bool isBuiltIn(const Stream* stream) {
  return stream->handle != nullptr && stream->callbacks.read == kBuiltInCallbacks.read;
}

}  // namespace

// ---- Opening, size, position ----

int c_init_callback(Stream* stream, const KmhashFileCallbacks* table) {
  if (table == nullptr) table = &kBuiltInCallbacks;
  if (!table->open || !table->read || !table->seek || !table->close || !table->size) return 1;
  stream->callbacks = *table;
  return 0;
}

int c_open(Stream* stream, const char* path) {
  stream->handle = stream->callbacks.open(path);
  stream->ahead = isBuiltIn(stream) ? aheadOf(stream->handle) : nullptr;
  return c_is_open(stream);
}

int c_is_open(const Stream* stream) { return stream->handle != nullptr ? 0 : 1; }

void c_close(Stream* stream) {
  if (stream->handle != nullptr) stream->callbacks.close(stream->handle);
}

int c_fsize(Stream* stream, const char* path) {
  constexpr int64_t kSizeFailed = -255;
  const int64_t size = stream->callbacks.size(path, stream->handle);
  if (size == kSizeFailed) return 1;
  // Any other negative answer stands for a huge file: sources of unknown length end by delivering nothing.
  stream->fileSize = static_cast<uint64_t>(size);
  return 0;
}

int c_has_failed(const Stream* stream) { return isBuiltIn(stream) && hasSystemFailed(stream->handle) ? 1 : 0; }

void c_set_file_current_file_pos(Stream* stream, uint64_t position) {
  stream->currentPosition = std::min(position, stream->fileSize);
}

// ---- Reading ----

uint32_t c_read(Stream* stream, void* buffer, uint32_t count) {
  // A relative seek can end a little past the file size; nothing is left there.
  if (stream->currentPosition > stream->fileSize) return 0;
  const uint32_t cut = static_cast<uint32_t>(std::min<uint64_t>(count, stream->fileSize - stream->currentPosition));
  if (cut == 0) return 0;

  uint8_t* destination = static_cast<uint8_t*>(buffer);
  uint32_t total = 0;
  uint32_t last = 0;
  do {
    // When the count was cut, the last call asks for 0 bytes: callers see that call, so it stays.
    last = stream->callbacks.read(destination + total, cut - total, stream->handle);
    if (last > cut - total) last = 0;  // who claims more than he was asked for has delivered nothing
    total += last;
  } while (total < count && last != 0);
  return total;
}

uint32_t c_hybrid_read(Stream* stream, void* buffer, uint32_t count) {
  uint32_t total = 0;
  if (!is_read_buff_empty(&stream->readBuffer)) total = read_from_read_buff(&stream->readBuffer, buffer, count);
  // The position still stands where the buffered bytes began: c_read cuts at the file size from there.
  if (total < count) total += c_read(stream, static_cast<uint8_t*>(buffer) + total, count - total);
  stream->currentPosition += total;
  return total;
}

ResultCode readByCallback(Stream* stream, void* buffer, uint32_t count) {
  errno = 0;
  if (c_hybrid_read(stream, buffer, count) == count) return HASHCREATE_SUCCESS;
  return errno != 0 ? errno : HASHCREATE_READ_ERROR;
}

void c_expect_samples(Stream* stream, uint64_t size, uint64_t distance, uint64_t count) {
  if (!isBuiltIn(stream)) return;
  expectSamples(stream->handle, {get_read_buff_remain(&stream->readBuffer), size, distance, count});
}

// ---- Seeking ----

ResultCode c_hybrid_seek(Stream* stream, uint64_t offset, int whence) {
  ReadBuffer* rb = &stream->readBuffer;
  uint64_t advance = offset;
  uint64_t move = offset;  // what the underlying stream has to go
  if (whence == kSeekAbsolute) {
    if (is_inside_read_buff(rb, offset)) {
      if (const ResultCode rc = set_read_buff_position(rb, offset, kSeekAbsolute)) return rc;
      stream->currentPosition = offset;
      return HASHCREATE_SUCCESS;
    }
    if (offset < stream->currentPosition) return HASHCREATE_SEEK_ERROR;
    advance = offset - stream->currentPosition;
    move = advance - get_read_buff_remain(rb);
    set_read_buff_invalid_flag(rb, 1);
  } else if (whence == kSeekRelative) {
    if (!is_read_buff_empty(rb)) move -= seek_read_buff(rb, offset);
  } else {
    return HASHCREATE_SEEK_ERROR;
  }

  if (move != 0) {
    // The move, not the advance, is held against the size: a seek may overshoot by what the buffer held.
    if (stream->currentPosition > stream->fileSize || move > stream->fileSize - stream->currentPosition) {
      return HASHCREATE_SEEK_ERROR;
    }
    const int answer = stream->callbacks.seek(static_cast<int64_t>(move), kSeekRelative, stream->handle);
    if (answer != 0) return answer;
  }
  stream->currentPosition += advance;
  return HASHCREATE_SUCCESS;
}

ResultCode seekByCallback(Stream* stream, int64_t offset, int whence) {
  if (offset < 0) return HASHCREATE_SEEK_ERROR;
  errno = 0;
  if (c_hybrid_seek(stream, static_cast<uint64_t>(offset), whence) == HASHCREATE_SUCCESS) return HASHCREATE_SUCCESS;
  DEBUG_LOG("%s:%d:callbackSeek:Failed(%d)\n", __func__, __LINE__, errno);
  return errno != 0 ? errno : HASHCREATE_SEEK_ERROR;
}

// ---- Buffering ----

ResultCode c_set_buffer(Stream* stream, uint8_t* storage, uint32_t size) {
  const uint64_t start = stream->currentPosition;
  if (start > stream->fileSize) return HASHCREATE_INVALID_PARAM;
  const uint32_t n = static_cast<uint32_t>(std::min<uint64_t>(size, stream->fileSize - start));
  if (n == 0) return HASHCREATE_REACH_EOF;
  if (is_inside_read_buff(&stream->readBuffer, start + n)) return HASHCREATE_SUCCESS;  // also when flagged invalid
  if (const ResultCode rc = callbackRead(stream, storage, n)) return rc;
  init_read_buff(&stream->readBuffer, storage, n, start);
  stream->currentPosition = start;
  return HASHCREATE_SUCCESS;
}

// ---- Slices ----

SliceScope::SliceScope(Stream* whole, uint64_t size)
    : stream(whole), base(c_ftell(whole)), total(c_get_file_size(whole)) {
  ++stream->nestingDepth;
  c_set_file_size(stream, size);
  c_set_file_current_file_pos(stream, 0);
  ReadBuffer* rb = &stream->readBuffer;
  set_read_buff_length(rb, get_read_buff_remain(rb));
  set_read_buff_startPosition(rb, 0);
}

SliceScope::~SliceScope() {
  --stream->nestingDepth;
  c_set_file_size(stream, total);
  reset_read_buff(&stream->readBuffer);
  set_read_buff_invalid_flag(&stream->readBuffer, 1);
  c_set_file_current_file_pos(stream, base + c_ftell(stream));
}
