#include "version4/payload.h"

#include <algorithm>

#include "fileSource.h"
#include "hashRecord.h"

namespace version4 {
namespace {

constexpr uint64_t kMostRepeats = 8;
constexpr uint32_t kSamples = 100;
constexpr uint32_t kSampleSize = 163;
constexpr uint64_t kNear = 3072;          // samples no farther apart are cheaper read with what lies between
constexpr uint32_t kSpread = 2654435761;  // 2^32 divided by the golden ratio: spreads the samples' shifts evenly

// A place in the payload that only goes forward.
struct Reader {
  const Payload* payload;
  Source* source;
  size_t range = 0;       // index of the range at hand
  uint64_t within = 0;    // offset in it
  uint64_t position = 0;  // offset in the payload
};

// Goes on to a position within the payload, or to its end.
void moveTo(Reader* reader, uint64_t position) {
  uint64_t distance = position - reader->position;
  reader->position = position;
  for (; reader->range < reader->payload->closed.size; ++reader->range, reader->within = 0) {
    const uint64_t left = reader->payload->closed[reader->range].count - reader->within;
    if (distance < left) break;
    distance -= left;
  }
  reader->within += distance;
}

// Bytes fetched at once. They may go beyond a range: what lies between small ranges is cheaper read than passed over.
struct Piece {
  uint64_t start = 0;  // offset in the file
  uint32_t length = 0;
  uint8_t bytes[16384];
};

// Makes the piece begin at offset with at least one of the count bytes there. Small ranges may lie anywhere: more is
// fetched where they go on behind the last ones, twice as much each time, and at first; fetch bytes at most.
ResultCode load(Piece* piece, Source* source, uint64_t offset, uint64_t count, uint32_t fetch) {
  const uint64_t end = piece->start + piece->length;
  const bool goesOn = offset >= end && offset - end <= sizeof(piece->bytes);
  uint32_t ahead = goesOn ? std::min(2 * piece->length, fetch) : kSampleSize;
  if (piece->length == 0) ahead = fetch;
  const uint64_t wanted = std::min<uint64_t>(std::max<uint64_t>(count, ahead), sizeof(piece->bytes));
  piece->start = offset;
  piece->length = static_cast<uint32_t>(std::min(wanted, source->size - offset));
  return readPayload(source, offset, piece->bytes, piece->length);
}

// Feeds the next count bytes, which the payload has.
ResultCode feed(Reader* reader, uint64_t count, uint32_t fetch, Piece* piece, SHA1Context* sha1) {
  while (count > 0) {
    const Range& range = rangeAt(*reader->payload, reader->range);
    const uint64_t offset = range.offset + reader->within;
    const uint64_t inRange = std::min(count, range.count - reader->within);
    if (offset < piece->start || offset - piece->start >= piece->length) {
      if (const ResultCode rc = load(piece, reader->source, offset, inRange, fetch)) return rc;
    }
    const uint32_t at = static_cast<uint32_t>(offset - piece->start);
    const uint32_t length = static_cast<uint32_t>(std::min<uint64_t>(inRange, piece->length - at));
    SHA1Input(sha1, piece->bytes + at, length);
    moveTo(reader, reader->position + length);
    count -= length;
  }
  return HASHCREATE_SUCCESS;
}

// Shifted within its step, each sample by another amount: data of even structure has no part that samples never reach.
uint64_t sampleOffset(uint64_t length, uint32_t i) {
  const uint64_t step = length / kSamples;
  const uint64_t shift = i * kSpread;  // mod 2^32
  const uint64_t room = step - kSampleSize;
  // shift * room / 2^32 without a product above 64 bits.
  return i * step + shift * (room >> 32) + (shift * (room & 0xFFFFFFFF) >> 32);
}

uint64_t fileOffset(const Reader& reader) { return rangeAt(*reader.payload, reader.range).offset + reader.within; }

void announceSamples(const Payload& payload, Source* source) {
  FileSource* file = fileSourceOf(*source->from);
  if (file == nullptr) return;
  Reader reader = {&payload, source};
  uint64_t offsets[kSamples];
  for (uint32_t i = 0; i < kSamples; ++i) {
    moveTo(&reader, sampleOffset(payload.length, i));
    offsets[i] = fileOffset(reader);
  }
  expectReads(file, offsets, kSamples, kSampleSize);
}

ResultCode feedSamples(const Payload& payload, Source* source, Piece* piece, SHA1Context* sha1) {
  announceSamples(payload, source);
  const uint32_t fetch = payload.length / kSamples <= kNear ? sizeof(piece->bytes) : kSampleSize;
  Reader reader = {&payload, source};
  for (uint32_t i = 0; i < kSamples; ++i) {
    moveTo(&reader, sampleOffset(payload.length, i));
    if (const ResultCode rc = feed(&reader, kSampleSize, fetch, piece, sha1)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

ResultCode feedAll(const Payload& payload, Source* source, Piece* piece, SHA1Context* sha1) {
  Reader reader = {&payload, source};
  return feed(&reader, payload.length, sizeof(piece->bytes), piece, sha1);
}

ResultCode closeLast(Payload* payload) {
  if (payload->last.count == 0) return HASHCREATE_SUCCESS;
  if (payload->closed.size + 1 == kMostRanges) return HASHCREATE_FORMAT_ERROR;
  return append(&payload->closed, payload->last) ? HASHCREATE_SUCCESS : HASHCREATE_MEM_ALLOC_ERROR;
}

}  // namespace

// ---- Making a payload ----

const Range& rangeAt(const Payload& payload, size_t index) {
  return index < payload.closed.size ? payload.closed[index] : payload.last;
}

ResultCode addRange(Payload* payload, uint64_t fileSize, uint64_t offset, uint64_t count) {
  const Range& last = payload->last;
  const bool goesOn = last.count > 0 && last.offset + last.count == offset;
  if (!goesOn || offset > fileSize || count > fileSize - offset) {
    return addRangeApart(payload, fileSize, offset, count);
  }
  payload->last.count += count;
  payload->length += std::min(count, UINT64_MAX - payload->length);
  return HASHCREATE_SUCCESS;
}

ResultCode addRangeApart(Payload* payload, uint64_t fileSize, uint64_t offset, uint64_t count) {
  if (count == 0) return HASHCREATE_SUCCESS;
  if (offset > fileSize || count > fileSize - offset) return HASHCREATE_READ_ERROR;
  if (const ResultCode rc = closeLast(payload)) return rc;
  payload->last = {offset, count};
  payload->length += std::min(count, UINT64_MAX - payload->length);
  return HASHCREATE_SUCCESS;
}

ResultCode checkLength(const Payload& payload, uint64_t fileSize) {
  const uint64_t times = payload.length / kMostRepeats;
  const bool tooLong = times > fileSize || (times == fileSize && payload.length % kMostRepeats > 0);
  return payload.length == 0 || tooLong ? HASHCREATE_FORMAT_ERROR : HASHCREATE_SUCCESS;
}

ResultCode readFront(const Payload& payload, Source* source, void* destination, uint32_t count) {
  uint8_t* next = static_cast<uint8_t*>(destination);
  for (size_t i = 0; count > 0; ++i) {
    const Range& range = rangeAt(payload, i);
    const uint32_t length = static_cast<uint32_t>(std::min<uint64_t>(count, range.count));
    if (const ResultCode rc = readBytes(source, range.offset, next, length)) return rc;
    next += length;
    count -= length;
  }
  return HASHCREATE_SUCCESS;
}

// ---- Hashing it ----

ResultCode inputContent(const Payload& payload, Source* source, bool whole, SHA1Context* sha1) {
  if (whole) SHA1Input(sha1, kWholeMark, sizeof(kWholeMark));
  const bool isFed = whole || payload.length < kSampledFrom;
  Piece piece;
  const ResultCode rc = isFed ? feedAll(payload, source, &piece, sha1) : feedSamples(payload, source, &piece, sha1);
  if (rc != HASHCREATE_SUCCESS) return rc;
  uint8_t length[8];
  toBigEndian(payload.length, length);
  SHA1Input(sha1, length, sizeof(length));
  return HASHCREATE_SUCCESS;
}

}  // namespace version4
