#include "version4/tableReader.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace version4 {
namespace {

constexpr uint32_t kLargestPiece = 65536;
constexpr uint32_t kShort = sizeof(Window::bytes);

// The piece holds what stands at offset, as far as the table and the piece go.
ResultCode fetch(TableReader* reader, uint64_t offset) {
  const uint64_t end = std::min(reader->end, reader->source->size);
  const uint32_t length = static_cast<uint32_t>(std::min<uint64_t>(reader->capacity, end - offset));
  reader->length = 0;
  if (const ResultCode rc = readPayload(reader->source, offset, reader->piece.get(), length)) return rc;
  reader->start = offset;
  reader->length = length;
  return HASHCREATE_SUCCESS;
}

bool isInPiece(const TableReader& reader, uint64_t offset, uint32_t count) {
  return offset >= reader.start && offset - reader.start <= reader.length &&
         count <= reader.length - (offset - reader.start);
}

}  // namespace

TableReader readerOf(Source* source) {
  TableReader reader;
  reader.source = source;
  return reader;
}

TableReader readerOf(Source* source, uint64_t begin, uint64_t end) {
  TableReader reader = readerOf(source);
  reader.end = end;
  if (end - begin <= kShort) return reader;
  const uint32_t capacity = static_cast<uint32_t>(std::min<uint64_t>(end - begin, kLargestPiece));
  reader.piece.reset(new (std::nothrow) uint8_t[capacity]);
  if (reader.piece != nullptr) reader.capacity = capacity;
  return reader;
}

ResultCode readBytes(TableReader* reader, uint64_t offset, void* destination, uint32_t count) {
  const uint64_t end = std::min(reader->end, reader->source->size);
  const bool isHeld = reader->piece != nullptr && count <= reader->capacity && offset <= end && count <= end - offset;
  if (!isHeld) return readBytes(reader->source, offset, destination, count);
  if (!isInPiece(*reader, offset, count)) {
    if (const ResultCode rc = fetch(reader, offset)) return rc;
  }
  std::memcpy(destination, reader->piece.get() + (offset - reader->start), count);
  return HASHCREATE_SUCCESS;
}

}  // namespace version4
