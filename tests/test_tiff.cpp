// TIFF and camera raw files: which bytes and values make their hashes.
#include <algorithm>

#include "jpegBytes.h"
#include "openStream.h"
#include "tiffDirectory.h"

namespace {

using namespace support;

constexpr size_t kByte = 1, kAscii = 2, kShort = 3, kLong = 4, kRational = 5;
const Bytes kPixels = Bytes().pattern(300), kBig = Bytes().pattern(20000);
Bytes sized(const Bytes& range) { return Bytes(range).u64be(range.size()); }

Numbers longTag(size_t tag, size_t value) { return {tag, kLong, 1, value}; }
Numbers shortTag(size_t tag, size_t value) { return {tag, kShort, 1, value}; }

// ---- Standard TIFF: header, early bytes, a directory of 78 bytes, late bytes ----

Bytes image(const Bytes& early, const Numbers& offsets, const Numbers& counts, size_t compression, const Bytes& late) {
  const Numbers width = longTag(256, 640), length = longTag(257, 480);
  return header(false, 8 + early.size()) + early +
         ifd(false, {width, length, longTag(259, compression), shortTag(262, 2), offsets, counts}) + late;
}
Numbers at(size_t offset) { return longTag(273, offset); }
Numbers size(size_t count) { return longTag(279, count); }

TEST(Tiff, ImageDataIsTheLastRangeThatCanBeHashed) {
  const Bytes early = Bytes().fill(2, 0xE0).u32le(106).fill(14, 0xE0);
  const Bytes shorts = Bytes().u16le(98).u16le(1).u16le(2).u16le(100).u16le(0).u16le(200) + kPixels;
  const Bytes longs = Bytes().fill(10, 9).u32le(124).fill(16, 0).u32le(3).u32le(4).fill(7, 5);
  const Bytes most = Bytes().u32le(0xFFFFFFFF).u32le(2) + kPixels;
  const std::tuple<const char*, Bytes, Numbers, Numbers, size_t, Bytes, int, Bytes> rows[] = {
      // Nothing is hashed before the image data is looked for: every failure counts.
      {"one strip", {}, at(86), size(20000), 1, kBig, 0, sized(kBig)},
      {"compressed", {}, at(86), size(20000), 5, kBig, 0, sampled(kBig).u64be(20000)},
      {"uncompressed, cut short", {}, at(86), size(999), 1, kPixels, -5, {}},
      {"inside the directory", {}, at(85), size(9), 1, kPixels, -3, {}},
      {"a zero count", {}, {273, kShort, 3, 86}, {279, kShort, 3, 92}, 1, shorts, 0, sized(kPixels.part(0, 100))},
      {"a sum beyond 32 bits", {}, at(94), {279, kLong, 2, 86}, 5, most, 0, most.part(8).u64be(0x100000001)},
      {"inline SHORTs", {}, {273, kShort, 2, 86}, {279, kShort, 2, 65538}, 5, kPixels, 0, Bytes(kPixels).u64be(65538)},
      {"length wraps to inline", {}, {273, kLong, 0x40000001, 96}, size(300), 1, kBig, 0, sized(kBig.part(10, 300))},
      {"list out of reach", {}, {273, kLong, 2, 9999}, size(1), 1, kPixels, -1, {}},
      {"list of a strange type", {}, {273, kRational, 1, 86}, size(1), 1, kPixels, -3, {}},
      {"four offsets", {}, {273, kLong, 4, 97}, size(999), 1, longs, -3, {}},
      {"five offsets", {}, {273, kLong, 5, 96}, {279, kLong, 2, 116}, 1, longs, 0, sized(longs.part(38))},
      {"five, strips behind", {}, {273, kLong, 5, 97}, {279, kLong, 2, 117}, 1, longs, 0, sized(longs.part(0, 11))},
      // The bytes before the directory are hashed already: no failure counts any more. Data is fed 1024 bytes at a
      // time.
      {"offsets are behind", early, {273, kLong, 2, 10}, size(300), 1, kBig, 0, sized(early)},
      {"counts are behind", early, at(106), size(105), 1, kBig, 0, sized(early)},
      {"all is ahead", early, at(106), size(300), 1, kBig, 0, sized(kBig.part(0, 300))},
      {"strip in its list", early, {273, kLong, 2, 106}, size(300), 1, Bytes().u32le(113).u32le(0), 0, sized(early)},
      {"strip beyond the file", early, at(99999), size(300), 1, kBig, 0, sized(early)},
      {"cut short", early, at(106), size(20001), 1, kBig, 0, kBig.part(0, 19456)},
      {"five, beyond the file", early, {273, kLong, 5, 99999}, size(300), 1, kBig, 0, kBig.part(0, 19456)},
  };
  for (const auto& [what, before, offsets, counts, compression, late, code, content] : rows) {
    SCOPED_TRACE(what);
    const Bytes file = image(before, offsets, counts, compression, late);
    const Bytes meta = Bytes().u32le(640).u32le(480).add(u32(false, offsets[3])).add(u32(false, counts[3]));
    if (code == 0) expectHash(file, 6, "TIFF", "PHOTO", content, meta + Bytes(8));
    EXPECT_EQ(hashOf(file).code, code);
    EXPECT_EQ(identify(file), code == 0 ? 6 : code == -5 ? -6 : code);  // what cannot be read cannot be passed either
  }
}

// An inline SHORT stands in the upper half of its field, so Compression 1 is not "uncompressed".
TEST(Tiff, DirectoriesAddUpAndBigEndianShortsCount65536Fold) {
  const Bytes first = ifd(true, {shortTag(256, 640 << 16), shortTag(259, 1 << 16), shortTag(262, 0)}, 50);
  const Numbers offsets = {273, kLong, 2, 152}, width = shortTag(256, 641 << 16);
  const Bytes second = ifd(true, {width, longTag(257, 480), offsets, size(5 << 16), longTag(282, 77), longTag(283, 88),
                                  longTag(513, 1), longTag(514, 1)}) +
                       Bytes().u32be(160).u32be(0);
  const Bytes meta = Bytes().u32le(641 << 16).u32le(480).u32le(152).u32le(5 << 16).u32le(77).u32le(88);
  expectHash(header(true, 8) + first + second + kBig, 6, "TIFF", "PHOTO", sampled(kBig).u64be(5 << 16), meta);
}

TEST(Tiff, ChainsOfDirectoriesEnd) {
  const Bytes start = header(false, 8);
  const Bytes far = start + ifd(false, {}, 300) + ifd(false, {}, 20) + ifd(false, {}, 300) + Bytes().fill(274, 0);
  const Bytes hidden = image({}, at(480), size(1), 1, kPixels).part(8);
  const std::pair<Bytes, int> rows[] = {
      {Bytes({0x49, 0x49, 0, 42, 8, 0, 0, 0}) + ifd(false, {}), -9},
      {Bytes({0x49, 0x49, 42, 0}), -5},
      {start + ifd(false, {}, 8), -3},
      {start + ifd(false, {longTag(256, 1)}).part(0, 14), -3},         // its own next, for want of another
      {far + ifd(false, {}, 300), -6},                                 // the source never goes back ...
      {far + ifd(false, {}, 14) + Bytes().fill(100, 0) + hidden, -3},  // ... so 300 is now where 406 was
      {start + ifd(false, {}, 15) + Bytes().fill(2, 0), -1},
  };
  for (const auto& [file, code] : rows) {
    EXPECT_EQ(hashOf(file).code, code);
    EXPECT_EQ(identify(file), code);
  }
  const std::vector<Numbers> mandatory = {longTag(256, 1), longTag(257, 1), longTag(262, 1), at(74), size(20000)};
  EXPECT_EQ(hashOf(start + ifd(false, mandatory) + kBig).content(), sha1Hex(sampled(kBig).u64be(20000)));
  for (const unsigned missing : {256u, 257u, 262u, 273u, 279u}) {
    std::vector<Numbers> tags = mandatory;
    std::erase_if(tags, [&](const Numbers& tag) { return tag[0] == missing; });
    EXPECT_EQ(hashOf(start + ifd(false, tags) + kBig).code, -3) << missing;
  }
  EXPECT_EQ(hashOf(header(false, 0)).version(), std::string(8, '\0'));  // no directory: no failure, and no label
  EXPECT_EQ(identify(header(false, 9999) + kPixels), HASHCREATE_SEEK_ERROR);
  EXPECT_EQ(identify(header(false, 40) + Bytes(22)), -1);  // what is buffered is passed over beyond the end
}

// ---- Camera raw: header, directory at 8, Exif directory at 62, maker note at 80, preview, one byte more ----

const Bytes kScan = Bytes().pattern(60);
const Bytes kPreview = kSoi + kFrameSegment + scan(kScan);

Bytes raw(const std::vector<Numbers>& makerNote, bool big = false, size_t offset = 160, size_t length = kPreview.size(),
          const Numbers& more = {0, 0, 0, 0}, size_t next = 0) {
  Bytes file = header(big, 8) + ifd(big, {longTag(513, offset), longTag(514, length), longTag(34665, 62), more}, next) +
               ifd(big, {{37500, 7, 99, 80}}) + ifd(big, makerNote);
  return file.fill(offset - file.size(), 0).add(kPreview).u8(0);
}
const std::vector<Numbers> kNote = {{0xB000, kByte, 4, 2}};

void expectRaw(const Bytes& file, const char* label, const Bytes& early = {}) {
  expectHash(file, KMHASH_ALGORITHM_RAW, label, "PHOTO", early + scanContent(kScan), kFrameMeta);
  EXPECT_EQ(identify(file), KMHASH_ALGORITHM_RAW);
}

TEST(Tiff, MakerNotesLabelRawFiles) {
  const std::pair<size_t, const char*> versions[] = {{0x100, "VRF "},  {1, "VR21"},     {2, "VR22"},
                                                     {3, "V300"},      {0x20D, "V302"}, {100, "Qr10"},
                                                     {0xFE63, "V9fe"}, {0xFF63, "V900"}};
  for (const auto& [version, label] : versions) expectRaw(raw({{0xB000, kByte, 4, version}}), label);
  expectRaw(raw({{0xB000, kByte, 4, 2}, shortTag(0xB001, 256)}), "Qr10");
  expectRaw(raw({{0xB000, 7, 4, 2}, shortTag(0xB001, 0xFF0100)}), "Qr10");
  expectRaw(raw({{0xB000, kByte, 4, 2}, {0xB001, kByte, 2, 256}}), "VR22");
  expectRaw(raw({{0xB000, 7, 4, 2}}), "V500");
  expectRaw(raw({shortTag(0xB001, 256)}), "V500");
  expectRaw(raw({{0xB000, kByte, 4, 2}, shortTag(0xB001, 256 << 16)}, true), "VR22");
  expectRaw(raw(kNote, false, 159), "VRF ");  // 80 + 80 is not before the preview
}

TEST(Tiff, PreviewsMustBeWithinReach) {
  const Bytes file = raw(kNote);
  expectRaw(raw(kNote, false, 160, 0).part(0, file.size() - 1), "VR22");  // length 0: to the end
  EXPECT_EQ(hashOf(file.part(0, file.size() - 1)).code, -3);              // ends exactly at the end
  EXPECT_EQ(hashOf(file.part(0, 160) + Bytes().fill(300, 9)).code, -6);   // no JPEG
  // In the second directory: no maker note is read, and the content begins with the bytes before the first.
  const Bytes second = header(false, 150) + file.part(8, 142) + ifd(false, {}, 8) + file.part(156);
  expectRaw(second, "VRF ", sized(second.part(8, 142)));
  EXPECT_EQ(hashOf(raw(kNote, false, 160, 0xFFFFFFFF)).code, -5);  // its end wraps below the file's
  EXPECT_EQ(hashOf(header(false, 8) + ifd(false, {longTag(513, 9999), longTag(514, 0xFFFFFFFF - 9990)})).code, -3);
  // A text behind the preview is read first, unless one was found before or it ends behind the next offset.
  const Numbers text = {271, kAscii, 9, 500};
  const Bytes behind = raw(kNote, false, 260, kPreview.size(), text) + Bytes(500);
  EXPECT_EQ(hashOf(behind).code, -6);
  expectRaw(header(false, 150) + behind.part(8, 142) + ifd(false, {{305, kAscii, 1, 0}}, 8) + behind.part(168), "VRF ",
            sized(behind.part(8, 142)));
  expectRaw(raw(kNote, false, 260, kPreview.size(), text, 300) + Bytes(500), "VR22");
}

TEST(Tiff, DamageAndFaultsAreSurvived) {
  const Bytes lists = Bytes().u32le(105).u32le(106).u32le(9).u32le(8).fill(17, 0xA5);
  const Bytes standard = image({1, 2, 3}, {273, kLong, 2, 89}, {279, kLong, 2, 97}, 1, lists);
  const Bytes farLists = Bytes().u32le(402).u32le(0).u32le(300).u32le(20000).pattern(20300);
  const Bytes far = image(Bytes(300, 1), {273, kLong, 2, 386}, {279, kLong, 2, 394}, 5, farLists);
  for (const Bytes& file : {standard, far, raw(kNote), raw(kNote, false, 460)}) {
    expectSurvives(file);
  }
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
  const DirEntryInfo table[] = {
      {1, 3, 2, 9, 4}, {2, 4, 2, 90, 8}, {3, 4, 2, 89, 8}, {0, 4, 1, 200, 4}, unfilledRow(kEndOfTable)};
  for (uint16_t tag = 0; tag < 6; tag++) EXPECT_EQ(isAccessibleTagEx(&stream, table, tag, 10), tag == 1 || tag == 2);
}

TEST(TiffDirectory, TextsComeFromTheEntryOrFromTheFile) {
  const Bytes file = Bytes().fill(20, 0).text("PXLR-K550 v");
  const std::tuple<DirEntryInfo, uint64_t, const char*, uint64_t> rows[] = {
      {{305, 2, 3, 0x00434241, 3}, 1, "ABC", 0},
      {{305, 2, 0, 20, 0}, 1, "", 0},
      {{305, 7, 11, 20, 11}, 0, "(none)", 0},  // no ASCII
      {{305, 2, 11, 20, 11}, 31, "PXLR-K550 v", 31},
      {{305, 2, 10, 20, 10}, 0, "PXLR-K550 ", 30},
      {{305, 2, 11, 20, 11}, 30, "(none)", 0},
      {{305, 2, 0xFFFFFFF5, 20, 0xFFFFFFF5}, 9, "(none)", 31},  // the end wraps
  };
  for (const auto& [row, limit, want, position] : rows) {
    OpenStream stream(file);
    const DirEntryInfo table[] = {row, unfilledRow(kEndOfTable)};
    MakerAndModel texts;
    const int found = getMakerAndModel(&stream, table, &texts, limit);
    std::string software = found == 0 ? "(none)" : "";
    for (size_t i = 0; i < texts.software.characters.size; i++) software += texts.software.characters[i];
    EXPECT_EQ(software, want);
    EXPECT_EQ(c_ftell(&stream), position) << want;
    Vr2Version version = {0, 0};
    makeVr2Version(&texts, &version);
    EXPECT_EQ(version.model, want == std::string("PXLR-K550 v") ? 256 : -1);
    EXPECT_EQ(releaseMakerAndModel(&texts), found);
  }
}

}  // namespace
