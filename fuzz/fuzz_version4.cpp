// Hashes the input by both versions, sampled, whole and both at once, through a source that misbehaves as the first
// bytes say, and checks what every call promises.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "kmhash.h"

namespace {

enum FailureKind { givesUp, cannotSeek, deliversNothing, claimsTooMuch, kinds };

// The first bytes of an input.
struct Plan {
  uint8_t prefersVersion3;  // bit 0
  uint8_t mostPerRead;      // bytes that a read delivers at most; 0: no limit
  int8_t statedSize;        // added to the real size
  uint8_t failingRead;      // number of the read that fails; 0: none
  uint8_t kindOfFailure;    // modulo kinds
};

struct Memory {
  const uint8_t* bytes;
  uint64_t size;
  uint64_t statedSize;
  Plan plan;
  uint64_t reads = 0;
  bool hasFailed = false;
};

bool isCounting = false;
uint64_t allocated = 0;

void check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", what);
  std::abort();
}

int64_t failure(uint8_t kind, uint32_t count) {
  switch (kind % kinds) {
    case givesUp:
      return -1;
    case cannotSeek:
      return HASHCREATE_SEEK_ERROR;
    case deliversNothing:
      return 0;
    default:
      return int64_t{count} + 1;
  }
}

int64_t readMemory(void* user, uint64_t offset, void* buffer, uint32_t count) {
  Memory* memory = static_cast<Memory*>(user);
  check(count > 0 && offset < memory->statedSize, "reads are of something within the file");
  if (++memory->reads == memory->plan.failingRead) {
    memory->hasFailed = true;
    return failure(memory->plan.kindOfFailure, count);
  }
  const uint64_t left = memory->size - std::min(offset, memory->size);
  const uint64_t most = memory->plan.mostPerRead == 0 ? count : memory->plan.mostPerRead;
  const uint32_t n = static_cast<uint32_t>(std::min({left, most, uint64_t{count}}));
  if (n > 0) std::memcpy(buffer, memory->bytes + offset, n);
  return n;
}

bool isPublic(int code) { return code == HASHCREATE_ERROR || (code <= 0 && code >= -14); }

bool isUntouched(const char* text) {
  return std::all_of(text, text + KMHASH_TEXT_SIZE, [](char c) { return c == '#'; });
}

struct Answer {
  int code;
  char sampled[KMHASH_TEXT_SIZE];
  char whole[KMHASH_TEXT_SIZE];
};

bool isSame(const Answer& a, const Answer& b) {
  return a.code == b.code && std::memcmp(a.sampled, b.sampled, sizeof(a.sampled)) == 0 &&
         std::memcmp(a.whole, b.whole, sizeof(a.whole)) == 0;
}

// What an input is hashed through.
struct Run {
  const uint8_t* bytes;
  uint64_t size;
  Plan plan;
};

// Calls work with a source and checks that neither reads nor memory grow faster than the input.
template <typename Work>
int call(const Run& run, Work work) {
  const int64_t stated = std::max<int64_t>(static_cast<int64_t>(run.size) + run.plan.statedSize, 0);
  Memory memory = {run.bytes, std::min(run.size, static_cast<uint64_t>(stated)), static_cast<uint64_t>(stated),
                   run.plan};
  const KmhashSource source = {sizeof(KmhashSource), memory.statedSize, &memory, readMemory};
  allocated = 0;
  isCounting = true;
  const int code = work(&source);
  isCounting = false;
  check(run.plan.mostPerRead > 0 || memory.reads <= 4 * run.size + 1000, "reads are linear in the bytes present");
  check(allocated <= 64 * run.size + 262144, "memory is linear in the bytes present");
  if (memory.hasFailed && run.plan.kindOfFailure % kinds == givesUp) {
    check(code < 0, "nothing is hashed of a source that gave up");
  }
  return code;
}

uint32_t flagsOf(const Run& run) { return (run.plan.prefersVersion3 & 1) != 0 ? 0 : KMHASH_PREFER_VERSION_4; }

enum Form { sampled = 1, whole = 2, both = 3 };

Answer hash(const Run& run, Form form) {
  Answer answer;
  std::memset(answer.sampled, '#', sizeof(answer.sampled));
  std::memset(answer.whole, '#', sizeof(answer.whole));
  answer.code = call(run, [&](const KmhashSource* source) {
    if (form == both) {
      return kmhashHashSourceBoth(source, flagsOf(run), answer.sampled, answer.whole, KMHASH_TEXT_SIZE);
    }
    if (form == whole) return kmhashHashSource(source, flagsOf(run) | KMHASH_WHOLE, answer.whole, KMHASH_TEXT_SIZE);
    return kmhashHashSource(source, flagsOf(run), answer.sampled, KMHASH_TEXT_SIZE);
  });
  check(isPublic(answer.code), "a public result code");
  for (const Form part : {sampled, whole}) {
    const char* text = part == sampled ? answer.sampled : answer.whole;
    if (answer.code != 0 || (form & part) == 0) {
      check(isUntouched(text), "untouched on failure");
    } else {
      check(text[128] == '\0' && (text[116] == 'F') == (part == whole), "a text with the mark that was asked for");
    }
  }
  return answer;
}

void checkStoredText(const Run& run, const char* text) {
  if (kmhashCanVerify(text) != 1) return;  // one without labels
  const int difference = call(run, [text](const KmhashSource* source) { return kmhashVerifySource(source, text); });
  check(difference == 0, "a text is verified by the bytes that it was made of");
}

void checkId(const Run& run, const char* text) {
  if (getAlgorithmMajorVersionFromHash(text) != 4) return;
  const int id = call(run, [&](const KmhashSource* source) { return kmhashIdentifySource(source, flagsOf(run)); });
  check(id == getAlgorithmIdFromHash(text), "identify gives the id that the hash carries");
}

}  // namespace

extern "C" void __sanitizer_malloc_hook(const volatile void*, size_t size) {
  if (isCounting) allocated += size;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Plan plan;
  if (size < sizeof(plan)) return 0;
  std::memcpy(&plan, data, sizeof(plan));
  const Run run = {data + sizeof(plan), size - sizeof(plan), plan};

  const Answer together = hash(run, both);
  if (plan.failingRead != 0) return 0;

  // Where a version 3 hash counts on bytes that are not there, samples may miss that and all of them not.
  Answer apart = hash(run, sampled);
  const Answer all = hash(run, whole);
  std::memcpy(apart.whole, all.whole, sizeof(apart.whole));
  check((together.code == 0) <= (apart.code == 0 && all.code == 0), "both at once need both");
  const bool isWhole = plan.statedSize <= 0 && all.code == 0 && apart.code == 0;
  if (isWhole) check(isSame(together, apart), "both at once are those that each call gives");

  Run otherReads = run;
  otherReads.plan.mostPerRead = plan.mostPerRead == 0 ? 7 : 0;
  check(isSame(together, hash(otherReads, both)), "the size of reads changes nothing");

  if (together.code != 0) return 0;
  checkStoredText(run, together.sampled);
  checkStoredText(run, together.whole);
  if ((plan.prefersVersion3 & 1) == 0) checkId(run, together.sampled);
  return 0;
}
