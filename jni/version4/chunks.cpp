#include "version4/chunks.h"

#include <cstring>

namespace version4 {

bool isNamed(const Chunk& chunk, const char* name) { return std::memcmp(chunk.name, name, sizeof(chunk.name)) == 0; }

ResultCode readChunkHeader(Source* source, uint64_t position, ByteOrder order, Chunk* chunk) {
  uint8_t header[8];
  if (position >= source->size) return HASHCREATE_FORMAT_ERROR;
  if (const ResultCode rc = readBytes(source, position, header, sizeof(header))) return rc;
  std::memcpy(chunk->name, header, sizeof(chunk->name));
  chunk->body = position + sizeof(header);
  chunk->size = valueOf(header + 4, 4, order);
  return HASHCREATE_SUCCESS;
}

ResultCode passChunk(const Source& source, const Chunk& chunk, uint64_t* position) {
  if (chunk.size > source.size - chunk.body) return HASHCREATE_READ_ERROR;
  *position = chunk.body + chunk.size + chunk.size % 2;
  return HASHCREATE_SUCCESS;
}

}  // namespace version4
