// JPEG: SOI, then segments of marker:u16be length:u16be body (the length counts itself), up to the start of scan, whose
// scan data runs to the end of the image.
//   content: from behind the start of scan's length field to two bytes before the end of the image, sampled when long;
//            then how many bytes that are, and 1, as u64be each
//   meta:    the first eight bytes of the last SOF0 body, zeros when there is none (a progressive image, say)
// The image ends with the file. A multi-picture APP2 segment says otherwise (hashCreate_MPO), and so does a sound index
// in APP3, which also adds the sound to the meta digest (hashCreate_SPF).
#include "debugLog.h"
#include "hashCreate.h"
#include "jpegHashParams.h"

namespace {

constexpr uint16_t kSoi = 0xFFD8;
constexpr uint64_t kEoiSize = 2;
constexpr uint64_t kIdentifierSize = 4;  // of an APP segment
constexpr int kMajorVersion = 3;
constexpr int kMinorVersion = 0;

// Leaves the two bytes behind.
ResultCode isJpeg(Stream* stream) {
  if (c_get_file_size(stream) < sizeof(kSoi)) return kNotThisFormat;
  uint16_t marker = 0;
  if (const ResultCode rc = readUShort(stream, &marker, kBigEndian)) return rc;
  return marker == kSoi ? HASHCREATE_SUCCESS : kNotThisFormat;
}

// ---- Markers ----

// 0xFF00 is a stuffed byte of scan data, 0xFFFF a fill byte before a marker.
bool isMarker(uint16_t value) { return value >> 8 == 0xFF && value != 0xFFFF && value != 0xFF00; }

// Shifts bytes in until two of them make a marker; *marker comes in as the two bytes that made none.
ResultCode skipUnknownMarker(Stream* stream, uint16_t* marker) {
  uint16_t lastTwo = *marker & 0xFF;
  while (c_ftell(stream) <= c_get_file_size(stream)) {
    uint8_t next = 0;
    if (const ResultCode rc = callbackRead(stream, &next, sizeof(next))) return rc;
    lastTwo = static_cast<uint16_t>(lastTwo << 8 | next);
    if (isMarker(lastTwo)) {
      *marker = lastTwo;
      break;
    }
  }
  return HASHCREATE_SUCCESS;
}

}  // namespace

// Markers that stand alone, such as RST, are read as if they had a length: none belongs before the start of scan.
ResultCode getMarkerTypeAndMarkerSize(Stream* stream, uint16_t* markerType, uint16_t* markerSize) {
  uint16_t marker = 0;
  if (const ResultCode rc = readUShort(stream, &marker, kBigEndian)) return rc;
  if (!isMarker(marker)) {
    if (const ResultCode rc = skipUnknownMarker(stream, &marker)) return rc;
  }
  uint16_t length = 0;
  if (const ResultCode rc = readUShort(stream, &length, kBigEndian)) return rc;
  if (length < kLengthFieldSize) return HASHCREATE_FORMAT_ERROR;
  *markerType = marker;
  *markerSize = length;
  return HASHCREATE_SUCCESS;
}

ResultCode seekToSegmentEnd(Stream* stream, uint64_t segmentEnd) {
  if (c_ftell(stream) > segmentEnd) {
    DEBUG_LOG("%s:Not enough marker size.\n", __func__);
    return HASHCREATE_FORMAT_ERROR;
  }
  return seekForwardTo(stream, segmentEnd);
}

namespace {

// ---- Segment handlers ----

ResultCode getFfc0Info(uint16_t markerSize, Stream* stream, JpegHashParams* params) {
  if (markerSize < kLengthFieldSize + sizeof(params->sof0Info)) return HASHCREATE_FORMAT_ERROR;
  return callbackRead(stream, params->sof0Info, sizeof(params->sof0Info));
}

// A scan that starts at or behind the image's end (an image cut short, say) gets a size that wraps. It goes into the
// digest as it is, and the feeder cuts it to the rest of the file.
ResultCode getJpegFfdaInfo(Stream* stream, JpegHashParams* params) {
  const uint64_t imageEnd = params->currentImage == kFirstImage ? params->firstImageOffset + params->firstImageSize
                                                                : params->secondImageOffset + params->secondImageSize;
  params->scanDataSize = imageEnd - kEoiSize - c_ftell(stream);
  return inputActualData(stream, params->scanDataSize);
}

// Other APP2 segments, such as colour profiles, are passed over.
ResultCode getApp2Info(Stream* stream, JpegHashParams* params) {
  if (params->app2End < c_ftell(stream) + kIdentifierSize) return HASHCREATE_SUCCESS;
  uint32_t flag = 0;
  if (const ResultCode rc = isMpo(stream, &flag)) return rc;
  return flag == 1 ? analyzeMpo(stream, params) : HASHCREATE_SUCCESS;
}

// After the scan data: the second image of a baseline multi-picture file, if it is there, takes the first one's place.
ResultCode checkExit(Stream* stream, JpegHashParams* params, bool* exitFlag) {
  *exitFlag = true;
  if (params->mpoState == kMpoNone || params->currentImage == kSecondImage) return HASHCREATE_SUCCESS;
  if (params->mpEntryCount == 1) return HASHCREATE_SUCCESS;
  if (params->secondImageOffset + params->secondImageSize > c_get_file_size(stream)) return HASHCREATE_SUCCESS;

  if (const ResultCode rc = seekForwardTo(stream, params->secondImageOffset)) return rc;
  if (isJpeg(stream) != HASHCREATE_SUCCESS) return HASHCREATE_SUCCESS;  // the first image stands
  resetContentSha1(stream);
  resetMetaSha1(stream);
  params->currentImage = kSecondImage;
  *exitFlag = false;
  return HASHCREATE_SUCCESS;
}

// ---- The walk ----

ResultCode takeSegment(Stream* stream, uint16_t marker, uint16_t length, uint64_t end, JpegHashParams* params) {
  switch (marker) {
    case kMarkerSof0:
      return getFfc0Info(length, stream, params);
    case kMarkerApp2:
      params->app2End = end;
      return getApp2Info(stream, params);
    case kMarkerApp3:
      params->app3End = end;
      return getApp3Info(stream, params);
    default:
      return HASHCREATE_SUCCESS;
  }
}

ResultCode walkFailure(const JpegHashParams* params, ResultCode code) {
  if (params->currentImage != kSecondImage) return code;
  DEBUG_LOG("%s:ERROR:The second image is broken.\n", __func__);
  return HASHCREATE_BROKEN_CONTENT;
}

ResultCode analyzeJpeg(Stream* stream, JpegHashParams* params) {
  bool exitFlag = false;
  while (!exitFlag) {
    if (c_ftell(stream) > c_get_file_size(stream)) return HASHCREATE_FORMAT_ERROR;
    uint16_t marker = 0;
    uint16_t length = 0;
    if (const ResultCode rc = getMarkerTypeAndMarkerSize(stream, &marker, &length)) return walkFailure(params, rc);
    if (length == kLengthFieldSize) continue;  // no body; a start of scan without one starts nothing

    // The scan's own failures stay as they are, also in the second image.
    if (marker == kMarkerSos) {
      if (const ResultCode rc = getJpegFfdaInfo(stream, params)) return rc;
      if (const ResultCode rc = checkExit(stream, params, &exitFlag)) return rc;
      continue;
    }
    const uint64_t end = c_ftell(stream) + length - kLengthFieldSize;
    if (const ResultCode rc = takeSegment(stream, marker, length, end, params)) return walkFailure(params, rc);
    if (params->mpoState == kMpoHashed) return HASHCREATE_SUCCESS;
    if (const ResultCode rc = seekToSegmentEnd(stream, end)) return walkFailure(params, rc);
  }
  return HASHCREATE_SUCCESS;
}

void initJpegHashParams(const Stream* stream, JpegHashParams* params) {
  params->currentImage = kFirstImage;
  params->mpoState = kMpoNone;
  params->firstImageOffset = 0;
  params->firstImageSize = c_get_file_size(stream);
}

// ---- Labels ----

void postJpeg(Stream* stream, Labels* labels, const JpegHashParams* params) {
  uint32_t id = KMHASH_ALGORITHM_MPO;
  const char* formatType = "MPO ";
  if (isBaselineMP(params)) {
    id = KMHASH_ALGORITHM_JPEG;
    formatType = "JPEG";
    inputMetaSha1(stream, params->sof0Info, sizeof(params->sof0Info));
    inputLongLongContentSha1(stream, params->scanDataSize);
    inputLongLongContentSha1(stream, 1);
  }
  const int major = getAlgorithmMajorVersion_JPEG(id);
  int minor = getAlgorithmMinorVersion_JPEG(id);
  if (IsSPFImage(params)) {
    addSoundMeta(stream, params, kMetaDigest);  // a photo whose sound cannot be read is a sound photo all the same
    formatType = "SPF ";
    minor = spfMinorVerionModification(minor);
  }
  setFormatType(labels, formatType);
  setFileType(labels, "PHOTO");
  setAlgorithmVersion(labels, major, minor);
  setAlgorithmId(labels, id);
}

bool isOwnAlgorithm(uint32_t id) { return id == KMHASH_ALGORITHM_JPEG || id == KMHASH_ALGORITHM_MPO; }

}  // namespace

ResultCode createHash_JPEG(Stream* stream, Labels* labels) {
  JpegHashParams params = {};
  if (const ResultCode rc = isJpeg(stream)) return rc;
  initJpegHashParams(stream, &params);
  if (const ResultCode rc = analyzeJpeg(stream, &params)) return rc;
  postJpeg(stream, labels, &params);
  return HASHCREATE_SUCCESS;
}

int getAlgorithmMajorVersion_JPEG(uint32_t id) { return isOwnAlgorithm(id) ? kMajorVersion : kNotThisFormat; }
int getAlgorithmMinorVersion_JPEG(uint32_t id) { return isOwnAlgorithm(id) ? kMinorVersion : kNotThisFormat; }
