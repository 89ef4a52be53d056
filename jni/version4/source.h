// A file that is read at any offset: a walk over headers goes through a small cache, so that it does not cost a system
// call a header; payload goes past it. Every check against the file's size is made here.
//
// Results are 0; HASHCREATE_READ_ERROR for bytes that the file has not got; and for every read that the source would
// have to deliver once it gave up HASHCREATE_SEEK_ERROR when it said so, HASHCREATE_READ_ERROR when it ended in front
// of its size, and HASHCREATE_ERROR else.
#pragma once

#include <cstdint>

#include "resultCode.h"

namespace version4 {

struct Window {
  uint64_t start;
  uint32_t length;
  uint32_t lastUse;
  uint8_t bytes[4096];
};

struct Source {
  const KmhashSource* from;
  uint64_t size;
  ResultCode failure;  // of a source that gave up; it is not asked again
  uint32_t uses;       // of windows, so far
  Window windows[4];
};

void initSource(Source* source, const KmhashSource* from);

// Copies count bytes at offset. fetches up to a window's size around them.
ResultCode readBytes(Source* source, uint64_t offset, void* destination, uint32_t count);

// The same for payload: fetches nothing that was not asked for.
ResultCode readPayload(Source* source, uint64_t offset, void* destination, uint32_t count);

// ---- Integers ----

enum class ByteOrder { big, little };

// The value of the first size bytes, 8 at most.
uint64_t valueOf(const uint8_t* bytes, uint32_t size, ByteOrder order);
inline uint16_t u16be(const uint8_t* bytes) { return static_cast<uint16_t>(valueOf(bytes, 2, ByteOrder::big)); }
inline uint32_t u24be(const uint8_t* bytes) { return static_cast<uint32_t>(valueOf(bytes, 3, ByteOrder::big)); }
inline uint32_t u32be(const uint8_t* bytes) { return static_cast<uint32_t>(valueOf(bytes, 4, ByteOrder::big)); }
inline uint64_t u64be(const uint8_t* bytes) { return valueOf(bytes, 8, ByteOrder::big); }
inline uint16_t u16le(const uint8_t* bytes) { return static_cast<uint16_t>(valueOf(bytes, 2, ByteOrder::little)); }
inline uint32_t u24le(const uint8_t* bytes) { return static_cast<uint32_t>(valueOf(bytes, 3, ByteOrder::little)); }
inline uint32_t u32le(const uint8_t* bytes) { return static_cast<uint32_t>(valueOf(bytes, 4, ByteOrder::little)); }
inline uint64_t u64le(const uint8_t* bytes) { return valueOf(bytes, 8, ByteOrder::little); }

// ---- A part of the file, read front to back: a box's body, a chunk, a table ----

struct Part {
  Source* source;
  uint64_t position;
  uint64_t end;  // at or behind position; may lie behind the end of the file
};

inline uint64_t remaining(const Part& part) { return part.end - part.position; }

// Read or pass over the next bytes. HASHCREATE_FORMAT_ERROR when the part has fewer, and then nothing moves.
ResultCode take(Part* part, void* destination, uint32_t count);
ResultCode takeNumber(Part* part, uint32_t size, ByteOrder order, uint64_t* value);
ResultCode pass(Part* part, uint64_t count);

}  // namespace version4
