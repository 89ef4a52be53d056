// GIF: "GIF" version:u8[3] width:u16le height:u16le flags:u8 background:u8 aspect:u8 colour-table, then blocks:
//   extension: 0x21 label:u8 sub-blocks
//   image:     0x2C left:u16le top:u16le width:u16le height:u16le flags:u8 colour-table code-size:u8 sub-blocks
// A sub-block is size:u8 data; one of size 0 ends the block. 0x3B ends the file.
//   content: from the data of the first image's first sub-block to two bytes before the end of the file
//   meta:    version and screen descriptor, ten bytes
#include <cstring>

#include "hashCreate.h"
#include "readPrimitives.h"

namespace {

constexpr char kMagic[] = {'G', 'I', 'F'};
constexpr uint32_t kSignatureSize = 6;                                // magic, version
constexpr uint32_t kHeaderSize = kSignatureSize + 2 + 2 + 1 + 1 + 1;  // width, height, flags, background, aspect
constexpr uint32_t kHeaderFlagsOffset = 10;
constexpr uint32_t kImageDescriptorSize = 8;  // what follows the separator and the low byte of the left position
constexpr uint32_t kImageFlagsOffset = 7;

constexpr uint16_t kImageSeparator = 0x2C00;
constexpr uint16_t kGraphicControlExtension = 0x21F9;
constexpr uint64_t kGraphicControlSize = 1 + 4 + 1;  // size, data, terminator
constexpr uint64_t kCodeSizeAndFirstSize = 2;        // LZW code size, size of the first sub-block
constexpr uint64_t kTrailerSize = 2;                 // last sub-block and 0x3B in a file of one image

struct GifInfo {
  char signature[kSignatureSize + 1];  // the format-type label
  uint8_t headerFields[kHeaderSize - sizeof(kMagic)];
  uint16_t headerRead;
  uint16_t imageRead;
};

ResultCode isGif(Stream* stream) {
  char magic[sizeof(kMagic)] = {};
  if (c_get_file_size(stream) < sizeof(magic)) return kNotThisFormat;
  if (const ResultCode rc = callbackRead(stream, magic, sizeof(magic))) return rc;
  if (std::memcmp(magic, kMagic, sizeof(magic)) != 0) return kNotThisFormat;
  return seekTo(stream, 0);
}

// In bytes: three for each of 2 to 256 colours, 0 when the flags announce no table.
uint64_t getColorTableSize(uint8_t packedFlags) {
  if (!isUcharBitsON(packedFlags, 0x80)) return 0;
  return uint64_t{3} << ((packedFlags & 7) + 1);
}

ResultCode getGifHeaderInfo(Stream* stream, GifInfo* info) {
  uint8_t header[kHeaderSize] = {};
  if (const ResultCode rc = callbackRead(stream, header, sizeof(header))) return rc;
  std::memcpy(info->signature, header, kSignatureSize);
  std::memcpy(info->headerFields, header + sizeof(kMagic), sizeof(info->headerFields));
  info->headerRead = 1;
  return skip(stream, getColorTableSize(header[kHeaderFlagsOffset]));
}

// Two bytes: introducer and label of an extension. An image's second byte is part of its descriptor and stays consumed.
ResultCode getBlockType(Stream* stream, uint16_t* blockType) {
  if (const ResultCode rc = readUShort(stream, blockType, kBigEndian)) return rc;
  if ((*blockType & 0xFF00) == kImageSeparator) *blockType = kImageSeparator;
  return HASHCREATE_SUCCESS;
}

ResultCode getBlockSize(Stream* stream, uint8_t* size) { return callbackRead(stream, size, sizeof(*size)); }

// The fixed part of an extension starts with its size and is passed over as a sub-block like any other.
ResultCode skipBlock(Stream* stream) {
  while (c_ftell(stream) <= c_get_file_size(stream)) {
    uint8_t size = 0;
    if (const ResultCode rc = getBlockSize(stream, &size)) return rc;
    if (size == 0) return HASHCREATE_SUCCESS;
    if (const ResultCode rc = skip(stream, size)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

ResultCode getImageBlockInfo(Stream* stream, GifInfo* info) {
  uint8_t descriptor[kImageDescriptorSize] = {};
  if (const ResultCode rc = callbackRead(stream, descriptor, sizeof(descriptor))) return rc;
  const uint64_t distance = getColorTableSize(descriptor[kImageFlagsOffset]) + kCodeSizeAndFirstSize;
  if (const ResultCode rc = skip(stream, distance)) return rc;
  // With fewer than two bytes left the count wraps and the feeder takes what there is: stored hashes depend on it.
  if (const ResultCode rc = inputActualData(stream, remaining(stream) - kTrailerSize)) return rc;
  info->imageRead = 1;
  return HASHCREATE_SUCCESS;
}

// Ends at the first image, or by a failing read at the end of the file.
ResultCode analyzeGif(Stream* stream, GifInfo* info) {
  if (const ResultCode rc = getGifHeaderInfo(stream, info)) return rc;
  for (;;) {
    uint16_t blockType = 0;
    if (const ResultCode rc = getBlockType(stream, &blockType)) return rc;
    if (blockType == kImageSeparator) return getImageBlockInfo(stream, info);
    // A graphic control extension has a fixed size; its size byte is not asked.
    const ResultCode rc = blockType == kGraphicControlExtension ? skip(stream, kGraphicControlSize) : skipBlock(stream);
    if (rc != HASHCREATE_SUCCESS) return rc;
  }
}

ResultCode postGif(Stream* stream, Labels* labels, const GifInfo* info) {
  if (info->headerRead != 1 || info->imageRead != 1) return HASHCREATE_FORMAT_ERROR;
  inputMetaSha1(stream, info->headerFields, sizeof(info->headerFields));
  setFormatType(labels, info->signature);
  setFileType(labels, "PHOTO");
  setAlgorithmVersion(labels, 3, 0);
  setAlgorithmId(labels, KMHASH_ALGORITHM_GIF);
  return HASHCREATE_SUCCESS;
}

}  // namespace

ResultCode createHash_GIF(Stream* stream, Labels* labels) {
  if (const ResultCode rc = isGif(stream)) return rc;
  GifInfo info = {};
  if (const ResultCode rc = analyzeGif(stream, &info)) return rc;
  return postGif(stream, labels, &info);
}

int getAlgorithmMajorVersion_GIF(uint32_t id) { return id == KMHASH_ALGORITHM_GIF ? 3 : kNotThisFormat; }
int getAlgorithmMinorVersion_GIF(uint32_t id) { return id == KMHASH_ALGORITHM_GIF ? 0 : kNotThisFormat; }
