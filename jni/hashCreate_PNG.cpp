// PNG: eight signature bytes, then chunks of length:u32be type:u8[4] data crc:u32be.
//   content: everything from the first IDAT's data to twelve bytes before the end of the file
//   meta:    the thirteen data bytes of IHDR, zeros when there is none before the first IDAT
#include "debugLog.h"
#include "hashCreate.h"
#include "readPrimitives.h"

namespace {

constexpr uint64_t kSignature = 0x89504E470D0A1A0A;
constexpr uint64_t kSignatureSize = 8;
constexpr uint64_t kCrcSize = 4;
constexpr uint64_t kIendSize = 12;  // an empty chunk: length, type and CRC
constexpr uint32_t kIHDR = fourCC("IHDR");
constexpr uint32_t kIDAT = fourCC("IDAT");

// Width, height, bit depth, colour type, compression, filter and interlace method as they lie in the file.
struct Ihdr {
  uint8_t bytes[4 + 4 + 1 + 1 + 1 + 1 + 1];
};

ResultCode isPng(Stream* stream) {
  if (c_get_file_size(stream) < kSignatureSize) return kNotThisFormat;
  uint64_t signature = 0;
  if (const ResultCode rc = readULongLong(stream, &signature, kBigEndian)) return rc;
  return signature == kSignature ? HASHCREATE_SUCCESS : kNotThisFormat;
}

// Leaves the stream on the chunk's data.
ResultCode getChunkSizeAndChunkType(Stream* stream, uint32_t* chunkSize, uint32_t* chunkType) {
  uint64_t header = 0;
  if (const ResultCode rc = readULongLong(stream, &header, kBigEndian)) return rc;
  *chunkSize = static_cast<uint32_t>(header >> 32);
  *chunkType = static_cast<uint32_t>(header);
  // Held against the whole file, not against what is left of it: a shorter overrun is for the seek to refuse.
  if (*chunkSize > c_get_file_size(stream)) {
    DEBUG_LOG("%s:Invalid Chunk Size.chunkSize(0x%x) > fileSize(0x%llx)\n", __func__, *chunkSize,
              static_cast<unsigned long long>(c_get_file_size(stream)));
    return HASHCREATE_BROKEN_CONTENT;
  }
  return HASHCREATE_SUCCESS;
}

// Thirteen bytes whatever the chunk's length says.
ResultCode getIhdrInfo(Stream* stream, Ihdr* ihdr) { return callbackRead(stream, ihdr->bytes, sizeof(ihdr->bytes)); }

// With fewer than twelve bytes left the count wraps and the feeder takes all of them: stored hashes depend on it.
ResultCode getIdatInfo(Stream* stream) { return inputActualData(stream, remaining(stream) - kIendSize); }

ResultCode analyzePng(Stream* stream, Ihdr* ihdr) {
  while (c_ftell(stream) <= c_get_file_size(stream)) {
    uint32_t chunkSize = 0;
    uint32_t chunkType = 0;
    if (const ResultCode rc = getChunkSizeAndChunkType(stream, &chunkSize, &chunkType)) return rc;
    const uint64_t dataStart = c_ftell(stream);
    if (chunkType == kIDAT) return getIdatInfo(stream);
    if (chunkType == kIHDR) {
      if (const ResultCode rc = getIhdrInfo(stream, ihdr)) return rc;
    }
    // Refused after an IHDR that claims fewer than nine bytes.
    if (const ResultCode rc = seekForwardTo(stream, dataStart + chunkSize + kCrcSize)) return rc;
  }
  return HASHCREATE_FORMAT_ERROR;  // ran past the end without an image
}

ResultCode postPng(Stream* stream, Labels* labels, const Ihdr* ihdr) {
  inputMetaSha1(stream, ihdr->bytes, sizeof(ihdr->bytes));
  setFormatType(labels, "PNG ");
  setFileType(labels, "PHOTO");
  setAlgorithmVersion(labels, 3, 0);
  setAlgorithmId(labels, KMHASH_ALGORITHM_PNG);
  return HASHCREATE_SUCCESS;
}

}  // namespace

ResultCode createHash_PNG(Stream* stream, Labels* labels) {
  if (const ResultCode rc = isPng(stream)) return rc;
  Ihdr ihdr = {};
  if (const ResultCode rc = analyzePng(stream, &ihdr)) return rc;
  return postPng(stream, labels, &ihdr);
}

int getAlgorithmMajorVersion_PNG(uint32_t id) { return id == KMHASH_ALGORITHM_PNG ? 3 : kNotThisFormat; }
int getAlgorithmMinorVersion_PNG(uint32_t id) { return id == KMHASH_ALGORITHM_PNG ? 0 : kNotThisFormat; }
