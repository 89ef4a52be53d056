// The public interface, the algorithm table and the dispatch over it.

#include "hashCreate.h"

#include "debugLog.h"
#include "readPrimitives.h"

namespace {

constexpr int kLibraryMajorVersion = 5;
constexpr int kLibraryMinorVersion = 3;
constexpr uint32_t kMaxNesting = 32;  // a chain of tags within tags must not exhaust the stack

// ---- Algorithm table ----

struct Algorithm {
  Analyzer createHash;
  int (*getMajorVersion)(uint32_t id);
  int (*getMinorVersion)(uint32_t id);
};

// The order is the order of trial: a file that two analyzers would claim belongs to the first.
constexpr Algorithm kAlgorithms[] = {
    {createHash_JPEG, getAlgorithmMajorVersion_JPEG, getAlgorithmMinorVersion_JPEG},
    {createHash_PNG, getAlgorithmMajorVersion_PNG, getAlgorithmMinorVersion_PNG},
    {createHash_BMP, getAlgorithmMajorVersion_BMP, getAlgorithmMinorVersion_BMP},
    {createHash_GIF, getAlgorithmMajorVersion_GIF, getAlgorithmMinorVersion_GIF},
    {createHash_TIFF, getAlgorithmMajorVersion_TIFF, getAlgorithmMinorVersion_TIFF},
    {createHash_MP4, getAlgorithmMajorVersion_MP4, getAlgorithmMinorVersion_MP4},
    {createHash_ASF, getAlgorithmMajorVersion_ASF, getAlgorithmMinorVersion_ASF},
    {createHash_MPEG, getAlgorithmMajorVersion_MPEG, getAlgorithmMinorVersion_MPEG},
    {createHash_AVI, getAlgorithmMajorVersion_AVI, getAlgorithmMinorVersion_AVI},
    {createHash_MPEG2TS, getAlgorithmMajorVersion_MPEG2TS, getAlgorithmMinorVersion_MPEG2TS},
    {createHash_MP3, getAlgorithmMajorVersion_MP3, getAlgorithmMinorVersion_MP3},
    {createHash_FLAC, getAlgorithmMajorVersion_FLAC, getAlgorithmMinorVersion_FLAC},
};

int versionOf(uint32_t id, int (*Algorithm::*getter)(uint32_t)) {
  for (const Algorithm& algorithm : kAlgorithms) {
    const int version = (algorithm.*getter)(id);
    if (version != kNotThisFormat) return version;
  }
  return HASHCREATE_INVALID_PARAM;
}

// ---- Dispatch ----

// Tries the rest of a file that begins with zero bytes. The rest begins with another byte, so this happens once.
ResultCode retryBehindZeros(Stream* stream, Labels* labels) {
  BufferScope buffer(stream);
  uint32_t skipped = 0;
  const ResultCode rc = kmhNullSkip(stream, buffer.storage, sizeof(buffer.storage), &skipped);
  if (rc != HASHCREATE_SUCCESS || skipped == 0) return HASHCREATE_NON_SUPPORTED;
  return reentrantCallCreateHash(stream, labels, nullptr, 0);
}

ResultCode analyzeSlice(Stream* stream, Labels* labels, Analyzer analyzer, uint64_t size) {
  const SliceScope slice(stream, size);
  return analyzer != nullptr ? analyzer(stream, labels) : execAlgorithm(stream, labels);
}

// ---- One call ----

ResultCode analyzeFile(Stream* stream, Labels* labels, const char* path, const KmhashFileCallbacks* callbacks) {
  resetContentSha1(stream);
  resetMetaSha1(stream);
  if (c_init_callback(stream, callbacks) != 0) return HASHCREATE_INVALID_PARAM;
  if (c_open(stream, path) != 0) return kCannotOpen;
  if (c_fsize(stream, path) != 0) return HASHCREATE_INVALID_PARAM;
  if (c_get_file_size(stream) == 0) return HASHCREATE_NON_SUPPORTED;
  BufferScope buffer(stream);
  clear_read_buff(&stream->readBuffer);
  if (const ResultCode rc = c_set_buffer(stream, buffer.storage, sizeof(buffer.storage))) return rc;
  return stream->hashMode == KMHASH_MODE_QUICK ? createHash_QUICK(stream, labels) : execAlgorithm(stream, labels);
}

}  // namespace

const int32_t SUPPORTED_FORMAT_NUM = sizeof(kAlgorithms) / sizeof(kAlgorithms[0]);

// ---- Exported by name ----

ResultCode execAlgorithm(Stream* stream, Labels* labels) {
  for (const Algorithm& algorithm : kAlgorithms) {
    const ResultCode result = algorithm.createHash(stream, labels);
    if (result != kNotThisFormat) return result;
    if (seekTo(stream, 0) != HASHCREATE_SUCCESS) return HASHCREATE_SEEK_ERROR;
  }
  return retryBehindZeros(stream, labels);
}

ResultCode reentrantCallCreateHash(Stream* stream, Labels* labels, Analyzer analyzer, uint64_t size) {
  if (stream->nestingDepth >= kMaxNesting) return HASHCREATE_FORMAT_ERROR;
  BufferScope buffer(stream);
  // An empty or unreadable slice is success on purpose: an ID3 tag with nothing after it has a hash.
  if (c_set_buffer(stream, buffer.storage, sizeof(buffer.storage)) != HASHCREATE_SUCCESS) return HASHCREATE_SUCCESS;
  const ResultCode result = analyzeSlice(stream, labels, analyzer, size != 0 ? size : remaining(stream));
  DEBUG_LOG("%s:done(%d)\n", __func__, result);
  if (remaining(stream) != 0) seekTo(stream, c_get_file_size(stream));
  return result;
}

// ---- Public interface ----

ResultCode createHashOrWhole(const char* path, char* out, uint32_t outSize, const KmhashFileCallbacks* callbacks,
                             int32_t mode, bool isWhole) {
  if (outSize < KMHASH_TEXT_SIZE || path == nullptr || out == nullptr) return HASHCREATE_INVALID_PARAM;
  Stream stream = {};
  Labels labels = {};
  stream.hashMode = mode;
  stream.isWhole = isWhole;

  ResultCode result = analyzeFile(&stream, &labels, path, callbacks);
  if (c_has_failed(&stream)) result = HASHCREATE_ERROR;
  c_close(&stream);
  if (result == HASHCREATE_SUCCESS) result = resultSha1(&stream);
  if (result == HASHCREATE_SUCCESS) result = outputHash(&stream, &labels, out, outSize);
  return result == kCannotOpen ? result : convertError(result);
}

int createHashEx(const char* path, char* out, uint32_t outSize, const KmhashFileCallbacks* callbacks, int32_t mode) {
  const ResultCode rc = createHashOrWhole(path, out, outSize, callbacks, mode, false);
  return rc == kCannotOpen ? HASHCREATE_FILE_NOTFOUND : rc;
}

int createHash(const char* path, char* out, uint32_t outSize, const KmhashFileCallbacks* callbacks) {
  return createHashEx(path, out, outSize, callbacks, KMHASH_MODE_NORMAL);
}

int createQuickFileHash(const char* path, char* out, uint32_t outSize, const KmhashFileCallbacks* callbacks) {
  return createHashEx(path, out, outSize, callbacks, KMHASH_MODE_QUICK);
}

int getAlgorithmId(const char* path, const KmhashFileCallbacks* callbacks) {
  char text[KMHASH_TEXT_SIZE] = {};
  if (const int rc = createHashEx(path, text, sizeof(text), callbacks, KMHASH_MODE_IDENTIFY)) return rc;
  return getAlgorithmIdFromOwnText(text);
}

int compareHash(const char* path, const char* storedHash, const KmhashFileCallbacks* callbacks) {
  const int id = getAlgorithmIdFromHash(storedHash);
  if (id < 0) return id;
  char text[KMHASH_TEXT_SIZE] = {};
  const auto create = id == KMHASH_ALGORITHM_QUICK ? createQuickFileHash : createHash;
  if (const int rc = create(path, text, sizeof(text), callbacks)) return rc;
  return compareWithOwnText(storedHash, text);
}

int compareBetweenHash(const char* hashA, const char* hashB) { return compareTwoHash(hashA, hashB); }

int getAlgorithmIdFromHash(const char* hash) {
  return hash != nullptr ? getAlgorithmIdFromHashStr(hash) : HASHCREATE_INVALID_PARAM;
}

int getAlgorithmMajorVersionFromHash(const char* hash) {
  return hash != nullptr ? getAlgorithmMajorVersionFromHashStr(hash) : HASHCREATE_INVALID_PARAM;
}

int getAlgorithmMinorVersionFromHash(const char* hash) {
  return hash != nullptr ? getAlgorithmMinorVersionFromHashStr(hash) : HASHCREATE_INVALID_PARAM;
}

int getAlgorithmMajorVersion(uint32_t algorithmId) { return versionOf(algorithmId, &Algorithm::getMajorVersion); }
int getAlgorithmMinorVersion(uint32_t algorithmId) { return versionOf(algorithmId, &Algorithm::getMinorVersion); }

int getLibraryMajorVersion(void) { return kLibraryMajorVersion; }
int getLibraryMinorVersion(void) { return kLibraryMinorVersion; }
