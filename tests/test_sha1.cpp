#include <cstdio>

#include "sha1.h"
#include "sha1Blocks.h"
#include "support.h"

using namespace support;

namespace {

std::string hexOf(const SHA1Context& context) {
  char text[41];
  const uint32_t* words = context.messageDigest;
  std::snprintf(text, sizeof(text), "%08X%08X%08X%08X%08X", words[0], words[1], words[2], words[3],
                words[4]);
  return text;
}

void input(SHA1Context* context, const Bytes& bytes) {
  SHA1Input(context, bytes.data(), static_cast<uint32_t>(bytes.size()));
}

std::string digestOf(const Bytes& first, const Bytes& second = {}) {
  SHA1Context context;
  SHA1Reset(&context);
  input(&context, first);
  input(&context, second);
  EXPECT_EQ(SHA1Result(&context), 1);
  return hexOf(context);
}

// Every way of compressing blocks that this machine has.
class Sha1 : public testing::TestWithParam<SHA1BlockFunction> {
 protected:
  void SetUp() override { setSHA1BlockFunction(GetParam()); }
  void TearDown() override { setSHA1BlockFunction(nullptr); }
};
INSTANTIATE_TEST_SUITE_P(Blocks, Sha1,
                         testing::Values(SHA1ProcessBlocksPortable, findSHA1Instructions()));

TEST_P(Sha1, PublishedVectors) {
  EXPECT_EQ(digestOf({}), "DA39A3EE5E6B4B0D3255BFEF95601890AFD80709");
  EXPECT_EQ(digestOf(Bytes().text("abc")), "A9993E364706816ABA3E25717850C26C9CD0D89D");
  EXPECT_EQ(digestOf(Bytes().fill(1'000'000, 'a')), "34AA973CD4C4DAA4F61EEB2BDBAD27316534016F");
}

TEST_P(Sha1, EveryLengthAroundABlockCutAtEveryPosition) {
  for (const size_t length : {1u, 55u, 56u, 63u, 64u, 65u, 119u, 120u, 128u, 300u}) {
    const Bytes message = Bytes().pattern(length);
    const std::string expected = sha1Hex(message);
    for (size_t cut = 0; cut <= length; ++cut) {
      EXPECT_EQ(digestOf(message.part(0, cut), message.part(cut)), expected)
          << length << " cut at " << cut;
    }
  }
}

TEST(Sha1State, FinishingTwiceAndEmptyInputAreHarmlessMoreInputIsNot) {
  SHA1Context context;
  SHA1Reset(&context);
  input(&context, Bytes().text("abc"));
  EXPECT_EQ(SHA1Result(&context), 1);
  input(&context, {});
  EXPECT_EQ(SHA1Result(&context), 1);
  EXPECT_EQ(hexOf(context), "A9993E364706816ABA3E25717850C26C9CD0D89D");
  input(&context, Bytes().u8(0));
  EXPECT_EQ(SHA1Result(&context), 0);
  input(&context, {});
  EXPECT_EQ(SHA1Result(&context), 0);
  SHA1Reset(&context);
  EXPECT_EQ(SHA1Result(&context), 1);
}

TEST(Sha1State, LengthCounterCarriesAndOverflows) {
  SHA1Context context;
  SHA1Reset(&context);
  context.lengthLow = 0xFFFFFFF8;
  input(&context, Bytes().u8(0));
  EXPECT_EQ(SHA1Result(&context), 1);
  SHA1Context padded;  // by hand: the byte, the mark, 54 zeros, 2^32 bits
  SHA1Reset(&padded);
  input(&padded, Bytes().u8(0).u8(0x80).fill(54, 0).u64be(uint64_t{1} << 32));
  EXPECT_EQ(hexOf(context), hexOf(padded));

  SHA1Reset(&context);
  context.lengthHigh = 0xFFFFFFFF;
  context.lengthLow = 0xFFFFFFF0;
  input(&context, Bytes().u8(0));  // 2^64 - 8 bits: still counted
  EXPECT_EQ(context.corrupted, 0);
  input(&context, Bytes().u8(0));
  EXPECT_EQ(SHA1Result(&context), 0);
}

}  // namespace
