// Hashes of either version over a source: which version is tried first, sampled or whole, and what a stored text asks
// for.

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>

#include "fileSource.h"
#include "forwardSource.h"
#include "hashCreate.h"
#include "version4/version4.h"

namespace {

constexpr int kFirstVersion4Id = 0x20;

// Where the bytes come from. Version 3 opens path through callbacks; version 4 reads source, or, where there is none,
// what these callbacks deliver.
struct Input {
  const char* path;
  const KmhashFileCallbacks* callbacks;
  const KmhashSource* source;
};

Input inputOf(const KmhashSource* source) { return {sourcePath(source), &kSourceCallbacks, source}; }

// What is to be made of it; a text that is null is not asked for.
struct Wanted {
  char* sampled;
  char* whole;
};

Wanted wantedText(uint32_t flags, char* out) {
  return (flags & KMHASH_WHOLE) != 0 ? Wanted{nullptr, out} : Wanted{out, nullptr};
}

// ---- The versions ----

ResultCode createHash3(const Input& input, const Wanted& wanted) {
  const auto create = [&input](char* text, bool isWhole) -> ResultCode {
    if (text == nullptr) return HASHCREATE_SUCCESS;
    return createHashOrWhole(input.path, text, KMHASH_TEXT_SIZE, input.callbacks, KMHASH_MODE_NORMAL, isWhole);
  };
  char whole[KMHASH_TEXT_SIZE];
  if (const ResultCode rc = create(wanted.whole != nullptr ? whole : nullptr, true)) return rc;
  if (const ResultCode rc = create(wanted.sampled, false)) return rc;
  if (wanted.whole != nullptr) std::memcpy(wanted.whole, whole, sizeof(whole));
  return HASHCREATE_SUCCESS;
}

ResultCode createHash4(const Input& input, const Wanted& wanted) {
  if (input.source != nullptr) return version4::createHash(input.source, wanted.sampled, wanted.whole);
  ForwardSource forward;
  if (const ResultCode rc = openForwardSource(&forward, input.path, input.callbacks)) return rc;
  const ResultCode rc = version4::createHash(&forward.source, wanted.sampled, wanted.whole);
  closeForwardSource(&forward);
  return rc;
}

ResultCode identify3(const Input& input, const Wanted&) { return getAlgorithmId(input.path, input.callbacks); }
ResultCode identify4(const Input& input, const Wanted&) { return version4::identify(input.source); }

using Maker = ResultCode (*)(const Input& input, const Wanted& wanted);

struct Versions {
  Maker version3;
  Maker version4;
};
constexpr Versions kCreate = {createHash3, createHash4};
constexpr Versions kIdentify = {identify3, identify4};

// The other version could do no better.
bool isFinal(ResultCode rc) {
  return rc >= HASHCREATE_SUCCESS || rc == kCannotOpen || rc == HASHCREATE_INVALID_PARAM || rc == HASHCREATE_ERROR;
}

ResultCode publicCode(ResultCode rc) { return rc == kCannotOpen ? HASHCREATE_FILE_NOTFOUND : rc; }

// What a version made of a file that the system could not read says nothing of it.
bool hasFileFailed(const Input& input) {
  const FileSource* file = input.source != nullptr ? fileSourceOf(*input.source) : nullptr;
  return file != nullptr && file->failed;
}

ResultCode make(const Input& input, uint32_t flags, const Versions& versions, const Wanted& wanted) {
  const bool prefers4 = (flags & KMHASH_PREFER_VERSION_4) != 0;
  const ResultCode first = (prefers4 ? versions.version4 : versions.version3)(input, wanted);
  if (isFinal(first)) return publicCode(first);
  const ResultCode second = (prefers4 ? versions.version3 : versions.version4)(input, wanted);
  if (second >= HASHCREATE_SUCCESS) return second;
  return hasFileFailed(input) ? HASHCREATE_ERROR : first;
}

// ---- Files ----

// Runs work over the file's source.
template <typename Work>
ResultCode withFile(const char* path, Work work) {
  FileSource file;
  if (!openFileSource(&file, path)) return HASHCREATE_FILE_NOTFOUND;
  const ResultCode rc = work(&file.source);
  closeFileSource(&file);
  return rc;
}

// ---- Stored texts ----

struct Kind {
  int major;
  int minor;
  bool isWhole;
};
constexpr Kind kKnownKinds[] = {{3, 0, false}, {3, 1, true}, {4, 0, false}, {4, 1, true}};

bool isKnown(const char* hash) {
  const int major = getAlgorithmMajorVersionFromHashStr(hash);
  const int minor = getAlgorithmMinorVersionFromHashStr(hash);
  const Mark mark = markOf(hash);
  const bool knowsKind = std::any_of(std::begin(kKnownKinds), std::end(kKnownKinds), [=](const Kind& kind) {
    return kind.major == major && kind.minor == minor && mark == (kind.isWhole ? Mark::whole : Mark::none);
  });
  const int id = getAlgorithmIdFromHashStr(hash);
  if (!knowsKind || kmhashAlgorithmName(static_cast<uint32_t>(id)) == nullptr) return false;
  if (id == KMHASH_ALGORITHM_QUICK) return mark == Mark::none && major == 3;
  return (major == 4) == (id >= kFirstVersion4Id);
}

// Hashes again as the text says.
ResultCode createLike(const KmhashSource* source, const char* hash, char* text) {
  const Input input = inputOf(source);
  const Wanted wanted = markOf(hash) == Mark::whole ? Wanted{nullptr, text} : Wanted{text, nullptr};
  if (getAlgorithmIdFromHashStr(hash) == KMHASH_ALGORITHM_QUICK) {
    return createQuickFileHash(input.path, text, KMHASH_TEXT_SIZE, input.callbacks);
  }
  return publicCode(getAlgorithmMajorVersionFromHashStr(hash) == 4 ? createHash4(input, wanted)
                                                                   : createHash3(input, wanted));
}

// ---- Arguments ----

bool isSource(const KmhashSource* source) {
  return source != nullptr && source->structSize >= sizeof(KmhashSource) && source->readAt != nullptr &&
         source->size <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
}

bool areFlags(uint32_t flags, uint32_t known) { return (flags & ~known) == 0; }

bool isOutput(const char* out, uint32_t outSize) { return out != nullptr && outSize >= KMHASH_TEXT_SIZE; }

constexpr uint32_t kPreference = KMHASH_PREFER_VERSION_4;
constexpr uint32_t kPreferenceAndExtent = KMHASH_PREFER_VERSION_4 | KMHASH_WHOLE;

}  // namespace

// ---- Hashing ----

int kmhashHashSource(const KmhashSource* source, uint32_t flags, char* out, uint32_t outSize) {
  const bool isValid = isSource(source) && areFlags(flags, kPreferenceAndExtent) && isOutput(out, outSize);
  return isValid ? make(inputOf(source), flags, kCreate, wantedText(flags, out)) : HASHCREATE_INVALID_PARAM;
}

int kmhashHashFile(const char* path, uint32_t flags, char* out, uint32_t outSize) {
  const bool isValid = path != nullptr && areFlags(flags, kPreferenceAndExtent) && isOutput(out, outSize);
  if (!isValid) return HASHCREATE_INVALID_PARAM;
  return withFile(path, [=](const KmhashSource* source) { return kmhashHashSource(source, flags, out, outSize); });
}

int kmhashHashSourceBoth(const KmhashSource* source, uint32_t flags, char* sampled, char* whole, uint32_t outSize) {
  const bool areOutputs = isOutput(sampled, outSize) && isOutput(whole, outSize);
  const bool isValid = isSource(source) && areFlags(flags, kPreference) && areOutputs;
  return isValid ? make(inputOf(source), flags, kCreate, {sampled, whole}) : HASHCREATE_INVALID_PARAM;
}

int kmhashHashFileBoth(const char* path, uint32_t flags, char* sampled, char* whole, uint32_t outSize) {
  const bool areOutputs = isOutput(sampled, outSize) && isOutput(whole, outSize);
  if (path == nullptr || !areFlags(flags, kPreference) || !areOutputs) return HASHCREATE_INVALID_PARAM;
  return withFile(
      path, [=](const KmhashSource* source) { return kmhashHashSourceBoth(source, flags, sampled, whole, outSize); });
}

int kmhashHashCallbacks(const char* path, const KmhashFileCallbacks* callbacks, uint32_t flags, char* out,
                        uint32_t outSize) {
  const bool isValid = path != nullptr && callbacks != nullptr && areFlags(flags, kPreferenceAndExtent);
  if (!isValid || !isOutput(out, outSize)) return HASHCREATE_INVALID_PARAM;
  return make({path, callbacks, nullptr}, flags, kCreate, wantedText(flags, out));
}

int kmhashIdentifySource(const KmhashSource* source, uint32_t flags) {
  const bool isValid = isSource(source) && areFlags(flags, kPreference);
  return isValid ? make(inputOf(source), flags, kIdentify, {}) : HASHCREATE_INVALID_PARAM;
}

int kmhashIdentifyFile(const char* path, uint32_t flags) {
  if (path == nullptr || !areFlags(flags, kPreference)) return HASHCREATE_INVALID_PARAM;
  return withFile(path, [=](const KmhashSource* source) { return kmhashIdentifySource(source, flags); });
}

// ---- Verifying ----

int kmhashCanVerify(const char* hash) {
  if (hash == nullptr) return HASHCREATE_INVALID_PARAM;
  if (const ResultCode rc = isHash(hash)) return rc;
  return isKnown(hash) ? 1 : 0;
}

int kmhashVerifySource(const KmhashSource* source, const char* storedHash) {
  if (!isSource(source)) return HASHCREATE_INVALID_PARAM;
  const int known = kmhashCanVerify(storedHash);
  if (known <= 0) return known < 0 ? known : HASHCREATE_NON_SUPPORTED;
  char text[KMHASH_TEXT_SIZE];
  if (const ResultCode rc = createLike(source, storedHash, text)) return rc;
  return compareWithOwnText(storedHash, text);
}

int kmhashVerifyFile(const char* path, const char* storedHash) {
  if (path == nullptr) return HASHCREATE_INVALID_PARAM;
  const int known = kmhashCanVerify(storedHash);
  if (known <= 0) return known < 0 ? known : HASHCREATE_NON_SUPPORTED;
  return withFile(path, [=](const KmhashSource* source) { return kmhashVerifySource(source, storedHash); });
}

int kmhashIsWhole(const char* hash) {
  if (hash == nullptr) return HASHCREATE_INVALID_PARAM;
  if (const ResultCode rc = isHash(hash)) return rc;
  return markOf(hash) == Mark::whole ? 1 : 0;
}
