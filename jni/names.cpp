// The names of algorithms and result codes: the one place that knows them, whom everybody else asks.
#include <cstdint>

#include "kmhash.h"
#include "version4/algorithms.h"

namespace {

struct AlgorithmName {
  uint32_t id;
  const char* name;
};

constexpr AlgorithmName kAlgorithmNames[] = {
    {KMHASH_ALGORITHM_JPEG, "JPEG"}, {KMHASH_ALGORITHM_MPO, "MPO"},   {KMHASH_ALGORITHM_PNG, "PNG"},
    {KMHASH_ALGORITHM_BMP, "BMP"},   {KMHASH_ALGORITHM_GIF, "GIF"},   {KMHASH_ALGORITHM_TIFF, "TIFF"},
    {KMHASH_ALGORITHM_RAW, "RAW"},   {KMHASH_ALGORITHM_MP4, "MP4"},   {KMHASH_ALGORITHM_ASF, "ASF"},
    {KMHASH_ALGORITHM_MPEG, "MPEG"}, {KMHASH_ALGORITHM_RIFF, "RIFF"}, {KMHASH_ALGORITHM_MPEG2TS, "MPEG2TS"},
    {KMHASH_ALGORITHM_MP3, "MP3"},   {KMHASH_ALGORITHM_FLAC, "FLAC"}, {KMHASH_ALGORITHM_QUICK, "QUICK"},
};

struct ResultName {
  int code;
  const char* name;
};

constexpr ResultName kResultNames[] = {
    {HASHCREATE_SUCCESS, "HASHCREATE_SUCCESS"},
    {HASHCREATE_FILE_NOTFOUND, "HASHCREATE_FILE_NOTFOUND"},
    {HASHCREATE_BUFFER_ERROR, "HASHCREATE_BUFFER_ERROR"},
    {HASHCREATE_FORMAT_ERROR, "HASHCREATE_FORMAT_ERROR"},
    {HASHCREATE_PARAM_ERROR, "HASHCREATE_PARAM_ERROR"},
    {HASHCREATE_READ_ERROR, "HASHCREATE_READ_ERROR"},
    {HASHCREATE_SEEK_ERROR, "HASHCREATE_SEEK_ERROR"},
    {HASHCREATE_NULLCHK_ERROR, "HASHCREATE_NULLCHK_ERROR"},
    {HASHCREATE_SHA1_ERROR, "HASHCREATE_SHA1_ERROR"},
    {HASHCREATE_NON_SUPPORTED, "HASHCREATE_NON_SUPPORTED"},
    {HASHCREATE_INVALID_PARAM, "HASHCREATE_INVALID_PARAM"},
    {HASHCREATE_INVALID_HASH, "HASHCREATE_INVALID_HASH"},
    {HASHCREATE_REACH_EOF, "HASHCREATE_REACH_EOF"},
    {HASHCREATE_BROKEN_CONTENT, "HASHCREATE_BROKEN_CONTENT"},
    {HASHCREATE_MEM_ALLOC_ERROR, "HASHCREATE_MEM_ALLOC_ERROR"},
    {HASHCREATE_ERROR, "HASHCREATE_ERROR"},
};

}  // namespace

const char* kmhashAlgorithmName(uint32_t algorithmId) {
  for (const AlgorithmName& row : kAlgorithmNames) {
    if (row.id == algorithmId) return row.name;
  }
  const version4::Algorithm* row = version4::algorithmOf(algorithmId);
  return row != nullptr ? row->name : nullptr;
}

const char* kmhashResultName(int code) {
  for (const ResultName& row : kResultNames) {
    if (row.code == code) return row.name;
  }
  return nullptr;
}
