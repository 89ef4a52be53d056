// RIFF: "RIFF" size:u32le form:u8[4], then chunks, each at an even offset:
//   type:u8[4] size:u32le data, of a "LIST" chunk with list:u8[4] and chunks for its data
// The walk ends at the first chunk with a payload, whatever the form; a finishing step for each form follows.
//   AVI   content: the data of the list "movi", then the total frames
//         meta:    microseconds per frame, maximum bytes per second, padding granularity, width and height of "avih"
//   WAVE  content: everything from the data of "data" to the end of the file, then the size of that as 64 bits
//         meta:    the size of "data", then the first 16 bytes of "fmt "
//   RMP3  what the MP3 analyzer makes of the data of "data"
// Numbers go into the digests least significant byte first.
#include <cstdio>
#include <cstring>

#include "debugLog.h"
#include "hashCreate.h"
#include "readPrimitives.h"

namespace {

constexpr uint32_t kRiffHeaderSize = 4 + 4 + 4;
constexpr uint32_t kChunkHeaderSize = 4 + 4;
constexpr uint32_t kListTypeSize = 4;
constexpr uint32_t kAvihSize = 56;  // of "avih" and "strh" as much is read, whatever the chunk's size says
constexpr uint32_t kStrhSize = 56;
constexpr uint32_t kFmtSize = 2 + 2 + 4 + 4 + 2 + 2;
constexpr uint32_t kVp8xSize = 10;
constexpr uint8_t kVp8xReservedFlags = 0xC1;
constexpr uint8_t kVp8xAnimation = 0x02;
constexpr uint64_t kMp3TrailerSize = 128;  // what the MP3 analyzer leaves out at the end
constexpr uint32_t kHandlerSize = 4;

struct RiffHeader {
  uint32_t riff;
  uint32_t size;
  uint32_t form;
};

enum RiffType { kNoRiff = 0, kRiffAvi = 1, kRiffWave = 2, kRiffRmp3 = 3, kRiffWebp = 4 };

struct WaveFormat {
  uint16_t formatTag;
  uint16_t channels;
  uint32_t samplesPerSecond;
  uint32_t averageBytesPerSecond;
  uint16_t blockAlign;
  uint16_t bitsPerSample;
};

struct WebpInfo {
  uint32_t chunkType;
  uint64_t payloadLength;
  bool vp8xSeen;
  uint8_t vp8xPayload[kVp8xSize];
};

struct RiffInfo {
  uint64_t hdrlEnd;  // 0 until the list was met
  uint32_t microsecondsPerFrame;
  uint32_t maxBytesPerSecond;
  uint32_t paddingGranularity;
  uint32_t totalFrames;
  uint32_t width;
  uint32_t height;
  bool avihSeen;
  char aviLabel[kFormatTypeSize];
  bool videoStreamSeen;
  WaveFormat format;
  uint32_t dataSize;
  uint64_t contentLength;
  WebpInfo webp;
};

struct Walk {
  Stream* stream;
  Labels* labels;
  RiffInfo* info;
  RiffType riffType;
};

struct Chunk {
  uint32_t type;
  uint32_t size;
  uint32_t listType;  // of a LIST chunk
};

constexpr uint32_t kLIST = fourCC("LIST");
constexpr uint32_t kVids = fourCC("vids");
constexpr uint32_t kMovi = fourCC("movi");

// ---- Recogniser ----

ResultCode readRiffHeader(Stream* stream, RiffHeader* header) {
  if (c_get_file_size(stream) < kRiffHeaderSize) return kNotThisFormat;
  if (const ResultCode rc = readULong(stream, &header->riff, kBigEndian)) return rc;
  if (const ResultCode rc = readULong(stream, &header->size, kBigEndian)) return rc;
  return readULong(stream, &header->form, kBigEndian);
}

bool isRiff(const RiffHeader& header) { return header.riff == fourCC("RIFF"); }
bool isAvi(const RiffHeader& header) { return header.form == fourCC("AVI "); }
bool isWave(const RiffHeader& header) { return header.form == fourCC("WAVE"); }
bool isRmp3(const RiffHeader& header) { return header.form == fourCC("RMP3"); }

// WebP files are left alone on purpose: kRiffWebp is never answered, and WebP chunks count inside the other forms only.
RiffType getRiffType(const RiffHeader& header) {
  if (!isRiff(header)) return kNoRiff;
  if (isAvi(header)) return kRiffAvi;
  if (isWave(header)) return kRiffWave;
  return isRmp3(header) ? kRiffRmp3 : kNoRiff;
}

// ---- Chunk headers ----

ResultCode getType(Stream* stream, uint32_t* type) { return readULong(stream, type, kBigEndian); }

ResultCode getTypeAndSize(Stream* stream, uint32_t* type, uint32_t* size) {
  uint8_t header[kChunkHeaderSize];
  if (const ResultCode rc = callbackRead(stream, header, sizeof(header))) return rc;
  *type = getULong(header, sizeof(*type), kBigEndian);
  *size = getULong(header + sizeof(*type), sizeof(*size), kLittleEndian);
  return HASHCREATE_SUCCESS;
}

ResultCode readChunk(Stream* stream, Chunk* chunk) {
  // The pad byte of an odd size, which the size does not count.
  if (c_ftell(stream) % 2 != 0) {
    if (const ResultCode rc = skip(stream, 1)) return rc;
  }
  if (const ResultCode rc = getTypeAndSize(stream, &chunk->type, &chunk->size)) return rc;
  return chunk->type == kLIST ? getType(stream, &chunk->listType) : HASHCREATE_SUCCESS;
}

// What a list holds behind its type; below zero for a size below 4.
uint64_t listDataSize(const Chunk& chunk) { return uint64_t{chunk.size} - kListTypeSize; }

// ---- AVI chunks ----

ResultCode getMoviInfo(const Walk& walk, const Chunk& chunk) {
  return inputActualData(walk.stream, listDataSize(chunk));
}

ResultCode enterHdrl(const Walk& walk, const Chunk& chunk) {
  walk.info->hdrlEnd = c_ftell(walk.stream) + listDataSize(chunk);
  return HASHCREATE_SUCCESS;
}

ResultCode enterList(const Walk&, const Chunk&) { return HASHCREATE_SUCCESS; }

ResultCode skipList(const Walk& walk, const Chunk& chunk) { return skip(walk.stream, listDataSize(chunk)); }

// Passes over the rest of the header list once it has told what is wanted; a list that ended before is an error.
ResultCode leaveHdrl(const Walk& walk) {
  const RiffInfo& info = *walk.info;
  if (info.hdrlEnd == 0 || !info.avihSeen || !info.videoStreamSeen) return HASHCREATE_SUCCESS;
  return seekForwardTo(walk.stream, info.hdrlEnd);
}

ResultCode getAvihInfo(const Walk& walk, const Chunk&) {
  uint8_t payload[kAvihSize];
  if (const ResultCode rc = callbackRead(walk.stream, payload, sizeof(payload))) return rc;
  const Fields fields = fieldsOf(payload, kLittleEndian);
  RiffInfo* info = walk.info;
  info->microsecondsPerFrame = fields.u32(0);
  info->maxBytesPerSecond = fields.u32(4);
  info->paddingGranularity = fields.u32(8);
  info->totalFrames = fields.u32(16);
  info->width = fields.u32(32);
  info->height = fields.u32(36);
  info->avihSeen = true;
  return leaveHdrl(walk);
}

ResultCode getStrhInfo(const Walk& walk, const Chunk&) {
  uint8_t payload[kStrhSize];
  if (const ResultCode rc = callbackRead(walk.stream, payload, sizeof(payload))) return rc;
  const uint32_t streamType = getULong(payload, 4, kBigEndian);
  const uint8_t* handler = payload + 4;
  if (streamType != kVids && streamType != kMovi) return HASHCREATE_SUCCESS;
  RiffInfo* info = walk.info;
  std::memset(info->aviLabel, 0, sizeof(info->aviLabel));
  std::memcpy(info->aviLabel, "AVI", 3);
  std::memcpy(info->aviLabel + 3, handler, kHandlerSize);
  if (std::memcmp(handler, "dvsd", kHandlerSize) == 0)
    info->aviLabel[3 + kHandlerSize] = streamType == kVids ? '2' : '1';
  info->videoStreamSeen = true;
  return leaveHdrl(walk);
}

// ---- WAVE and RMP3 chunks ----

ResultCode getFmtInfo(const Walk& walk, const Chunk& chunk) {
  if (chunk.size < kFmtSize) return HASHCREATE_FORMAT_ERROR;
  uint8_t payload[kFmtSize];
  if (const ResultCode rc = callbackRead(walk.stream, payload, sizeof(payload))) return rc;
  const Fields fields = fieldsOf(payload, kLittleEndian);
  walk.info->format = {
      .formatTag = fields.u16(0),
      .channels = fields.u16(2),
      .samplesPerSecond = fields.u32(4),
      .averageBytesPerSecond = fields.u32(8),
      .blockAlign = fields.u16(12),
      .bitsPerSample = fields.u16(14),
  };
  return skip(walk.stream, chunk.size - kFmtSize);
}

// The trailer that the MP3 analyzer leaves out is added to the slice, so that its content ends with the data. The
// whole file decides whether there is room for it, so that a slice may reach beyond the file.
ResultCode callCreateHashMP3(Stream* stream, Labels* labels, uint32_t dataSize) {
  const uint64_t withTrailer = dataSize + kMp3TrailerSize;
  const uint64_t length = c_get_file_size(stream) >= withTrailer ? withTrailer : dataSize;
  const ResultCode rc = reentrantCallCreateHash(stream, labels, createHash_MP3, length);
  if (rc == HASHCREATE_SUCCESS) setFtypeRMP3(labels);
  return rc;
}

ResultCode feedRestOfFile(const Walk& walk, uint64_t* length) {
  *length = remaining(walk.stream);
  return inputActualData(walk.stream, *length);
}

// Chunks behind the data are content as well: the size of "data" is not trusted.
ResultCode getContentBody(const Walk& walk, const Chunk& chunk) {
  if (walk.riffType == kRiffRmp3) return callCreateHashMP3(walk.stream, walk.labels, chunk.size);
  walk.info->dataSize = chunk.size;
  return feedRestOfFile(walk, &walk.info->contentLength);
}

// ---- WebP chunks ----

bool isValidVp8x(const uint8_t* payload) {
  return !isUcharBitsON(payload[0], kVp8xReservedFlags) && payload[1] == 0 && payload[2] == 0 && payload[3] == 0;
}

ResultCode getWebpVp8x(const Walk& walk, const Chunk&) {
  WebpInfo* webp = &walk.info->webp;
  if (const ResultCode rc = callbackRead(walk.stream, webp->vp8xPayload, kVp8xSize)) return rc;
  if (!isValidVp8x(webp->vp8xPayload)) return HASHCREATE_FORMAT_ERROR;
  webp->vp8xSeen = true;
  return HASHCREATE_SUCCESS;
}

ResultCode getWebpImage(const Walk& walk, const Chunk& chunk) {
  walk.info->webp.chunkType = chunk.type;
  walk.info->webp.payloadLength = chunk.size;
  return inputActualData(walk.stream, chunk.size);
}

ResultCode getWebpAnimation(const Walk& walk, const Chunk& chunk) {
  WebpInfo* webp = &walk.info->webp;
  if (!isUcharBitsON(webp->vp8xPayload[0], kVp8xAnimation)) return HASHCREATE_FORMAT_ERROR;
  webp->chunkType = chunk.type;
  return feedRestOfFile(walk, &webp->payloadLength);
}

// ---- Walk ----

ResultCode skipChunk(const Walk& walk, const Chunk& chunk) { return skip(walk.stream, chunk.size); }

struct ChunkHandler {
  uint32_t type;
  bool endsWalk;
  ResultCode (*handle)(const Walk& walk, const Chunk& chunk);  // called just behind the chunk's or list's type and size
};

constexpr uint32_t kAnyOtherType = 0;  // ends a table

constexpr ChunkHandler kChunkHandlers[] = {
    {fourCC("avih"), false, getAvihInfo}, {fourCC("strh"), false, getStrhInfo},
    {fourCC("fmt "), false, getFmtInfo},  {fourCC("data"), true, getContentBody},
    {fourCC("VP8X"), false, getWebpVp8x}, {fourCC("VP8 "), true, getWebpImage},
    {fourCC("VP8L"), true, getWebpImage}, {fourCC("ANIM"), true, getWebpAnimation},
    {kAnyOtherType, false, skipChunk},
};

constexpr ChunkHandler kListHandlers[] = {
    {kMovi, true, getMoviInfo},
    {fourCC("hdrl"), false, enterHdrl},
    {fourCC("strl"), false, enterList},
    {kAnyOtherType, false, skipList},
};

const ChunkHandler& handlerOf(const Chunk& chunk) {
  const bool isList = chunk.type == kLIST;
  const uint32_t type = isList ? chunk.listType : chunk.type;
  const ChunkHandler* row = isList ? kListHandlers : kChunkHandlers;
  while (row->type != type && row->type != kAnyOtherType) ++row;
  return *row;
}

// Whatever stops the walk short of a payload is a fault of the format, a failing read included.
ResultCode analyzeAvi(const Walk& walk) {
  while (c_ftell(walk.stream) <= c_get_file_size(walk.stream)) {
    Chunk chunk = {};
    if (readChunk(walk.stream, &chunk) != HASHCREATE_SUCCESS) break;
    DEBUG_LOG("%s:chunk(0x%08x) list(0x%08x) size(%u)\n", __func__, chunk.type, chunk.listType, chunk.size);
    const ChunkHandler& handler = handlerOf(chunk);
    const ResultCode rc = handler.handle(walk, chunk);
    if (handler.endsWalk) return rc;
    if (rc != HASHCREATE_SUCCESS) break;
  }
  DEBUG_LOG("%s:no payload\n", __func__);
  return HASHCREATE_FORMAT_ERROR;
}

// ---- Finish ----

void inputLittleEndian(Stream* stream, uint64_t value, uint32_t size, uint32_t which) {
  uint8_t bytes[8];
  for (uint32_t i = 0; i < sizeof(bytes); ++i) bytes[i] = static_cast<uint8_t>(value >> (8 * i));
  dataInput(stream, bytes, size, which);
}

void setRiffLabels(Labels* labels, const char* fileType, const char* formatType) {
  setFileType(labels, fileType);
  setFormatType(labels, formatType);
  setAlgorithmVersion(labels, 3, 0);
  setAlgorithmId(labels, KMHASH_ALGORITHM_RIFF);
}

void postAvi(Stream* stream, Labels* labels, const RiffInfo& info) {
  inputLittleEndian(stream, info.totalFrames, 4, kContentDigest);
  inputLittleEndian(stream, info.microsecondsPerFrame, 4, kMetaDigest);
  inputLittleEndian(stream, info.maxBytesPerSecond, 4, kMetaDigest);
  inputLittleEndian(stream, info.paddingGranularity, 4, kMetaDigest);
  inputLittleEndian(stream, info.width, 4, kMetaDigest);
  inputLittleEndian(stream, info.height, 4, kMetaDigest);
  setRiffLabels(labels, "VIDEO", info.aviLabel);
}

void makeWaveFormatType(uint16_t formatTag, char* text, uint32_t capacity) {
  std::snprintf(text, capacity, "WFmt%04x", static_cast<unsigned>(formatTag));
}

void postWave(Stream* stream, Labels* labels, const RiffInfo& info) {
  inputLittleEndian(stream, info.contentLength, 8, kContentDigest);
  inputLittleEndian(stream, info.dataSize, 4, kMetaDigest);
  inputLittleEndian(stream, info.format.formatTag, 2, kMetaDigest);
  inputLittleEndian(stream, info.format.channels, 2, kMetaDigest);
  inputLittleEndian(stream, info.format.samplesPerSecond, 4, kMetaDigest);
  inputLittleEndian(stream, info.format.averageBytesPerSecond, 4, kMetaDigest);
  inputLittleEndian(stream, info.format.blockAlign, 2, kMetaDigest);
  inputLittleEndian(stream, info.format.bitsPerSample, 2, kMetaDigest);
  char formatType[kFormatTypeSize];
  makeWaveFormatType(info.format.formatTag, formatType, sizeof(formatType));
  setRiffLabels(labels, "AUDIO", formatType);
}

void makeWebpFormatType(uint32_t code, char* text, uint32_t capacity) {
  char characters[5] = {};
  fourCC2String(code, characters, sizeof(characters));
  std::snprintf(text, capacity, "WEBP:%s", characters);
}

void postWebp(Stream* stream, Labels* labels, const RiffInfo& info) {
  inputLittleEndian(stream, info.webp.payloadLength, 8, kContentDigest);
  inputLittleEndian(stream, info.webp.chunkType, 4, kMetaDigest);
  if (info.webp.vp8xSeen) inputMetaSha1(stream, info.webp.vp8xPayload, kVp8xSize);
  char formatType[10];
  makeWebpFormatType(info.webp.chunkType, formatType, sizeof(formatType));
  setRiffLabels(labels, "PHOTO", formatType);
}

void finish(const Walk& walk) {
  switch (walk.riffType) {
    case kRiffAvi:
      return postAvi(walk.stream, walk.labels, *walk.info);
    case kRiffWave:
      return postWave(walk.stream, walk.labels, *walk.info);
    case kRiffWebp:
      return postWebp(walk.stream, walk.labels, *walk.info);
    default:
      return;  // the MP3 analyzer has finished an RMP3
  }
}

}  // namespace

ResultCode createHash_AVI(Stream* stream, Labels* labels) {
  RiffHeader header = {};
  if (const ResultCode rc = readRiffHeader(stream, &header)) return rc;
  const RiffType riffType = getRiffType(header);
  if (riffType == kNoRiff) return kNotThisFormat;
  RiffInfo info = {};
  const Walk walk = {stream, labels, &info, riffType};
  if (const ResultCode rc = analyzeAvi(walk)) return rc;
  finish(walk);
  return HASHCREATE_SUCCESS;
}

int getAlgorithmMajorVersion_AVI(uint32_t id) { return id == KMHASH_ALGORITHM_RIFF ? 3 : kNotThisFormat; }
int getAlgorithmMinorVersion_AVI(uint32_t id) { return id == KMHASH_ALGORITHM_RIFF ? 0 : kNotThisFormat; }
