// SHA-1 (FIPS 180-1, RFC 3174) with a context that can refuse further use.
#pragma once

#include <cstdint>

struct SHA1Context {
  uint32_t messageDigest[5];  // intermediate, then final hash value
  uint32_t lengthLow;         // message length in bits, two words
  uint32_t lengthHigh;
  uint8_t messageBlock[64];
  int32_t messageBlockIndex;  // bytes waiting in messageBlock
  int32_t computed;           // the digest has been finished
  int32_t corrupted;          // fed after finishing, or longer than 2^64 - 1 bits
};

void SHA1Reset(SHA1Context* context);

// Appends length bytes. Nothing happens for a length of 0; input to a finished context corrupts it.
void SHA1Input(SHA1Context* context, const uint8_t* bytes, uint32_t length);

// Finishes the digest, which then stands in messageDigest. Returns 1, or 0 when the context is corrupted. Finishing
// twice is harmless.
int SHA1Result(SHA1Context* context);
