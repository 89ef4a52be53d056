#include "support.h"

using namespace support;

static const Bytes kStartCode = {0, 0, 1, 0xBA}, kNext = {0, 0, 1, 0xBB};
static const Bytes kPack1 = {0xA1, 0, 1, 2, 3, 4, 5, 6}, kPack2 = {0x44, 0, 1, 2, 3, 4, 5, 6, 7};
static const Bytes kMpeg1 = kStartCode + kPack1, kMpeg2 = kStartCode + kPack2;
static const Bytes kSystem = {9, 8, 7, 6, 5, 4, 3};

TEST(Mpeg, MetaIsThePackHeaderAndContentTheRest) {
  const Bytes meta1 = kPack1 + Bytes(1 + 7), meta2 = kPack2 + Bytes(7);
  const std::tuple<const char*, Bytes, Bytes, size_t> rows[] = {
      {"MPEG1", kMpeg1 + kNext, meta1, 20000},
      {"MPEG1", kMpeg1 + kNext, meta1, 0},
      {"MPEG2", kMpeg2 + Bytes{0xF8} + kNext, meta2, 200},             // no stuffing
      {"MPEG2", kMpeg2 + Bytes{0xFF}.pattern(7) + kNext, meta2, 200},  // as much as can be
      {"MPEG1", Bytes{0x12, 0x34} + kMpeg1.part(2) + kNext, meta1, 200},
      // Only four zeros let the system header count.
      {"MPEG1", kMpeg1 + Bytes(4), kPack1 + Bytes(1) + kSystem, 200},
      {"MPEG1", kMpeg1 + Bytes{0, 0, 0, 1}, meta1, 200}};
  for (const auto& [label, start, meta, size] : rows) {
    const Bytes rest = Bytes().pattern(size), length = Bytes().u64be(size);
    expectFormat(start + kSystem + rest, 10, label, "VIDEO", sampled(rest) + length, meta, length);
  }
  MemoryFile large(kMpeg1 + kNext + kSystem, 5'000'000'000);
  EXPECT_EQ(hashOf(large).content(), sha1Hex(Bytes(16300) + Bytes().u64be(5'000'000'000)));
  expectCode(HASHCREATE_NON_SUPPORTED, {{"four bytes", kStartCode}, {"other", kNext + Bytes(30)}});
  expectCode(HASHCREATE_SEEK_ERROR, {{"stuffing past the end", kMpeg2 + Bytes{7, 0, 0, 0}}});
  expectCode(HASHCREATE_READ_ERROR, {{"no system header", kMpeg1 + Bytes(10)}});
}
