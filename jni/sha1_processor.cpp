// Whether this processor has SHA-1 instructions. Built for the plainest processor of its kind, as it runs on all.

#include "sha1Blocks.h"

#if defined(KMHASH_SHA1_INSTRUCTIONS) && (defined(__x86_64__) || defined(__i386__))
#include <cpuid.h>

static bool hasInstructions() {
  unsigned a, b, c, d;
  if (!__get_cpuid(1, &a, &b, &c, &d) || !(c & bit_SSSE3) || !(c & bit_SSE4_1)) return false;
  return __get_cpuid_count(7, 0, &a, &b, &c, &d) && (b & bit_SHA);
}

#elif defined(KMHASH_SHA1_INSTRUCTIONS)
#include <sys/auxv.h>

static bool hasInstructions() {
#if defined(__aarch64__)
  constexpr unsigned long kCapabilities = AT_HWCAP, kSha1 = 1ul << 5;
#else
  constexpr unsigned long kCapabilities = AT_HWCAP2, kSha1 = 1ul << 2;
#endif
  return (getauxval(kCapabilities) & kSha1) != 0;
}

#endif

SHA1BlockFunction findSHA1Instructions() {
#if defined(KMHASH_SHA1_INSTRUCTIONS)
  if (hasInstructions()) return SHA1ProcessBlocksInstructions;
#endif
  return nullptr;
}
