#include "support.h"

using namespace support;

static Bytes chunk(const char* type, const Bytes& data) {
  return Bytes().u32be(static_cast<uint32_t>(data.size())).text(type).add(data).u32be(0xC4C5C6C7);
}
static const Bytes kSignature = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
static const Bytes kHeader = Bytes().pattern(13), kStart = kSignature + chunk("IHDR", kHeader);

TEST(Png, MetaIsTheLastIhdrBeforeTheFirstIdatAndContentTheRest) {
  const Bytes nine = chunk("IHDR", Bytes(9)), text = chunk("tEXt", Bytes().pattern(150));
  const std::tuple<Bytes, Bytes, size_t> rows[] = {
      {kStart, kHeader, 20000},
      {kSignature, Bytes(13), 60},        // the IHDR behind the image does not count
      {kStart + nine, nine.part(8), 60},  // thirteen bytes with the CRC
      {kSignature + nine + chunk("IHDR", kHeader + Bytes(7)), kHeader, 60}};
  for (const auto& [start, meta, size] : rows) {
    const Bytes behind = chunk("", {}) + kStart.part(8) + chunk("IDAT", {1, 2}) + text;
    const Bytes rest = Bytes().pattern(size) + behind;
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
  const Bytes shortHeader = kSignature + chunk("IHDR", Bytes(8)) + chunk("IDAT", Bytes(30));
  EXPECT_EQ(identify(last(61, "IDAT")), KMHASH_ALGORITHM_PNG);  // as long as the file
  expectCode(HASHCREATE_BROKEN_CONTENT, {{"longer than the file", last(62, "IDAT")}});
  expectCode(HASHCREATE_FORMAT_ERROR, {{"ends a little past the file", last(20, "tEXt")}});
  expectCode(HASHCREATE_SEEK_ERROR, {{"eight bytes of IHDR", shortHeader}});
  expectCode(HASHCREATE_READ_ERROR, {{"no image", kSignature}, {"cut", kStart.part(0, 20)}});
  expectCode(HASHCREATE_NON_SUPPORTED, {{"seven bytes", kSignature.part(0, 7)}});
}
