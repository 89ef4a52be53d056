// WebP (RFC 9649): "RIFF" size:u32le "WEBP", then chunks of name:u8[4] size:u32le data, padded to an even size.
//   content: the data of VP8, VP8L, ALPH and ANMF chunks; of an ANMF its header too: place, duration, blending
//   meta:    width and height, the number of these chunks, background and loops of an animation
// The flags of VP8X are left out: editors that add a profile or a caption set them. So a simple file and the same one
// behind a VP8X agree.
#include <algorithm>
#include <cstring>

#include "version4/rows.h"

namespace version4 {
namespace {

constexpr uint64_t kFirstChunk = 12;
constexpr uint32_t kChunkHeader = 8;
constexpr uint8_t kLosslessSignature = 1;  // bytes in front of VP8L's size
constexpr uint32_t kSizeFields = 6;        // width and height, or background and loops

struct Chunk {
  char name[4];
  uint64_t data;  // offset in the file
  uint32_t size;
};

// What the chunks tell besides the payload.
struct Picture {
  uint32_t chunks = 0;  // of the payload
  bool hasCanvas = false, hasFrame = false, hasAnimation = false;
  bool isAnimated = false;         // holds an ANMF
  uint8_t canvas[kSizeFields];     // width - 1 and height - 1 of VP8X, 3 bytes each
  uint8_t frame[kSizeFields];      // of the first VP8 or VP8L, likewise
  uint8_t animation[kSizeFields];  // background and loops
  char codec[4];                   // of the first VP8 or VP8L
};

bool isNamed(const Chunk& chunk, const char* name) { return std::memcmp(chunk.name, name, 4) == 0; }

bool isPayload(const Chunk& chunk) {
  return isNamed(chunk, "VP8 ") || isNamed(chunk, "VP8L") || isNamed(chunk, "ALPH") || isNamed(chunk, "ANMF");
}

ResultCode recogniseWebp(Analysis* analysis) {
  return hasAt(analysis, 0, "RIFF") && hasAt(analysis, 8, "WEBP") ? HASHCREATE_SUCCESS : kNotThisFormat;
}

// ---- Width and height ----

ResultCode readData(Analysis* analysis, const Chunk& chunk, uint32_t offset, void* destination, uint32_t count) {
  if (chunk.size < offset + count) return HASHCREATE_FORMAT_ERROR;
  return readBytes(analysis->source, chunk.data + offset, destination, count);
}

void writeLess1(uint32_t value, uint8_t* bytes) {
  for (int i = 0; i < 3; ++i) bytes[i] = static_cast<uint8_t>((value - 1) >> (8 * i));
}

ResultCode readLossySize(Analysis* analysis, const Chunk& chunk, uint8_t* frame) {
  uint8_t bytes[4];
  if (const ResultCode rc = readData(analysis, chunk, 6, bytes, sizeof(bytes))) return rc;
  const uint32_t width = u16le(bytes) & 0x3FFF;
  const uint32_t height = u16le(bytes + 2) & 0x3FFF;
  if (width == 0 || height == 0) return HASHCREATE_FORMAT_ERROR;
  writeLess1(width, frame);
  writeLess1(height, frame + 3);
  return HASHCREATE_SUCCESS;
}

ResultCode readLosslessSize(Analysis* analysis, const Chunk& chunk, uint8_t* frame) {
  uint8_t bytes[4];
  if (const ResultCode rc = readData(analysis, chunk, kLosslessSignature, bytes, sizeof(bytes))) return rc;
  const uint32_t fields = u32le(bytes);
  writeLess1((fields & 0x3FFF) + 1, frame);
  writeLess1((fields >> 14 & 0x3FFF) + 1, frame + 3);
  return HASHCREATE_SUCCESS;
}

ResultCode takeFrame(Analysis* analysis, const Chunk& chunk, Picture* picture) {
  if (picture->hasFrame) return HASHCREATE_SUCCESS;
  picture->hasFrame = true;
  std::memcpy(picture->codec, chunk.name, sizeof(picture->codec));
  return isNamed(chunk, "VP8 ") ? readLossySize(analysis, chunk, picture->frame)
                                : readLosslessSize(analysis, chunk, picture->frame);
}

// ---- Chunks ----

ResultCode readChunk(Part* file, Chunk* chunk) {
  uint8_t header[kChunkHeader];
  if (const ResultCode rc = take(file, header, sizeof(header))) return rc;
  std::memcpy(chunk->name, header, sizeof(chunk->name));
  chunk->size = u32le(header + 4);
  chunk->data = file->position;
  if (const ResultCode rc = pass(file, chunk->size)) return rc;
  if (chunk->size % 2 == 1 && remaining(*file) > 0) return pass(file, 1);
  return HASHCREATE_SUCCESS;
}

ResultCode takeChunk(Analysis* analysis, const Chunk& chunk, Picture* picture) {
  if (isPayload(chunk)) {
    if (const ResultCode rc = addPictureRange(analysis, chunk.data, chunk.size)) return rc;
    ++picture->chunks;
  }
  if (isNamed(chunk, "VP8 ") || isNamed(chunk, "VP8L")) return takeFrame(analysis, chunk, picture);
  if (isNamed(chunk, "ANMF")) picture->isAnimated = true;
  if (isNamed(chunk, "VP8X") && !picture->hasCanvas) {
    picture->hasCanvas = true;
    return readData(analysis, chunk, 4, picture->canvas, sizeof(picture->canvas));
  }
  if (isNamed(chunk, "ANIM") && !picture->hasAnimation) {
    picture->hasAnimation = true;
    return readData(analysis, chunk, 0, picture->animation, sizeof(picture->animation));
  }
  return HASHCREATE_SUCCESS;
}

ResultCode finish(Analysis* analysis, const Picture& picture) {
  if (!picture.hasFrame && !picture.isAnimated) return HASHCREATE_FORMAT_ERROR;
  if (!picture.hasFrame && !picture.hasCanvas) return HASHCREATE_FORMAT_ERROR;
  inputMeta(analysis, picture.hasCanvas ? picture.canvas : picture.frame, kSizeFields);
  inputMetaU32(analysis, picture.chunks);
  if (picture.hasAnimation) inputMeta(analysis, picture.animation, kSizeFields);
  setFormatFamily(analysis, "WEBP");
  setFormatDetail(analysis, picture.isAnimated ? "ANIM" : picture.codec);
  return HASHCREATE_SUCCESS;
}

ResultCode analyseWebp(Analysis* analysis) {
  uint8_t size[4];
  if (const ResultCode rc = readBytes(analysis->source, 4, size, sizeof(size))) return rc;
  const uint64_t end = uint64_t{kChunkHeader} + u32le(size);
  if (end > analysis->source->size) return HASHCREATE_READ_ERROR;
  Part file = {analysis->source, kFirstChunk, std::max(kFirstChunk, end)};
  Picture picture;
  while (remaining(file) >= kChunkHeader) {
    if (const ResultCode rc = countParts(analysis, 1)) return rc;
    Chunk chunk;
    if (const ResultCode rc = readChunk(&file, &chunk)) return rc;
    if (const ResultCode rc = takeChunk(analysis, chunk, &picture)) return rc;
  }
  return finish(analysis, picture);
}

}  // namespace

const Algorithm kWebp = {0x20, "WEBP", "PHOTO", recogniseWebp, analyseWebp, nullptr};

}  // namespace version4
