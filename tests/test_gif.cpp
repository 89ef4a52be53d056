#include "support.h"

using namespace support;

static Bytes header(uint8_t flags = 0, const std::string& signature = "GIF89a") {
  return Bytes().text(signature).u16le(320).u16le(200).u8(flags).u8(3).u8(49);
}
// Up to the first sub-block's size. The left position is odd: the separator alone tells an image.
static Bytes image(uint8_t flags = 0, const Bytes& table = {}) {
  return Bytes{0x2C}.u16le(0x2101).u16le(2).u16le(320).u16le(200).u8(flags).add(table).u8(8).u8(
      0xFF);
}

TEST(Gif, SignatureIsTheLabelAndContentStartsInTheFirstImage) {
  const Bytes subBlocks = Bytes{200, 0}.fill(199 + 1 + 0x2C, 0x2C).u8(0);
  const std::tuple<std::string, uint8_t, size_t, Bytes> rows[] = {
      {"GIF87a", 0x7F, 0, {}},
      {"GIFxyz", 0x80, 6, {0x21, 0xF9, 4, 1, 2, 3, 4, 0}},
      {{"GIF\0ab", 6},
       0xF2,
       24,
       {0x21, 0xF9, 0, 1, 2, 3, 4, 0}},  // the size of a graphic control extension
      {"GIF89a", 0xFF, 768, {0x21, 0xF9, 255, 1, 2, 3, 4, 5}},  // does not count
      {"GIF89a", 0x81, 12, Bytes{0x21, 0xFF} + subBlocks},
      {"GIF89a", 0x85, 192, Bytes{0x3B, 0x2C} + subBlocks}};
  for (const auto& [signature, flags, size, blocks] : rows) {
    const Bytes start = header(flags, signature), table(size, 0x2C),
                data = Bytes().pattern(size == 0 ? 17000 : 90);
    const Bytes file = start + table + blocks + image(flags, table) + data + Bytes{0, 0x3B};
    expectFormat(file, 5, signature.c_str(), "PHOTO", sampled(data), start.part(3));
  }
  EXPECT_EQ(hashOf(header() + image() + Bytes{0x3B}).content(),
            sha1Hex({0x3B}));  // too few to leave two out
  EXPECT_EQ(hashOf(header() + image().part(0, 11)).code, -5);
  EXPECT_EQ(identify(header().part(0, 2)), -9);
  for (const Bytes& rest : {Bytes{0x21, 0xFE, 20} + Bytes(9), image().part(0, 10)}) {
    EXPECT_EQ(identify(header() + rest), -6);
  }
  EXPECT_EQ(identify(header(0x80)), -6);
  EXPECT_EQ(identify(header() + Bytes{0x21, 0xFE, 0}), -5);  // no image
  EXPECT_EQ(identify(header() + Bytes{0x21, 0xFE, 20} + Bytes(10)), -5);
}
