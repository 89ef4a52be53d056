// TIFF: a header order:u8[4] firstIfd:u32, then a chain of image file directories (IFDs) count:u16 entry[count]
// next:u32, entry = tag:u16 type:u16 count:u32 valueOrOffset:u32, all in the byte order that the header names. Pixels,
// lists and texts lie anywhere between. A file is hashed as one of two things:
//
// A standard TIFF, whose directories so far hold all mandatory tags:
//   content: one range and its size: the strips, as if they lay one behind the other, or else the bytes before the
//            strip offsets' list, or else those before the first directory
//   meta:    the value fields of ImageWidth, ImageLength, StripOffsets, StripByteCounts, XResolution and YResolution
// A camera raw file, which names a JPEG preview:
//   content: the bytes before the first directory and their size, then the JPEG's content
//   meta:    the JPEG's
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "growingList.h"
#include "hashCreate.h"
#include "tiffDirectory.h"

// ---- Constants ----

namespace {

constexpr uint32_t kHeaderSize = 8;
constexpr uint32_t kLittleEndianMark = 0x002A4949;  // "II" and 42, read as little-endian
constexpr uint32_t kBigEndianMark = 0x2A004D4D;     // "MM" and 42, read as little-endian

// Tables to be copied and filled.
using TiffTagTable = std::array<DirEntryInfo, 19>;
using ExifTagTable = std::array<DirEntryInfo, 2>;

constexpr TiffTagTable kTiffTagTable = {{
    unfilledRow(TAG_IMAGE_WIDTH),
    unfilledRow(TAG_IMAGE_LENGTH),
    unfilledRow(TAG_BITS_PER_SAMPLE),
    unfilledRow(TAG_COMPRESSION),
    unfilledRow(TAG_PHOTOMETRIC_INTERPRETATION),
    unfilledRow(TAG_MAKE),
    unfilledRow(TAG_MODEL),
    unfilledRow(TAG_STRIP_OFFSETS),
    {TAG_ROWS_PER_STRIP, kUnfilled, 0, 0, 0xFFFFFFFF},
    unfilledRow(TAG_STRIP_BYTES_COUNT),
    unfilledRow(TAG_X_RESOLUTION),
    unfilledRow(TAG_Y_RESOLUTION),
    {TAG_RESOLUTION_UNIT, kUnfilled, 0, 2, 0},
    unfilledRow(TAG_SOFTWARE),
    unfilledRow(TAG_COLOR_MAP),
    unfilledRow(TAG_JPEG_INTERCHANGE_FORMAT),
    unfilledRow(TAG_JPEG_INTERCHANGE_FORMAT_LENGTH),
    unfilledRow(TAG_EXIF_IFD),
    unfilledRow(kEndOfTable),
}};

constexpr ExifTagTable kExifTagTable = {{unfilledRow(TAG_MAKER_NOTE), unfilledRow(kEndOfTable)}};

constexpr uint16_t kMandatoryTags[] = {TAG_IMAGE_WIDTH, TAG_IMAGE_LENGTH, TAG_PHOTOMETRIC_INTERPRETATION,
                                       TAG_STRIP_OFFSETS, TAG_STRIP_BYTES_COUNT};

// Tags of a raw file's maker note.
constexpr uint16_t kTagRawVersion = 0xB000;
constexpr uint16_t kTagCameraModel = 0xB001;

constexpr uint32_t kUncompressed = 1;      // TIFF compression
constexpr uint32_t kMaxInlineOffsets = 4;  // strip offsets that are taken to lie in the entry, whatever their type
constexpr int16_t kModelOfQr10 = 256;
constexpr uint32_t kFormatLabelSize = 5;
constexpr uint32_t kTextPieceSize = 1024;  // bytes of a text read at a time

constexpr ResultCode kNoValue = -1;  // a tag that is wanted is missing or cannot be followed

// True when the limit leaves room for size bytes at the current position.
bool fitsBelow(const Stream* stream, uint32_t size, uint64_t limit) {
  return c_ftell(stream) <= limit && limit - c_ftell(stream) >= size;
}

}  // namespace

// ---- Rows and tables ----

int32_t getBaseSize(uint16_t type) {
  constexpr int32_t kSizes[] = {-1, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
  return type < std::size(kSizes) ? kSizes[type] : -1;
}

int isValidDirEntryInfo(const DirEntryInfo* row) {
  return row != nullptr && row->tag != 0 && getBaseSize(row->type) > 0 ? 1 : 0;
}

const DirEntryInfo* getTargetTag(const DirEntryInfo* table, uint16_t tag) {
  if (table == nullptr) return nullptr;
  for (const DirEntryInfo* row = table; row->tag != kEndOfTable; row++) {
    if (row->tag == tag) return row;
  }
  return nullptr;
}

DirEntryInfo* getTargetTag(DirEntryInfo* table, uint16_t tag) {
  return const_cast<DirEntryInfo*>(getTargetTag(static_cast<const DirEntryInfo*>(table), tag));
}

DirEntryInfo* isTargetTag(DirEntryInfo* table, uint16_t tag) { return getTargetTag(table, tag); }

const DirEntryInfo* getTargetTagWithCheck(const DirEntryInfo* table, uint16_t tag) {
  const DirEntryInfo* row = getTargetTag(table, tag);
  return isValidDirEntryInfo(row) ? row : nullptr;
}

// ---- Parsing ----

int IsTIFF(Stream* stream) {
  if (c_get_file_size(stream) < sizeof(uint32_t)) return 0;
  uint32_t mark = 0;
  const ResultCode rc = readULong(stream, &mark, kLittleEndian);
  if (rc != HASHCREATE_SUCCESS) return rc < 0 ? rc : HASHCREATE_READ_ERROR;  // an errno of 1 or 2 is no byte order
  if (mark == kLittleEndianMark) return kLittleEndian;
  return mark == kBigEndianMark ? kBigEndian : 0;
}

ResultCode calcDataSize(const uint8_t* entry, uint32_t* length, uint32_t order) {
  const Fields fields = {entry, kDirEntrySize, order};
  const int32_t baseSize = getBaseSize(fields.u16(2));
  if (baseSize <= 0) return HASHCREATE_FORMAT_ERROR;
  *length = static_cast<uint32_t>(baseSize) * fields.u32(4);
  return HASHCREATE_SUCCESS;
}

ResultCode setDirEntryInfo(const uint8_t* entry, DirEntryInfo* row, uint32_t order) {
  if (const ResultCode rc = calcDataSize(entry, &row->length, order)) return rc;
  const Fields fields = {entry, kDirEntrySize, order};
  row->type = fields.u16(2);
  row->count = fields.u32(4);
  row->value = fields.u32(8);
  return HASHCREATE_SUCCESS;
}

ResultCode parseIFD(Stream* stream, uint32_t order, DirEntryInfo* table, uint32_t* nextIfdOffset, uint64_t limit) {
  uint16_t count = 0;
  if (!fitsBelow(stream, sizeof(count), limit)) return kNoDirectory;
  if (const ResultCode rc = readUShort(stream, &count, order)) return rc;

  ResultCode result = HASHCREATE_SUCCESS;
  for (uint32_t i = 0; i < count && result == HASHCREATE_SUCCESS; i++) {
    uint8_t entry[kDirEntrySize];
    if (!fitsBelow(stream, sizeof(entry), limit)) break;
    if (c_hybrid_read(stream, entry, sizeof(entry)) != sizeof(entry)) break;
    DirEntryInfo* row = isTargetTag(table, getUShort(entry, 2, order));
    if (row != nullptr) result = setDirEntryInfo(entry, row, order);
  }

  if (!fitsBelow(stream, sizeof(*nextIfdOffset), limit)) return result;
  // Also where the entries ended early, at the price of an unknown type's result: hashes depend on both.
  return readULong(stream, nextIfdOffset, order);
}

ResultCode parseIFDEx(Stream* stream, uint32_t order, DirEntryInfo* table, uint64_t ifdPosition,
                      uint32_t* nextIfdOffset, uint64_t limit) {
  if (const ResultCode rc = seekTo(stream, ifdPosition)) return rc;
  return parseIFD(stream, order, table, nextIfdOffset, limit);
}

ResultCode getExifTags(Stream* stream, uint32_t order, const DirEntryInfo* table, DirEntryInfo* exifTable,
                       uint64_t limit) {
  const DirEntryInfo* pointer = getTargetTagWithCheck(table, TAG_EXIF_IFD);
  if (pointer == nullptr) return kNoDirectory;
  uint32_t nextIfdOffset = 0;
  return parseIFDEx(stream, order, exifTable, pointer->value, &nextIfdOffset, limit);
}

// ---- Asking ----

int isMandatoryTag(const DirEntryInfo* row) {
  return std::find(std::begin(kMandatoryTags), std::end(kMandatoryTags), row->tag) != std::end(kMandatoryTags) ? 1 : 0;
}

int isStandardTiff(const DirEntryInfo* table) {
  int isStandard = 0;
  for (const DirEntryInfo* row = table; row->tag != kEndOfTable; row++) {
    if (!isMandatoryTag(row)) continue;
    if (!isValidDirEntryInfo(row)) return 0;
    isStandard = 1;
  }
  return isStandard;
}

int isAccessibleTag(const Stream* stream, const DirEntryInfo* table, uint16_t tag) {
  const DirEntryInfo* row = getTargetTagWithCheck(table, tag);
  return row != nullptr && row->value >= c_ftell(stream) ? 1 : 0;
}

int isAccessibleTagEx(const Stream* stream, const DirEntryInfo* table, uint16_t tag, uint64_t base) {
  const DirEntryInfo* row = getTargetTagWithCheck(table, tag);
  if (row == nullptr) return 0;
  return row->length <= kMaxInlineLength || base + row->value >= c_ftell(stream) ? 1 : 0;
}

namespace {

bool isTextWithin(const Stream* stream, const DirEntryInfo* row, uint64_t limit) {
  if (limit == 0) return row->value <= c_get_file_size(stream);
  const uint32_t end = row->value + row->length;  // wraps
  return end <= limit;
}

bool readPast(Stream* stream, uint32_t size) {
  uint8_t piece[kTextPieceSize];
  while (size > 0) {
    const uint32_t length = std::min(size, kTextPieceSize);
    if (c_hybrid_read(stream, piece, length) != length) return false;
    size -= length;
  }
  return true;
}

}  // namespace

int getAsciiValueFromTiff(Stream* stream, const DirEntryInfo* row, uint64_t limit) {
  if (row == nullptr || row->type != kTypeAscii) return 0;
  if (row->length <= kMaxInlineLength) return 1;
  if (!isTextWithin(stream, row, limit) || seekTo(stream, row->value) != HASHCREATE_SUCCESS) return 0;
  return readPast(stream, row->length) ? 1 : 0;
}

int getTagStringValue(Stream* stream, const DirEntryInfo* table, uint16_t tag, uint64_t limit) {
  return getAsciiValueFromTiff(stream, getTargetTag(table, tag), limit);
}

int getMakerAndModel(Stream* stream, const DirEntryInfo* table, uint64_t limit) {
  int found = 0;
  for (const uint16_t tag : {TAG_MAKE, TAG_MODEL, TAG_SOFTWARE}) found += getTagStringValue(stream, table, tag, limit);
  return found;
}

namespace {

// ---- Standard TIFF ----

// Only the last range counts: each one starts the content digest anew, and one that fails leaves what it fed so far.
ResultCode createTIFFDataHash(Stream* stream, uint64_t offset, uint64_t size, uint32_t mode) {
  if (const ResultCode rc = seekTo(stream, offset)) return rc;
  resetContentSha1(stream);
  const ResultCode rc = mode == kUncompressed ? inputSpecifiedData(stream, size) : inputActualData(stream, size);
  if (rc == HASHCREATE_SUCCESS) inputLongLongContentSha1(stream, size);
  return rc;
}

// Takes the value fields as they stand, valid or not: of a rational number or a list that is an offset.
void createTIFFMetaHash(Stream* stream, Labels* labels, const DirEntryInfo* tagTable) {
  for (const uint16_t tag : {TAG_IMAGE_WIDTH, TAG_IMAGE_LENGTH, TAG_STRIP_OFFSETS, TAG_STRIP_BYTES_COUNT,
                             TAG_X_RESOLUTION, TAG_Y_RESOLUTION}) {
    const uint32_t value = getTargetTag(tagTable, tag)->value;
    uint8_t bytes[sizeof(value)];
    for (uint32_t i = 0; i < sizeof(bytes); i++) bytes[i] = static_cast<uint8_t>(value >> 8 * i);
    inputMetaSha1(stream, bytes, sizeof(bytes));
  }
  setFormatType(labels, "TIFF");
  setFileType(labels, "PHOTO");
  setAlgorithmVersion(labels, 3, 0);
  setAlgorithmId(labels, KMHASH_ALGORITHM_TIFF);
}

// What is asked of a list of strip offsets or byte counts.
struct StripInfo {
  uint32_t first = 0;
  uint64_t sum = 0;  // up to a value of 0, which ends the list also in its middle
};

ResultCode readStripValues(Stream* stream, const DirEntryInfo* row, StripInfo* strips, uint32_t byteOrder) {
  const int32_t size = getBaseSize(row->type);
  if (size != 2 && size != 4) return HASHCREATE_FORMAT_ERROR;
  bool isEnded = false;
  for (uint32_t i = 0; i < row->count; i++) {
    uint16_t shortValue = 0;
    uint32_t value = 0;
    const ResultCode rc = size == 2 ? readUShort(stream, &shortValue, byteOrder) : readULong(stream, &value, byteOrder);
    if (rc != HASHCREATE_SUCCESS) return rc;
    if (size == 2) value = shortValue;
    if (i == 0) strips->first = value;
    isEnded = isEnded || value == 0;
    if (!isEnded) strips->sum += value;
  }
  return HASHCREATE_SUCCESS;
}

// Of StripOffsets or StripByteCounts. Two SHORTs inside the entry count as one value.
ResultCode getStripInfo(Stream* stream, const DirEntryInfo* tagTable, uint16_t tag, StripInfo* strips,
                        uint32_t byteOrder) {
  const DirEntryInfo* row = getTargetTagWithCheck(tagTable, tag);
  if (row == nullptr) return kNoValue;
  if (row->length <= kMaxInlineLength) {
    *strips = {row->value, row->value};
    return HASHCREATE_SUCCESS;
  }
  if (seekTo(stream, row->value) != HASHCREATE_SUCCESS) return kNoValue;
  return readStripValues(stream, row, strips, byteOrder);
}

// Strips stored apart are not followed: the range goes from the first one on, as long as all of them together.
ResultCode hashStrips(Stream* stream, const DirEntryInfo* tagTable, uint32_t compression, uint32_t byteOrder) {
  StripInfo offsets;
  StripInfo sizes;
  if (const ResultCode rc = getStripInfo(stream, tagTable, TAG_STRIP_OFFSETS, &offsets, byteOrder)) return rc;
  if (const ResultCode rc = getStripInfo(stream, tagTable, TAG_STRIP_BYTES_COUNT, &sizes, byteOrder)) return rc;
  if (offsets.first < c_ftell(stream)) return HASHCREATE_FORMAT_ERROR;
  return createTIFFDataHash(stream, offsets.first, sizes.sum, compression);
}

// The range from here to an out-of-line list of strip offsets, then the strips when both lists are still ahead.
ResultCode hashImageData(Stream* stream, const DirEntryInfo* tagTable, bool* dataHashCreated, uint32_t byteOrder) {
  const uint32_t compression = getTargetTag(tagTable, TAG_COMPRESSION)->value;
  const DirEntryInfo* stripOffsets = getTargetTag(tagTable, TAG_STRIP_OFFSETS);
  const uint64_t position = c_ftell(stream);
  if (stripOffsets->count > kMaxInlineOffsets && position < stripOffsets->value) {
    if (const ResultCode rc = createTIFFDataHash(stream, position, stripOffsets->value - position, compression)) {
      return rc;
    }
    *dataHashCreated = true;
  }
  const bool isAhead =
      isAccessibleTag(stream, tagTable, TAG_STRIP_OFFSETS) && isAccessibleTag(stream, tagTable, TAG_STRIP_BYTES_COUNT);
  if (*dataHashCreated && !isAhead) return HASHCREATE_SUCCESS;
  return hashStrips(stream, tagTable, compression, byteOrder);
}

// Called behind a directory. Once a range has been hashed nothing fails any more: what cannot be hashed is left out.
ResultCode createHash_StandardTIFF(Stream* stream, Labels* labels, const DirEntryInfo* tagTable, bool dataHashCreated,
                                   uint32_t byteOrder) {
  const ResultCode rc = hashImageData(stream, tagTable, &dataHashCreated, byteOrder);
  if (rc != HASHCREATE_SUCCESS && !dataHashCreated) return rc;
  createTIFFMetaHash(stream, labels, tagTable);
  return HASHCREATE_SUCCESS;
}

// ---- Camera raw files ----

struct JpegInfo {
  uint32_t offset;
  uint32_t length;
};

// What a maker note holds; a length of all ones: nothing.
struct Vr2VersionInfo {
  uint32_t versionValue;
  uint32_t versionLength;
  uint32_t modelValue;
  uint32_t modelLength;
};

// The version of a raw file's format, as its maker note tells it. The software text, which would tell it too, does not
// count: the labels of stored hashes are made without it.
struct Vr2Version {
  uint32_t version;  // the four bytes as one number of the file's byte order
  int16_t model;
};

ResultCode getJpegInfo(const DirEntryInfo* tagTable, JpegInfo* jpegInfo) {
  const DirEntryInfo* offset = getTargetTagWithCheck(tagTable, TAG_JPEG_INTERCHANGE_FORMAT);
  const DirEntryInfo* length = getTargetTagWithCheck(tagTable, TAG_JPEG_INTERCHANGE_FORMAT_LENGTH);
  if (offset == nullptr || length == nullptr) return kNoValue;
  *jpegInfo = {offset->value, length->value};
  return HASHCREATE_SUCCESS;
}

// A preview that ends exactly at the end of the file is refused, and the end is a 32-bit sum, on purpose: another rule
// would give hashes to files that have none.
ResultCode call_createHashJPEG(const JpegInfo* jpegInfo, Stream* stream, Labels* labels) {
  const uint32_t end = jpegInfo->offset + jpegInfo->length;
  if (!c_is_valid_file_pos(stream, jpegInfo->offset) || !c_is_valid_file_pos(stream, end)) {
    return HASHCREATE_FORMAT_ERROR;
  }
  if (const ResultCode rc = seekTo(stream, jpegInfo->offset)) return rc;
  return reentrantCallCreateHash(stream, labels, createHash_JPEG, jpegInfo->length);
}

// Reads the maker note as a directory, with offsets that count from the start of the file.
ResultCode getVr2VersionInfo(Stream* stream, uint32_t byteOrder, const DirEntryInfo* makerNote, Vr2VersionInfo* vr2Info,
                             uint64_t limit) {
  *vr2Info = {UINT32_MAX, UINT32_MAX, UINT32_MAX, UINT32_MAX};
  if (!isValidDirEntryInfo(makerNote)) return kNoValue;
  // The position does not belong into this sum; labels of stored hashes depend on it.
  if (c_ftell(stream) + makerNote->value > limit) return kNoValue;
  DirEntryInfo table[] = {unfilledRow(kTagRawVersion), unfilledRow(kTagCameraModel), unfilledRow(kEndOfTable)};
  uint32_t nextIfdOffset = 0;
  if (const ResultCode rc = parseIFDEx(stream, byteOrder, table, makerNote->value, &nextIfdOffset, limit)) return rc;

  const DirEntryInfo* version = getTargetTagWithCheck(table, kTagRawVersion);
  if (version == nullptr) return HASHCREATE_SUCCESS;
  if (version->type == kTypeByte && version->length == 4) {
    vr2Info->versionValue = version->value;
    vr2Info->versionLength = version->length;
  }
  const DirEntryInfo* model = getTargetTagWithCheck(table, kTagCameraModel);
  if (model != nullptr && model->type == kTypeShort && model->length == 2) {
    vr2Info->modelValue = model->value;
    vr2Info->modelLength = model->length;
  }
  return HASHCREATE_SUCCESS;
}

void getVr2Version(const Vr2VersionInfo* vr2Info, Vr2Version* vr2Version) {
  *vr2Version = {UINT32_MAX, -1};
  if (vr2Info->versionLength == 4) vr2Version->version = vr2Info->versionValue;
  if (vr2Info->modelLength == 2) vr2Version->model = static_cast<int16_t>(vr2Info->modelValue & 0xFFFF);
}

void getQrwFileTypeFromVr2Version(const Vr2Version* vr2Version, char* formatLabel, uint32_t labelSize) {
  const unsigned byte0 = vr2Version->version & 0xFF;
  const unsigned byte1 = vr2Version->version >> 8 & 0xFF;
  std::memset(formatLabel, 0, labelSize);
  if (vr2Version->model == kModelOfQr10) {
    std::snprintf(formatLabel, labelSize, "Qr10");
  } else if (byte0 == 0) {
    std::snprintf(formatLabel, labelSize, "VRF ");
  } else if (byte0 <= 2) {
    std::snprintf(formatLabel, labelSize, "VR2%u", byte0);
  } else if (byte0 == 100) {
    std::snprintf(formatLabel, labelSize, "Qr10");
  } else {
    std::snprintf(formatLabel, labelSize, "V%u%02x", byte0 % 10, byte1 % 255);
  }
}

// ---- The walk ----

using OffsetList = GrowingList<uint32_t>;

// Offsets of the directories parsed so far, as ascending runs. A seek backwards reaches the read buffer only, and no
// directory there is parsed twice, so there are about as many runs as the buffer has positions, at most. The lists take
// 4 bytes a directory, which takes 6 bytes or more of the file and not all of them 0: a hole in it costs nothing.
struct ParsedDirectories {
  OffsetList offsets;
  OffsetList runs;  // where each run begins in offsets
};

struct TiffFile {
  uint32_t byteOrder = 0;
  uint32_t ifdOffset = 0;  // of the directory to be parsed next
  TiffTagTable tagTable = kTiffTagTable;
  int makerAndModelCount = 0;
  bool dataHashCreated = false;  // a range is in the content digest
  JpegInfo jpegInfo = {};
  ParsedDirectories parsed;
};

// Whether a value is among those from begin to end, which ascend.
bool isAmong(const OffsetList& list, size_t begin, size_t end, uint32_t value) {
  while (begin < end) {
    const size_t middle = begin + (end - begin) / 2;
    if (list[middle] == value) return true;
    if (list[middle] < value) {
      begin = middle + 1;
    } else {
      end = middle;
    }
  }
  return false;
}

bool isParsed(const ParsedDirectories& parsed, uint32_t offset) {
  size_t end = parsed.offsets.size;
  for (size_t i = parsed.runs.size; i-- > 0; end = parsed.runs[i]) {
    if (isAmong(parsed.offsets, parsed.runs[i], end, offset)) return true;
  }
  return false;
}

// HASHCREATE_FORMAT_ERROR for a directory that was parsed before: the chain is a circle.
ResultCode noteDirectory(ParsedDirectories* parsed, uint32_t offset) {
  if (isParsed(*parsed, offset)) return HASHCREATE_FORMAT_ERROR;
  const size_t size = parsed->offsets.size;
  if (size == 0 || offset < parsed->offsets[size - 1]) {
    if (!append(&parsed->runs, static_cast<uint32_t>(size))) return HASHCREATE_MEM_ALLOC_ERROR;
  }
  return append(&parsed->offsets, offset) ? HASHCREATE_SUCCESS : HASHCREATE_MEM_ALLOC_ERROR;
}

ResultCode parseNextDirectory(Stream* stream, TiffFile* tiff) {
  if (const ResultCode rc = seekTo(stream, tiff->ifdOffset)) return rc;
  if (const ResultCode rc = noteDirectory(&tiff->parsed, tiff->ifdOffset)) return rc;
  return parseIFD(stream, tiff->byteOrder, tiff->tagTable.data(), &tiff->ifdOffset, c_get_file_size(stream));
}

// The version stays as it is when the first directory leads to no readable maker note.
void findVr2Version(Stream* stream, const TiffFile& tiff, Vr2Version* vr2Version) {
  ExifTagTable exifTable = kExifTagTable;
  const uint64_t limit = tiff.jpegInfo.offset;
  if (getExifTags(stream, tiff.byteOrder, tiff.tagTable.data(), exifTable.data(), limit) != HASHCREATE_SUCCESS) return;
  const DirEntryInfo* makerNote = getTargetTagWithCheck(exifTable.data(), TAG_MAKER_NOTE);
  Vr2VersionInfo vr2Info;
  if (getVr2VersionInfo(stream, tiff.byteOrder, makerNote, &vr2Info, limit) != HASHCREATE_SUCCESS) return;
  getVr2Version(&vr2Info, vr2Version);
}

ResultCode hashPreview(Stream* stream, Labels* labels, const TiffFile& tiff) {
  Vr2Version vr2Version = {0, 0};
  if (tiff.parsed.offsets.size == 1) findVr2Version(stream, tiff, &vr2Version);
  if (const ResultCode rc = call_createHashJPEG(&tiff.jpegInfo, stream, labels)) return rc;
  char formatLabel[kFormatLabelSize];
  getQrwFileTypeFromVr2Version(&vr2Version, formatLabel, sizeof(formatLabel));
  setFormatType(labels, formatLabel);
  setAlgorithmVersion(labels, 3, 0);
  setAlgorithmId(labels, KMHASH_ALGORITHM_RAW);
  return HASHCREATE_SUCCESS;
}

// The first directories that make a standard TIFF or name a preview. No directory at all is no failure.
ResultCode hashDirectories(Stream* stream, Labels* labels, TiffFile* tiff) {
  const DirEntryInfo* tagTable = tiff->tagTable.data();
  ResultCode result = HASHCREATE_SUCCESS;
  while (tiff->ifdOffset != 0) {
    if (const ResultCode rc = parseNextDirectory(stream, tiff)) return rc;
    if (isStandardTiff(tagTable)) {
      return createHash_StandardTIFF(stream, labels, tagTable, tiff->dataHashCreated, tiff->byteOrder);
    }
    if (tiff->makerAndModelCount == 0) {
      tiff->makerAndModelCount = getMakerAndModel(stream, tagTable, tiff->ifdOffset);
    }
    if (getJpegInfo(tagTable, &tiff->jpegInfo) == HASHCREATE_SUCCESS) return hashPreview(stream, labels, *tiff);
    result = HASHCREATE_FORMAT_ERROR;
  }
  return result;
}

}  // namespace

ResultCode createHash_TIFF(Stream* stream, Labels* labels) {
  TiffFile tiff;
  const int order = IsTIFF(stream);
  if (order <= 0) return kNotThisFormat;
  tiff.byteOrder = static_cast<uint32_t>(order);
  if (const ResultCode rc = readULong(stream, &tiff.ifdOffset, tiff.byteOrder)) return rc;
  if (tiff.ifdOffset > kHeaderSize) {
    const ResultCode rc = createTIFFDataHash(stream, kHeaderSize, tiff.ifdOffset - kHeaderSize, kUncompressed);
    if (rc != HASHCREATE_SUCCESS) return rc;
    tiff.dataHashCreated = true;
  }
  return hashDirectories(stream, labels, &tiff);
}

int getAlgorithmMajorVersion_TIFF(uint32_t id) {
  return id == KMHASH_ALGORITHM_TIFF || id == KMHASH_ALGORITHM_RAW ? 3 : kNotThisFormat;
}
int getAlgorithmMinorVersion_TIFF(uint32_t id) {
  return id == KMHASH_ALGORITHM_TIFF || id == KMHASH_ALGORITHM_RAW ? 0 : kNotThisFormat;
}
