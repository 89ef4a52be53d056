#include <algorithm>

#include "support.h"

using namespace support;

constexpr unsigned kLast = 0x80;
const Bytes kFrame = {0xFF, 0xF8, 0xC9, 0x18}, kAudio = Bytes().pattern(300);

Bytes block(unsigned flagAndType, const Bytes& data) {
  return Bytes().u8(flagAndType).u24be(static_cast<uint32_t>(data.size())).add(data);
}
Bytes streamInfo(uint64_t rate) {
  return Bytes()
      .u16be(4096)
      .u16be(4608)
      .u24be(14)
      .u24be(9000)
      .u64be(rate << 44 | 0x2F000012345)
      .pattern(16);
}
const Bytes kInfo = streamInfo(44100), kHigh = streamInfo(655350), kLow = streamInfo(1);
const Bytes kFirst = block(0, kInfo), kOnly = block(kLast | 0, kInfo);
Bytes flac(const Bytes& blocks, const Bytes& audio = kFrame + kAudio) {
  return Bytes().text("fLaC") + blocks + audio;
}

void expectFlac(const Bytes& file, const Bytes& streamInfos, const Bytes& content) {
  expectFormat(file, 14, "FLAC", "AUDIO", sampled(content),
               streamInfos + Bytes().u64be(content.size()));
}

TEST(Flac, StreamInfoIsMetaAndEverythingBehindTheFirstFourFrameBytesIsContent) {
  expectFlac(flac(block(1, Bytes().fill(70000, 0)) + block(6, Bytes().fill(250, 1)) + kOnly), kInfo,
             kAudio);
  expectFlac(flac(kFirst + block(kLast | 4, Bytes().pattern(180))), kInfo, kAudio);
  expectFlac(flac(kFirst + block(2, {1}) + block(3, {}) + block(5, {1}) + block(kLast | 4, {1})),
             kInfo, kAudio);
  expectFlac(flac(block(7, {1, 2}) + kFirst + block(kLast | 126, {3})), kInfo, kAudio);
  expectFlac(flac(block(0, kHigh) + block(0, kLow) + kOnly), kHigh + kLow + kInfo, kAudio);
  expectFlac(flac(block(kLast | 0, streamInfo(0))), {}, kAudio);
  expectFlac(flac(block(kLast | 0, streamInfo(655351))), {}, kAudio);
  expectFlac(flac(kOnly, Bytes{0xFF, 0xFB, 0x10, 0xFF}.pattern(20001)), kInfo,
             Bytes().pattern(20001));
}

TEST(Flac, StreamInfoIsReadFieldByField) {
  MemoryFile file(flac(block(1, Bytes().fill(250, 0)) + kOnly));
  hashOf(file);
  const std::vector<Call> fields = {{"read", 2}, {"read", 2}, {"read", 3},
                                    {"read", 3}, {"read", 8}, {"read", 16}};
  EXPECT_NE(std::search(file.calls.begin(), file.calls.end(), fields.begin(), fields.end()),
            file.calls.end());
}

TEST(Flac, Failures) {
  for (const Bytes& blocks : {kFirst + block(127, {}) + block(kLast | 1, {}),
                              Bytes{kLast | 0, 0, 0, 33} + kInfo, block(kLast | 0, kInfo + kFrame),
                              block(1, {}) + block(2, {}) + block(3, {}) + block(4, {}) +
                                  block(5, {}) + block(6, {}) + block(kLast | 7, {})}) {
    EXPECT_EQ(hashOf(flac(blocks)).code, HASHCREATE_FORMAT_ERROR)
        << ::testing::PrintToString(blocks);
  }
  for (const Bytes& frame : {Bytes{0xFE, 0xF8, 0xC9}, {0xFF, 0xFC, 0xC9}, {0xFF, 0xF8, 0x0F}}) {
    EXPECT_EQ(hashOf(flac(kOnly, frame + kAudio)).code, HASHCREATE_FORMAT_ERROR)
        << ::testing::PrintToString(frame);
  }
  EXPECT_EQ(hashOf(flac(kOnly, kFrame)).code, HASHCREATE_FORMAT_ERROR);
  EXPECT_EQ(hashOf(flac(kFirst, {})).code, HASHCREATE_READ_ERROR);  // no block was the last one
  EXPECT_EQ(hashOf(flac(kOnly, {})).code, HASHCREATE_READ_ERROR);
  EXPECT_EQ(hashOf(flac(kFirst + Bytes{kLast | 1, 0xFF, 0xFF, 0xFF})).code, HASHCREATE_SEEK_ERROR);
  EXPECT_EQ(hashOf(flac({}, {})).code, HASHCREATE_NON_SUPPORTED);
  EXPECT_EQ(hashOf(flac({}, {1})).code, HASHCREATE_READ_ERROR);
}
