// FLAC: "fLaC", then metadata blocks, the first flag bit marking the last one, then audio frames:
//   last:u1 type:u7 length:u24be data:u8[length] ... frame ...
//   content: everything behind the first four bytes of the first frame
//   meta:    the 34 bytes of each STREAMINFO with a valid sample rate, then the size of the content as u64be
#include <cstring>

#include "debugLog.h"
#include "hashCreate.h"
#include "readPrimitives.h"

namespace {

constexpr uint32_t kMarkerSize = 4;
constexpr uint32_t kBlockHeaderSize = 4;
constexpr uint8_t kLastBlock = 0x80;
constexpr uint8_t kInvalidBlockType = 127;

constexpr uint32_t kStreamInfoFields[] = {2, 2, 3, 3, 8, 16};  // block sizes, frame sizes, sample info, audio's MD5
constexpr uint32_t kStreamInfoSize = 2 + 2 + 3 + 3 + 8 + 16;
constexpr uint32_t kSampleInfoAt = 2 + 2 + 3 + 3;
constexpr uint32_t kMaxSampleRate = 655350;

constexpr uint32_t kFrameStartSize = 4;

// ---- Recognition ----

int IsFLAC(const uint8_t* bytes, uint32_t length) {
  return bytes != nullptr && length >= kMarkerSize && std::memcmp(bytes, "fLaC", kMarkerSize) == 0;
}

// 14 sync bits with the reserved bit behind them clear, and a block size that is not the reserved one.
int IsValidFlacFrame(const uint8_t* bytes) {
  return bytes[0] == 0xFF && (bytes[1] & 0xFC) == 0xF8 && (bytes[2] & 0xF0) != 0;
}

// ---- Metadata blocks ----

struct SampleInfo {
  uint32_t sampleRate;
  uint32_t channelsMinusOne;
  uint32_t bitsPerSampleMinusOne;
  uint64_t totalSamples;
};

SampleInfo setSampleInfo(const uint8_t* streamInfo) {
  const uint64_t bits = getULongLong(streamInfo + kSampleInfoAt, 8, kBigEndian);
  return {static_cast<uint32_t>(bits >> 44), static_cast<uint32_t>(bits >> 41 & 0x7),
          static_cast<uint32_t>(bits >> 36 & 0x1F), bits & 0xFFFFFFFFF};
}

int IsValidStreamInfo(const uint8_t* streamInfo) {
  const SampleInfo info = setSampleInfo(streamInfo);
  DEBUG_LOG("%s:%u Hz, %u channels, %u bits, %llu samples\n", __func__, info.sampleRate, info.channelsMinusOne + 1,
            info.bitsPerSampleMinusOne + 1, static_cast<unsigned long long>(info.totalSamples));
  return info.sampleRate >= 1 && info.sampleRate <= kMaxSampleRate;
}

uint32_t getMetadataBlockSize(const uint8_t* header) {
  return static_cast<uint32_t>(header[1]) << 16 | static_cast<uint32_t>(header[2]) << 8 | header[3];
}

ResultCode readStreamInfo(Stream* stream, const uint8_t* header) {
  if (getMetadataBlockSize(header) != kStreamInfoSize) return HASHCREATE_FORMAT_ERROR;
  uint8_t streamInfo[kStreamInfoSize];
  uint32_t at = 0;
  for (const uint32_t size : kStreamInfoFields) {  // sources see a read for each
    if (const ResultCode rc = callbackRead(stream, streamInfo + at, size)) return rc;
    at += size;
  }
  // A block without a usable sample rate still counts as the STREAMINFO that a file must have.
  if (IsValidStreamInfo(streamInfo)) inputMetaSha1(stream, streamInfo, kStreamInfoSize);
  return HASHCREATE_SUCCESS;
}

ResultCode skipNonTargetInfo(Stream* stream, const uint8_t* header) {
  return skip(stream, getMetadataBlockSize(header));
}

struct BlockReader {
  uint32_t type;
  uint32_t foundBit;
  ResultCode (*read)(Stream* stream, const uint8_t* header);
};

constexpr uint32_t kFoundStreamInfo = 0x1;
constexpr uint32_t kFoundLastBlock = 0x8000;
constexpr uint32_t kAnyOtherType = 7;

constexpr BlockReader kBlockReaders[] = {
    {0, kFoundStreamInfo, readStreamInfo},
    {1, 0x2, skipNonTargetInfo},   // PADDING
    {2, 0x4, skipNonTargetInfo},   // APPLICATION
    {3, 0x8, skipNonTargetInfo},   // SEEKTABLE
    {4, 0x10, skipNonTargetInfo},  // VORBIS_COMMENT
    {5, 0x20, skipNonTargetInfo},  // CUESHEET
    {6, 0x40, skipNonTargetInfo},  // PICTURE
    {kAnyOtherType, 0x1000, skipNonTargetInfo},
};

const BlockReader* getBlockReader(uint32_t type) {
  const BlockReader* row = kBlockReaders;
  while (row->type != type && row->type != kAnyOtherType) ++row;
  return row;
}

ResultCode readMetadataBlock(Stream* stream, uint8_t* header) {
  if (const ResultCode rc = callbackRead(stream, header, kBlockHeaderSize)) return rc;
  return (header[0] & ~kLastBlock) == kInvalidBlockType ? HASHCREATE_FORMAT_ERROR : HASHCREATE_SUCCESS;
}

ResultCode parseStreamBlock(Stream* stream) {
  constexpr uint32_t kNeeded = kFoundLastBlock | kFoundStreamInfo;
  uint32_t found = 0;
  while ((found & kFoundLastBlock) == 0) {
    uint8_t header[kBlockHeaderSize];
    if (const ResultCode rc = readMetadataBlock(stream, header)) return rc;
    const BlockReader* reader = getBlockReader(header[0] & ~kLastBlock & 0xFFu);
    DEBUG_LOG("%s:block type(%u) size(%u)\n", __func__, header[0] & ~kLastBlock & 0xFFu, getMetadataBlockSize(header));
    found |= reader->foundBit;
    if ((header[0] & kLastBlock) != 0) found |= kFoundLastBlock;
    if (const ResultCode rc = reader->read(stream, header)) return rc;
  }
  return (found & kNeeded) == kNeeded ? HASHCREATE_SUCCESS : HASHCREATE_FORMAT_ERROR;
}

// ---- Finish ----

void createFLACMetaHash(Stream* stream, Labels* labels, uint64_t audioSize) {
  inputLongLongMetaSha1(stream, audioSize);
  setFileType(labels, "AUDIO");
  setFormatType(labels, "FLAC");
  setAlgorithmVersion(labels, getAlgorithmMajorVersion_FLAC(KMHASH_ALGORITHM_FLAC),
                      getAlgorithmMinorVersion_FLAC(KMHASH_ALGORITHM_FLAC));
  setAlgorithmId(labels, KMHASH_ALGORITHM_FLAC);
}

}  // namespace

ResultCode createHash_FLAC(Stream* stream, Labels* labels) {
  if (c_get_file_size(stream) < kMarkerSize + 1) return kNotThisFormat;
  uint8_t marker[kMarkerSize];
  if (const ResultCode rc = callbackRead(stream, marker, kMarkerSize)) return rc;
  if (!IsFLAC(marker, kMarkerSize)) return kNotThisFormat;
  if (const ResultCode rc = parseStreamBlock(stream)) return rc;

  uint8_t frameStart[kFrameStartSize];
  if (const ResultCode rc = callbackRead(stream, frameStart, kFrameStartSize)) return rc;
  if (!IsValidFlacFrame(frameStart)) return HASHCREATE_FORMAT_ERROR;
  const uint64_t audioSize = remaining(stream);
  if (audioSize == 0) return HASHCREATE_FORMAT_ERROR;
  createFLACMetaHash(stream, labels, audioSize);
  return inputActualData(stream, audioSize);
}

int getAlgorithmMajorVersion_FLAC(uint32_t id) { return id == KMHASH_ALGORITHM_FLAC ? 3 : kNotThisFormat; }
int getAlgorithmMinorVersion_FLAC(uint32_t id) { return id == KMHASH_ALGORITHM_FLAC ? 0 : kNotThisFormat; }
