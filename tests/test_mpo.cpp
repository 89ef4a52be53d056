#include "jpegBytes.h"

using namespace support;

const Bytes kFirst = Bytes().pattern(500, 3), kSecond = Bytes().pattern(400, 4);
const Bytes kThird = Bytes().pattern(20000, 5);

// Places in the album of two images.
constexpr size_t kHeader = 10, kCount = 28, kSize1 = 64, kOffset1 = 68, kSize2 = 80, kOffset2 = 84;
constexpr size_t kSoi2 = 622, kEnd = 1054;
const Bytes kPlain = album(kOther, {kFirst, kSecond});
const Bytes kStereo = album(kBaseline, {kFirst, kSecond}), kAlone = album(kBaseline, {kFirst});

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

// The second segment of a file, behind the album's list.
Bytes withSegment(const Bytes& file, const Bytes& body) {
  return file.part(0, 76) + segment(0xFFE2, Bytes().text("MPF").u8(0) + body) + file.part(76);
}

TEST(Mpo, HashesOneImage) {
  const Bytes all = kPlain.part(kSoi2 - 502, 502 + kEnd - kSoi2 - 2);  // up to the end of the file
  const Bytes noSecond = patched(kStereo, kSoi2, 0), beyond = patched(kStereo, kSize2, 433);
  const Bytes moved = patched(patched(noSecond, kOffset1, 5), kSize1, 557);
  const Bytes cut = patched(patched(kAlone, kOffset1, 5), kSize1, 500);
  const Bytes entry = u32(false, kBaseline) + u32(false, 456) + Bytes(8);
  const Bytes noCount = directory(false, {{0xB002, 0, 26}}) + entry;
  const Bytes tooFar = patched(kPlain, kOffset2, kEnd - kHeader + 1);
  const std::tuple<const char*, Bytes, Bytes> rows[] = {
      {"the second replaces the first", kStereo + kFirst, kSecond},
      {"the last is the second", album(kBaseline, {kFirst, kSecond, kThird}, true), kThird},
      {"no image there, but the first ends there", patched(noSecond, kSize1, 700), kFirst},
      {"it ends beyond the file, and so does the first", patched(beyond, kSize1, kEnd + 1), all},
      {"the first ends before", moved, kFirst.part(0, 450)},
      {"... which a segment without a header undoes", withSegment(cut, {}), kFirst},
      {"... or one with the former count", withSegment(cut, noCount), kFirst.part(0, 300)},
      {"... which is 1 after a count of 0", withSegment(patched(cut, kCount, 0), noCount),
       kFirst.part(0, 300)},
      {"only one", kAlone, kFirst},
      {"no images", patched(kPlain, kCount, 0), all},
      {"one begins beyond the file", tooFar, all},
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
  const Bytes noScan = kSoi + mpf(true, 1, {{kOther, 500, 0}});
  const Bytes endless = kSoi + mpf(true, 0xFFFFFFFF, {}) + Bytes(200000);
  const auto plain = [](size_t at, size_t value) { return patched(kPlain, at, value); };
  expectCode(HASHCREATE_FORMAT_ERROR, {{"directory behind the position", plain(kHeader + 4, 7)},
                                       {"entries behind the position", plain(kHeader + 30, 45)},
                                       {"first image behind the position", plain(kOffset1, 1)}});
  expectCode(HASHCREATE_BROKEN_CONTENT,
             {{"byte order", kSoi + segment(0xFFE2, Bytes().text("MPF").fill(9, 0))},
              {"second image behind the position", plain(kOffset2, 1)},
              {"second image beyond the file", plain(kSize2, 435)},
              {"no scan, a little too far", noScan + Bytes({0xFF, 0xE0, 0, 90}).fill(80, 0)},
              {"second image broken", patched(kStereo, kSoi2 + 14, 0xC0FF)}});
  expectCode(HASHCREATE_SEEK_ERROR,
             {{"second behind the first in a baseline file", patched(kStereo, kOffset2, 0)},
              {"second image ends before its scan: wraps", plain(kSize2, 2)},
              {"second image at the end", plain(kOffset2, kEnd - kHeader)},
              {"its segment beyond the file", plain(kSoi2 + 14, 0xFFFFC0FF)}});
  expectCode(HASHCREATE_READ_ERROR, {{"directory beyond the file", plain(kHeader + 8, 0xB001FFFF)},
                                     {"no scan", noScan},
                                     {"a claim takes no memory", endless}});
  EXPECT_EQ(hashOf(many(164)).code, HASHCREATE_INVALID_PARAM) << "no samples of so many";
  EXPECT_EQ(hashOf(many(163)).code, HASHCREATE_BROKEN_CONTENT);
  MemoryFile source(kStereo);
  source.bytes = source.bytes.part(0, kEnd - 3);
  EXPECT_EQ(hashOf(source).code, HASHCREATE_READ_ERROR) << "gives up in the second image's scan";
}

TEST(Mpo, SurvivesDamageAndFaults) {
  for (const size_t attribute : {kOther, kBaseline}) {
    expectSurvives(album(attribute, {kFirst, kSecond}));
  }
}
