// MPEG program stream: 00 00 01 BA, pack header, then as a rule a system header and packets.
//   MPEG-1 pack header: 8 bytes (ISO/IEC 11172-1)
//   MPEG-2 pack header: 9 bytes, bit 6 of the first set, then reserved:5 stuffing-length:3 stuffing (ISO/IEC 13818-1)
//   content: everything from 11 bytes after the pack header to the end of the file, then its length as eight bytes
//   meta:    nine bytes of pack header (the last is 0 for MPEG-1), seven of system header (as a rule zeros)
#include <cstring>

#include "hashCreate.h"
#include "readPrimitives.h"

namespace {

constexpr uint32_t kStartCodeSize = 4;
constexpr uint32_t kPackStartCodeEnd = 0x01BA;
constexpr uint8_t kMpeg2Bit = 0x40;
constexpr uint8_t kStuffingLengthMask = 0x07;
constexpr uint32_t kMpeg1PackHeaderSize = 8;
constexpr uint32_t kMpeg2PackHeaderSize = 9;  // without the byte of the stuffing length
constexpr uint32_t kSystemHeaderSize = 7;     // without its start code

struct MpegInfo {
  uint64_t contentLength;
  uint8_t isMpeg2;  // kMpeg2Bit or 0
  uint8_t packHeader[kMpeg2PackHeaderSize];
  uint8_t systemHeader[kSystemHeaderSize];
};

// Leaves the stream behind the start code. The first two bytes of the start code may be anything, on purpose: files
// that begin so have stored hashes.
ResultCode isMpeg(Stream* stream, MpegInfo* info) {
  if (c_get_file_size(stream) < kStartCodeSize) return kNotThisFormat;
  uint8_t bytes[kStartCodeSize + 1] = {};
  if (const ResultCode rc = callbackRead(stream, bytes, sizeof(bytes))) return rc;
  if ((getULong(bytes, kStartCodeSize, kBigEndian) & 0xFFFF) != kPackStartCodeEnd) return kNotThisFormat;
  info->isMpeg2 = bytes[kStartCodeSize] & kMpeg2Bit;
  return seekTo(stream, kStartCodeSize);
}

ResultCode getPackHeaderInfo(Stream* stream, MpegInfo* info) {
  if (info->isMpeg2 == 0) return callbackRead(stream, info->packHeader, kMpeg1PackHeaderSize);
  if (const ResultCode rc = callbackRead(stream, info->packHeader, kMpeg2PackHeaderSize)) return rc;
  uint8_t stuffing = 0;
  if (const ResultCode rc = callbackRead(stream, &stuffing, sizeof(stuffing))) return rc;
  stuffing &= kStuffingLengthMask;
  return stuffing == 0 ? HASHCREATE_SUCCESS : skip(stream, stuffing);
}

// The system header counts only behind four zero bytes, which its start code is not, so ordinary files keep zeros here.
// That is part of the hash: testing for the start code instead would break every stored one.
ResultCode getSystemHeaderInfo(Stream* stream, MpegInfo* info) {
  uint8_t bytes[kStartCodeSize + kSystemHeaderSize] = {};
  if (const ResultCode rc = callbackRead(stream, bytes, sizeof(bytes))) return rc;
  if (getULong(bytes, kStartCodeSize, kLittleEndian) == 0) {
    std::memcpy(info->systemHeader, bytes + kStartCodeSize, kSystemHeaderSize);
  }
  return HASHCREATE_SUCCESS;
}

ResultCode analyzeMpeg(Stream* stream, MpegInfo* info) {
  if (const ResultCode rc = getPackHeaderInfo(stream, info)) return rc;
  if (const ResultCode rc = getSystemHeaderInfo(stream, info)) return rc;
  info->contentLength = remaining(stream);
  return inputActualData(stream, info->contentLength);
}

void postMpeg(Stream* stream, Labels* labels, const MpegInfo* info) {
  inputMetaSha1(stream, info->packHeader, sizeof(info->packHeader));
  inputMetaSha1(stream, info->systemHeader, sizeof(info->systemHeader));
  inputLongLongContentSha1(stream, info->contentLength);
  setFormatType(labels, info->isMpeg2 != 0 ? "MPEG2" : "MPEG1");
  setFileType(labels, "VIDEO");
  setAlgorithmVersion(labels, 3, 0);
  setAlgorithmId(labels, KMHASH_ALGORITHM_MPEG);
}

}  // namespace

ResultCode createHash_MPEG(Stream* stream, Labels* labels) {
  MpegInfo info = {};
  if (isMpeg(stream, &info) != HASHCREATE_SUCCESS) return kNotThisFormat;
  if (const ResultCode rc = analyzeMpeg(stream, &info)) return rc;
  postMpeg(stream, labels, &info);
  return HASHCREATE_SUCCESS;
}

int getAlgorithmMajorVersion_MPEG(uint32_t id) { return id == KMHASH_ALGORITHM_MPEG ? 3 : kNotThisFormat; }
int getAlgorithmMinorVersion_MPEG(uint32_t id) { return id == KMHASH_ALGORITHM_MPEG ? 0 : kNotThisFormat; }
