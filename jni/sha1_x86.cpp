// SHA-1 with the SHA extensions of x86 processors. Built with those instructions enabled; see sha1_processor.cpp for
// who may call it.

#include "sha1Blocks.h"

#if defined(__SHA__)

#include <immintrin.h>

#include <utility>

namespace {

// Rounds 4 * group to 4 * group + 3. The message words of the last four groups are in w; e is the state's fifth word
// for this group, and what the next one starts from is returned.
template <int group>
[[gnu::always_inline]] inline void fourRounds(__m128i& abcd, __m128i& e, __m128i (&w)[4]) {
  __m128i& now = w[group % 4];
  if constexpr (group >= 4) {
    now = _mm_sha1msg1_epu32(now, w[(group + 1) % 4]);
    now = _mm_xor_si128(now, w[(group + 2) % 4]);
    now = _mm_sha1msg2_epu32(now, w[(group + 3) % 4]);
  }
  const __m128i sum = group == 0 ? _mm_add_epi32(e, now) : _mm_sha1nexte_epu32(e, now);
  e = abcd;
  abcd = _mm_sha1rnds4_epu32(abcd, sum, group / 5);
}

template <int... group>
[[gnu::always_inline]] inline void allRounds(__m128i& abcd, __m128i& e, __m128i (&w)[4],
                                             std::integer_sequence<int, group...>) {
  (fourRounds<group>(abcd, e, w), ...);
}

__m128i load(const void* bytes) { return _mm_loadu_si128(static_cast<const __m128i*>(bytes)); }

}  // namespace

void SHA1ProcessBlocksInstructions(uint32_t state[5], const uint8_t* blocks, size_t count) {
  const __m128i reversed = _mm_set_epi64x(0x0001020304050607, 0x08090a0b0c0d0e0f);
  __m128i abcd = _mm_shuffle_epi32(load(state), 0x1B);
  __m128i e = _mm_set_epi32(static_cast<int>(state[4]), 0, 0, 0);
  for (; count > 0; --count, blocks += 64) {
    const __m128i abcdBefore = abcd;
    const __m128i eBefore = e;
    __m128i w[4];
    for (int i = 0; i < 4; ++i) w[i] = _mm_shuffle_epi8(load(blocks + 16 * i), reversed);
    allRounds(abcd, e, w, std::make_integer_sequence<int, 20>());
    e = _mm_sha1nexte_epu32(e, eBefore);
    abcd = _mm_add_epi32(abcd, abcdBefore);
  }
  _mm_storeu_si128(reinterpret_cast<__m128i*>(state), _mm_shuffle_epi32(abcd, 0x1B));
  state[4] = static_cast<uint32_t>(_mm_extract_epi32(e, 3));
}

#endif
