// MP4: the boxes of ISO/IEC 14496-12 and QuickTime, size:u32be type:u8[4] payload, nested in some types. A size of 1
// means a size:u64be after the type, which only mdat may have here.
//   content: the payload of every mdat until both moov and an mdat were seen (of a fragmented movie everything from
//            the mdat's payload on), then the sums of sample counts, chunk counts and mdat sizes, each u64be
//   meta:    creation time, time scale and duration of mvhd as stored, then the sums of the tracks' widths and heights,
//            each u64be
#include <cstring>

#include "debugLog.h"
#include "hashCreate.h"
#include "readPrimitives.h"

namespace {

constexpr uint32_t kFtyp = fourCC("ftyp");
constexpr uint32_t kMoov = fourCC("moov");
constexpr uint32_t kMdat = fourCC("mdat");

// Types of the first box; QuickTime files of old begin without ftyp.
constexpr uint32_t kFirstBoxTypes[] = {
    kFtyp, fourCC("skip"), fourCC("free"), fourCC("wide"), fourCC("pnot"), kMoov, kMdat,
};

constexpr uint64_t kBoxHeaderSize = 8;
constexpr uint64_t kLargeBoxHeaderSize = kBoxHeaderSize + 8;
constexpr uint64_t kLargeBox = 1;  // size field: the size follows the type
constexpr uint64_t kBrandSize = 4;
constexpr uint64_t kSmallestFile = 4;
constexpr uint32_t kMaxSearchLevel = 32;  // moov is level 1

// Of each payload, as much as its handler looks at. The places are those of version 0 boxes; a version 1 box yields
// other bytes, and must go on doing so: stored hashes hold them.
constexpr uint32_t kMvhdCreationTime = 4;
constexpr uint32_t kMvhdTimeScale = 12;
constexpr uint32_t kMvhdDuration = 16;
constexpr uint32_t kMvhdSize = kMvhdDuration + 4;
constexpr uint32_t kTkhdWidth = 76;  // 16.16 fixed point, as is the height
constexpr uint32_t kTkhdHeight = 80;
constexpr uint32_t kTkhdSize = kTkhdHeight + 4;
constexpr uint32_t kHdlrType = 8;
constexpr uint32_t kHdlrSize = kHdlrType + 4;
constexpr uint32_t kStszSampleCount = 8;
constexpr uint32_t kStszSize = kStszSampleCount + 4;

struct Mp4Info {
  char majorBrand[kBrandSize + 1];
  uint8_t creationTime[4];  // the three as stored
  uint8_t timeScale[4];
  uint8_t duration[4];
  uint32_t handlerType;  // 1 once a video handler was seen
  uint64_t boxSize;      // of the box that is handled
  uint64_t chunkOffsetSum;
  uint64_t sampleCountSum;
  uint64_t widthSum;
  uint64_t heightSum;
  uint64_t mdatSizeSum;
  uint32_t mvexFlag;     // 1 once the movie is known to be fragmented
  uint32_t searchLevel;  // searches under way
};

struct BoxHandler {
  uint32_t type;
  ResultCode (*handle)(Stream* stream, Mp4Info* info);  // called just after the box's header
};

// ---- Box headers ----

ResultCode getBoxType(Stream* stream, uint32_t* type) {
  uint64_t header = 0;
  if (const ResultCode rc = readULongLong(stream, &header, kBigEndian)) return rc;
  *type = static_cast<uint32_t>(header);
  return HASHCREATE_SUCCESS;
}

ResultCode getBoxSizeAndBoxType(Stream* stream, uint64_t* size, uint32_t* type) {
  uint64_t header = 0;
  if (const ResultCode rc = readULongLong(stream, &header, kBigEndian)) return rc;
  *size = header >> 32;
  *type = static_cast<uint32_t>(header);
  return *size > c_get_file_size(stream) ? HASHCREATE_FORMAT_ERROR : HASHCREATE_SUCCESS;
}

ResultCode getLargeBoxSize(Stream* stream, Mp4Info* info) { return readULongLong(stream, &info->boxSize, kBigEndian); }

// From the end of a box's header to the end of the box; fails for a size that does not cover the header.
ResultCode skipBox(Stream* stream, uint64_t size) { return skip(stream, size - kBoxHeaderSize); }

// ---- Recogniser ----

// 0 when the file may be MP4; the stream then stands at its start again.
int isMp4(Stream* stream) {
  if (c_get_file_size(stream) < kSmallestFile) return kNotThisFormat;
  uint32_t first = 0;
  if (const ResultCode rc = getBoxType(stream, &first)) return rc;
  for (const uint32_t type : kFirstBoxTypes) {
    if (type == first) return seekTo(stream, 0);
  }
  return kNotThisFormat;
}

// ---- Inside moov ----

// Later movie headers win.
ResultCode getMvhdInfo(Stream* stream, Mp4Info* info) {
  uint8_t payload[kMvhdSize];
  if (const ResultCode rc = callbackRead(stream, payload, sizeof(payload))) return rc;
  std::memcpy(info->creationTime, payload + kMvhdCreationTime, sizeof(info->creationTime));
  std::memcpy(info->timeScale, payload + kMvhdTimeScale, sizeof(info->timeScale));
  std::memcpy(info->duration, payload + kMvhdDuration, sizeof(info->duration));
  return HASHCREATE_SUCCESS;
}

ResultCode getTkhdInfo(Stream* stream, Mp4Info* info) {
  uint8_t payload[kTkhdSize];
  if (const ResultCode rc = callbackRead(stream, payload, sizeof(payload))) return rc;
  info->widthSum += getUShort(payload + kTkhdWidth, sizeof(uint16_t), kBigEndian);
  info->heightSum += getUShort(payload + kTkhdHeight, sizeof(uint16_t), kBigEndian);
  return HASHCREATE_SUCCESS;
}

uint32_t getHandlerType(const uint8_t* text) { return std::memcmp(text, "vide", 4) == 0 ? 1 : 0; }

ResultCode getHdlrInfo(Stream* stream, Mp4Info* info) {
  if (info->handlerType == 1) return HASHCREATE_SUCCESS;
  uint8_t payload[kHdlrSize];
  if (const ResultCode rc = callbackRead(stream, payload, sizeof(payload))) return rc;
  info->handlerType = getHandlerType(payload + kHdlrType);
  return HASHCREATE_SUCCESS;
}

ResultCode getStszInfo(Stream* stream, Mp4Info* info) {
  uint8_t payload[kStszSize];
  if (const ResultCode rc = callbackRead(stream, payload, sizeof(payload))) return rc;
  info->sampleCountSum += getULong(payload + kStszSampleCount, sizeof(uint32_t), kBigEndian);
  return HASHCREATE_SUCCESS;
}

// Version, flags and entry count count as one number, which stored hashes hold.
ResultCode getStcoInfo(Stream* stream, Mp4Info* info) {
  uint64_t entryCount = 0;
  if (const ResultCode rc = readULongLong(stream, &entryCount, kBigEndian)) return rc;
  info->chunkOffsetSum += entryCount;
  return HASHCREATE_SUCCESS;
}

ResultCode getMvexInfo(Stream*, Mp4Info* info) {
  info->mvexFlag = 1;
  return HASHCREATE_SUCCESS;
}

ResultCode searchBox(Stream* stream, Mp4Info* info);

constexpr BoxHandler kChildHandlers[] = {
    {fourCC("mvhd"), getMvhdInfo}, {fourCC("tkhd"), getTkhdInfo}, {fourCC("hdlr"), getHdlrInfo},
    {fourCC("stsz"), getStszInfo}, {fourCC("stco"), getStcoInfo}, {fourCC("co64"), getStcoInfo},
    {fourCC("mvex"), getMvexInfo}, {fourCC("trak"), searchBox},   {fourCC("mdia"), searchBox},
    {fourCC("minf"), searchBox},   {fourCC("stbl"), searchBox},
};

// Handles one child and moves to its end; *size receives its size.
ResultCode searchChild(Stream* stream, Mp4Info* info, uint64_t* size) {
  const uint64_t offsetBeforeRead = c_ftell(stream);
  uint32_t type = 0;
  if (const ResultCode rc = getBoxSizeAndBoxType(stream, size, &type)) return rc;
  info->boxSize = *size;
  for (const BoxHandler& row : kChildHandlers) {
    if (row.type != type) continue;
    if (const ResultCode rc = row.handle(stream, info)) return rc;
    break;
  }
  const uint64_t offsetAfterRead = c_ftell(stream);
  if (offsetAfterRead < offsetBeforeRead) return HASHCREATE_FORMAT_ERROR;
  const uint64_t consumed = offsetAfterRead - offsetBeforeRead;
  if (*size < consumed) return HASHCREATE_FORMAT_ERROR;
  return skip(stream, *size - consumed);
}

// Handles the children of the box whose size is in boxSize. Nothing keeps the last child inside its parent: moov may
// end early this way, any other parent then fails as a child that was read past its end.
ResultCode searchBox(Stream* stream, Mp4Info* info) {
  if (info->searchLevel == kMaxSearchLevel) return HASHCREATE_FORMAT_ERROR;
  info->searchLevel++;
  const uint64_t parentSize = info->boxSize;
  uint64_t size = 0;
  for (uint64_t offset = kBoxHeaderSize; offset < parentSize; offset += size) {
    if (const ResultCode rc = searchChild(stream, info, &size)) return rc;
  }
  info->searchLevel--;
  return HASHCREATE_SUCCESS;
}

// ---- Top level ----

ResultCode getFtypInfo(Stream* stream, Mp4Info* info) {
  if (const ResultCode rc = callbackRead(stream, info->majorBrand, kBrandSize)) return rc;
  return skipBox(stream, info->boxSize - kBrandSize);
}

// A size that does not cover its header wraps on purpose: the feeder cuts what is left to the end of the file, which is
// what a size of 0 means, and the sum keeps the wrapped count.
ResultCode getMdatInfo(Stream* stream, Mp4Info* info) {
  uint64_t headerSize = kBoxHeaderSize;
  if (info->boxSize == kLargeBox) {
    if (const ResultCode rc = getLargeBoxSize(stream, info)) return rc;
    headerSize = kLargeBoxHeaderSize;
  }
  const uint64_t count = info->mvexFlag == 1 ? remaining(stream) : info->boxSize - headerSize;
  info->mdatSizeSum += count;
  return inputActualData(stream, count);
}

ResultCode handleTopLevelBox(Stream* stream, Mp4Info* info, uint32_t type) {
  switch (type) {
    case kMdat:
      return info->boxSize == kBoxHeaderSize ? HASHCREATE_SUCCESS : getMdatInfo(stream, info);
    case kMoov:
      return searchBox(stream, info);
    case kFtyp:
      return getFtypInfo(stream, info);
    default:
      return skipBox(stream, info->boxSize);
  }
}

// Stops at the box that completes the pair of moov and mdat; what follows is never read. A failure counts as such in
// that box only: before it the file merely lacks what is needed.
ResultCode analyzeMp4(Stream* stream, Mp4Info* info) {
  bool moovSeen = false;
  bool mdatSeen = false;  // an empty one does not count
  uint64_t offset = 0;
  while (offset < c_get_file_size(stream)) {
    uint64_t size = 0;
    uint32_t type = 0;
    if (getBoxSizeAndBoxType(stream, &size, &type) != HASHCREATE_SUCCESS) break;
    info->boxSize = size;
    moovSeen = moovSeen || type == kMoov;
    mdatSeen = mdatSeen || (type == kMdat && size != kBoxHeaderSize);
    const ResultCode rc = handleTopLevelBox(stream, info, type);
    if (moovSeen && mdatSeen) return rc;
    if (rc != HASHCREATE_SUCCESS) break;
    offset += type == kMdat ? info->boxSize : size;
  }
  DEBUG_LOG("%s:mandatory box not found\n", __func__);
  return HASHCREATE_NON_SUPPORTED;
}

ResultCode postMp4(Stream* stream, Labels* labels, const Mp4Info* info) {
  inputMetaSha1(stream, info->creationTime, sizeof(info->creationTime));
  inputMetaSha1(stream, info->timeScale, sizeof(info->timeScale));
  inputMetaSha1(stream, info->duration, sizeof(info->duration));
  inputLongLongMetaSha1(stream, info->widthSum);
  inputLongLongMetaSha1(stream, info->heightSum);

  inputLongLongContentSha1(stream, info->sampleCountSum);
  inputLongLongContentSha1(stream, info->chunkOffsetSum);
  inputLongLongContentSha1(stream, info->mdatSizeSum);

  setFormatType(labels, info->majorBrand);
  setFileType(labels, info->handlerType == 1 ? "VIDEO" : "AUDIO");
  setAlgorithmVersion(labels, 3, 0);
  setAlgorithmId(labels, KMHASH_ALGORITHM_MP4);
  return HASHCREATE_SUCCESS;
}

}  // namespace

ResultCode createHash_MP4(Stream* stream, Labels* labels) {
  if (isMp4(stream) != 0) return kNotThisFormat;
  Mp4Info info = {};
  if (const ResultCode rc = analyzeMp4(stream, &info)) return rc;
  return postMp4(stream, labels, &info);
}

int getAlgorithmMajorVersion_MP4(uint32_t id) { return id == KMHASH_ALGORITHM_MP4 ? 3 : kNotThisFormat; }
int getAlgorithmMinorVersion_MP4(uint32_t id) { return id == KMHASH_ALGORITHM_MP4 ? 0 : kNotThisFormat; }
