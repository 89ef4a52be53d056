// Multi-picture format (CIPA DC-007): an APP2 segment with the identifier "MPF" NUL, a TIFF-style header and one
// directory, which names the number of images and an entry list: attribute:u32 size:u32 offset:u32 dependents:u16[2].
// Offsets are relative to the header, except that the first image's is 0. Three outcomes:
//   kMpoHashed    no entry is a baseline primary image: every listed image is hashed here
//     content:    each image's scan data as for JPEG, sampled from 16384 / images bytes on; then their total size and
//                 the number of images, as u64be each
//     meta:       nothing
//   kMpoBaseline  only the first and second image's places are learnt; the JPEG walk goes on with them
//   kMpoNone      no images, or one beyond the file: the JPEG walk goes on as if the segment were not there
#include <cstdint>

#include "debugLog.h"
#include "growingList.h"
#include "jpegHashParams.h"

namespace {

constexpr uint32_t kMpfIdentifier = fourCC("MPF\0");
constexpr uint32_t kLittleEndianHeader = 0x49492A00;
constexpr uint32_t kBigEndianHeader = 0x4D4D002A;
constexpr uint64_t kMpfHeaderSize = 4 + 4;  // byte order, offset of the directory
constexpr uint32_t kIfdEntrySize = 2 + 2 + 4 + 4;
constexpr uint32_t kMpEntrySize = 4 + 4 + 4 + 2 + 2;
constexpr uint16_t kTagNumberOfImages = 0xB001;
constexpr uint16_t kTagMpEntry = 0xB002;
constexpr uint32_t kImageTypeMask = 0xFFFFFF;  // the attribute's upper byte holds flags
constexpr uint32_t kBaselinePrimaryImage = 0x030000;
constexpr uint64_t kSoiSize = 2;
constexpr uint64_t kEoiSize = 2;

struct MpEntry {
  uint64_t offset;
  uint64_t size;
};

// ---- The directory ----

ResultCode getEndian(Stream* stream, JpegHashParams* params) {
  uint32_t header = 0;
  if (const ResultCode rc = readULong(stream, &header, kBigEndian)) return rc;
  if (header != kLittleEndianHeader && header != kBigEndianHeader) return HASHCREATE_BROKEN_CONTENT;
  params->mpfByteOrder = header == kBigEndianHeader ? kBigEndian : kLittleEndian;
  return HASHCREATE_SUCCESS;
}

ResultCode seekAhead(Stream* stream, uint64_t position) {
  return position < c_ftell(stream) ? HASHCREATE_FORMAT_ERROR : seekTo(stream, position);
}

ResultCode seekToIfd(Stream* stream, const JpegHashParams* params) {
  uint32_t offset = 0;
  if (const ResultCode rc = readULong(stream, &offset, params->mpfByteOrder)) return rc;
  return seekAhead(stream, params->mpfBase + offset);
}

// Only the values count; types and value counts are not looked at.
ResultCode getIfdInfo(Stream* stream, JpegHashParams* params) {
  uint16_t count = 0;
  if (const ResultCode rc = readUShort(stream, &count, params->mpfByteOrder)) return rc;
  for (uint16_t i = 0; i < count; ++i) {
    uint8_t entry[kIfdEntrySize];
    if (const ResultCode rc = callbackRead(stream, entry, sizeof(entry))) return rc;
    const Fields fields = fieldsOf(entry, params->mpfByteOrder);
    if (fields.u16(0) == kTagNumberOfImages) params->mpEntryCount = fields.u32(8);
    if (fields.u16(0) == kTagMpEntry) params->mpEntryListOffset = fields.u32(8);
  }
  return HASHCREATE_SUCCESS;
}

// ---- The entries ----

ResultCode seekToMpEntry(Stream* stream, const JpegHashParams* params) {
  return seekAhead(stream, params->mpfBase + params->mpEntryListOffset);
}

// Ends the first image where the second one begins.
void mpfInfoCorrection(const Stream* stream, JpegHashParams* params) {
  if (!isBaselineMP(params)) return;
  const uint64_t offset = params->secondImageOffset;
  const uint64_t size = params->secondImageSize;
  if (offset == 0 || size == 0 || offset >= params->firstImageSize || offset + size > c_get_file_size(stream)) {
    DEBUG_LOG("%s:ERROR:Invalid Second image information has detected.Use fisrst image.\n", __func__);
    return;
  }
  params->firstImageSize = offset;
}

using MpEntryList = GrowingList<MpEntry>;

// The walk stands inside the first image already, whose offset is 0.
uint64_t searchStart(const JpegHashParams* params, const MpEntry& image) {
  return image.offset != 0 ? image.offset + kSoiSize : params->app2End;
}

// True when no image behind these is ever come to: the one last listed does not begin behind the one before, or there
// are more images than the threshold has bytes, and the first one fails for want of a sample. So to hash takes memory
// for kSamplingThreshold images at most, and to identify as much as the list takes of the file, its holes not counted.
bool isComplete(const Stream* stream, const JpegHashParams* params, const MpEntryList& list) {
  if (list.size > 0 && params->mpEntryCount > kSamplingThreshold && !isIdentifying(stream)) return true;
  return list.size > 1 && searchStart(params, list[list.size - 1]) <= searchStart(params, list[list.size - 2]);
}

// *state becomes kMpoBaseline at a baseline primary image, and kMpoNone at an image beyond the file.
ResultCode takeMpEntry(Stream* stream, JpegHashParams* params, MpEntryList* list, uint32_t* state) {
  uint8_t stored[kMpEntrySize];
  if (const ResultCode rc = callbackRead(stream, stored, sizeof(stored))) return rc;
  const Fields fields = fieldsOf(stored, params->mpfByteOrder);
  MpEntry entry = {.offset = fields.u32(8), .size = fields.u32(4)};
  if (entry.offset != 0) {
    entry.offset += params->mpfBase;
    if (entry.offset > c_get_file_size(stream)) {
      *state = kMpoNone;
      return HASHCREATE_SUCCESS;
    }
  }
  if (!isComplete(stream, params, *list) && !append(list, entry)) return HASHCREATE_MEM_ALLOC_ERROR;

  if ((fields.u32(0) & kImageTypeMask) == kBaselinePrimaryImage) {
    params->firstImageOffset = entry.offset;
    if (entry.size <= c_get_file_size(stream)) params->firstImageSize = entry.size;
    *state = kMpoBaseline;
  } else {
    params->secondImageOffset = entry.offset;
    params->secondImageSize = entry.size;
  }
  return HASHCREATE_SUCCESS;
}

ResultCode getMpEntryInfo(Stream* stream, JpegHashParams* params, MpEntryList* list) {
  uint32_t state = kMpoHashed;
  ResultCode result = HASHCREATE_SUCCESS;
  for (uint32_t i = 0; i < params->mpEntryCount && state != kMpoNone && result == HASHCREATE_SUCCESS; ++i) {
    result = takeMpEntry(stream, params, list, &state);
  }
  params->mpoState = state;
  mpfInfoCorrection(stream, params);
  return result;
}

// ---- The images ----

// Walks an image's segments to behind the length field of its start of scan. The end of the file ends the search too;
// the image's size then tells whether that is a failure.
ResultCode searchFfda(Stream* stream, JpegHashParams* params) {
  while (c_ftell(stream) <= c_get_file_size(stream)) {
    uint16_t marker = 0;
    uint16_t length = 0;
    if (const ResultCode rc = getMarkerTypeAndMarkerSize(stream, &marker, &length)) return rc;
    if (length == kLengthFieldSize) continue;
    if (marker == kMarkerSos) return HASHCREATE_SUCCESS;

    const uint64_t end = c_ftell(stream) + length - kLengthFieldSize;
    if (marker == kMarkerApp3) {
      params->app3End = end;
      getApp3Info(stream, params);  // here a broken sound index only means that there is none
    }
    if (const ResultCode rc = seekToSegmentEnd(stream, end)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

// The count wraps when the scan starts behind the image's end. The test may wrap with it; the feeder, which cuts
// nothing here, then fails.
ResultCode getMpoFfdaInfo(Stream* stream, JpegHashParams* params, uint64_t imageSize, uint64_t imageOffset) {
  const uint64_t count = imageOffset + imageSize - kEoiSize - c_ftell(stream);
  params->scanDataSize += count;
  if (c_ftell(stream) + count > c_get_file_size(stream)) return HASHCREATE_BROKEN_CONTENT;
  return inputActualDataWithSize(stream, count, params->perImageThreshold);
}

ResultCode inputMpoActualData(Stream* stream, JpegHashParams* params, const MpEntryList& list) {
  params->perImageThreshold = kSamplingThreshold / params->mpEntryCount;
  for (size_t i = 0; i < list.size; ++i) {
    const MpEntry& image = list[i];
    const uint64_t start = searchStart(params, image);
    if (start < c_ftell(stream)) return i == 0 ? HASHCREATE_FORMAT_ERROR : HASHCREATE_BROKEN_CONTENT;
    if (const ResultCode rc = seekTo(stream, start)) return rc;
    if (const ResultCode rc = searchFfda(stream, params)) return rc;
    if (const ResultCode rc = getMpoFfdaInfo(stream, params, image.size, image.offset)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

void postMpo(Stream* stream, const JpegHashParams* params) {
  inputLongLongContentSha1(stream, params->scanDataSize);
  inputLongLongContentSha1(stream, params->mpEntryCount);
}

}  // namespace

ResultCode isMpo(Stream* stream, uint32_t* flag) {
  uint32_t identifier = 0;
  if (const ResultCode rc = readULong(stream, &identifier, kBigEndian)) return rc;
  *flag = identifier == kMpfIdentifier ? 1 : 2;
  return HASHCREATE_SUCCESS;
}

bool isBaselineMP(const JpegHashParams* params) {
  return params->mpoState == kMpoBaseline || params->mpoState == kMpoNone;
}

ResultCode analyzeMpo(Stream* stream, JpegHashParams* params) {
  params->mpfBase = c_ftell(stream);
  params->firstImageOffset = 0;
  params->firstImageSize = c_get_file_size(stream);
  if (params->app2End < params->mpfBase + kMpfHeaderSize) return HASHCREATE_SUCCESS;
  if (const ResultCode rc = getEndian(stream, params)) return rc;
  if (const ResultCode rc = seekToIfd(stream, params)) return rc;
  if (const ResultCode rc = getIfdInfo(stream, params)) return rc;
  if (params->mpEntryCount == 0) {
    params->mpEntryCount = 1;
    params->mpoState = kMpoNone;
    return HASHCREATE_SUCCESS;
  }
  if (const ResultCode rc = seekToMpEntry(stream, params)) return rc;

  MpEntryList list;
  if (const ResultCode rc = getMpEntryInfo(stream, params, &list)) return rc;
  if (params->mpoState != kMpoHashed) return HASHCREATE_SUCCESS;
  if (const ResultCode rc = inputMpoActualData(stream, params, list)) return rc;
  postMpo(stream, params);
  return HASHCREATE_SUCCESS;
}
