// The chunks that WAVE and AIFF files are made of: name:u8[4] size:u32 body, and a pad byte behind an odd size.
#pragma once

#include "version4/source.h"

namespace version4 {

struct Chunk {
  char name[4];
  uint64_t body;  // offset in the file
  uint64_t size;
};

bool isNamed(const Chunk& chunk, const char* name);

// Reads the header at position. HASHCREATE_FORMAT_ERROR at the file's end and behind it: a chunk is missed;
// HASHCREATE_READ_ERROR when it is cut.
ResultCode readChunkHeader(Source* source, uint64_t position, ByteOrder order, Chunk* chunk);

// Sets where the next chunk stands. HASHCREATE_READ_ERROR when the body ends behind the file.
ResultCode passChunk(const Source& source, const Chunk& chunk, uint64_t* position);

}  // namespace version4
