#include "readBuffer.h"

#include <algorithm>
#include <cstring>

namespace {

// Storage that was dropped has no bytes, only positions.
uint8_t* at(uint8_t* base, uint64_t offset) { return base == nullptr ? nullptr : base + offset; }

uint64_t held(const ReadBuffer* rb) { return static_cast<uint64_t>(rb->end - rb->cursor); }

}  // namespace

void clear_read_buff(ReadBuffer* rb) {
  *rb = {};
  rb->invalid = 1;
}

void init_read_buff(ReadBuffer* rb, uint8_t* storage, uint32_t length, uint64_t start) {
  *rb = {};
  rb->loadedBase = storage;
  rb->loadedLength = length;
  rb->loadedStart = start;
  reset_read_buff(rb);
}

void reset_read_buff(ReadBuffer* rb) {
  rb->length = rb->loadedLength;
  rb->origin = rb->loadedBase;
  rb->cursor = rb->loadedBase;
  rb->end = at(rb->loadedBase, rb->loadedLength);
  rb->startPosition = rb->loadedStart;
  rb->invalid = (rb->loadedBase == nullptr || rb->loadedLength == 0) ? 1 : 0;
}

uint32_t get_read_buff_length(const ReadBuffer* rb) { return rb->length; }

void set_read_buff_length(ReadBuffer* rb, uint32_t n) {
  rb->origin = rb->cursor;
  rb->length = n;
  rb->end = at(rb->cursor, n);
}

void set_read_buff_startPosition(ReadBuffer* rb, uint64_t position) { rb->startPosition = position; }

void set_read_buff_invalid_flag(ReadBuffer* rb, int32_t flag) { rb->invalid = flag; }

ResultCode set_read_buff_position(ReadBuffer* rb, uint64_t offset, int whence) {
  uint64_t distance = offset;
  if (whence == 0) {
    if (!is_inside_read_buff(rb, offset)) return HASHCREATE_READ_ERROR;
    distance = offset - rb->startPosition;
  } else if (whence != 1 || offset > rb->length) {
    return HASHCREATE_READ_ERROR;
  }
  rb->cursor = at(rb->origin, distance);
  rb->invalid = 0;
  return HASHCREATE_SUCCESS;
}

uint32_t read_from_read_buff(ReadBuffer* rb, void* destination, uint32_t n) {
  if (rb->invalid != 0) return 0;
  const uint32_t delivered = static_cast<uint32_t>(std::min<uint64_t>(n, held(rb)));
  if (delivered > 0) std::memcpy(destination, rb->cursor, delivered);
  // A cursor at the end makes the buffer invalid even when nothing was asked for.
  if (rb->cursor == rb->end || delivered < n) rb->invalid = 1;
  rb->cursor = at(rb->cursor, delivered);
  return delivered;
}

uint64_t seek_read_buff(ReadBuffer* rb, uint64_t n) {
  if (rb->invalid != 0) return 0;
  const uint64_t advance = std::min(n, held(rb));
  if (rb->cursor == rb->end || advance < n) rb->invalid = 1;
  rb->cursor = at(rb->cursor, advance);
  return advance;
}

void drop_read_buff_storage(ReadBuffer* rb, const uint8_t* storage) {
  if (rb->loadedBase != storage) return;
  rb->loadedBase = rb->origin = rb->cursor = rb->end = nullptr;
}
