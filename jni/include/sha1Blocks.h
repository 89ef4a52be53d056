// The block compressions that SHA-1 chooses from at run time. All give the same digest.
#pragma once

#include <cstddef>
#include <cstdint>

// Compresses count blocks of 64 bytes into the five words of state.
using SHA1BlockFunction = void (*)(uint32_t state[5], const uint8_t* blocks, size_t count);

void SHA1ProcessBlocksPortable(uint32_t state[5], const uint8_t* blocks, size_t count);

// With the processor's own SHA-1 instructions; in builds with KMHASH_SHA1_INSTRUCTIONS only, and only for processors
// that findSHA1Instructions says have them.
void SHA1ProcessBlocksInstructions(uint32_t state[5], const uint8_t* blocks, size_t count);

// SHA1ProcessBlocksInstructions, or null when this build or this processor has none.
SHA1BlockFunction findSHA1Instructions();

// Digests begun from now on use function; null chooses by processor again. For tests and benchmarks only.
void setSHA1BlockFunction(SHA1BlockFunction function);
