#include "support.h"

using namespace support;

static Bytes chunk(const char* type, const Bytes& data) {
  return Bytes().u32be(static_cast<uint32_t>(data.size())).text(type).add(data).u32be(0xC4C5C6C7);
}
static const Bytes kSignature = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A},
                   kHeader = Bytes().pattern(13);
static const Bytes kStart = kSignature + chunk("IHDR", kHeader);

TEST(Png, MetaIsTheLastIhdrBeforeTheFirstIdatAndContentTheRest) {
  const Bytes nine = chunk("IHDR", Bytes(9)), text = chunk("tEXt", Bytes().pattern(150));
  const std::tuple<Bytes, Bytes, size_t> rows[] = {
      {kStart, kHeader, 20000},
      {kSignature, Bytes(13), 60},        // the IHDR behind the image does not count
      {kStart + nine, nine.part(8), 60},  // thirteen bytes with the CRC
      {kSignature + nine + chunk("IHDR", kHeader + Bytes(7)), kHeader, 60}};
  for (const auto& [start, meta, size] : rows) {
    const Bytes rest =
        Bytes().pattern(size) + chunk("", {}) + kStart.part(8) + chunk("IDAT", {1, 2}) + text;
    const Bytes file = start + text + Bytes().u32be(60).text("IDAT") + rest + chunk("IEND", {});
    expectFormat(file, 3, "PNG ", "PHOTO", sampled(rest), meta);
  }
  const Bytes few(11);  // too few to leave twelve out
  expectFormat(kStart + Bytes(4).text("IDAT") + few, 3, "PNG ", "PHOTO", few, kHeader);
}

TEST(Png, ChunksThatLieFailByTheFirstRuleTheyBreak) {
  const auto last = [](uint32_t size, const char* type) {
    return kStart + Bytes().u32be(size).text(type) + Bytes(20);
  };
  EXPECT_EQ(identify(last(61, "IDAT")), 3);  // as long as the file
  EXPECT_EQ(identify(last(62, "IDAT")), -13);
  EXPECT_EQ(identify(last(20, "tEXt")), -3);  // ends a little past the file
  EXPECT_EQ(identify(kSignature + chunk("IHDR", Bytes(8)) + chunk("IDAT", Bytes(30))), -6);
  EXPECT_EQ(identify(kSignature), -5);  // no image
  EXPECT_EQ(identify(kSignature.part(0, 7)), -9);
  EXPECT_EQ(identify(kStart.part(0, 20)), -5);
}
