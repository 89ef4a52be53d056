// BMP: any file that begins with the letters B and M; no header field is looked at.
//   content: every byte of the file, never sampled
//   meta:    the file's size as eight bytes
#include "hashCreate.h"
#include "readPrimitives.h"

namespace {

constexpr uint16_t kSignature = 0x424D;
constexpr uint64_t kSignatureSize = 2;

ResultCode isBmp(Stream* stream) {
  if (c_get_file_size(stream) < kSignatureSize) return kNotThisFormat;
  uint16_t signature = 0;
  if (const ResultCode rc = readUShort(stream, &signature, kBigEndian)) return rc;
  return signature == kSignature ? seekTo(stream, 0) : kNotThisFormat;
}

// The labels come first and stand even when the file cannot be read to its end.
ResultCode analyzeBmp(Stream* stream, Labels* labels) {
  const uint64_t size = c_get_file_size(stream);
  inputLongLongMetaSha1(stream, size);
  setFormatType(labels, "BMP ");
  setFileType(labels, "PHOTO");
  setAlgorithmVersion(labels, 3, 0);
  setAlgorithmId(labels, KMHASH_ALGORITHM_BMP);
  return inputSpecifiedData(stream, size);
}

}  // namespace

ResultCode createHash_BMP(Stream* stream, Labels* labels) {
  if (const ResultCode rc = isBmp(stream)) return rc;
  return analyzeBmp(stream, labels);
}

int getAlgorithmMajorVersion_BMP(uint32_t id) { return id == KMHASH_ALGORITHM_BMP ? 3 : kNotThisFormat; }
int getAlgorithmMinorVersion_BMP(uint32_t id) { return id == KMHASH_ALGORITHM_BMP ? 0 : kNotThisFormat; }
