#include "version4/source.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace version4 {
namespace {

constexpr uint32_t kWindowSize = sizeof(Window::bytes);
constexpr uint32_t kJumpFetch = 512;  // behind a jump there is a header, and then often another jump

// All of count bytes, asked for again as long as the source delivers some.
ResultCode fetchAll(Source* source, uint64_t offset, uint8_t* destination, uint32_t count) {
  if (source->failure != HASHCREATE_SUCCESS) return source->failure;
  while (count > 0) {
    const int64_t n = source->from->readAt(source->from->user, offset, destination, count);
    if (n < 0) return source->failure = n == HASHCREATE_SEEK_ERROR ? HASHCREATE_SEEK_ERROR : HASHCREATE_ERROR;
    if (n == 0 || n > count) return source->failure = HASHCREATE_READ_ERROR;
    offset += static_cast<uint64_t>(n);
    destination += n;
    count -= static_cast<uint32_t>(n);
  }
  return HASHCREATE_SUCCESS;
}

bool isWithin(const Source& source, uint64_t offset, uint32_t count) {
  return offset <= source.size && count <= source.size - offset;
}

Window* windowOf(Source* source, uint64_t offset) {
  for (Window& window : source->windows) {
    if (offset >= window.start && offset - window.start < window.length) return &window;
  }
  return nullptr;
}

uint32_t takeFrom(const Window& window, uint64_t offset, uint8_t* destination, uint32_t count) {
  const uint32_t at = static_cast<uint32_t>(offset - window.start);
  const uint32_t taken = std::min(count, window.length - at);
  std::memcpy(destination, window.bytes + at, taken);
  return taken;
}

// Where a walk goes on behind a window, or a little further, twice as much is fetched each time.
uint32_t fetchSize(const Source& source, uint64_t offset) {
  if (offset == 0) return kWindowSize;
  for (const Window& window : source.windows) {
    const uint64_t end = window.start + window.length;
    const bool goesOn = window.length > 0 && offset >= end && offset - end <= kJumpFetch;
    if (goesOn) return std::min(2 * window.length, kWindowSize);
  }
  return kJumpFetch;
}

// Loads the window that was used least recently with what begins at offset, at least count bytes.
ResultCode load(Source* source, uint64_t offset, uint32_t count, Window** loaded) {
  Window* window = std::min_element(std::begin(source->windows), std::end(source->windows),
                                    [](const Window& a, const Window& b) { return a.lastUse < b.lastUse; });
  const uint32_t wanted = std::clamp(fetchSize(*source, offset), count, kWindowSize);
  const uint32_t length = static_cast<uint32_t>(std::min<uint64_t>(wanted, source->size - offset));
  window->length = 0;
  if (const ResultCode rc = fetchAll(source, offset, window->bytes, length)) return rc;
  window->start = offset;
  window->length = length;
  *loaded = window;
  return HASHCREATE_SUCCESS;
}

}  // namespace

void initSource(Source* source, const KmhashSource* from) {
  source->from = from;
  source->size = from->size;
  source->failure = HASHCREATE_SUCCESS;
  source->uses = 0;
  for (Window& window : source->windows) window.start = window.length = window.lastUse = 0;
}

ResultCode readBytes(Source* source, uint64_t offset, void* destination, uint32_t count) {
  if (!isWithin(*source, offset, count)) return HASHCREATE_READ_ERROR;
  uint8_t* next = static_cast<uint8_t*>(destination);
  while (count > 0) {
    Window* window = windowOf(source, offset);
    if (window == nullptr) {
      if (const ResultCode rc = load(source, offset, std::min(count, kWindowSize), &window)) return rc;
    }
    window->lastUse = ++source->uses;
    const uint32_t taken = takeFrom(*window, offset, next, count);
    offset += taken;
    next += taken;
    count -= taken;
  }
  return HASHCREATE_SUCCESS;
}

ResultCode readPayload(Source* source, uint64_t offset, void* destination, uint32_t count) {
  if (!isWithin(*source, offset, count)) return HASHCREATE_READ_ERROR;
  uint8_t* next = static_cast<uint8_t*>(destination);
  // What a window holds is taken from it: a source that only goes forward could not deliver it again.
  while (count > 0) {
    const Window* window = windowOf(source, offset);
    if (window == nullptr) return fetchAll(source, offset, next, count);
    const uint32_t taken = takeFrom(*window, offset, next, count);
    offset += taken;
    next += taken;
    count -= taken;
  }
  return HASHCREATE_SUCCESS;
}

// ---- Integers ----

uint64_t valueOf(const uint8_t* bytes, uint32_t size, ByteOrder order) {
  uint64_t value = 0;
  for (uint32_t i = 0; i < size; ++i) value = value << 8 | bytes[order == ByteOrder::big ? i : size - 1 - i];
  return value;
}

// ---- Parts ----

ResultCode take(Part* part, void* destination, uint32_t count) {
  if (remaining(*part) < count) return HASHCREATE_FORMAT_ERROR;
  if (const ResultCode rc = readBytes(part->source, part->position, destination, count)) return rc;
  part->position += count;
  return HASHCREATE_SUCCESS;
}

ResultCode takeNumber(Part* part, uint32_t size, ByteOrder order, uint64_t* value) {
  uint8_t bytes[8];
  if (const ResultCode rc = take(part, bytes, size)) return rc;
  *value = valueOf(bytes, size, order);
  return HASHCREATE_SUCCESS;
}

ResultCode pass(Part* part, uint64_t count) {
  if (remaining(*part) < count) return HASHCREATE_FORMAT_ERROR;
  part->position += count;
  return HASHCREATE_SUCCESS;
}

}  // namespace version4
