// Quick mode: any file, by its size and bytes.
//   content: the whole file, sampled when it is long
//   meta:    the file size, eight bytes

#include "hashCreate.h"
#include "readPrimitives.h"

ResultCode createHash_QUICK(Stream* stream, Labels* labels) {
  const uint64_t size = c_get_file_size(stream);
  inputLongLongMetaSha1(stream, size);
  setFormatType(labels, "QUICK");
  setFileType(labels, "UNKWN");
  setAlgorithmVersion(labels, 3, 0);
  setAlgorithmId(labels, KMHASH_ALGORITHM_QUICK);
  return inputActualData(stream, size);
}
