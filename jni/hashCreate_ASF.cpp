// ASF, Advanced Systems Format: objects of guid:u8[16] size:u64le payload, the size counting all three. The Header
// Object comes first and holds further objects, File Properties and one Stream Properties a stream among them.
//   content: the payload of the first Data Object, then the length that it claims (u64be)
//   meta:    of a video stream, else of an audio stream, some fields as stored; then the File ID
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <utility>

#include "hashCreate.h"
#include "readPrimitives.h"

namespace {

using Guid = std::array<uint8_t, 16>;

// A GUID's stored bytes from the groups of its text: the first three are stored little-endian, the others as written.
constexpr Guid guid(uint32_t a, uint16_t b, uint16_t c, uint16_t d, uint64_t e) {
  Guid bytes = {};
  for (size_t i = 0; i < 4; ++i) bytes[i] = static_cast<uint8_t>(a >> 8 * i);
  for (size_t i = 0; i < 2; ++i) bytes[4 + i] = static_cast<uint8_t>(b >> 8 * i);
  for (size_t i = 0; i < 2; ++i) bytes[6 + i] = static_cast<uint8_t>(c >> 8 * i);
  for (size_t i = 0; i < 2; ++i) bytes[8 + i] = static_cast<uint8_t>(d >> 8 * (1 - i));
  for (size_t i = 0; i < 6; ++i) bytes[10 + i] = static_cast<uint8_t>(e >> 8 * (5 - i));
  return bytes;
}

constexpr Guid ASF_Header_Object = guid(0x75B22630, 0x668E, 0x11CF, 0xA6D9, 0x00AA0062CE6C);
constexpr Guid ASF_Data_Object = guid(0x75B22636, 0x668E, 0x11CF, 0xA6D9, 0x00AA0062CE6C);
constexpr Guid ASF_File_Properties_Object = guid(0x8CABDCA1, 0xA947, 0x11CF, 0x8EE4, 0x00C00C205365);
constexpr Guid ASF_Stream_Properties_Object = guid(0xB7DC0791, 0xA9B7, 0x11CF, 0x8EE6, 0x00C00C205365);
constexpr Guid ASF_Audio_Media = guid(0xF8699E40, 0x5B4D, 0x11CF, 0xA8FD, 0x00805F5C442B);
constexpr Guid ASF_Video_Media = guid(0xBC19EFC0, 0x5B4D, 0x11CF, 0xA8FD, 0x00805F5C442B);
constexpr Guid ASF_Command_Media = guid(0x59DACFC0, 0x59E6, 0x11D0, 0xA3AC, 0x00A0C90348F6);
constexpr Guid ASF_JFIF_Media = guid(0xB61BE100, 0x5B4E, 0x11CF, 0xA8FD, 0x00805F5C442B);
constexpr Guid ASF_Degradable_JPEG_Media = guid(0x35907DE0, 0xE415, 0x11CF, 0xA917, 0x00805F5C442B);
constexpr Guid ASF_File_Transfer_Media = guid(0x91BD222C, 0xF21C, 0x497A, 0x8B6D, 0x5AA86BFC0185);
constexpr Guid ASF_Binary_Media = guid(0x3AFB65E2, 0x47EF, 0x40F2, 0xAC2C, 0x70A90D71D343);

constexpr uint64_t kObjectHeaderSize = 16 + 8;               // guid, size
constexpr uint32_t kBitmapInfoSize = 3 * 4 + 2 * 2 + 6 * 4;  // BITMAPINFOHEADER

// Kinds of stream in a file, one bit each.
constexpr uint32_t kAudioStream = 0x1;
constexpr uint32_t kVideoStream = 0x2;
constexpr uint32_t kJfifStream = 0x10;
constexpr uint32_t kDegradableJpegStream = 0x20;
constexpr uint32_t kCommandStream = 0x100;
constexpr uint32_t kFileTransferStream = 0x1000;
constexpr uint32_t kBinaryStream = 0x2000;
constexpr uint32_t kNonMediaStreams = 0xFF00;

struct AsfInformation {
  Guid fileId;  // File Properties
  uint64_t fileSize, creationDate, dataPacketsCount, playDuration, sendDuration, preroll;
  uint32_t flags, minimumDataPacketSize, maximumDataPacketSize, maximumBitrate;

  uint32_t streamTypeFlags;  // of all streams; of several of one kind the fields below are the last one's

  uint16_t formatTag, channels;  // audio
  uint32_t samplesPerSec, avgBytesPerSec;
  uint16_t blockAlign, bitsPerSample, cbSize;
  std::unique_ptr<uint8_t[]> audioExtra;

  uint32_t encodedImageWidth, encodedImageHeight;  // video
  uint8_t reservedFlags;
  uint16_t formatDataSize;
  uint32_t biSize, biWidth, biHeight;
  uint16_t biPlanes, biBitCount;
  uint32_t biCompression, biSizeImage, biXPelsPerMeter, biYPelsPerMeter, biClrUsed, biClrImportant;
  std::unique_ptr<uint8_t[]> videoExtra;
};

// Called with the stream at the first of size bytes: an object's payload, or the type-specific data of a stream.
using Parser = ResultCode (*)(Stream* stream, uint64_t size, AsfInformation* info);

struct ParserRow {
  Guid id;
  Parser parser;
};

struct StreamTypeFlag {
  Guid type;
  uint32_t flag;
};

constexpr StreamTypeFlag kStreamTypeFlags[] = {
    {ASF_Audio_Media, kAudioStream},     {ASF_Video_Media, kVideoStream},
    {ASF_JFIF_Media, kJfifStream},       {ASF_Degradable_JPEG_Media, kDegradableJpegStream},
    {ASF_Command_Media, kCommandStream}, {ASF_File_Transfer_Media, kFileTransferStream},
    {ASF_Binary_Media, kBinaryStream},
};

// ---- Fields, least significant byte first ----

ResultCode readField(Stream* stream, Guid* value) { return callbackRead(stream, value->data(), sizeof(Guid)); }
ResultCode readField(Stream* stream, uint8_t* value) { return callbackRead(stream, value, 1); }
ResultCode readField(Stream* stream, uint16_t* value) { return readUShort(stream, value, kLittleEndian); }
ResultCode readField(Stream* stream, uint32_t* value) { return readULong(stream, value, kLittleEndian); }
ResultCode readField(Stream* stream, uint64_t* value) { return readULongLong(stream, value, kLittleEndian); }

// Reads one field after the other, up to the first failure.
template <typename... Fields>
ResultCode readFields(Stream* stream, Fields*... fields) {
  ResultCode rc = HASHCREATE_SUCCESS;
  static_cast<void>((((rc = readField(stream, fields)) == HASHCREATE_SUCCESS) && ...));
  return rc;
}

// Feeds a field as it is stored.
template <typename Field>
void inputFieldMetaSha1(Stream* stream, Field value) {
  uint8_t bytes[sizeof(Field)];
  for (size_t i = 0; i < sizeof(bytes); ++i) bytes[i] = static_cast<uint8_t>(value >> 8 * i);
  inputMetaSha1(stream, bytes, sizeof(bytes));
}

// ---- Recogniser ----

// 1 or 0.
int IsASF(Stream* stream) {
  Guid id = {};
  if (c_get_file_size(stream) < sizeof(id)) return 0;
  return readField(stream, &id) == HASHCREATE_SUCCESS && id == ASF_Header_Object ? 1 : 0;
}

// ---- Objects ----

ResultCode getObjectSize(Stream* stream, uint64_t* payloadSize) {
  uint64_t size = 0;
  if (const ResultCode rc = readField(stream, &size)) return rc;
  if (size < kObjectHeaderSize) return HASHCREATE_FORMAT_ERROR;
  *payloadSize = size - kObjectHeaderSize;
  return HASHCREATE_SUCCESS;
}

Parser getParser(std::span<const ParserRow> table, const Guid& id) {
  for (const ParserRow& row : table) {
    if (row.id == id) return row.parser;
  }
  return nullptr;
}

// Where a payload at the current position ends. A size that no position can express ends past every file.
uint64_t payloadEnd(const Stream* stream, uint64_t payloadSize) {
  const uint64_t position = c_ftell(stream);
  return payloadSize > UINT64_MAX - position ? UINT64_MAX : position + payloadSize;
}

ResultCode parseObject(Stream* stream, std::span<const ParserRow> table, AsfInformation* info) {
  Guid id = {};
  uint64_t payloadSize = 0;
  if (const ResultCode rc = readField(stream, &id)) return rc;
  if (const ResultCode rc = getObjectSize(stream, &payloadSize)) return rc;
  const Parser parser = getParser(table, id);
  if (parser != nullptr) return parser(stream, payloadSize, info);
  return skip(stream, payloadSize);
}

// Parses at least one object, also where there is no room for any before end.
ResultCode parseObjects(Stream* stream, std::span<const ParserRow> table, uint64_t end, AsfInformation* info) {
  do {
    if (const ResultCode rc = parseObject(stream, table, info)) return rc;
  } while (c_ftell(stream) < end);
  return HASHCREATE_SUCCESS;
}

// ---- Inside the Header Object ----

ResultCode readFilePropetiesObjectInfo(Stream* stream, AsfInformation* info) {
  return readFields(stream, &info->fileId, &info->fileSize, &info->creationDate, &info->dataPacketsCount,
                    &info->playDuration, &info->sendDuration, &info->preroll, &info->flags,
                    &info->minimumDataPacketSize, &info->maximumDataPacketSize, &info->maximumBitrate);
}

// Does not seek to the object's end: what a longer payload has left is taken for the next object.
ResultCode parseFilePropertiesObject(Stream* stream, uint64_t, AsfInformation* info) {
  return readFilePropetiesObjectInfo(stream, info);
}

// Codec-specific data, less than 64 KiB of it.
ResultCode readExtra(Stream* stream, uint32_t size, std::unique_ptr<uint8_t[]>* extra) {
  if (size == 0) return HASHCREATE_SUCCESS;
  std::unique_ptr<uint8_t[]> bytes(new (std::nothrow) uint8_t[size]);
  if (bytes == nullptr) return HASHCREATE_MEM_ALLOC_ERROR;
  if (const ResultCode rc = callbackRead(stream, bytes.get(), size)) return rc;
  *extra = std::move(bytes);
  return HASHCREATE_SUCCESS;
}

ResultCode readASFAudioProperties(Stream* stream, uint64_t, AsfInformation* info) {
  if (const ResultCode rc = readFields(stream, &info->formatTag, &info->channels, &info->samplesPerSec,
                                       &info->avgBytesPerSec, &info->blockAlign, &info->bitsPerSample, &info->cbSize)) {
    return rc;
  }
  return readExtra(stream, info->cbSize, &info->audioExtra);
}

// A format data size below the BITMAPINFOHEADER's own would be a negative amount of extra data, which no memory holds.
ResultCode readASFVideoProperties(Stream* stream, uint64_t, AsfInformation* info) {
  if (const ResultCode rc =
          readFields(stream, &info->encodedImageWidth, &info->encodedImageHeight, &info->reservedFlags,
                     &info->formatDataSize, &info->biSize, &info->biWidth, &info->biHeight, &info->biPlanes,
                     &info->biBitCount, &info->biCompression, &info->biSizeImage, &info->biXPelsPerMeter,
                     &info->biYPelsPerMeter, &info->biClrUsed, &info->biClrImportant)) {
    return rc;
  }
  if (info->formatDataSize < kBitmapInfoSize) return HASHCREATE_MEM_ALLOC_ERROR;
  return readExtra(stream, info->formatDataSize - kBitmapInfoSize, &info->videoExtra);
}

constexpr ParserRow kStreamReaders[] = {
    {ASF_Audio_Media, readASFAudioProperties},
    {ASF_Video_Media, readASFVideoProperties},
};

uint32_t getStreamTypeFlag(const Guid& type) {
  for (const StreamTypeFlag& row : kStreamTypeFlags) {
    if (row.type == type) return row.flag;
  }
  return 0;
}

ResultCode readStreamPropetiesObjectInfo(Stream* stream, Guid* streamType, uint32_t* typeSpecificDataLength) {
  Guid errorCorrectionType;
  uint64_t timeOffset;
  uint32_t errorCorrectionDataLength, reserved;
  uint16_t flags;
  return readFields(stream, streamType, &errorCorrectionType, &timeOffset, typeSpecificDataLength,
                    &errorCorrectionDataLength, &flags, &reserved);
}

ResultCode readStreamProperties(Stream* stream, const Guid& streamType, uint32_t typeSpecificDataLength,
                                AsfInformation* info) {
  const Parser reader = getParser(kStreamReaders, streamType);
  if (reader != nullptr) return reader(stream, typeSpecificDataLength, info);
  return skip(stream, typeSpecificDataLength);
}

ResultCode parseStreamPropertiesObject(Stream* stream, uint64_t payloadSize, AsfInformation* info) {
  const uint64_t end = payloadEnd(stream, payloadSize);
  Guid type;
  uint32_t length = 0;
  if (const ResultCode rc = readStreamPropetiesObjectInfo(stream, &type, &length)) return rc;
  info->streamTypeFlags |= getStreamTypeFlag(type);
  if (const ResultCode rc = readStreamProperties(stream, type, length, info)) return rc;
  return seekForwardTo(stream, end);
}

constexpr ParserRow kHeaderObjectParsers[] = {
    {ASF_File_Properties_Object, parseFilePropertiesObject},
    {ASF_Stream_Properties_Object, parseStreamPropertiesObject},
};

// ---- Top level ----

// The count of objects and two reserved bytes, none of them used.
ResultCode readHeaderObjectsNum(Stream* stream) {
  uint32_t count;
  uint8_t reserved1, reserved2;
  return readFields(stream, &count, &reserved1, &reserved2);
}

ResultCode parseHeaderObject(Stream* stream, uint64_t payloadSize, AsfInformation* info) {
  const uint64_t end = payloadEnd(stream, payloadSize);
  if (const ResultCode rc = readHeaderObjectsNum(stream)) return rc;
  return parseObjects(stream, kHeaderObjectParsers, end, info);
}

// Ends the walk: nothing after the first Data Object is read. Its own File ID and packet count are part of the payload.
// The feeder cuts a payload that runs past the end of the file; the length that goes in behind it stays as claimed.
ResultCode parseDataObject(Stream* stream, uint64_t payloadSize, AsfInformation*) {
  if (!c_is_valid_file_pos(stream, c_ftell(stream))) return HASHCREATE_FORMAT_ERROR;
  if (const ResultCode rc = inputActualData(stream, payloadSize)) return rc;
  inputLongLongContentSha1(stream, payloadSize);
  return seekForwardTo(stream, c_get_file_size(stream));
}

constexpr ParserRow kTopLevelParsers[] = {
    {ASF_Header_Object, parseHeaderObject},
    {ASF_Data_Object, parseDataObject},
};

// A file may end with its Header Object.
ResultCode parseTopLevelObject(Stream* stream, AsfInformation* info) {
  if (c_ftell(stream) == c_get_file_size(stream)) return HASHCREATE_SUCCESS;
  return parseObjects(stream, kTopLevelParsers, c_get_file_size(stream), info);
}

// ---- Meta digest and labels ----

void createASFVideoMetaHash(Stream* stream, const AsfInformation* info, Labels* labels) {
  inputFieldMetaSha1(stream, info->biWidth);
  inputFieldMetaSha1(stream, info->biHeight);
  inputFieldMetaSha1(stream, info->biBitCount);
  char compression[5] = {};  // in file order
  for (size_t i = 0; i < 4; ++i) compression[i] = static_cast<char>(info->biCompression >> 8 * i & 0xFF);
  setFormatType(labels, compression);
  setFileType(labels, "VIDEO");
}

// The channels are left out: stored hashes hold this sequence.
void createASFAudioMetaHash(Stream* stream, const AsfInformation* info, Labels* labels) {
  inputFieldMetaSha1(stream, info->formatTag);
  inputFieldMetaSha1(stream, info->samplesPerSec);
  inputFieldMetaSha1(stream, info->avgBytesPerSec);
  inputFieldMetaSha1(stream, info->blockAlign);
  inputFieldMetaSha1(stream, info->bitsPerSample);
  char formatType[kFormatTypeSize];
  std::snprintf(formatType, sizeof(formatType), "WMA_%04x", static_cast<unsigned>(info->formatTag));
  setFormatType(labels, formatType);
  setFileType(labels, "AUDIO");
}

// "JEIF" is what stored hashes hold.
void createASFPhotoMetaHash(Stream*, const AsfInformation* info, Labels* labels) {
  setFormatType(labels, (info->streamTypeFlags & kDegradableJpegStream) != 0 ? "DJPG" : "JEIF");
  setFileType(labels, "PHOTO");
}

void createASFDefaultMetaHash(Stream*, const AsfInformation*, Labels* labels) {
  setFormatType(labels, "ASF ");
  setFileType(labels, "OTHER");
}

struct MetaHash {
  uint32_t flag;
  void (*create)(Stream* stream, const AsfInformation* info, Labels* labels);
};

// The first kind that the file has decides.
constexpr MetaHash kMetaHashes[] = {
    {kVideoStream, createASFVideoMetaHash},
    {kAudioStream, createASFAudioMetaHash},
    {kJfifStream, createASFPhotoMetaHash},
    {kDegradableJpegStream, createASFPhotoMetaHash},
};

void createASFMetaHash(Stream* stream, const AsfInformation* info, Labels* labels) {
  auto* create = createASFDefaultMetaHash;
  const bool mediaOnly = (info->streamTypeFlags & kNonMediaStreams) == 0;
  for (const MetaHash& row : kMetaHashes) {
    if (!mediaOnly || (info->streamTypeFlags & row.flag) == 0) continue;
    create = row.create;
    break;
  }
  create(stream, info, labels);
  inputMetaSha1(stream, info->fileId.data(), sizeof(info->fileId));
  setAlgorithmVersion(labels, 3, 0);
  setAlgorithmId(labels, KMHASH_ALGORITHM_ASF);
}

}  // namespace

// Labels and meta digest are complete also when the walk after the header fails.
ResultCode createHash_ASF(Stream* stream, Labels* labels) {
  AsfInformation info = {};
  if (!IsASF(stream)) return kNotThisFormat;
  uint64_t payloadSize = 0;
  if (const ResultCode rc = getObjectSize(stream, &payloadSize)) return rc;
  if (const ResultCode rc = parseHeaderObject(stream, payloadSize, &info)) return rc;
  const ResultCode result = parseTopLevelObject(stream, &info);
  createASFMetaHash(stream, &info, labels);
  return result;
}

int getAlgorithmMajorVersion_ASF(uint32_t id) { return id == KMHASH_ALGORITHM_ASF ? 3 : kNotThisFormat; }
int getAlgorithmMinorVersion_ASF(uint32_t id) { return id == KMHASH_ALGORITHM_ASF ? 0 : kNotThisFormat; }
