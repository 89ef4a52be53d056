// SHA-1 with the cryptography extension of Armv8 processors, in 64-bit and in 32-bit state. Built with those
// instructions enabled; see sha1_processor.cpp for who may call it.

#include "sha1Blocks.h"

#if defined(__ARM_FEATURE_CRYPTO) || defined(__ARM_FEATURE_SHA2)

#include <arm_neon.h>

#include <utility>

namespace {

// Rounds 4 * group to 4 * group + 3. The message words of the last four groups are in w.
template <int group>
[[gnu::always_inline]] inline void fourRounds(uint32x4_t& abcd, uint32_t& e, uint32x4_t (&w)[4]) {
  constexpr uint32_t kConstants[4] = {0x5A827999, 0x6ED9EBA1, 0x8F1BBCDC, 0xCA62C1D6};
  uint32x4_t& now = w[group % 4];
  if constexpr (group >= 4) {
    now = vsha1su0q_u32(now, w[(group + 1) % 4], w[(group + 2) % 4]);
    now = vsha1su1q_u32(now, w[(group + 3) % 4]);
  }
  const uint32x4_t sum = vaddq_u32(now, vdupq_n_u32(kConstants[group / 5]));
  const uint32_t nextE = vsha1h_u32(vgetq_lane_u32(abcd, 0));
  if constexpr (group < 5) {
    abcd = vsha1cq_u32(abcd, e, sum);
  } else if constexpr (group >= 10 && group < 15) {
    abcd = vsha1mq_u32(abcd, e, sum);
  } else {
    abcd = vsha1pq_u32(abcd, e, sum);
  }
  e = nextE;
}

template <int... group>
[[gnu::always_inline]] inline void allRounds(uint32x4_t& abcd, uint32_t& e, uint32x4_t (&w)[4],
                                             std::integer_sequence<int, group...>) {
  (fourRounds<group>(abcd, e, w), ...);
}

}  // namespace

void SHA1ProcessBlocksInstructions(uint32_t state[5], const uint8_t* blocks, size_t count) {
  uint32x4_t abcd = vld1q_u32(state);
  uint32_t e = state[4];
  for (; count > 0; --count, blocks += 64) {
    const uint32x4_t abcdBefore = abcd;
    const uint32_t eBefore = e;
    uint32x4_t w[4];
    for (int i = 0; i < 4; ++i) w[i] = vreinterpretq_u32_u8(vrev32q_u8(vld1q_u8(blocks + 16 * i)));
    allRounds(abcd, e, w, std::make_integer_sequence<int, 20>());
    abcd = vaddq_u32(abcd, abcdBefore);
    e += eBefore;
  }
  vst1q_u32(state, abcd);
  state[4] = e;
}

#endif
