// FLAC (RFC 9639), between tags: "fLaC", then metadata blocks of flags:u8 length:u24be body up to the one whose highest
// flag is set, then frames.
//   content: the frames, everything up to the tags behind
//   meta:    of STREAMINFO, the first block: rate, channels, bits, number of samples
#include "version4/rows.h"
#include "version4/soundTags.h"

namespace version4 {
namespace {

constexpr uint32_t kBlockHeader = 4;
constexpr uint8_t kIsLast = 0x80, kType = 0x7F;
constexpr uint8_t kStreamInfo = 0, kInvalidType = 127;
constexpr uint32_t kStreamInfoSize = 34;
constexpr uint32_t kFormat = 10;  // place in STREAMINFO of what enters the meta digest, 8 bytes
constexpr uint16_t kFixedBlocks = 0xFFF8, kVariableBlocks = 0xFFF9;  // the first two bytes of a frame

ResultCode recogniseFlac(Analysis* analysis) {
  if (const ResultCode rc = findFront(analysis)) return rc;
  return hasAt(analysis, analysis->front, "fLaC") ? HASHCREATE_SUCCESS : kNotThisFormat;
}

// Passes over one metadata block; *isLast is what it says.
ResultCode passBlock(Analysis* analysis, uint64_t* position, bool isFirst, bool* isLast) {
  uint8_t header[kBlockHeader];
  if (const ResultCode rc = readBytes(analysis->source, *position, header, sizeof(header))) return rc;
  *position += sizeof(header);
  const uint32_t length = u24be(header + 1);
  if (length > analysis->source->size - *position) return HASHCREATE_READ_ERROR;
  *position += length;
  *isLast = (header[0] & kIsLast) != 0;
  const uint8_t type = header[0] & kType;
  if (type == kInvalidType || (type == kStreamInfo) != isFirst) return HASHCREATE_FORMAT_ERROR;
  return isFirst && length < kStreamInfoSize ? HASHCREATE_FORMAT_ERROR : HASHCREATE_SUCCESS;
}

// Sets where the frames begin.
ResultCode passBlocks(Analysis* analysis, uint64_t first, uint64_t* frames) {
  *frames = first;
  for (bool isLast = false; !isLast;) {
    if (const ResultCode rc = passBlock(analysis, frames, *frames == first, &isLast)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

// A file may end behind its blocks; when it goes on, a frame begins there.
ResultCode checkFrame(Analysis* analysis, uint64_t position) {
  uint8_t sync[2];
  if (analysis->source->size - position < sizeof(sync)) return HASHCREATE_SUCCESS;
  if (const ResultCode rc = readBytes(analysis->source, position, sync, sizeof(sync))) return rc;
  const bool isFrame = u16be(sync) == kFixedBlocks || u16be(sync) == kVariableBlocks;
  return isFrame ? HASHCREATE_SUCCESS : HASHCREATE_FORMAT_ERROR;
}

ResultCode analyseFlac(Analysis* analysis) {
  const uint64_t firstBlock = analysis->front + 4;
  uint64_t frames;
  if (const ResultCode rc = passBlocks(analysis, firstBlock, &frames)) return rc;
  if (const ResultCode rc = checkFrame(analysis, frames)) return rc;
  if (const ResultCode rc = addUntilTags(analysis, frames)) return rc;
  setFormatFamily(analysis, "FLAC");
  return inputMetaFrom(analysis, firstBlock + kBlockHeader + kFormat, 8);
}

}  // namespace

const Algorithm kFlac = {0x2E, "FLAC", "AUDIO", recogniseFlac, analyseFlac, nullptr};

}  // namespace version4
