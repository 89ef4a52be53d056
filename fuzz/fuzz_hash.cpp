// Hashes the input in normal, quick and identify mode through callbacks that misbehave as the first bytes say, and
// checks what every call promises.

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "kmhash.h"

namespace {

// The first bytes of an input.
struct Plan {
  uint8_t mode;           // modulo 3
  uint8_t mostPerRead;    // bytes that a read delivers at most; 0: no limit
  int8_t statedSize;      // added to the real size
  uint8_t failingCall;    // number of the read or seek that fails; 0: none
  uint8_t kindOfFailure;  // bit 0: errno is left behind, bit 1: a read delivers one byte before it fails
};

struct Source {
  const uint8_t* bytes;
  uint64_t size;
  Plan plan;
  uint64_t position = 0;
  uint64_t calls = 0;
  int opened = 0;
  int closed = 0;
};

void check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", what);
  std::abort();
}

bool failsNow(Source* source) {
  if (++source->calls != source->plan.failingCall) return false;
  if (source->plan.kindOfFailure & 1) errno = EIO;
  return true;
}

void* openSource(const char* path) {
  Source* source = reinterpret_cast<Source*>(const_cast<char*>(path));
  source->opened++;
  return source;
}

uint32_t readSource(void* buffer, uint32_t count, void* handle) {
  Source* source = static_cast<Source*>(handle);
  uint64_t most = source->plan.mostPerRead == 0 ? count : std::min<uint32_t>(count, source->plan.mostPerRead);
  if (failsNow(source)) most = std::min<uint64_t>(most, (source->plan.kindOfFailure & 2) != 0 ? 1 : 0);
  const uint64_t left = source->size - std::min(source->position, source->size);
  const uint32_t n = static_cast<uint32_t>(std::min(most, left));
  if (n > 0) std::memcpy(buffer, source->bytes + source->position, n);
  source->position += n;
  return n;
}

int seekSource(int64_t offset, int whence, void* handle) {
  Source* source = static_cast<Source*>(handle);
  check(offset > 0 && whence == 1, "seeks are relative and forward");
  if (failsNow(source)) return -1;
  source->position += static_cast<uint64_t>(offset);
  return 0;
}

void closeSource(void* handle) { static_cast<Source*>(handle)->closed++; }

int64_t sizeOfSource(const char*, void* handle) {
  const Source* source = static_cast<const Source*>(handle);
  return static_cast<int64_t>(source->size) + source->plan.statedSize;
}

constexpr KmhashFileCallbacks kCallbacks = {openSource, readSource, seekSource, closeSource, sizeOfSource};

struct Answer {
  int code;
  char text[KMHASH_TEXT_SIZE];
};

Answer hash(const uint8_t* bytes, size_t size, const Plan& plan, int32_t mode) {
  Source source = {bytes, size, plan};
  Answer answer;
  std::memset(answer.text, '#', sizeof(answer.text));
  const char* path = reinterpret_cast<const char*>(&source);
  answer.code = createHashEx(path, answer.text, sizeof(answer.text), &kCallbacks, mode);
  check(source.opened == 1 && source.closed == 1, "opened once, closed once");
  check(source.calls <= 2 * size + 100, "calls are linear in the bytes present");
  check(answer.code == HASHCREATE_ERROR || (answer.code <= 0 && answer.code >= -14), "a public result code");
  if (answer.code == 0) {
    check(answer.text[128] == '\0', "a text of 128 characters");
  } else {
    check(std::all_of(answer.text, answer.text + sizeof(answer.text), [](char c) { return c == '#'; }),
          "untouched on failure");
  }
  return answer;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Plan plan;
  if (size < sizeof(plan)) return 0;
  std::memcpy(&plan, data, sizeof(plan));
  data += sizeof(plan);
  size -= sizeof(plan);
  const int32_t mode = plan.mode % 3;

  const Answer first = hash(data, size, plan, mode);
  if (plan.failingCall != 0) return 0;

  Plan otherReads = plan;
  otherReads.mostPerRead = plan.mostPerRead == 0 ? 7 : 0;
  const Answer again = hash(data, size, otherReads, mode);
  check(again.code == first.code && std::memcmp(again.text, first.text, sizeof(first.text)) == 0,
        "the size of reads changes nothing");

  if (mode != KMHASH_MODE_NORMAL || first.code != 0) return 0;
  const Answer identified = hash(data, size, plan, KMHASH_MODE_IDENTIFY);
  if (identified.code == 0) {
    check(std::memcmp(identified.text + 114, first.text + 114, 2) == 0, "identify gives the id that the hash carries");
  }
  return 0;
}
