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

constexpr uint64_t kObjectHeaderSize = 16 + 8;  // guid, size

// Kinds of stream in a file, one bit each.
constexpr uint32_t kAudioStream = 0x1;
constexpr uint32_t kVideoStream = 0x2;
constexpr uint32_t kJfifStream = 0x10;
constexpr uint32_t kDegradableJpegStream = 0x20;
constexpr uint32_t kCommandStream = 0x100;
constexpr uint32_t kFileTransferStream = 0x1000;
constexpr uint32_t kBinaryStream = 0x2000;
constexpr uint32_t kNonMediaStreams = 0xFF00;

// Fields of these sizes as they are stored, one behind the other.
template <uint8_t... sizes>
struct Record {
  uint8_t bytes[(sizes + ...)];
};

// What follows the GUIDs of File and Stream Properties, and the type-specific data of streams.
using FileProperties = Record<8, 8, 8, 8, 8, 8, 4, 4, 4, 4>;
using StreamProperties = Record<8, 4, 4, 2, 4>;
using AudioFormat = Record<2, 2, 4, 4, 2, 2, 2>;             // WAVEFORMATEX
using ImageFormat = Record<4, 4, 1, 2>;                      // width, height, flags, size of what follows
using BitmapInfo = Record<4, 4, 4, 2, 2, 4, 4, 4, 4, 4, 4>;  // BITMAPINFOHEADER

// Places of fields in them.
constexpr uint32_t kTypeSpecificLength = 8;
constexpr uint32_t kSamplesPerSec = 4, kExtraSize = 16;
constexpr uint32_t kFormatDataSize = 9;
constexpr uint32_t kWidth = 4, kBitCount = 14, kCompression = 16;

struct AsfInformation {
  Guid fileId;
  uint32_t streamTypeFlags;  // of all streams; of several of one kind the formats below are the last one's
  AudioFormat audio;
  BitmapInfo video;
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

// Reads one field after the other, up to the first failure: callers' callbacks see them one by one.
template <uint8_t... sizes>
ResultCode readFields(Stream* stream, Record<sizes...>* record) {
  uint8_t* field = record->bytes;
  for (const uint8_t size : {sizes...}) {
    if (const ResultCode rc = callbackRead(stream, field, size)) return rc;
    field += size;
  }
  return HASHCREATE_SUCCESS;
}

// ---- Recogniser ----

// 1 or 0.
int IsASF(Stream* stream) {
  Guid id = {};
  if (c_get_file_size(stream) < sizeof(id)) return 0;
  return callbackRead(stream, id.data(), sizeof(id)) == HASHCREATE_SUCCESS && id == ASF_Header_Object ? 1 : 0;
}

// ---- Objects ----

ResultCode getObjectSize(Stream* stream, uint64_t* payloadSize) {
  uint64_t size = 0;
  if (const ResultCode rc = readULongLong(stream, &size, kLittleEndian)) return rc;
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
  if (const ResultCode rc = callbackRead(stream, id.data(), sizeof(id))) return rc;
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

// Does not seek to the object's end: what a longer payload has left is taken for the next object.
ResultCode parseFilePropertiesObject(Stream* stream, uint64_t, AsfInformation* info) {
  if (const ResultCode rc = callbackRead(stream, info->fileId.data(), sizeof(info->fileId))) return rc;
  FileProperties unused;
  return readFields(stream, &unused);
}

// Codec-specific data, less than 64 KiB of it. Memory for all of it, because callbacks see it read in one go.
ResultCode readPastExtra(Stream* stream, uint32_t size) {
  if (size == 0) return HASHCREATE_SUCCESS;
  const std::unique_ptr<uint8_t[]> bytes(new (std::nothrow) uint8_t[size]);
  if (bytes == nullptr) return HASHCREATE_MEM_ALLOC_ERROR;
  return callbackRead(stream, bytes.get(), size);
}

ResultCode readASFAudioProperties(Stream* stream, uint64_t, AsfInformation* info) {
  if (const ResultCode rc = readFields(stream, &info->audio)) return rc;
  return readPastExtra(stream, fieldsOf(info->audio.bytes, kLittleEndian).u16(kExtraSize));
}

// A format data size below the BITMAPINFOHEADER's own would be a negative amount of extra data, which no memory holds.
ResultCode readASFVideoProperties(Stream* stream, uint64_t, AsfInformation* info) {
  ImageFormat format = {};
  if (const ResultCode rc = readFields(stream, &format)) return rc;
  if (const ResultCode rc = readFields(stream, &info->video)) return rc;
  const uint32_t formatDataSize = fieldsOf(format.bytes, kLittleEndian).u16(kFormatDataSize);
  if (formatDataSize < sizeof(info->video)) return HASHCREATE_MEM_ALLOC_ERROR;
  return readPastExtra(stream, formatDataSize - uint32_t{sizeof(info->video)});
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

ResultCode readStreamProperties(Stream* stream, const Guid& streamType, uint32_t typeSpecificDataLength,
                                AsfInformation* info) {
  const Parser reader = getParser(kStreamReaders, streamType);
  if (reader != nullptr) return reader(stream, typeSpecificDataLength, info);
  return skip(stream, typeSpecificDataLength);
}

ResultCode parseStreamPropertiesObject(Stream* stream, uint64_t payloadSize, AsfInformation* info) {
  const uint64_t end = payloadEnd(stream, payloadSize);
  std::array<Guid, 2> types = {};  // of the stream, of its error correction
  StreamProperties properties = {};
  if (const ResultCode rc = callbackRead(stream, types.data(), sizeof(types))) return rc;
  if (const ResultCode rc = readFields(stream, &properties)) return rc;
  info->streamTypeFlags |= getStreamTypeFlag(types[0]);
  const uint32_t length = fieldsOf(properties.bytes, kLittleEndian).u32(kTypeSpecificLength);
  if (const ResultCode rc = readStreamProperties(stream, types[0], length, info)) return rc;
  return seekForwardTo(stream, end);
}

constexpr ParserRow kHeaderObjectParsers[] = {
    {ASF_File_Properties_Object, parseFilePropertiesObject},
    {ASF_Stream_Properties_Object, parseStreamPropertiesObject},
};

// ---- Top level ----

ResultCode parseHeaderObject(Stream* stream, uint64_t payloadSize, AsfInformation* info) {
  const uint64_t end = payloadEnd(stream, payloadSize);
  Record<4, 1, 1> unused;  // the count of objects, two reserved fields
  if (const ResultCode rc = readFields(stream, &unused)) return rc;
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
  inputMetaSha1(stream, info->video.bytes + kWidth, 4 + 4);  // and the height
  inputMetaSha1(stream, info->video.bytes + kBitCount, 2);
  char compression[5] = {};
  std::memcpy(compression, info->video.bytes + kCompression, 4);
  setFormatType(labels, compression);
  setFileType(labels, "VIDEO");
}

// The channels, between the format tag and what follows, are left out: stored hashes hold this sequence.
void createASFAudioMetaHash(Stream* stream, const AsfInformation* info, Labels* labels) {
  inputMetaSha1(stream, info->audio.bytes, 2);
  inputMetaSha1(stream, info->audio.bytes + kSamplesPerSec, kExtraSize - kSamplesPerSec);
  char formatType[kFormatTypeSize];
  std::snprintf(formatType, sizeof(formatType), "WMA_%04x",
                unsigned{fieldsOf(info->audio.bytes, kLittleEndian).u16(0)});
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
