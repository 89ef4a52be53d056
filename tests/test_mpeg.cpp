#include "support.h"

using namespace support;

static const Bytes kMpeg1 = {0, 0, 1, 0xBA, 0xA1, 0, 1, 2, 3, 4, 5, 6},
                   kPack1 = kMpeg1.part(4) + Bytes(1);
static const Bytes kMpeg2 = {0, 0, 1, 0xBA, 0x44, 0, 1, 2, 3, 4, 5, 6, 7}, kPack2 = kMpeg2.part(4);
static const Bytes kNext = {0, 0, 1, 0xBB}, kSystem = {9, 8, 7, 6, 5, 4, 3};

TEST(Mpeg, MetaIsThePackHeaderAndContentTheRest) {
  const std::tuple<const char*, Bytes, Bytes, size_t> rows[] = {
      {"MPEG1", kMpeg1 + kNext, kPack1 + Bytes(7), 20000},
      {"MPEG1", kMpeg1 + kNext, kPack1 + Bytes(7), 0},
      {"MPEG2", kMpeg2 + Bytes{0xF8} + kNext, kPack2 + Bytes(7), 200},  // no stuffing
      {"MPEG2", kMpeg2 + Bytes{0xFF}.pattern(7) + kNext, kPack2 + Bytes(7),
       200},  // as much as can be
      {"MPEG1", Bytes{0x12, 0x34} + kMpeg1.part(2) + kNext, kPack1 + Bytes(7),
       200},  // half a start code is enough
      {"MPEG1", kMpeg1 + Bytes(4), kPack1 + kSystem,
       200},  // only four zeros let the system header count
      {"MPEG1", kMpeg1 + Bytes{0, 0, 0, 1}, kPack1 + Bytes(7), 200}};
  for (const auto& [label, start, meta, size] : rows) {
    const Bytes rest = Bytes().pattern(size), length = Bytes().u64be(size);
    expectFormat(start + kSystem + rest, 10, label, "VIDEO", sampled(rest) + length, meta, length);
  }
  MemoryFile large(kMpeg1 + kNext + kSystem, 5'000'000'000);
  EXPECT_EQ(hashOf(large).content(), sha1Hex(Bytes(16300) + Bytes().u64be(5'000'000'000)));
  EXPECT_EQ(identify(kMpeg1.part(0, 4)), -9);           // declined for want of a fifth byte
  EXPECT_EQ(identify(kMpeg2 + Bytes{7, 0, 0, 0}), -6);  // stuffing past the end
  EXPECT_EQ(identify(kMpeg1 + Bytes(10)), -5);
  EXPECT_EQ(identify(kNext + Bytes(30)), -9);
}
