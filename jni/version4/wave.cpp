// WAVE and its 64-bit forms: "RIFF", "RF64" or "BW64", size:u32le, "WAVE", then chunks of name:u8[4] size:u32le body,
// padded to an even size.
//   content: the body of the first data chunk
//   meta:    the first sixteen bytes of the first "fmt " chunk: format, channels, rate, bytes a second, block, bits
// The size in front is left out: editors forget it, and streams never know it.
#include <cstring>

#include "version4/chunks.h"
#include "version4/rows.h"

namespace version4 {
namespace {

constexpr uint64_t kFirstChunk = 12;
constexpr uint32_t kUnknownSize = 0xFFFFFFFF;  // of data: ds64 tells it, or the file's end
constexpr uint32_t kSmallestSizes = 16;        // of ds64, up to the data's size
constexpr uint32_t kFormat = 16;               // bytes of "fmt " that every file has
constexpr uint32_t kSubFormat = 24;            // place in "fmt " of the extensible format
constexpr uint16_t kExtensible = 0xFFFE;

struct Sound {
  Chunk format = {}, data = {};
  bool hasFormat = false, hasData = false, hasSizes = false;
  uint64_t dataSize = 0;  // of ds64
};

ResultCode recogniseWave(Analysis* analysis) {
  const bool isRiff = hasAt(analysis, 0, "RIFF") || hasAt(analysis, 0, "RF64") || hasAt(analysis, 0, "BW64");
  return isRiff && hasAt(analysis, 8, "WAVE") ? HASHCREATE_SUCCESS : kNotThisFormat;
}

// ---- Chunks ----

ResultCode takeSizes(Analysis* analysis, const Chunk& chunk, Sound* sound) {
  uint8_t size[8];
  if (const ResultCode rc = readBytes(analysis->source, chunk.body + 8, size, sizeof(size))) return rc;
  sound->dataSize = u64le(size);
  sound->hasSizes = true;
  return HASHCREATE_SUCCESS;
}

uint64_t sizeOfData(const Source& source, const Chunk& data, const Sound& sound) {
  if (data.size != kUnknownSize) return data.size;
  return sound.hasSizes ? sound.dataSize : source.size - data.body;
}

ResultCode takeChunk(Analysis* analysis, uint64_t* position, Sound* sound) {
  Chunk chunk;
  if (const ResultCode rc = readChunkHeader(analysis->source, *position, ByteOrder::little, &chunk)) return rc;
  const bool isData = isNamed(chunk, "data");
  if (isData) chunk.size = sizeOfData(*analysis->source, chunk, *sound);
  if (const ResultCode rc = passChunk(*analysis->source, chunk, position)) return rc;
  if (isData && !sound->hasData) {
    sound->data = chunk;
    sound->hasData = true;
  } else if (isNamed(chunk, "fmt ") && !sound->hasFormat) {
    sound->format = chunk;
    sound->hasFormat = true;
  } else if (isNamed(chunk, "ds64") && chunk.size >= kSmallestSizes && !sound->hasSizes) {
    return takeSizes(analysis, chunk, sound);
  }
  return HASHCREATE_SUCCESS;
}

// ---- The finish ----

void setFormat(Analysis* analysis, uint16_t format) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  char digits[4];
  for (int i = 0; i < 4; ++i) digits[i] = kDigits[format >> (12 - 4 * i) & 0xF];
  setFormatFamily(analysis, "WAVE");
  setFormatDetail(analysis, digits);
}

ResultCode finish(Analysis* analysis, const Sound& sound) {
  uint8_t format[kFormat];
  if (sound.format.size < sizeof(format)) return HASHCREATE_FORMAT_ERROR;
  if (const ResultCode rc = readBytes(analysis->source, sound.format.body, format, sizeof(format))) return rc;
  // Encoders name the same samples by either format.
  if (u16le(format) == kExtensible && sound.format.size >= kSubFormat + 2) {
    if (const ResultCode rc = readBytes(analysis->source, sound.format.body + kSubFormat, format, 2)) return rc;
  }
  inputMeta(analysis, format, sizeof(format));
  setFormat(analysis, u16le(format));
  return addRange(analysis, sound.data.body, sound.data.size);
}

ResultCode analyseWave(Analysis* analysis) {
  Sound sound;
  for (uint64_t position = kFirstChunk; !sound.hasFormat || !sound.hasData;) {
    if (const ResultCode rc = takeChunk(analysis, &position, &sound)) return rc;
  }
  return finish(analysis, sound);
}

}  // namespace

const Algorithm kWave = {0x2B, "WAVE", "AUDIO", recogniseWave, analyseWave, nullptr};

}  // namespace version4
