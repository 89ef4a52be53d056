#include "jpegBytes.h"

using namespace support;

constexpr size_t kHeader = 10;
const Bytes kFirst = Bytes().pattern(500, 3), kSecond = Bytes().pattern(400, 4),
            kThird = Bytes().pattern(20000, 5);

// Places in the album of two images.
const size_t kCount = 28, kSize1 = 64, kOffset1 = 68, kSize2 = 80, kOffset2 = 84, kSoi2 = 622,
             kEnd = 1054;
const Bytes kPlain = album(kOther, {kFirst, kSecond}),
            kStereo = album(kBaseline, {kFirst, kSecond}), kBeyond = patched(kStereo, kSize2, 433);

TEST(Mpo, HashesEveryImage) {
  for (const bool big : {false, true}) {  // each with a third of the threshold
    const Bytes content = (kFirst + kSecond + sampled(kThird, 5461)).u64be(20900).u64be(3);
    expectHash(album(kOther, {kFirst, kSecond, kThird}, big), 2, "MPO ", "PHOTO", content, {});
  }
  expectHash(album(kOther, {kFirst}), 2, "MPO ", "PHOTO", scanContent(kFirst), {});
  const Bytes toTheEnd = (kFirst + kSecond + Bytes({0xFF, 0xD9})).u64be(902).u64be(2);
  expectHash(patched(kPlain, kSize2, 434), 2, "MPO ", "PHOTO", toTheEnd, {});
  EXPECT_EQ(identify(kPlain), 2);
}

TEST(Mpo, HashesOneImage) {
  const Bytes all = kPlain.part(kSoi2 - 502, 502 + kEnd - kSoi2 - 2);  // up to the end of the file
  const Bytes cut = patched(patched(album(kBaseline, {kFirst}), kOffset1, 5), kSize1, 500);
  const auto again = [](const Bytes& file,
                        size_t size) {  // a segment without a count behind the first
    const Bytes start = Bytes().text("MPF").u8(0) + directory(false, {{0xB002, 0, 26}});
    const Bytes entry = u32(false, kBaseline) + u32(false, size) + Bytes(8);
    return file.part(0, 76) + segment(0xFFE2, start + entry) + file.part(76);
  };
  const std::tuple<const char*, Bytes, Bytes> rows[] = {
      {"the second replaces the first", kStereo + kFirst, kSecond},
      {"the last one listed is the second", album(kBaseline, {kFirst, kSecond, kThird}, true),
       kThird},
      {"no image there, but the first ends there", patched(patched(kStereo, kSoi2, 0), kSize1, 700),
       kFirst},
      {"it ends beyond the file, and so does the first", patched(kBeyond, kSize1, kEnd + 1), all},
      {"the first ends before",
       patched(patched(patched(kStereo, kSoi2, 0), kOffset1, 5), kSize1, 557), kFirst.part(0, 450)},
      {"... which a segment without a header undoes",
       cut.part(0, 76) + segment(0xFFE2, {'M', 'P', 'F', 0}) + cut.part(76), kFirst},
      {"... or one with the former count", again(cut, 456), kFirst.part(0, 300)},
      {"... which is 1 after a count of 0", again(patched(cut, kCount, 0), 456),
       kFirst.part(0, 300)},
      {"only one", album(kBaseline, {kFirst}), kFirst},
      {"no images", patched(kPlain, kCount, 0), all},
      {"one begins beyond the file", patched(kPlain, kOffset2, kEnd - kHeader + 1), all},
  };
  for (const auto& [rule, file, scanned] : rows) {
    SCOPED_TRACE(rule);
    expectHash(file, 1, "JPEG", "PHOTO", scanContent(scanned), scanned.part(0, 8));
  }
}

TEST(Mpo, RefusesBrokenFiles) {
  const auto many = [](size_t count) {
    return kSoi + mpf(false, count, std::vector<Numbers>(count, {kOther, 5000, 0})) + scan(kThird);
  };
  const std::tuple<const char*, int, Bytes> rows[] = {
      {"byte order", HASHCREATE_BROKEN_CONTENT,
       kSoi + segment(0xFFE2, Bytes().text("MPF").fill(9, 0))},
      {"directory behind the position", HASHCREATE_FORMAT_ERROR, patched(kPlain, kHeader + 4, 7)},
      {"directory beyond the file", HASHCREATE_READ_ERROR,
       patched(kPlain, kHeader + 8, 0xB001FFFF)},
      {"entries behind the position", HASHCREATE_FORMAT_ERROR, patched(kPlain, kHeader + 30, 45)},
      {"first image behind the position", HASHCREATE_FORMAT_ERROR, patched(kPlain, kOffset1, 1)},
      {"second image behind the position", HASHCREATE_BROKEN_CONTENT, patched(kPlain, kOffset2, 1)},
      {"... in a baseline file", HASHCREATE_SEEK_ERROR, patched(kStereo, kOffset2, 0)},
      {"second image beyond the file", HASHCREATE_BROKEN_CONTENT, patched(kPlain, kSize2, 435)},
      {"second image ends before its scan: wraps", HASHCREATE_SEEK_ERROR,
       patched(kPlain, kSize2, 2)},
      {"second image at the end", HASHCREATE_SEEK_ERROR, patched(kPlain, kOffset2, kEnd - kHeader)},
      {"second image's segment beyond the file", HASHCREATE_SEEK_ERROR,
       patched(kPlain, kSoi2 + 14, 0xFFFFC0FF)},
      {"no scan", HASHCREATE_READ_ERROR, kSoi + mpf(true, 1, {{kOther, 500, 0}})},
      {"no scan, ends a little beyond the file", HASHCREATE_BROKEN_CONTENT,
       kSoi + mpf(true, 1, {{kOther, 500, 0}}) + Bytes({0xFF, 0xE0, 0, 90}).fill(80, 0)},
      {"second image broken", HASHCREATE_BROKEN_CONTENT, patched(kStereo, kSoi2 + 14, 0xC0FF)},
      {"no samples of 164 images", HASHCREATE_INVALID_PARAM, many(164)},
      {"... but of 163", HASHCREATE_BROKEN_CONTENT, many(163)},
      {"a claim takes no memory", HASHCREATE_READ_ERROR,
       kSoi + mpf(true, 0xFFFFFFFF, {}) + Bytes().fill(200000, 0)},
  };
  for (const auto& [rule, code, file] : rows) EXPECT_EQ(hashOf(file).code, code) << rule;
  MemoryFile source(kStereo);
  source.bytes = source.bytes.part(0, kEnd - 3);
  EXPECT_EQ(hashOf(source).code, HASHCREATE_READ_ERROR) << "gives up in the second image's scan";
}

TEST(Mpo, SurvivesDamageAndFaults) {
  for (const size_t attribute : {kOther, kBaseline}) {
    expectSurvives(album(attribute, {kFirst, kSecond}));
  }
}
