#include "version4/soundTags.h"

#include <algorithm>
#include <cstring>

namespace version4 {
namespace {

constexpr uint32_t kId3Header = 10;  // of ID3v2; its footer is as long
constexpr uint8_t kId3HasFooter = 0x10;
constexpr uint32_t kApeFooter = 32;                           // or header
constexpr uint8_t kApeHasHeader = 0x80, kApeIsHeader = 0x20;  // of the highest byte of the flags
constexpr uint32_t kId3v1 = 128;
constexpr uint32_t kId3v1Extended = 227;  // "TAG+", in front of it
constexpr std::string_view kApe = "APETAGEX", kLyricsBegin = "LYRICSBEGIN", kLyricsEnd = "LYRICS200";
constexpr uint32_t kLyricsDigits = 6;

bool begins(const uint8_t* bytes, std::string_view text) { return std::memcmp(bytes, text.data(), text.size()) == 0; }

// Four bytes of seven bits each; false when one has eight.
bool readSyncSafe(const uint8_t* bytes, uint64_t* value) {
  *value = 0;
  for (int i = 0; i < 4; ++i) {
    if (bytes[i] >= 0x80) return false;
    *value = *value << 7 | bytes[i];
  }
  return true;
}

// ---- In front ----

ResultCode passZeros(Source* source, uint64_t* position) {
  uint8_t piece[256];
  while (*position < source->size) {
    const uint64_t left = source->size - *position;
    const uint32_t count = static_cast<uint32_t>(std::min<uint64_t>(sizeof(piece), left));
    if (const ResultCode rc = readBytes(source, *position, piece, count)) return rc;
    const uint8_t* other = std::find_if(piece, piece + count, [](uint8_t byte) { return byte != 0; });
    *position += static_cast<uint64_t>(other - piece);
    if (other != piece + count) return HASHCREATE_SUCCESS;
  }
  return HASHCREATE_SUCCESS;
}

// The size of the ID3v2 tag that begins at position, 0 when none does.
uint64_t id3Size(Source* source, uint64_t position) {
  uint8_t header[kId3Header];
  uint64_t size;
  if (readBytes(source, position, header, sizeof(header)) != HASHCREATE_SUCCESS || !begins(header, "ID3")) return 0;
  if (header[3] == 0xFF || header[4] == 0xFF || !readSyncSafe(header + 6, &size)) return 0;
  return kId3Header + size + ((header[5] & kId3HasFooter) != 0 ? kId3Header : 0);
}

uint64_t apeSize(Source* source, uint64_t position) {
  uint8_t header[kApeFooter];
  if (readBytes(source, position, header, sizeof(header)) != HASHCREATE_SUCCESS || !begins(header, kApe)) return 0;
  return (header[23] & kApeIsHeader) != 0 ? kApeFooter + uint64_t{u32le(header + 12)} : 0;
}

// ---- Behind ----

// The last bytes of the sound and its tags so far: enough for the longest tag of a fixed size.
struct Tail {
  uint8_t bytes[kId3v1Extended + kId3v1];
  uint32_t count;
  uint64_t left;  // from the sound's start to here
};

bool endsWith(const Tail& tail, uint32_t distance, std::string_view text) {
  return tail.count >= distance && begins(tail.bytes + tail.count - distance, text);
}

const uint8_t* behind(const Tail& tail, uint32_t distance) { return tail.bytes + tail.count - distance; }

uint64_t apeSizeBehind(const Tail& tail) {
  const uint64_t header = (*behind(tail, 9) & kApeHasHeader) != 0 ? kApeFooter : 0;
  const uint64_t size = u32le(behind(tail, 20)) + header;
  return size >= kApeFooter && size <= tail.left ? size : 0;
}

uint64_t lyricsSize(Analysis* analysis, const Tail& tail, uint64_t end) {
  constexpr uint32_t kTrailer = kLyricsDigits + static_cast<uint32_t>(kLyricsEnd.size());
  if (tail.count < kTrailer) return 0;
  uint64_t size = kTrailer;
  uint64_t unit = 100'000;
  for (const uint8_t* digit = behind(tail, kTrailer); unit > 0; ++digit, unit /= 10) {
    if (*digit < '0' || *digit > '9') return 0;
    size += (*digit - '0') * unit;
  }
  return size <= tail.left && hasAt(analysis, end - size, kLyricsBegin) ? size : 0;
}

uint64_t id3SizeBehind(Analysis* analysis, const Tail& tail, uint64_t end) {
  uint64_t size;
  if (!readSyncSafe(behind(tail, 4), &size)) return 0;
  size += 2 * kId3Header;
  return size <= tail.left && hasAt(analysis, end - size, "ID3") ? size : 0;
}

// The size of the tag that ends at end, 0 when none does.
uint64_t tagSizeBehind(Analysis* analysis, const Tail& tail, uint64_t end) {
  // "APETAGEX" holds "TAG".
  if (endsWith(tail, kId3v1, "TAG") && !endsWith(tail, kId3v1 + 3, kApe)) {
    return endsWith(tail, kId3v1 + kId3v1Extended, "TAG+") ? kId3v1 + kId3v1Extended : kId3v1;
  }
  if (endsWith(tail, kApeFooter, kApe)) return apeSizeBehind(tail);
  if (endsWith(tail, kLyricsEnd.size(), kLyricsEnd)) return lyricsSize(analysis, tail, end);
  if (endsWith(tail, kId3Header, "3DI")) return id3SizeBehind(analysis, tail, end);
  return 0;
}

}  // namespace

ResultCode findFront(Analysis* analysis) {
  if (analysis->isFrontKnown) return HASHCREATE_SUCCESS;
  Source* source = analysis->source;
  uint64_t position = 0;
  for (uint64_t size = 1; size > 0; position += size) {
    if (const ResultCode rc = passZeros(source, &position)) return rc;
    size = id3Size(source, position);
    if (size == 0) size = apeSize(source, position);
    if (size > source->size - position) return HASHCREATE_READ_ERROR;
  }
  analysis->front = position;
  analysis->isFrontKnown = true;
  return HASHCREATE_SUCCESS;
}

ResultCode findEnd(Analysis* analysis, uint64_t start, uint64_t* end) {
  *end = analysis->source->size;
  while (*end > start) {
    Tail tail;
    tail.left = *end - start;
    tail.count = static_cast<uint32_t>(std::min<uint64_t>(sizeof(tail.bytes), tail.left));
    if (const ResultCode rc = readBytes(analysis->source, *end - tail.count, tail.bytes, tail.count)) return rc;
    const uint64_t size = tagSizeBehind(analysis, tail, *end);
    if (size == 0) return HASHCREATE_SUCCESS;
    *end -= size;
  }
  return HASHCREATE_SUCCESS;
}

ResultCode addUntilTags(Analysis* analysis, uint64_t start) {
  uint64_t end;
  if (const ResultCode rc = findEnd(analysis, start, &end)) return rc;
  return end > start ? addRange(analysis, start, end - start) : HASHCREATE_SUCCESS;
}

}  // namespace version4
