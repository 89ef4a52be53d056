// What analyzers read with: integers in a named byte order, byte ranges into a digest, zero bytes skipped. Every check
// against the file's real size is made here or in the stream.
//
// Results are 0, a HASHCREATE_* code or, from a read or seek, a positive errno.
#pragma once

#include <cstdint>

#include "fileStream.h"
#include "hashRecord.h"

// Byte orders; any value but kBigEndian means little-endian.
inline constexpr uint32_t kLittleEndian = 1;
inline constexpr uint32_t kBigEndian = 2;

// ---- Integers ----

// Compilers make one load, and a swap where the processor's order is the other one, of each loop.
template <typename Value>
Value valueOf(const uint8_t* bytes, uint32_t order) {
  constexpr uint32_t kSize = sizeof(Value);
  uint64_t value = 0;
  if (order == kBigEndian) {
    for (uint32_t i = 0; i < kSize; ++i) value |= uint64_t{bytes[i]} << 8 * (kSize - 1 - i);
  } else {
    for (uint32_t i = 0; i < kSize; ++i) value |= uint64_t{bytes[i]} << 8 * i;
  }
  return static_cast<Value>(value);
}

// The value of the first bytes in the given order; 0 when fewer than 2, 4 or 8 are available.
inline uint16_t getUShort(const uint8_t* bytes, uint32_t available, uint32_t order) {
  return available < 2 ? uint16_t{0} : valueOf<uint16_t>(bytes, order);
}
inline uint32_t getULong(const uint8_t* bytes, uint32_t available, uint32_t order) {
  return available < 4 ? 0 : valueOf<uint32_t>(bytes, order);
}
inline uint64_t getULongLong(const uint8_t* bytes, uint32_t available, uint32_t order) {
  return available < 8 ? 0 : valueOf<uint64_t>(bytes, order);
}

// Read 2, 4 or 8 bytes. The destination is written only when all of them arrived.
template <typename Value>
ResultCode readValue(Stream* stream, Value* destination, uint32_t order) {
  uint8_t bytes[sizeof(Value)];
  if (const ResultCode rc = callbackRead(stream, bytes, sizeof(bytes))) return rc;
  *destination = valueOf<Value>(bytes, order);
  return HASHCREATE_SUCCESS;
}
inline ResultCode readUShort(Stream* stream, uint16_t* destination, uint32_t order) {
  return readValue(stream, destination, order);
}
inline ResultCode readULong(Stream* stream, uint32_t* destination, uint32_t order) {
  return readValue(stream, destination, order);
}
inline ResultCode readULongLong(Stream* stream, uint64_t* destination, uint32_t order) {
  return readValue(stream, destination, order);
}

// The numbers of a header that was read, by their offsets in it; 0 for one that does not lie in it whole.
struct Fields {
  const uint8_t* bytes;
  uint32_t size;
  uint32_t order;

  uint32_t behind(uint32_t at) const { return at < size ? size - at : 0; }
  uint16_t u16(uint32_t at) const { return behind(at) < 2 ? uint16_t{0} : getUShort(bytes + at, 2, order); }
  uint32_t u32(uint32_t at) const { return behind(at) < 4 ? 0 : getULong(bytes + at, 4, order); }
  uint64_t u64(uint32_t at) const { return behind(at) < 8 ? 0 : getULongLong(bytes + at, 8, order); }
};

template <uint32_t size>
Fields fieldsOf(const uint8_t (&bytes)[size], uint32_t order) {
  return {bytes, size, order};
}

// ---- Moving ----
//
// Positions and sizes come from files and are often differences. One that is not representable as a signed offset, so
// also a difference that went below zero, is refused with HASHCREATE_SEEK_ERROR: a source is never moved backwards.

// Passes over the next size bytes.
inline ResultCode skip(Stream* stream, uint64_t size) {
  return callbackSeek(stream, static_cast<int64_t>(size), kSeekRelative);
}

// Passes over what lies in front of a file position; one behind the current position is refused.
inline ResultCode seekForwardTo(Stream* stream, uint64_t position) { return skip(stream, position - c_ftell(stream)); }

// Moves to a file position: ahead, or back within the bytes that are buffered.
ResultCode seekTo(Stream* stream, uint64_t position);

// Bytes from the current position to the end of the file. Past the end it is below zero, a huge number: the feeders and
// the seeks stand that.
inline uint64_t remaining(const Stream* stream) { return c_get_file_size(stream) - c_ftell(stream); }

// ---- Feeding a byte range into a digest ----
//
// Each feeder takes the range of size bytes at the current position and leaves the stream at its end. In identify mode
// the range is only passed over.

bool isIdentifying(const Stream* stream);

// Ranges below this size are hashed whole by the sampling feeders.
inline constexpr uint64_t kSamplingThreshold = 16384;

// The size cut to what remains in the file; sampled from kSamplingThreshold on.
ResultCode inputActualData(Stream* stream, uint64_t size);
ResultCode inputActualDataEx(Stream* stream, uint64_t size, uint32_t which);

// The size as it is; sampled from the given threshold on. HASHCREATE_INVALID_PARAM when a range that is to be sampled
// comes with a threshold below 100.
ResultCode inputActualDataWithSize(Stream* stream, uint64_t size, uint64_t threshold);
ResultCode inputActualDataWithSizeEx(Stream* stream, uint64_t size, uint64_t threshold, uint32_t which);

// The size as it is, every byte.
ResultCode inputSpecifiedData(Stream* stream, uint64_t size);
ResultCode inputSpecifiedDataEx(Stream* stream, uint64_t size, uint32_t which);

// What remains in the file from the current position on, at most size.
uint64_t actualDataSizeCorrection(const Stream* stream, uint64_t size);

ResultCode split_read(Stream* stream, uint64_t size, uint32_t which);
ResultCode input_actual_data(Stream* stream, uint64_t size, uint64_t threshold, uint32_t which);
ResultCode input_actual_large_data(Stream* stream, uint64_t size, uint64_t threshold, uint32_t which);

// ---- Zero bytes ----

// Moves to the first byte that is not zero, buffering ahead in storage; *skipped tells how many were passed.
// HASHCREATE_INVALID_PARAM for a storage of 0 bytes, HASHCREATE_REACH_EOF when only zeros are left.
ResultCode kmhNullSkip(Stream* stream, uint8_t* storage, uint32_t size, uint32_t* skipped);

// ---- Four-character codes ----

// A code has its first character in the most significant byte.
constexpr uint32_t fourCC(const char (&text)[5]) {
  return static_cast<uint32_t>(static_cast<uint8_t>(text[0])) << 24 |
         static_cast<uint32_t>(static_cast<uint8_t>(text[1])) << 16 |
         static_cast<uint32_t>(static_cast<uint8_t>(text[2])) << 8 | static_cast<uint8_t>(text[3]);
}

// The code as a text. -1 when size is below 5, -2 when a character is not printable ASCII (destination then holds the
// four bytes all the same).
int fourCC2String(uint32_t code, char* destination, uint32_t size);

// The code of the first four characters, stored least significant byte first. -1 when a pointer is null or count is
// below 4.
int string2FourCC(const char* text, uint32_t count, uint8_t* destination);

// 1 when value and mask share a bit, else 0.
int isUcharBitsON(uint8_t value, uint8_t mask);
