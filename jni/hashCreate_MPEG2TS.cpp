// MPEG-2 transport stream (ISO/IEC 13818-1): packets of 188 bytes, or of 192 with a four-byte prefix each:
//   0x47 flags:3 pid:13 scrambling:2 adaptation:2 counter:4 [length:u8 adaptation field] payload
//   PAT, in the packet of PID 0: pointer:u8 table:u8 flags:4 length:12 header:u8[5], entries of program:u16 pid:u16
//   PMT, in the packet of the first program's PID: pointer:u8 header:u8[12], descriptors of tag:u8 length:u8 data
//   content: everything from the packet after the PMT's to the end offset, then the number of packets as eight bytes
//   meta:    the end offset as eight bytes
#include <cstring>

#include "hashCreate.h"
#include "readPrimitives.h"

namespace {

constexpr uint8_t kSyncByte = 0x47;
constexpr uint32_t kPlainPacketSize = 188;
constexpr uint32_t kPrefixSize = 4;
constexpr uint32_t kLargestPacketSize = kPrefixSize + kPlainPacketSize;
constexpr uint32_t kProbeSize = kPrefixSize + 1;  // reaches the sync byte of both kinds

constexpr uint16_t kPatPid = 0;
constexpr uint16_t kPidMask = 0x1FFF;
constexpr uint8_t kAdaptationAndPayload = 0x30;
constexpr uint8_t kRegistrationDescriptor = 5;
constexpr uint32_t kIdentifierSize = 4;

// Distances from the sync byte; kSectionLengthLow, kFirstProgram and kFormatIdentifier grow by an adaptation field.
constexpr uint32_t kPidOffset = 1;
constexpr uint32_t kFlagsOffset = 3;
constexpr uint32_t kAdaptationLengthOffset = 4;
constexpr uint32_t kSectionLengthLow = 7;
constexpr uint32_t kFirstProgram = 13;
constexpr uint32_t kProgramInfoLengthLow = 16;
constexpr uint32_t kDescriptorTag = 17;
constexpr uint32_t kFormatIdentifier = 19;
constexpr int kSectionOverhead = 5 + 4;  // what the section length counts beside the entries: header rest, CRC
constexpr uint32_t kProgramSize = 4;

enum SizeMode : uint32_t {
  kPlainMultiple = 1,
  kPlainRemainder = 2,
  kPrefixedMultiple = 3,
  kPrefixedRemainder = 4,
};

struct Mpeg2TsInfo {
  char formatLabel[9];
  uint64_t packetCount;
  uint32_t sizeMode;
  uint32_t syncOffset;
  uint32_t packetSize;
  uint64_t endOffset;
};

// A packet and the zeros that a field counts as which an adaptation length puts beyond it.
struct Packet {
  uint8_t bytes[kLargestPacketSize + kFormatIdentifier + kIdentifierSize];
};

ResultCode isMpeg2Ts(Stream* stream, Mpeg2TsInfo* info) {
  const uint64_t size = c_get_file_size(stream);
  if (size < kLargestPacketSize) return kNotThisFormat;
  uint8_t probe[kProbeSize] = {};
  if (const ResultCode rc = callbackRead(stream, probe, sizeof(probe))) return rc;
  const bool plain = probe[0] == kSyncByte;
  if (!plain && probe[kPrefixSize] != kSyncByte) return kNotThisFormat;

  info->packetSize = plain ? kPlainPacketSize : kLargestPacketSize;
  info->syncOffset = plain ? 0 : kPrefixSize;
  info->sizeMode = plain ? kPlainMultiple : kPrefixedMultiple;
  info->packetCount = size / info->packetSize;
  info->endOffset = size;
  if (size % info->packetSize != 0) {
    // The last whole packet is left out: its sync byte, at the end offset, has to prove the stream intact (postCheck).
    info->sizeMode = plain ? kPlainRemainder : kPrefixedRemainder;
    info->packetCount--;
    info->endOffset = info->packetCount * info->packetSize;
  }
  return seekTo(stream, 0);
}

ResultCode readPacket(Stream* stream, const Mpeg2TsInfo* info, Packet* packet) {
  *packet = {};
  return callbackRead(stream, packet->bytes, info->packetSize);
}

bool isInSync(const Packet* packet, const Mpeg2TsInfo* info) { return packet->bytes[info->syncOffset] == kSyncByte; }

uint16_t getPid(const uint8_t* bytes) { return getUShort(bytes, 2, kBigEndian) & kPidMask; }

uint16_t pidOf(const Packet* packet, const Mpeg2TsInfo* info) {
  return getPid(packet->bytes + info->syncOffset + kPidOffset);
}

// Bytes of the adaptation field. A packet that has one and no payload counts as having none.
uint32_t getAdaptation(const Packet* packet, const Mpeg2TsInfo* info) {
  const uint8_t* sync = packet->bytes + info->syncOffset;
  if ((sync[kFlagsOffset] & kAdaptationAndPayload) != kAdaptationAndPayload) return 0;
  return sync[kAdaptationLengthOffset] + 1u;
}

// The PID of the first program that is not number 0, the network's. The pointer field is taken for 0.
ResultCode searchPmtPid(const Packet* packet, const Mpeg2TsInfo* info, uint16_t* pmtPid) {
  const uint32_t start = info->syncOffset + getAdaptation(packet, info);
  if (start + kSectionLengthLow >= kLargestPacketSize) return kNotThisFormat;
  // A length too short for header and CRC wraps to thousands of entries; the end of the packet then ends the walk.
  const int entriesSize = packet->bytes[start + kSectionLengthLow] - kSectionOverhead;
  const uint16_t entries = static_cast<uint16_t>(entriesSize / static_cast<int>(kProgramSize));
  uint32_t offset = start + kFirstProgram;
  for (uint32_t i = 0; i < entries && offset < info->packetSize; ++i, offset += kProgramSize) {
    if (getUShort(packet->bytes + offset, 2, kBigEndian) == 0) continue;
    *pmtPid = getPid(packet->bytes + offset + 2);
    return HASHCREATE_SUCCESS;
  }
  return kNotThisFormat;
}

ResultCode getPmtPid(Stream* stream, const Mpeg2TsInfo* info, uint16_t* pmtPid) {
  for (uint64_t i = 0; i < info->packetCount; ++i) {
    Packet packet;
    if (readPacket(stream, info, &packet) != HASHCREATE_SUCCESS || !isInSync(&packet, info)) return kNotThisFormat;
    if (pidOf(&packet, info) == kPatPid) return searchPmtPid(&packet, info, pmtPid);
  }
  return kNotThisFormat;
}

// Whether there is a registration descriptor is looked up as if the packet had no adaptation field, its identifier is
// taken behind it. The two disagree on purpose: stored labels depend on it.
ResultCode takeFormatLabel(const Packet* packet, Mpeg2TsInfo* info) {
  const uint32_t adaptation = getAdaptation(packet, info);
  if (adaptation >= kLargestPacketSize - info->syncOffset) return HASHCREATE_FORMAT_ERROR;
  const uint8_t* sync = packet->bytes + info->syncOffset;
  if (sync[kProgramInfoLengthLow] == 0 || sync[kDescriptorTag] != kRegistrationDescriptor) return HASHCREATE_SUCCESS;
  std::memcpy(info->formatLabel, sync + adaptation + kFormatIdentifier, kIdentifierSize);
  return HASHCREATE_SUCCESS;
}

// Counts its packets anew, so the search can run past the end offset.
ResultCode getPmtInfo(Stream* stream, Mpeg2TsInfo* info, uint16_t pmtPid) {
  for (uint64_t i = 0; i < info->packetCount; ++i) {
    Packet packet;
    if (const ResultCode rc = readPacket(stream, info, &packet)) return rc;
    if (!isInSync(&packet, info)) return kNotThisFormat;
    if (pidOf(&packet, info) == pmtPid) return takeFormatLabel(&packet, info);
  }
  return HASHCREATE_SUCCESS;
}

// Behind the end offset the difference wraps, and the feeder takes what is left of the file.
ResultCode inputMpeg2tsActualData(Stream* stream, const Mpeg2TsInfo* info) {
  return inputActualData(stream, info->endOffset - c_ftell(stream));
}

ResultCode analyzeMpeg2Ts(Stream* stream, Mpeg2TsInfo* info) {
  uint16_t pmtPid = 0;
  if (const ResultCode rc = getPmtPid(stream, info, &pmtPid)) return rc;
  if (const ResultCode rc = getPmtInfo(stream, info, pmtPid)) return rc;
  return inputMpeg2tsActualData(stream, info);
}

ResultCode postCheck(Stream* stream, const Mpeg2TsInfo* info) {
  uint8_t probe[kProbeSize] = {};
  if (const ResultCode rc = callbackRead(stream, probe, sizeof(probe))) return rc;
  return probe[info->syncOffset] == kSyncByte ? HASHCREATE_SUCCESS : HASHCREATE_FORMAT_ERROR;
}

ResultCode postMpeg2ts(Stream* stream, Labels* labels, const Mpeg2TsInfo* info) {
  if (info->sizeMode == kPlainRemainder || info->sizeMode == kPrefixedRemainder) {
    if (const ResultCode rc = postCheck(stream, info)) return rc;
  }
  inputLongLongMetaSha1(stream, info->endOffset);
  inputLongLongContentSha1(stream, info->packetCount);
  setFileType(labels, "VIDEO");
  setFormatType(labels, info->formatLabel);
  setAlgorithmVersion(labels, 3, 0);
  setAlgorithmId(labels, KMHASH_ALGORITHM_MPEG2TS);
  return HASHCREATE_SUCCESS;
}

}  // namespace

ResultCode createHash_MPEG2TS(Stream* stream, Labels* labels) {
  Mpeg2TsInfo info = {};
  if (isMpeg2Ts(stream, &info) != HASHCREATE_SUCCESS) return kNotThisFormat;
  if (const ResultCode rc = analyzeMpeg2Ts(stream, &info)) return rc;
  return postMpeg2ts(stream, labels, &info);
}

int getAlgorithmMajorVersion_MPEG2TS(uint32_t id) { return id == KMHASH_ALGORITHM_MPEG2TS ? 3 : kNotThisFormat; }
int getAlgorithmMinorVersion_MPEG2TS(uint32_t id) { return id == KMHASH_ALGORITHM_MPEG2TS ? 0 : kNotThisFormat; }
