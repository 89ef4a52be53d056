// MPEG audio (ISO/IEC 11172-3, 13818-3 and the MPEG-2.5 extension, Layers I to III): frames back to back, each with a
// header of four bytes in front:
//   sync:u11 version:u2 layer:u2 protection:u1 bitRate:u4 samplingRate:u2 padding:u1 private:u1 modes:u8
//   content: from behind the second frame's header to 128 bytes before the end of the file
//   meta:    the size of the content as u64be, then the first frame's header
// An ID3v2 tag in front is passed over, and what follows is hashed as a file of its own, whatever its format:
//   "ID3" major:u8 minor:u8 flags:u8 size:u8[4], seven bits to a size byte, most significant first
#include <cstdio>
#include <cstring>

#include "debugLog.h"
#include "hashCreate.h"
#include "readPrimitives.h"

namespace {

constexpr uint64_t kSmallestFile = 13;
constexpr uint32_t kFrameHeaderSize = 4;
constexpr uint64_t kTrailerSize = 128;  // an ID3v1 tag; left out of the content whether there is one or not

constexpr uint32_t kId3HeaderSize = 10;
constexpr uint32_t kId3MarkerSize = 3;
constexpr uint32_t kId3SizeAt = 6;

// "M" version layer "I" tag major minor, of one digit each, and the mark of an MP3 in RIFF.
constexpr uint32_t kMp3LabelSize = 10;
constexpr uint32_t kLabelTagAt = 4;
constexpr uint32_t kLabelRiffMarkAt = 7;
constexpr int kWithoutId3 = 1;
constexpr int kWithId3 = 2;

// ---- Frame headers ----

constexpr uint32_t kVersionIndex[4] = {3, 0, 2, 1};  // MPEG-2.5, reserved, MPEG-2, MPEG-1
constexpr uint32_t kLayerIndex[4] = {0, 3, 2, 1};    // reserved, Layer III, Layer II, Layer I
constexpr uint32_t kReservedVersion = 1;
constexpr uint32_t kReservedLayer = 0;
constexpr uint32_t kReservedBitRate = 15;
constexpr uint32_t kReservedSamplingRate = 3;

// kbit/s by bit-rate index and layer index. Index 0 is the free format, 15 is reserved.
constexpr int32_t kBitRatesMpeg1[16][4] = {
    {-1, 0, 0, 0},       {-1, 32, 32, 32},    {-1, 64, 48, 40},    {-1, 96, 56, 48},
    {-1, 128, 64, 56},   {-1, 160, 80, 64},   {-1, 192, 96, 80},   {-1, 224, 112, 96},
    {-1, 256, 128, 112}, {-1, 288, 160, 128}, {-1, 320, 192, 160}, {-1, 352, 224, 192},
    {-1, 384, 256, 224}, {-1, 416, 320, 256}, {-1, 448, 384, 320}, {-1, -1, -1, -1},
};

// The same at the low sampling frequencies of MPEG-2 and MPEG-2.5.
constexpr int32_t kBitRatesMpeg2[16][4] = {
    {-1, 0, 0, 0},       {-1, 32, 8, 8},      {-1, 48, 16, 16},    {-1, 56, 24, 24},
    {-1, 64, 32, 32},    {-1, 80, 40, 40},    {-1, 96, 48, 48},    {-1, 112, 56, 56},
    {-1, 128, 64, 64},   {-1, 144, 80, 80},   {-1, 160, 96, 96},   {-1, 176, 112, 112},
    {-1, 192, 128, 128}, {-1, 224, 144, 144}, {-1, 256, 160, 160}, {-1, -1, -1, -1},
};

// Hz by sampling-rate index and version index.
constexpr int32_t kSamplingRates[4][4] = {
    {-1, 44100, 22050, 11025},
    {-1, 48000, 24000, 12000},
    {-1, 32000, 16000, 8000},
    {-1, -1, -1, 0},
};

// By layer index and version index.
constexpr int32_t kSamplesPerFrame[4][4] = {
    {-1, -1, -1, -1},
    {-1, 384, 384, 384},
    {-1, 1152, 1152, 1152},
    {-1, 1152, 576, 576},
};

int IsMpegSyncFrame(const uint8_t* header) { return header[0] == 0xFF && (header[1] & 0xE0) == 0xE0; }
uint32_t getMpegVersion(const uint8_t* header) { return header[1] >> 3 & 3u; }
uint32_t getMpegVersionIndex(const uint8_t* header) { return kVersionIndex[getMpegVersion(header)]; }
uint32_t getMpegLayer(const uint8_t* header) { return header[1] >> 1 & 3u; }
uint32_t getMpegLayerIndex(const uint8_t* header) { return kLayerIndex[getMpegLayer(header)]; }
uint32_t getMpegBitRate(const uint8_t* header) { return header[2] >> 4 & 15u; }
uint32_t getMpegSamplingRate(const uint8_t* header) { return header[2] >> 2 & 3u; }
uint32_t getMpegPadding(const uint8_t* header) { return header[2] >> 1 & 1u; }

int32_t getActualMpegBitRate(const uint8_t* header) {
  const auto& rates = getMpegVersionIndex(header) == 1 ? kBitRatesMpeg1 : kBitRatesMpeg2;
  return rates[getMpegBitRate(header)][getMpegLayerIndex(header)];
}

int32_t getActualMpegSamplingRate(const uint8_t* header) {
  return kSamplingRates[getMpegSamplingRate(header)][getMpegVersionIndex(header)];
}

int32_t getMpegFramePerSample(const uint8_t* header) {
  return kSamplesPerFrame[getMpegLayerIndex(header)][getMpegVersionIndex(header)];
}

// Free format passes; its frame length is that of a frame without data.
int IsMpegAudioFrameHeader(const uint8_t* header) {
  return header != nullptr && IsMpegSyncFrame(header) && getMpegVersion(header) != kReservedVersion &&
         getMpegLayer(header) != kReservedLayer && getMpegBitRate(header) != kReservedBitRate &&
         getMpegSamplingRate(header) != kReservedSamplingRate;
}

// Bytes from a frame's header to the next one's; the header must be a valid one. Layer I counts slots of four bytes.
uint32_t getMpegFrameSize(const uint8_t* header) {
  const uint32_t layer = getMpegLayerIndex(header);
  const auto samples = static_cast<uint32_t>(getMpegFramePerSample(header));
  const auto rate = static_cast<uint32_t>(getActualMpegBitRate(header));
  const auto frequency = static_cast<uint32_t>(getActualMpegSamplingRate(header));
  const uint32_t padding = getMpegPadding(header);
  if (layer == 1) return (((1000 * rate * (samples >> 2)) >> 3) / frequency + padding) * 4;
  if (layer == 2 || layer == 3) return ((1000 * rate * samples) >> 3) / frequency + padding;
  return 0;
}

// ---- ID3v2 ----

int IsMP3V2(const uint8_t* bytes, uint32_t length) {
  return bytes != nullptr && length >= kId3MarkerSize && std::memcmp(bytes, "ID3", kId3MarkerSize) == 0;
}

uint8_t getID3V2MajorVersion(const uint8_t* header) { return header[3]; }
uint8_t getID3V2MinorVersion(const uint8_t* header) { return header[4]; }

ResultCode getSyncSafeInteger(const uint8_t* bytes, uint32_t* out) {
  if (bytes == nullptr || out == nullptr) return HASHCREATE_FORMAT_ERROR;
  if (((bytes[0] | bytes[1] | bytes[2] | bytes[3]) & 0x80) != 0) return HASHCREATE_FORMAT_ERROR;
  *out = static_cast<uint32_t>(bytes[0] << 21 | bytes[1] << 14 | bytes[2] << 7 | bytes[3]);
  return HASHCREATE_SUCCESS;
}

// Completes the header, of which the first four bytes were read, and moves to the end of the tag. The footer that a
// tag of version 4 may have is not known: it begins what follows.
ResultCode readId3v2Header(Stream* stream, uint8_t* header) {
  if (const ResultCode rc = callbackRead(stream, header + kFrameHeaderSize, kId3HeaderSize - kFrameHeaderSize)) {
    return rc;
  }
  uint32_t size = 0;
  if (const ResultCode rc = getSyncSafeInteger(header + kId3SizeAt, &size)) return rc;
  DEBUG_LOG("%s:ID3v2.%u.%u of %u bytes\n", __func__, getID3V2MajorVersion(header), getID3V2MinorVersion(header), size);
  return seekTo(stream, uint64_t{size} + kId3HeaderSize);
}

// ---- Recogniser ----

enum class Mp3Kind { kNone = 0, kFrames = 1, kId3v2 = 2 };

Mp3Kind IsMP3(const uint8_t* first4) {
  if (IsMP3V2(first4, kFrameHeaderSize)) return Mp3Kind::kId3v2;
  return IsMpegAudioFrameHeader(first4) ? Mp3Kind::kFrames : Mp3Kind::kNone;
}

// ---- Labels ----

struct Mp3MetaRecord {
  uint64_t contentLength;  // wraps below zero when less than the trailer is left
  uint8_t frameHeader[kFrameHeaderSize];
  char formatType[kMp3LabelSize];
};

void createMP3FormatType(const uint8_t* header, const uint8_t* id3Header, Mp3MetaRecord* record) {
  const bool tagged = id3Header != nullptr;
  char label[32] = {};  // cut below: version bytes of more than one digit push the last ones out
  std::snprintf(label, sizeof(label), "M%d%dI%d%d%d", static_cast<int>(getMpegVersionIndex(header)),
                static_cast<int>(getMpegLayerIndex(header)), tagged ? kWithId3 : kWithoutId3,
                tagged ? getID3V2MajorVersion(id3Header) : 0, tagged ? getID3V2MinorVersion(id3Header) : 0);
  std::memset(record->formatType, 0, sizeof(record->formatType));
  std::memcpy(record->formatType, label, sizeof(record->formatType) - 1);
}

// Two letters decide, so that an MP4 whose brand has them passes as well.
int IsMP3Ftype(const char* label, uint32_t length) { return length > 8 && label[0] == 'M' && label[3] == 'I'; }

// HASHCREATE_INVALID_PARAM when the current label is none of ours.
ResultCode getMp3Label(const Labels* labels, char (&label)[kFormatTypeSize]) {
  if (const ResultCode rc = getFormatTypeStr(labels, label, sizeof(label))) return rc;
  return IsMP3Ftype(label, sizeof(label)) ? HASHCREATE_SUCCESS : HASHCREATE_INVALID_PARAM;
}

// Version bytes of more than one digit push later digits out of the label; the mark of an MP3 in RIFF stays.
ResultCode setID3Version(Labels* labels, int id3Flag, uint8_t major, uint8_t minor) {
  char label[kFormatTypeSize] = {};
  if (const ResultCode rc = getMp3Label(labels, label)) return rc;
  char digits[24];
  std::snprintf(digits, sizeof(digits), "%d%d%d", id3Flag, major, minor);
  std::memcpy(label + kLabelTagAt, digits, kLabelRiffMarkAt - kLabelTagAt);
  setFormatType(labels, label);
  return HASHCREATE_SUCCESS;
}

// ---- Finish ----

void createMP3MetaHash(const Mp3MetaRecord& record, Stream* stream, Labels* labels) {
  inputLongLongMetaSha1(stream, record.contentLength);
  inputMetaSha1(stream, record.frameHeader, kFrameHeaderSize);
  setFileType(labels, "AUDIO");
  setFormatType(labels, record.formatType);
  setAlgorithmVersion(labels, getAlgorithmMajorVersion_MP3(KMHASH_ALGORITHM_MP3),
                      getAlgorithmMinorVersion_MP3(KMHASH_ALGORITHM_MP3));
  setAlgorithmId(labels, KMHASH_ALGORITHM_MP3);
}

// A frame shorter than its header makes a seek of nearly 4 GiB, which no ordinary file has room for.
ResultCode readSecondHeader(Stream* stream, uint32_t frameSize) {
  const uint32_t distance = frameSize - kFrameHeaderSize;
  if (skip(stream, distance) != HASHCREATE_SUCCESS) return HASHCREATE_NON_SUPPORTED;
  uint8_t header[kFrameHeaderSize];
  if (callbackRead(stream, header, kFrameHeaderSize) != HASHCREATE_SUCCESS) return HASHCREATE_NON_SUPPORTED;
  return IsMpegAudioFrameHeader(header) ? HASHCREATE_SUCCESS : HASHCREATE_NON_SUPPORTED;
}

// Once the first header is a frame's, no other analyzer gets the file. The stream stands behind that header.
ResultCode hashFrames(Stream* stream, Labels* labels, const uint8_t* firstHeader) {
  const uint32_t frameSize = getMpegFrameSize(firstHeader);
  DEBUG_LOG("%s:first frame of %u bytes\n", __func__, frameSize);
  if (frameSize == 0) return HASHCREATE_NON_SUPPORTED;
  if (const ResultCode rc = readSecondHeader(stream, frameSize)) return rc;

  Mp3MetaRecord record = {};
  createMP3FormatType(firstHeader, nullptr, &record);
  std::memcpy(record.frameHeader, firstHeader, kFrameHeaderSize);
  record.contentLength = remaining(stream) - kTrailerSize;
  createMP3MetaHash(record, stream, labels);

  // A length that wrapped is cut to the rest of the file.
  if (const ResultCode rc = inputActualData(stream, record.contentLength)) return rc;
  if (remaining(stream) != 0) seekTo(stream, c_get_file_size(stream));
  return HASHCREATE_SUCCESS;
}

ResultCode hashBehindId3v2(Stream* stream, Labels* labels, const uint8_t* first4) {
  uint8_t header[kId3HeaderSize];
  std::memcpy(header, first4, kFrameHeaderSize);
  if (const ResultCode rc = readId3v2Header(stream, header)) return rc;
  resetContentSha1(stream);
  resetMetaSha1(stream);
  if (const ResultCode rc = reentrantCallCreateHash(stream, labels, nullptr, 0)) return rc;
  // Refused when another format follows, whose label then stands.
  setID3Version(labels, kWithId3, getID3V2MajorVersion(header), getID3V2MinorVersion(header));
  return HASHCREATE_SUCCESS;
}

}  // namespace

ResultCode setFtypeRMP3(Labels* labels) {
  char label[kFormatTypeSize] = {};
  if (const ResultCode rc = getMp3Label(labels, label)) return rc;
  label[kLabelRiffMarkAt] = 'R';
  setFormatType(labels, label);
  return HASHCREATE_SUCCESS;
}

ResultCode createHash_MP3(Stream* stream, Labels* labels) {
  if (c_get_file_size(stream) < kSmallestFile) return kNotThisFormat;
  uint8_t first4[kFrameHeaderSize];
  if (const ResultCode rc = callbackRead(stream, first4, kFrameHeaderSize)) return rc;
  switch (IsMP3(first4)) {
    case Mp3Kind::kFrames:
      return hashFrames(stream, labels, first4);
    case Mp3Kind::kId3v2:
      return hashBehindId3v2(stream, labels, first4);
    default:
      return kNotThisFormat;
  }
}

int getAlgorithmMajorVersion_MP3(uint32_t id) { return id == KMHASH_ALGORITHM_MP3 ? 3 : kNotThisFormat; }
int getAlgorithmMinorVersion_MP3(uint32_t id) { return id == KMHASH_ALGORITHM_MP3 ? 0 : kNotThisFormat; }
