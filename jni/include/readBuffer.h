// The bytes buffered in front of the underlying stream. The record does not own its storage.
#pragma once

#include <cstdint>

#include "resultCode.h"

struct ReadBuffer {
  uint8_t* loadedBase;  // as of the last load: storage, length, file offset of its first byte
  uint32_t loadedLength;
  uint64_t loadedStart;
  uint32_t length;  // as of now
  uint8_t* origin;
  uint8_t* cursor;  // next byte to deliver
  uint8_t* end;
  uint64_t startPosition;  // file offset of origin
  int32_t invalid;         // non-zero: deliver nothing
};

void clear_read_buff(ReadBuffer* rb);
void init_read_buff(ReadBuffer* rb, uint8_t* storage, uint32_t length, uint64_t start);

// Back to the state of the last load.
void reset_read_buff(ReadBuffer* rb);

// 1 or 0. A buffer whose cursor has reached its end is not empty until a read asks for more than it holds.
inline int is_read_buff_empty(const ReadBuffer* rb) { return (rb->invalid != 0 || rb->origin == nullptr) ? 1 : 0; }
inline uint32_t get_read_buff_remain(const ReadBuffer* rb) {
  return is_read_buff_empty(rb) ? 0 : static_cast<uint32_t>(rb->end - rb->cursor);
}
uint32_t get_read_buff_length(const ReadBuffer* rb);

// The next n bytes from the cursor become the whole buffer.
void set_read_buff_length(ReadBuffer* rb, uint32_t n);
void set_read_buff_startPosition(ReadBuffer* rb, uint64_t position);
void set_read_buff_invalid_flag(ReadBuffer* rb, int32_t flag);

// 1 or 0; both ends count as inside, and an invalid buffer is asked all the same.
inline int is_inside_read_buff(const ReadBuffer* rb, uint64_t position) {
  return (position >= rb->startPosition && position - rb->startPosition <= rb->length) ? 1 : 0;
}

// Moves the cursor: whence 0 to a file offset, whence 1 to a distance from the origin. 0, or HASHCREATE_READ_ERROR.
ResultCode set_read_buff_position(ReadBuffer* rb, uint64_t offset, int whence);

// Deliver or pass over up to n bytes; return how many. Asking for more than is held invalidates the buffer.
uint32_t read_from_read_buff(ReadBuffer* rb, void* destination, uint32_t n);
uint64_t seek_read_buff(ReadBuffer* rb, uint64_t n);

// Forgets storage that is about to go: positions stay for the inside test, no byte of it is delivered again. Storage
// that is not the last load's is left alone.
void drop_read_buff_storage(ReadBuffer* rb, const uint8_t* storage);
