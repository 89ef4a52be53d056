#include "sha1.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>
#include <utility>

#include "sha1Blocks.h"

namespace {

constexpr uint32_t kBlockSize = 64;
constexpr int32_t kLengthOffset = 56;  // of the message length in the last block

void chooseBlockFunction(uint32_t state[5], const uint8_t* blocks, size_t count);

// Threads that race here store the same value.
std::atomic<SHA1BlockFunction> processBlocks{chooseBlockFunction};

void chooseBlockFunction(uint32_t state[5], const uint8_t* blocks, size_t count) {
  const SHA1BlockFunction instructions = findSHA1Instructions();
  const SHA1BlockFunction chosen = instructions != nullptr ? instructions : SHA1ProcessBlocksPortable;
  processBlocks.store(chosen, std::memory_order_relaxed);
  chosen(state, blocks, count);
}

void SHA1ProcessBlocks(SHA1Context* context, const uint8_t* blocks, size_t count) {
  processBlocks.load(std::memory_order_relaxed)(context->messageDigest, blocks, count);
}

void SHA1ProcessMessageBlock(SHA1Context* context) {
  SHA1ProcessBlocks(context, context->messageBlock, 1);
  context->messageBlockIndex = 0;
}

// Adds length bytes to the message length in bits. False when it no longer fits in 64 bits.
bool countBits(SHA1Context* context, uint32_t length) {
  const uint64_t before = static_cast<uint64_t>(context->lengthHigh) << 32 | context->lengthLow;
  const uint64_t after = before + static_cast<uint64_t>(length) * 8;
  context->lengthHigh = static_cast<uint32_t>(after >> 32);
  context->lengthLow = static_cast<uint32_t>(after);
  return after >= before;
}

void storeBigEndian(uint32_t word, uint8_t* bytes) {
  for (int i = 0; i < 4; ++i) bytes[i] = static_cast<uint8_t>(word >> (24 - 8 * i));
}

uint32_t loadBigEndian(const uint8_t* bytes) {
  return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
         static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

void SHA1PadMessage(SHA1Context* context) {
  uint8_t* block = context->messageBlock;
  block[context->messageBlockIndex++] = 0x80;
  if (context->messageBlockIndex > kLengthOffset) {
    std::fill(block + context->messageBlockIndex, block + kBlockSize, uint8_t{0});
    SHA1ProcessMessageBlock(context);
  }
  std::fill(block + context->messageBlockIndex, block + kLengthOffset, uint8_t{0});
  storeBigEndian(context->lengthHigh, block + kLengthOffset);
  storeBigEndian(context->lengthLow, block + kLengthOffset + 4);
  SHA1ProcessMessageBlock(context);
}

// ---- Portable compression: 80 steps, written out by the compiler ----

// Step t of a block. The five variables keep their places and change their roles; w holds the last 16 words.
template <int t>
[[gnu::always_inline]] inline void step(uint32_t (&v)[5], uint32_t (&w)[16], const uint8_t* block) {
  const uint32_t a = v[(80 - t) % 5];
  uint32_t& b = v[(81 - t) % 5];
  const uint32_t c = v[(82 - t) % 5];
  const uint32_t d = v[(83 - t) % 5];
  uint32_t& e = v[(84 - t) % 5];

  uint32_t& word = w[t % 16];
  if constexpr (t < 16) {
    word = loadBigEndian(block + 4 * t);
  } else {
    word = std::rotl(w[(t + 13) % 16] ^ w[(t + 8) % 16] ^ w[(t + 2) % 16] ^ word, 1);
  }

  uint32_t mixed;
  if constexpr (t < 20) {
    mixed = (d ^ (b & (c ^ d))) + 0x5A827999u;
  } else if constexpr (t < 40) {
    mixed = (b ^ c ^ d) + 0x6ED9EBA1u;
  } else if constexpr (t < 60) {
    mixed = (b & c) + (d & (b ^ c)) + 0x8F1BBCDCu;
  } else {
    mixed = (b ^ c ^ d) + 0xCA62C1D6u;
  }
  e += std::rotl(a, 5) + mixed + word;
  b = std::rotl(b, 30);
}

template <int... t>
[[gnu::always_inline]] inline void allSteps(uint32_t (&v)[5], const uint8_t* block, std::integer_sequence<int, t...>) {
  uint32_t w[16];
  (step<t>(v, w, block), ...);
}

}  // namespace

void SHA1ProcessBlocksPortable(uint32_t state[5], const uint8_t* blocks, size_t count) {
  for (; count > 0; --count, blocks += kBlockSize) {
    uint32_t v[5];
    std::copy_n(state, 5, v);
    allSteps(v, blocks, std::make_integer_sequence<int, 80>());
    for (int i = 0; i < 5; ++i) state[i] += v[i];
  }
}

void setSHA1BlockFunction(SHA1BlockFunction function) {
  processBlocks.store(function != nullptr ? function : chooseBlockFunction, std::memory_order_relaxed);
}

void SHA1Reset(SHA1Context* context) {
  *context = {};
  constexpr uint32_t kInitial[5] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
  std::copy_n(kInitial, 5, context->messageDigest);
}

void SHA1Input(SHA1Context* context, const uint8_t* bytes, uint32_t length) {
  if (length == 0) return;
  if (context->computed || context->corrupted || !countBits(context, length)) {
    context->corrupted = 1;
    return;
  }
  if (context->messageBlockIndex > 0) {
    const uint32_t filled = static_cast<uint32_t>(context->messageBlockIndex);
    const uint32_t taken = std::min(length, kBlockSize - filled);
    std::memcpy(context->messageBlock + filled, bytes, taken);
    context->messageBlockIndex += static_cast<int32_t>(taken);
    bytes += taken;
    length -= taken;
    if (filled + taken == kBlockSize) SHA1ProcessMessageBlock(context);
  }
  if (length >= kBlockSize) SHA1ProcessBlocks(context, bytes, length / kBlockSize);
  const uint32_t rest = length % kBlockSize;
  if (rest == 0) return;
  std::memcpy(context->messageBlock, bytes + (length - rest), rest);
  context->messageBlockIndex = static_cast<int32_t>(rest);
}

int SHA1Result(SHA1Context* context) {
  if (context->corrupted) return 0;
  if (context->computed) return 1;
  SHA1PadMessage(context);
  context->computed = 1;
  return 1;
}
