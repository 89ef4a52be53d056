// Sound photos: an APP3 segment with the identifier "SPF" NUL, a TIFF header and one directory, the sound index, which
// names a version, the number of sounds and an entry list: kind:u32 size:u32 offset:u32 unused:u32, offsets relative to
// the TIFF header. The sounds lie behind the image, opened by an SD header: "SD_HEAD" NUL length:u16be body, where the
// length counts itself and the body.
//   content: as for the image, which ends at the first sound
//   meta:    as for the image; then the size of the sound data as u64be, and the sound data, sampled when long
#include <algorithm>
#include <cstring>

#include "jpegHashParams.h"
#include "tiffDirectory.h"

namespace {

constexpr uint32_t kSpfIdentifier = fourCC("SPF\0");
constexpr uint64_t kIdentifierSize = 4;
constexpr uint16_t kTagVersion = 0xB000;
constexpr uint16_t kTagSoundCount = 0xB001;
constexpr uint16_t kTagSoundEntryList = 0xB002;
constexpr uint32_t kSoundEntrySize = 4 + 4 + 4 + 4;
constexpr char kSdIdentifier[] = "SD_HEAD";  // with its NUL

// Not hashed beside the length that the SD header tells: its identifier, and the last twelve bytes of the sound. Those
// have nothing wrong with them; stored hashes leave them out.
constexpr uint64_t kUnhashedSize = 8 + 12;

struct SdHeader {
  uint8_t identifier[sizeof(kSdIdentifier)];
  uint16_t length;
};

// ---- The index ----

bool isPrintableNumber(uint32_t byte) { return byte >= '0' && byte <= '9'; }

bool checkVersion(uint32_t version) {
  return isPrintableNumber(version >> 24) && isPrintableNumber(version >> 16 & 0xFF) &&
         isPrintableNumber(version >> 8 & 0xFF) && isPrintableNumber(version & 0xFF);
}

bool isNonZeroTag(const Stream* stream, const DirEntryInfo* index, uint16_t tag, uint64_t base) {
  return isAccessibleTagEx(stream, index, tag, base) == 1 && getTargetTag(index, tag)->value != 0;
}

// The base is the end of the segment, not the TIFF header that offsets are relative to. It only matters for a tag whose
// value does not fit its entry, which is then accepted.
bool isValidSPFIndex(const Stream* stream, const DirEntryInfo* index, const JpegHashParams* params) {
  const DirEntryInfo* version = getTargetTagWithCheck(index, kTagVersion);
  return version != nullptr && checkVersion(version->value) &&
         isNonZeroTag(stream, index, kTagSoundCount, params->app3End) &&
         isNonZeroTag(stream, index, kTagSoundEntryList, params->app3End);
}

ResultCode readSoundEntry(Stream* stream, uint32_t order, uint64_t position, SoundEntry* sound) {
  if (const ResultCode rc = seekTo(stream, position)) return rc;
  uint8_t stored[kSoundEntrySize];
  if (c_hybrid_read(stream, stored, sizeof(stored)) != sizeof(stored)) return HASHCREATE_READ_ERROR;
  const Fields fields = fieldsOf(stored, order);
  sound->kind = fields.u32(0);
  sound->size = fields.u32(4);
  sound->offset = fields.u32(8);
  return HASHCREATE_SUCCESS;
}

ResultCode getSoundInfo(Stream* stream, uint32_t order, const DirEntryInfo* index, JpegHashParams* params) {
  if (!isValidSPFIndex(stream, index, params)) return HASHCREATE_FORMAT_ERROR;
  params->soundCount = getTargetTag(index, kTagSoundCount)->value;

  const uint64_t list = params->spfBase + getTargetTag(index, kTagSoundEntryList)->value;
  if (const ResultCode rc = readSoundEntry(stream, order, list, &params->firstSound)) return rc;
  params->lastSound = params->firstSound;
  if (params->soundCount != 1) {
    const uint64_t last = list + uint64_t{kSoundEntrySize} * (params->soundCount - 1);
    readSoundEntry(stream, order, last, &params->lastSound);  // when it fails, the first sound is the last one too
  }
  return HASHCREATE_SUCCESS;
}

void spfMainImageSizeCorrection(JpegHashParams* params) {
  const uint64_t firstSound = params->spfBase + params->firstSound.offset;
  params->firstImageSize = std::min(params->firstImageSize, firstSound);
}

bool IsSPF(uint32_t identifier) { return identifier == kSpfIdentifier; }

// A segment that is no sound index answers 0 and changes nothing.
ResultCode readSoundIndex(Stream* stream, JpegHashParams* params) {
  if (params->app3End < c_ftell(stream) + kIdentifierSize) return HASHCREATE_SUCCESS;
  uint32_t identifier = 0;
  if (const ResultCode rc = readULong(stream, &identifier, kBigEndian)) return rc;
  if (!IsSPF(identifier)) return HASHCREATE_SUCCESS;

  params->spfBase = c_ftell(stream);
  const int header = IsTIFF(stream);
  if (header <= 0) return HASHCREATE_FORMAT_ERROR;
  const uint32_t order = static_cast<uint32_t>(header);
  uint32_t ifdOffset = 0;
  if (const ResultCode rc = readULong(stream, &ifdOffset, order)) return rc;

  DirEntryInfo index[] = {unfilledRow(kTagVersion), unfilledRow(kTagSoundCount), unfilledRow(kTagSoundEntryList),
                          unfilledRow(kEndOfTable)};
  uint32_t nextIfdOffset = 0;
  const uint64_t ifd = params->spfBase + ifdOffset;
  if (const ResultCode rc = parseIFDEx(stream, order, index, ifd, &nextIfdOffset, params->app3End)) return rc;
  if (const ResultCode rc = getSoundInfo(stream, order, index, params)) return rc;
  spfMainImageSizeCorrection(params);
  return HASHCREATE_SUCCESS;
}

// ---- The sound ----

bool isSoundExist(const JpegHashParams* params) {
  return params->spfBase != 0 && params->soundCount != 0 && params->firstSound.offset != 0 &&
         params->firstSound.size != 0 && params->lastSound.offset != 0 && params->lastSound.size != 0;
}

uint64_t getFirstSoundStartOffset(const JpegHashParams* params) { return params->spfBase + params->firstSound.offset; }

uint64_t getLastSoundEndOffset(const JpegHashParams* params) {
  return params->spfBase + params->lastSound.offset + params->lastSound.size;
}

uint64_t soundSizeCorrection(const Stream* stream, uint64_t position) {
  return std::min(position, c_get_file_size(stream));
}

// The size wraps when the sounds are shorter than what is left out of them; the feeder cuts it to the rest of the file.
// The first sound's relative offset is held against the last one's position: looser than it looks, and kept.
uint64_t calcWholeSoundSize(const Stream* stream, const JpegHashParams* params, const SdHeader& sdHeader) {
  if (!isSoundExist(params)) return 0;
  const uint64_t end = soundSizeCorrection(stream, getLastSoundEndOffset(params));
  if (params->firstSound.offset >= end) return 0;
  return end - sdHeader.length - kUnhashedSize - getFirstSoundStartOffset(params);
}

bool isValidSDHeader(const SdHeader& header) {
  return header.length >= sizeof(header.length) &&
         std::memcmp(header.identifier, kSdIdentifier, sizeof(header.identifier)) == 0;
}

ResultCode readSDHeader(Stream* stream, SdHeader* header) {
  if (const ResultCode rc = callbackRead(stream, header->identifier, sizeof(header->identifier))) return rc;
  if (const ResultCode rc = readUShort(stream, &header->length, kBigEndian)) return rc;
  return isValidSDHeader(*header) ? HASHCREATE_SUCCESS : HASHCREATE_FORMAT_ERROR;
}

}  // namespace

ResultCode getApp3Info(Stream* stream, JpegHashParams* params) {
  const ResultCode result = readSoundIndex(stream, params);
  if (result != HASHCREATE_SUCCESS) {
    params->spfBase = 0;
    params->app3End = 0;
  }
  return result;
}

bool IsSPFImage(const JpegHashParams* params) { return params->spfBase != 0; }

ResultCode addSoundMeta(Stream* stream, const JpegHashParams* params, uint32_t which) {
  if (!isSoundExist(params)) return HASHCREATE_FORMAT_ERROR;
  if (const ResultCode rc = seekTo(stream, getFirstSoundStartOffset(params))) return rc;
  SdHeader sdHeader = {};
  if (const ResultCode rc = readSDHeader(stream, &sdHeader)) return rc;
  if (const ResultCode rc = skip(stream, sdHeader.length - sizeof(sdHeader.length))) return rc;

  const uint64_t size = calcWholeSoundSize(stream, params, sdHeader);
  inputLongLongMetaSha1(stream, size);
  if (const ResultCode rc = inputActualDataEx(stream, size, which)) return rc;
  const uint64_t end = getLastSoundEndOffset(params);
  if (c_ftell(stream) >= end) return HASHCREATE_SUCCESS;
  return seekTo(stream, end);
}

// The hook by which a sound photo's version would differ from its image's.
int spfMinorVerionModification(int minor) { return minor; }
