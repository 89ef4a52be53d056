// PNG (ISO/IEC 15948) and APNG: eight signature bytes, then chunks of length:u32be type:u8[4] body crc:u32be, up to
// IEND.
//   content: the bodies of IDAT and fdAT, of the latter without its sequence number
//   meta:    types and bodies of IHDR, PLTE, tRNS, acTL and fcTL (without sequence number) in file order; at the first
//            IDAT its type, so that it counts whether the still picture is the first frame
// How the image is divided into IDAT chunks does not count, and CRCs are not checked.
#include <cstring>

#include "version4/rows.h"

namespace version4 {
namespace {

constexpr std::string_view kSignature = "\x89PNG\r\n\x1A\n";
constexpr uint32_t kChunkHeader = 8;
constexpr uint32_t kCrc = 4;
constexpr uint32_t kSequenceNumber = 4;
constexpr uint32_t kHeaderSize = 13;        // of IHDR
constexpr uint32_t kFrameControlSize = 26;  // of fcTL

struct Chunk {
  char type[4];
  uint64_t body;  // offset in the file
  uint32_t length;
};

struct Picture {
  bool hasHeader = false, hasImage = false, isAnimated = false;
};

bool isType(const Chunk& chunk, const char* type) { return std::memcmp(chunk.type, type, sizeof(chunk.type)) == 0; }

ResultCode recognisePng(Analysis* analysis) {
  return hasAt(analysis, 0, kSignature) ? HASHCREATE_SUCCESS : kNotThisFormat;
}

// Feeds the type and the body from some byte on, which the body has.
ResultCode inputChunk(Analysis* analysis, const Chunk& chunk, uint32_t from) {
  const uint32_t count = chunk.length - from;
  if (const ResultCode rc = countTable(analysis, count)) return rc;
  inputMeta(analysis, chunk.type, sizeof(chunk.type));
  return inputMetaFrom(analysis, chunk.body + from, count);
}

ResultCode takeImage(Analysis* analysis, const Chunk& chunk, Picture* picture) {
  if (!picture->hasImage) inputMeta(analysis, chunk.type, sizeof(chunk.type));
  picture->hasImage = true;
  return addPictureRange(analysis, chunk.body, chunk.length);
}

ResultCode takeChunk(Analysis* analysis, const Chunk& chunk, Picture* picture) {
  if (isType(chunk, "IDAT")) return takeImage(analysis, chunk, picture);
  if (isType(chunk, "fdAT")) {
    if (chunk.length < kSequenceNumber) return HASHCREATE_FORMAT_ERROR;
    return addPictureRange(analysis, chunk.body + kSequenceNumber, chunk.length - kSequenceNumber);
  }
  if (isType(chunk, "fcTL")) {
    if (chunk.length != kFrameControlSize) return HASHCREATE_FORMAT_ERROR;
    return inputChunk(analysis, chunk, kSequenceNumber);
  }
  if (isType(chunk, "IHDR")) {
    picture->hasHeader = true;
    if (chunk.length != kHeaderSize) return HASHCREATE_FORMAT_ERROR;
    return inputChunk(analysis, chunk, 0);
  }
  if (isType(chunk, "acTL")) picture->isAnimated = true;
  const bool counts = isType(chunk, "PLTE") || isType(chunk, "tRNS") || isType(chunk, "acTL");
  return counts ? inputChunk(analysis, chunk, 0) : HASHCREATE_SUCCESS;
}

ResultCode readChunk(Analysis* analysis, uint64_t offset, Chunk* chunk) {
  uint8_t header[kChunkHeader];
  if (const ResultCode rc = countParts(analysis, 1)) return rc;
  if (const ResultCode rc = readBytes(analysis->source, offset, header, sizeof(header))) return rc;
  chunk->length = u32be(header);
  std::memcpy(chunk->type, header + 4, sizeof(chunk->type));
  chunk->body = offset + sizeof(header);
  return HASHCREATE_SUCCESS;
}

ResultCode analysePng(Analysis* analysis) {
  Picture picture;
  Chunk chunk;
  for (uint64_t offset = kSignature.size();; offset = chunk.body + chunk.length + kCrc) {
    if (const ResultCode rc = readChunk(analysis, offset, &chunk)) return rc;
    if (isType(chunk, "IEND")) break;
    const uint64_t left = analysis->source->size - chunk.body;
    if (left < kCrc || chunk.length > left - kCrc) return HASHCREATE_READ_ERROR;
    if (const ResultCode rc = takeChunk(analysis, chunk, &picture)) return rc;
  }
  if (!picture.hasHeader) return HASHCREATE_FORMAT_ERROR;
  setFormatFamily(analysis, "PNG ");
  if (picture.isAnimated) setFormatDetail(analysis, "APNG");
  return HASHCREATE_SUCCESS;
}

}  // namespace

const Algorithm kPng = {0x2D, "PNG", "PHOTO", recognisePng, analysePng, nullptr};

}  // namespace version4
