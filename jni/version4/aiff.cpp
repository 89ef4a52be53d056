// AIFF and AIFF-C, behind tags: "FORM", size:u32be, "AIFF" or "AIFC", then chunks of name:u8[4] size:u32be body, padded
// to an even size.
//   content: the body of the first SSND chunk behind its eight bytes and the offset that they tell
//   meta:    the first 18 bytes of the first COMM chunk: channels, frames, bits, rate; of AIFF-C also the compression
#include <cstring>

#include "version4/chunks.h"
#include "version4/rows.h"
#include "version4/soundTags.h"

namespace version4 {
namespace {

constexpr uint64_t kFirstChunk = 12;
constexpr uint32_t kCommon = 18;            // bytes of COMM in AIFF
constexpr uint32_t kCompressedCommon = 22;  // and in AIFF-C, the compression last
constexpr uint32_t kSoundHeader = 8;        // offset and block size

struct Sound {
  Chunk common = {}, sound = {};
  bool hasCommon = false, hasSound = false;
};

ResultCode recogniseAiff(Analysis* analysis) {
  if (const ResultCode rc = findFront(analysis)) return rc;
  const bool isAiff = hasAt(analysis, analysis->front + 8, "AIFF") || hasAt(analysis, analysis->front + 8, "AIFC");
  return isAiff && hasAt(analysis, analysis->front, "FORM") ? HASHCREATE_SUCCESS : kNotThisFormat;
}

ResultCode takeChunk(Analysis* analysis, uint64_t* position, Sound* sound) {
  Chunk chunk;
  if (const ResultCode rc = readChunkHeader(analysis->source, *position, ByteOrder::big, &chunk)) return rc;
  if (const ResultCode rc = passChunk(*analysis->source, chunk, position)) return rc;
  if (isNamed(chunk, "COMM") && !sound->hasCommon) {
    sound->common = chunk;
    sound->hasCommon = true;
  }
  if (isNamed(chunk, "SSND") && !sound->hasSound) {
    sound->sound = chunk;
    sound->hasSound = true;
  }
  return HASHCREATE_SUCCESS;
}

ResultCode takeCommon(Analysis* analysis, const Chunk& chunk) {
  uint8_t common[kCompressedCommon];
  const bool isCompressed = hasAt(analysis, analysis->front + 8, "AIFC");
  const uint32_t size = isCompressed ? kCompressedCommon : kCommon;
  if (chunk.size < size) return HASHCREATE_FORMAT_ERROR;
  if (const ResultCode rc = readBytes(analysis->source, chunk.body, common, size)) return rc;
  inputMeta(analysis, common, size);
  setFormatFamily(analysis, "AIFF");
  if (isCompressed) {
    setFormatDetail(analysis, common + kCommon);
  } else {
    setFormatDetail(analysis, "NONE");
  }
  return HASHCREATE_SUCCESS;
}

ResultCode takeSound(Analysis* analysis, const Chunk& chunk) {
  uint8_t offset[4];
  if (chunk.size < kSoundHeader) return HASHCREATE_FORMAT_ERROR;
  if (const ResultCode rc = readBytes(analysis->source, chunk.body, offset, sizeof(offset))) return rc;
  const uint64_t size = chunk.size - kSoundHeader;
  if (u32be(offset) > size) return HASHCREATE_FORMAT_ERROR;
  return addRange(analysis, chunk.body + kSoundHeader + u32be(offset), size - u32be(offset));
}

ResultCode analyseAiff(Analysis* analysis) {
  Sound sound;
  for (uint64_t position = analysis->front + kFirstChunk; !sound.hasCommon || !sound.hasSound;) {
    if (const ResultCode rc = takeChunk(analysis, &position, &sound)) return rc;
  }
  if (const ResultCode rc = takeCommon(analysis, sound.common)) return rc;
  return takeSound(analysis, sound.sound);
}

}  // namespace

const Algorithm kAiff = {0x26, "AIFF", "AUDIO", recogniseAiff, analyseAiff, nullptr};

}  // namespace version4
