// TIFF and camera raw files: which bytes and values make their hashes.
#include <algorithm>

#include "jpegBytes.h"
#include "openStream.h"
#include "tiffDirectory.h"

namespace {

using namespace support;

constexpr size_t kByte = 1, kAscii = 2, kShort = 3, kLong = 4, kRational = 5;
const Bytes kBig = Bytes().pattern(20000), kPixels = kBig.part(0, 300);
Bytes sized(const Bytes& range) { return Bytes(range).u64be(range.size()); }

Numbers longTag(size_t tag, size_t value) { return {tag, kLong, 1, value}; }
Numbers shortTag(size_t tag, size_t value) { return {tag, kShort, 1, value}; }

// ---- Standard TIFF: header, early bytes, a directory of 78 bytes, late bytes ----

Numbers at(size_t offset) { return longTag(273, offset); }
Numbers size(size_t count) { return longTag(279, count); }

struct Image {
  Bytes early = {};
  Numbers offsets = at(86), sizes = size(300);
  size_t compression = 1;
  Bytes late = kBig;
};

Bytes fileOf(const Image& image) {
  const Numbers width = longTag(256, 640), length = longTag(257, 480);
  const Numbers compression = longTag(259, image.compression), colours = shortTag(262, 2);
  return header(false, 8 + image.early.size()) + image.early +
         ifd(false, {width, length, compression, colours, image.offsets, image.sizes}) + image.late;
}

void expectImage(const char* rule, const Image& image, int code, const Bytes& content = {}) {
  SCOPED_TRACE(rule);
  const Bytes file = fileOf(image);
  const Bytes places = u32(false, image.offsets[3]) + u32(false, image.sizes[3]);
  const Bytes meta = Bytes().u32le(640).u32le(480) + places + Bytes(8);
  if (code == 0) expectHash(file, 6, "TIFF", "PHOTO", content, meta);
  EXPECT_EQ(hashOf(file).code, code);
  // What cannot be read cannot be passed either.
  const int failure = code == HASHCREATE_READ_ERROR ? HASHCREATE_SEEK_ERROR : code;
  EXPECT_EQ(identify(file), code == 0 ? 6 : failure);
}

TEST(Tiff, FailuresCountAsLongAsNothingIsHashed) {
  const Bytes shorts = Bytes().u16le(98).u16le(1).u16le(2).u16le(100).u16le(0).u16le(200) + kPixels;
  const Numbers shortOffsets = {273, kShort, 3, 86}, shortSizes = {279, kShort, 3, 92};
  const Numbers twoOffsets = {273, kShort, 2, 86}, twoSizes = {279, kShort, 2, 0x10002};
  const Numbers sizesInOne = {279, kLong, 2, 86};
  const Bytes most = Bytes().u32le(0xFFFFFFFF).u32le(2) + kPixels;
  const Bytes longs = Bytes().fill(10, 9).u32le(124).fill(16, 0).u32le(3).u32le(4).fill(7, 5);
  const Numbers five = {273, kLong, 5, 96}, fiveLater = {273, kLong, 5, 97};
  const Numbers sizes = {279, kLong, 2, 116}, sizesLater = {279, kLong, 2, 117};
  const Numbers wrapping = {273, kLong, 1 << 30 | 1, 96}, strange = {273, kRational, 1, 86};
  const Numbers tooFar = {273, kLong, 2, 99999}, four = {273, kLong, 4, 97};
  expectImage("one strip", {.sizes = size(20000)}, 0, sized(kBig));
  expectImage("compressed", {.sizes = size(20000), .compression = 5}, 0,
              sampled(kBig).u64be(20000));
  expectImage("a zero count", {.offsets = shortOffsets, .sizes = shortSizes, .late = shorts}, 0,
              sized(kPixels.part(0, 100)));
  expectImage("sum over 32 bits",
              {.offsets = at(94), .sizes = sizesInOne, .compression = 5, .late = most}, 0,
              most.part(8).u64be(1ULL << 32 | 1));
  expectImage("inline SHORTs",
              {.offsets = twoOffsets, .sizes = twoSizes, .compression = 5, .late = kPixels}, 0,
              Bytes(kPixels).u64be(0x10002));
  expectImage("length wraps to inline", {.offsets = wrapping}, 0, sized(kBig.part(10, 300)));
  expectImage("five offsets", {.offsets = five, .sizes = sizes, .late = longs}, 0,
              sized(longs.part(38)));
  expectImage("five, strips behind", {.offsets = fiveLater, .sizes = sizesLater, .late = longs}, 0,
              sized(longs.part(0, 11)));

  expectImage("cut short", {.sizes = size(999), .late = kPixels}, HASHCREATE_READ_ERROR);
  expectImage("inside the directory", {.offsets = at(85)}, HASHCREATE_FORMAT_ERROR);
  expectImage("list out of reach", {.offsets = tooFar}, HASHCREATE_FILE_NOTFOUND);
  expectImage("list of a strange type", {.offsets = strange}, HASHCREATE_FORMAT_ERROR);
  const Image fourOffsets = {.offsets = four, .sizes = size(999), .late = longs};
  expectImage("four offsets", fourOffsets, HASHCREATE_FORMAT_ERROR);
}

// The bytes before the directory are hashed already. Data is fed 1024 bytes at a time.
TEST(Tiff, NoFailureCountsOnceBytesAreHashed) {
  const Bytes early = Bytes(2, 0xE0).u32le(106).fill(14, 0xE0), list = Bytes().u32le(113).u32le(0);
  const Numbers behind = {273, kLong, 2, 10}, own = {273, kLong, 2, 106};
  const Numbers far = {273, kLong, 5, 99999};
  const std::tuple<const char*, Image, Bytes> rows[] = {
      {"offsets are behind", {.early = early, .offsets = behind}, sized(early)},
      {"counts are behind", {early, at(106), size(105)}, sized(early)},
      {"all is ahead", {.early = early, .offsets = at(106)}, sized(kPixels)},
      {"strip in its list", {.early = early, .offsets = own, .late = list}, sized(early)},
      {"strip beyond the file", {.early = early, .offsets = at(99999)}, sized(early)},
      {"cut short", {early, at(106), size(20001)}, kBig.part(0, 19456)},
      {"five, beyond the file", {.early = early, .offsets = far}, kBig.part(0, 19456)},
  };
  for (const auto& [rule, image, content] : rows) expectImage(rule, image, 0, content);
}

// An inline SHORT stands in the upper half of its field, so Compression 1 is not "uncompressed".
TEST(Tiff, DirectoriesAddUpAndBigEndianShortsCount65536Fold) {
  const std::vector<Numbers> one = {shortTag(256, 640 << 16), shortTag(259, 1 << 16),
                                    shortTag(262, 0)};
  const Numbers width = shortTag(256, 641 << 16), offsets = {273, kLong, 2, 152};
  const std::vector<Numbers> two = {width,           longTag(257, 480), offsets,
                                    size(5 << 16),   longTag(282, 77),  longTag(283, 88),
                                    longTag(513, 1), longTag(514, 1)};
  const Bytes list = Bytes().u32be(160).u32be(0);
  const Bytes file = header(true, 8) + ifd(true, one, 50) + ifd(true, two) + list + kBig;
  const Bytes meta = Bytes().u32le(641 << 16).u32le(480).u32le(152).u32le(5 << 16);
  const Bytes content = sampled(kBig).u64be(5 << 16), resolutions = Bytes().u32le(77).u32le(88);
  expectHash(file, 6, "TIFF", "PHOTO", content, meta + resolutions);
}

TEST(Tiff, ChainsOfDirectoriesEnd) {
  const Bytes start = header(false, 8), chain = ifd(false, {}, 20) + ifd(false, {}, 300);
  const Bytes far = start + ifd(false, {}, 300) + chain + Bytes(274);
  const Bytes hidden = fileOf({.offsets = at(480), .sizes = size(1)}).part(8);
  const Bytes withinBuffer = far + ifd(false, {}, 14) + Bytes(100) + hidden;
  const Bytes otherMark = Bytes({0x49, 0x49, 0, 42, 8, 0, 0, 0}) + ifd(false, {});
  const Bytes noOther = start + ifd(false, {longTag(256, 1)}).part(0, 14);
  expectCode(HASHCREATE_NON_SUPPORTED, {{"another mark", otherMark}});
  expectCode(HASHCREATE_READ_ERROR, {{"no directory's offset", {0x49, 0x49, 42, 0}}});
  expectCode(HASHCREATE_FORMAT_ERROR, {{"a circle of one", start + ifd(false, {}, 8)},
                                       {"... for want of another offset", noOther},
                                       {"back in the buffer: 300 is where 406 was", withinBuffer}});
  expectCode(HASHCREATE_SEEK_ERROR, {{"back, which no source goes", far + ifd(false, {}, 300)}});
  EXPECT_EQ(identify(header(false, 9999) + kPixels), HASHCREATE_SEEK_ERROR);
  expectCode(HASHCREATE_FILE_NOTFOUND, {{"no room", start + ifd(false, {}, 15) + Bytes(2)}});
  // What is buffered is passed over beyond the end.
  EXPECT_EQ(identify(header(false, 40) + Bytes(22)), HASHCREATE_FILE_NOTFOUND);
  const std::string noVersion(8, '\0');
  EXPECT_EQ(hashOf(header(false, 0)).version(), noVersion) << "no directory is no failure";
}

TEST(Tiff, MandatoryTagsMakeAStandardFile) {
  const std::vector<Numbers> mandatory = {longTag(256, 1), longTag(257, 1), longTag(262, 1), at(74),
                                          size(20000)};
  const auto fileWith = [](const std::vector<Numbers>& tags) {
    return header(false, 8) + ifd(false, tags) + kBig;
  };
  EXPECT_EQ(hashOf(fileWith(mandatory)).content(), sha1Hex(sampled(kBig).u64be(20000)));
  for (size_t missing = 0; missing < mandatory.size(); ++missing) {
    std::vector<Numbers> tags = mandatory;
    tags.erase(tags.begin() + static_cast<std::ptrdiff_t>(missing));
    EXPECT_EQ(hashOf(fileWith(tags)).code, HASHCREATE_FORMAT_ERROR) << missing;
  }
}

// ---- Camera raw: directory at 8, Exif at 62, maker note at 80, preview, a byte ----

const Bytes kScan = Bytes().pattern(60);
const Bytes kPreview = kSoi + kFrameSegment + scan(kScan);

const std::vector<Numbers> kNote = {{0xB000, kByte, 4, 2}};

struct Raw {
  std::vector<Numbers> makerNote = kNote;
  bool big = false;
  size_t offset = 160, length = kPreview.size();
  Numbers more = {0, 0, 0, 0};
  size_t next = 0;
};

Bytes raw(const Raw& of) {
  const std::vector<Numbers> tags = {longTag(513, of.offset), longTag(514, of.length),
                                     longTag(34665, 62), of.more};
  Bytes file = header(of.big, 8) + ifd(of.big, tags, of.next);
  file.add(ifd(of.big, {{37500, 7, 99, 80}}) + ifd(of.big, of.makerNote));
  return file.fill(of.offset - file.size(), 0).add(kPreview).u8(0);
}

void expectRaw(const Bytes& file, const char* label, const Bytes& early = {}) {
  SCOPED_TRACE(label);
  expectHash(file, KMHASH_ALGORITHM_RAW, label, "PHOTO", early + scanContent(kScan), kFrameMeta);
  EXPECT_EQ(identify(file), KMHASH_ALGORITHM_RAW);
}

TEST(Tiff, MakerNotesLabelRawFiles) {
  const std::pair<size_t, const char*> versions[] = {
      {0x100, "VRF "}, {1, "VR21"},   {2, "VR22"},      {3, "V300"},
      {0x20D, "V302"}, {100, "Qr10"}, {0xFE63, "V9fe"}, {0xFF63, "V900"}};
  for (const auto& [version, label] : versions) {
    expectRaw(raw({.makerNote = {{0xB000, kByte, 4, version}}}), label);
  }
  const Numbers two = kNote[0], noByte = {0xB000, 7, 4, 2}, noShort = {0xB001, kByte, 2, 256};
  expectRaw(raw({.makerNote = {two, shortTag(0xB001, 256)}}), "Qr10");
  expectRaw(raw({.makerNote = {noByte, shortTag(0xB001, 0xFF0100)}}), "Qr10");
  expectRaw(raw({.makerNote = {two, noShort}}), "VR22");
  expectRaw(raw({.makerNote = {noByte}}), "V500");
  expectRaw(raw({.makerNote = {shortTag(0xB001, 256)}}), "V500");
  expectRaw(raw({.makerNote = {two, shortTag(0xB001, 256 << 16)}, .big = true}), "VR22");
  expectRaw(raw({.offset = 159}), "VRF ");  // 80 + 80 is not before the preview
}

TEST(Tiff, PreviewsMustBeWithinReach) {
  const Bytes file = raw({}), toTheEnd = raw({.length = 0});
  expectRaw(toTheEnd.part(0, file.size() - 1), "VR22");
  const Numbers beyond = longTag(513, 9999), backIntoIt = longTag(514, 0xFFFFFFFF - 9990);
  EXPECT_EQ(hashOf(raw({.length = 0xFFFFFFFF})).code, HASHCREATE_READ_ERROR) << "the end wraps";
  expectCode(HASHCREATE_FORMAT_ERROR,
             {{"ends exactly at the end", file.part(0, file.size() - 1)},
              {"beyond the file", header(false, 8) + ifd(false, {beyond, backIntoIt})}});
  expectCode(HASHCREATE_SEEK_ERROR, {{"no JPEG", file.part(0, 160) + Bytes(300, 9)}});
}

// No maker note is read, and the content begins with the bytes in front of the first directory.
TEST(Tiff, PreviewsOfTheSecondDirectory) {
  const Bytes file = raw({}), front = header(false, 150);
  expectRaw(front + file.part(8, 142) + ifd(false, {}, 8) + file.part(156), "VRF ",
            sized(file.part(8, 142)));
  // A text behind the preview is read first, unless one was found before or it ends behind the
  // next offset.
  const Numbers text = {271, kAscii, 9, 500};
  const Bytes behind = raw({.offset = 260, .more = text}) + Bytes(500);
  expectCode(HASHCREATE_SEEK_ERROR, {{"a text behind the preview", behind}});
  const Bytes found = ifd(false, {{305, kAscii, 1, 0}}, 8) + behind.part(168);
  expectRaw(front + behind.part(8, 142) + found, "VRF ", sized(behind.part(8, 142)));
  expectRaw(raw({.offset = 260, .more = text, .next = 300}) + Bytes(500), "VR22");
}

TEST(Tiff, DamageAndFaultsAreSurvived) {
  const Bytes lists = Bytes().u32le(105).u32le(106).u32le(9).u32le(8).fill(17, 0xA5);
  const Bytes standard = fileOf({{1, 2, 3}, {273, kLong, 2, 89}, {279, kLong, 2, 97}, 1, lists});
  const Bytes farLists = Bytes().u32le(402).u32le(0).u32le(300).u32le(20000).pattern(20300);
  const Bytes far =
      fileOf({Bytes(300, 1), {273, kLong, 2, 386}, {279, kLong, 2, 394}, 5, farLists});
  for (const Bytes& file : {standard, far, raw({}), raw({.offset = 460})}) expectSurvives(file);
}

// ---- What parsing leaves in a table, and what the table answers ----

TEST(TiffDirectory, LengthsAreTypeSizesTimesCountsAndWrap) {
  constexpr uint32_t kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 0};
  for (uint32_t type = 0; type < std::size(kSizes); type++) {
    DirEntryInfo row = unfilledRow(256);
    setDirEntryInfo(ifd(true, {{256, type, 0x40000003, 7}}).part(2).data(), &row, kBigEndian);
    EXPECT_EQ(row.length, kSizes[type] * 0x40000003) << type;
  }
}

TEST(TiffDirectory, DataIsAccessibleWhereTheReaderStillComes) {
  OpenStream stream(300);
  callbackSeek(&stream, 100, kSeekAbsolute);
  const DirEntryInfo table[] = {{1, 3, 2, 9, 4},
                                {2, 4, 2, 90, 8},
                                {3, 4, 2, 89, 8},
                                {0, 4, 1, 200, 4},
                                unfilledRow(kEndOfTable)};
  for (uint16_t tag = 0; tag < 6; tag++)
    EXPECT_EQ(isAccessibleTagEx(&stream, table, tag, 10), tag == 1 || tag == 2);
}

TEST(TiffDirectory, TextsLieInTheEntryOrInTheFile) {
  constexpr uint32_t kStart = 20, kLength = 2000, kEnd = kStart + kLength;
  struct Text {
    const char* rule;
    DirEntryInfo row = {305, kAscii, kLength, kStart, kLength};
    uint64_t limit = 0;
    int found = 0;
    uint64_t position = 0;  // where the stream is left
  };
  const Text rows[] = {
      {.rule = "empty", .row = {305, kAscii, 0, kStart, 0}, .limit = 1, .found = 1},
      {.rule = "no ASCII", .row = {305, 7, kLength, kStart, kLength}},
      {.rule = "up to the limit", .limit = kEnd, .found = 1, .position = kEnd},
      {.rule = "beyond the limit", .limit = kEnd - 1},
      {.rule = "up to the end", .found = 1, .position = kEnd},
      {.rule = "beyond it", .row = {305, kAscii, 9999, kStart, 9999}, .position = kEnd},
      {.rule = "starts at it", .row = {305, kAscii, 5, kEnd, 5}, .position = kEnd},
      {.rule = "its end wraps",
       .row = {305, kAscii, 0, kStart, 0xFFFFFFF5},
       .limit = 9,
       .position = kEnd},
  };
  for (const Text& text : rows) {
    OpenStream stream(kEnd);
    const DirEntryInfo table[] = {{271, kAscii, 1, 65, 1}, text.row, unfilledRow(kEndOfTable)};
    EXPECT_EQ(getMakerAndModel(&stream, table, text.limit), 1 + text.found) << text.rule;
    EXPECT_EQ(c_ftell(&stream), text.position) << text.rule;
  }
}

}  // namespace
