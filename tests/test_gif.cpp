#include "support.h"

using namespace support;

static Bytes header(uint8_t flags = 0, const std::string& signature = "GIF89a") {
  return Bytes().text(signature).u16le(320).u16le(200).u8(flags).u8(3).u8(49);
}
// Up to the first sub-block's size. The left position is odd: the separator alone tells an image.
static Bytes image(uint8_t flags = 0, const Bytes& table = {}) {
  const Bytes place = Bytes{0x2C}.u16le(0x2101).u16le(2).u16le(320).u16le(200);
  return place + Bytes{flags} + table + Bytes{8, 0xFF};
}

TEST(Gif, SignatureIsTheLabelAndContentStartsInTheFirstImage) {
  const Bytes subBlocks = Bytes{200, 0}.fill(199 + 1 + 0x2C, 0x2C).u8(0);
  const std::string withNul = {"GIF\0ab", 6};
  // The size of a graphic control extension does not count.
  const std::tuple<std::string, uint8_t, size_t, Bytes> rows[] = {
      {"GIF87a", 0x7F, 0, {}},
      {"GIFxyz", 0x80, 6, {0x21, 0xF9, 4, 1, 2, 3, 4, 0}},
      {withNul, 0xF2, 24, {0x21, 0xF9, 0, 1, 2, 3, 4, 0}},
      {"GIF89a", 0xFF, 768, {0x21, 0xF9, 255, 1, 2, 3, 4, 5}},
      {"GIF89a", 0x81, 12, Bytes{0x21, 0xFF} + subBlocks},
      {"GIF89a", 0x85, 192, Bytes{0x3B, 0x2C} + subBlocks}};
  for (const auto& [signature, flags, size, blocks] : rows) {
    const Bytes start = header(flags, signature), table(size, 0x2C);
    const Bytes data = Bytes().pattern(size == 0 ? 17000 : 90);
    const Bytes file = start + table + blocks + image(flags, table) + data + Bytes{0, 0x3B};
    expectFormat(file, 5, signature.c_str(), "PHOTO", sampled(data), start.part(3));
  }
  const Bytes tooFewToLeaveTwoOut = header() + image() + Bytes{0x3B};
  EXPECT_EQ(hashOf(tooFewToLeaveTwoOut).content(), sha1Hex({0x3B}));
}

TEST(Gif, Failures) {
  const Bytes comment = {0x21, 0xFE, 20};
  EXPECT_EQ(hashOf(header() + image().part(0, 11)).code, HASHCREATE_READ_ERROR) << "no sub-block";
  expectCode(HASHCREATE_READ_ERROR, {{"no image", header() + Bytes{0x21, 0xFE, 0}},
                                     {"no end of a comment", header() + comment + Bytes(10)}});
  expectCode(HASHCREATE_SEEK_ERROR, {{"comment cut short", header() + comment + Bytes(9)},
                                     {"image cut short", header() + image().part(0, 10)},
                                     {"no colour table", header(0x80)}});
  expectCode(HASHCREATE_NON_SUPPORTED, {{"two letters", header().part(0, 2)}});
}
