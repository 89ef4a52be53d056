// What a file's content digest is made of: ranges of the file, one behind another, as if they were one run of bytes.
#pragma once

#include <cstdint>

#include "growingList.h"
#include "sha1.h"
#include "version4/source.h"

namespace version4 {

struct Range {
  uint64_t offset;
  uint64_t count;
};

// Runs of this many bytes and more are sampled.
inline constexpr uint64_t kSampledFrom = 16384;

inline constexpr size_t kMostRanges = size_t{1} << 20;

struct Payload {
  GrowingList<Range> closed;  // the ranges before the last one; a payload of one range takes no heap
  Range last = {};            // grows while ranges go on where it ends
  uint64_t length = 0;        // of all, UINT64_MAX at most
};

inline size_t rangeCount(const Payload& payload) { return payload.closed.size + (payload.last.count > 0 ? 1 : 0); }

// The range of an index below rangeCount.
const Range& rangeAt(const Payload& payload, size_t index);

// Appends a range of the file; one that goes on where the last one ends becomes part of it, one of 0 bytes is nothing.
// HASHCREATE_READ_ERROR when it ends behind the file, HASHCREATE_FORMAT_ERROR for the 2^20 + 1st range,
// HASHCREATE_MEM_ALLOC_ERROR.
ResultCode addRange(Payload* payload, uint64_t fileSize, uint64_t offset, uint64_t count);

// The same without looking at the last range: where another track begins.
ResultCode addRangeApart(Payload* payload, uint64_t fileSize, uint64_t offset, uint64_t count);

// HASHCREATE_FORMAT_ERROR for an empty payload, and for one longer than 8 times the file: ranges may repeat, but
// hashing stays linear.
ResultCode checkLength(const Payload& payload, uint64_t fileSize);

// Copies the first count bytes, which the payload has.
ResultCode readFront(const Payload& payload, Source* source, void* destination, uint32_t count);

// Feeds the payload and its length in 8 bytes, big-endian: all of it when whole is asked for (behind a mark that no
// sampled digest begins with) or when it is short, else 100 samples of 163 bytes.
ResultCode inputContent(const Payload& payload, Source* source, bool whole, SHA1Context* sha1);

}  // namespace version4
