// Reads and compares two texts, cut at an arbitrary place out of the input and ended there by a NUL.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "hashRecord.h"

namespace {

void check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", what);
  std::abort();
}

void readText(const std::string& text) {
  const int id = getAlgorithmIdFromHash(text.c_str());
  check(id == HASHCREATE_INVALID_HASH || (id >= 0 && id <= 255), "an id or no hash");
  const int major = getAlgorithmMajorVersionFromHash(text.c_str());
  const int minor = getAlgorithmMinorVersionFromHash(text.c_str());
  check((id < 0) == (major < 0) && (id < 0) == (minor < 0), "a hash for all readers or for none");
  check(major <= 9999 && minor <= 9999, "four digits");
  const int same = compareBetweenHash(text.c_str(), text.c_str());
  check(same == (id < 0 ? HASHCREATE_INVALID_HASH : 0), "a hash equals itself");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const size_t cut = data[0] % size;
  const char* characters = reinterpret_cast<const char*>(data);
  const std::string a(characters + 1, cut);  // its own allocation: a read past the NUL is seen
  const std::string b(characters + 1 + cut, size - 1 - cut);
  readText(a);
  readText(b);
  const int different = compareBetweenHash(a.c_str(), b.c_str());
  check(different == compareBetweenHash(b.c_str(), a.c_str()), "comparison is symmetric");
  check(different == HASHCREATE_INVALID_HASH || (different >= 0 && different <= 31), "flags or no hash");

  char decoded[64];
  const uint32_t room = data[size - 1] % sizeof(decoded);
  hexStr2Str(a.c_str(), static_cast<uint32_t>(a.size()), decoded, room);
  return 0;
}
