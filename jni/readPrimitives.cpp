#include "readPrimitives.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr uint32_t kPieceSize = 1024;       // bytes read and fed at a time
constexpr uint64_t kSamplesPerRange = 100;  // the sampling rule's divisor

}  // namespace

// ---- Moving ----

ResultCode seekTo(Stream* stream, uint64_t position) {
  return callbackSeek(stream, static_cast<int64_t>(position), kSeekAbsolute);
}

// ---- Feeding a byte range into a digest ----

bool isIdentifying(const Stream* stream) { return stream->hashMode > KMHASH_MODE_QUICK; }

uint64_t actualDataSizeCorrection(const Stream* stream, uint64_t size) {
  // A position past the end leaves a huge remainder: the range then fails at its first read.
  return std::min(size, remaining(stream));
}

ResultCode split_read(Stream* stream, uint64_t size, uint32_t which) {
  uint8_t piece[kPieceSize];
  while (size > 0) {
    const uint32_t length = static_cast<uint32_t>(std::min<uint64_t>(size, kPieceSize));
    if (const ResultCode rc = callbackRead(stream, piece, length)) return rc;
    dataInput(stream, piece, length, which);
    size -= length;
  }
  return HASHCREATE_SUCCESS;
}

ResultCode input_actual_large_data(Stream* stream, uint64_t size, uint64_t threshold, uint32_t which) {
  const uint64_t chunk = threshold / kSamplesPerRange;
  if (chunk == 0) return HASHCREATE_INVALID_PARAM;
  const uint64_t count = threshold / chunk;
  const uint64_t end = c_ftell(stream) + size;
  uint64_t gap = size / count - chunk;
  c_expect_samples(stream, chunk, chunk + gap, count);
  for (uint64_t i = 0; i < count; ++i) {
    if (const ResultCode rc = split_read(stream, chunk, which)) return rc;
    if (i == count - 1) gap = end - c_ftell(stream);
    if (gap == 0) continue;
    if (const ResultCode rc = skip(stream, gap)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

ResultCode input_actual_data(Stream* stream, uint64_t size, uint64_t threshold, uint32_t which) {
  if (stream->isWhole || size < threshold) return split_read(stream, size, which);
  return input_actual_large_data(stream, size, threshold, which);
}

ResultCode inputActualData(Stream* stream, uint64_t size) { return inputActualDataEx(stream, size, kContentDigest); }

ResultCode inputActualDataEx(Stream* stream, uint64_t size, uint32_t which) {
  return inputActualDataWithSizeEx(stream, actualDataSizeCorrection(stream, size), kSamplingThreshold, which);
}

ResultCode inputActualDataWithSize(Stream* stream, uint64_t size, uint64_t threshold) {
  return inputActualDataWithSizeEx(stream, size, threshold, kContentDigest);
}

ResultCode inputActualDataWithSizeEx(Stream* stream, uint64_t size, uint64_t threshold, uint32_t which) {
  if (isIdentifying(stream)) return skip(stream, size);
  return input_actual_data(stream, size, threshold, which);
}

ResultCode inputSpecifiedData(Stream* stream, uint64_t size) {
  return inputSpecifiedDataEx(stream, size, kContentDigest);
}

ResultCode inputSpecifiedDataEx(Stream* stream, uint64_t size, uint32_t which) {
  if (isIdentifying(stream)) return skip(stream, size);
  return split_read(stream, size, which);
}

// ---- Zero bytes ----

namespace {

// How many of at most kReadBufferSize bytes come before the first that is not zero; mostly it is all of them.
uint32_t countZeros(const uint8_t* bytes, uint32_t count) {
  static constexpr uint8_t kZeros[kReadBufferSize] = {};
  if (std::memcmp(bytes, kZeros, count) == 0) return count;
  const auto isOther = [](uint8_t byte) { return byte != 0; };
  return static_cast<uint32_t>(std::find_if(bytes, bytes + count, isOther) - bytes);
}

}  // namespace

ResultCode kmhNullSkip(Stream* stream, uint8_t* storage, uint32_t size, uint32_t* skipped) {
  *skipped = 0;
  if (size == 0) return HASHCREATE_INVALID_PARAM;
  for (;;) {
    if (const ResultCode rc = c_set_buffer(stream, storage, size)) return rc;
    uint32_t held = get_read_buff_remain(&stream->readBuffer);
    if (held == 0) return HASHCREATE_READ_ERROR;  // kept, but without bytes
    for (; held > 0; held = get_read_buff_remain(&stream->readBuffer)) {
      const uint64_t position = c_ftell(stream);
      uint8_t piece[kReadBufferSize];
      const uint32_t length = std::min(held, kReadBufferSize);
      if (const ResultCode rc = callbackRead(stream, piece, length)) return rc;
      const uint32_t zeros = countZeros(piece, length);
      *skipped += zeros;
      if (zeros < length) return seekTo(stream, position + zeros);
    }
  }
}

// ---- Four-character codes ----

int fourCC2String(uint32_t code, char* destination, uint32_t size) {
  constexpr uint32_t kLength = 4;
  if (size <= kLength) return -1;
  std::memset(destination, 0, size);
  for (uint32_t i = 0; i < kLength; ++i) destination[i] = static_cast<char>(code >> (24 - 8 * i) & 0xFF);
  const auto isPrintable = [](char c) { return c >= 0x20 && c <= 0x7E; };
  return std::all_of(destination, destination + kLength, isPrintable) ? 0 : -2;
}

int string2FourCC(const char* text, uint32_t count, uint8_t* destination) {
  if (text == nullptr || destination == nullptr || count < 4) return -1;
  for (int i = 0; i < 4; ++i) destination[i] = static_cast<uint8_t>(text[3 - i]);
  return 0;
}

int isUcharBitsON(uint8_t value, uint8_t mask) { return (value & mask) != 0 ? 1 : 0; }
