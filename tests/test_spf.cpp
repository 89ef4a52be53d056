#include "jpegBytes.h"
#include "version4.h"

using namespace support;

const Bytes kData = Bytes().pattern(600), kSound = Bytes().pattern(500, 2);
const Bytes kLongSound = Bytes().pattern(20000, 3);
const Bytes kBefore = segment(0xFFE1, Bytes().pattern(300, 9));  // longer than the read buffer

// A photo with its sound index behind `before`, and behind the image an SD header of 16 bytes and
// the sound.
struct Photo {
  std::vector<Numbers> sounds = {{16 + 500, 0}};  // size, offset from the SD header
  bool big = false;
  Bytes before = kBefore, sound = kSound;
  size_t version = 0x30313939, countOfCount = 1, count = sounds.size(), list = 14 + 3 * 12;
  unsigned sdLength = 8;
  std::string_view sdHead = {"SD_HEAD\0", 8};

  Bytes image(size_t soundOffset) const {
    const std::vector<Numbers> tags = {
        {0xB000, 1, version}, {0xB001, countOfCount, count}, {0xB002, 1, list}};
    Bytes index = Bytes().text("SPF").u8(0) + directory(big, tags);
    for (const Numbers& s : sounds) {
      index.add(u32(big, 1) + u32(big, s[0]) + u32(big, soundOffset + s[1])).fill(4, 0xEE);
    }
    return kSoi + before + segment(0xFFE3, index) + kFrameSegment + scan(kData);
  }
  Bytes file() const {
    const Bytes sdHeader = Bytes().text(sdHead).u16be(sdLength).fill(6, 0x77);
    return image(image(0).size() - before.size() - 10) + sdHeader + sound;
  }
};

TEST(Spf, AddsTheSoundToTheMetaDigest) {
  const Bytes meta = Bytes().u64be(488) + kSound.part(0, 488);  // without the last twelve bytes
  const Bytes longMeta = Bytes().u64be(19988) + sampled(kLongSound.part(0, 19988));
  const Bytes tiny = Bytes().u64be(UINT64_MAX) + kSound;
  const Bytes noBody = Bytes().u64be(494).fill(6, 0x77) + kSound.part(0, 488);
  constexpr size_t kBack = 500;
  const std::tuple<const char*, Photo, Bytes> rows[] = {
      {"one sound, and no more than that", {.sound = kSound + kData}, meta},
      {"big-endian, index in the read buffer", {.big = true, .before = {}}, meta},
      {"from the first sound to the last", {.sounds = {{1, 0}, {1, 900}, {400, 116}}}, meta},
      {"the last sound is cut at the end of the file", {.sounds = {{1, 0}, {9999, 116}}}, meta},
      {"an unreadable last entry", {.sounds = {{516, 0}, {1, 5}}, .count = 0x10000002}, meta},
      {"a count that does not fit its entry", {.countOfCount = 2}, meta},
      {"a long sound is sampled", {.sounds = {{20016, 0}}, .sound = kLongSound}, longMeta},
      {"a sound below twelve bytes wraps", {.sounds = {{27, 0}}}, tiny},
      {"the last sound ends before the first", {.sounds = {{516, 0}, {1, 0 - kBack}}}, Bytes(8)},
      {"no last sound", {.sounds = {{516, 0}, {0, 116}}}, {}},
      {"an SD header without a body", {.sdLength = 2}, noBody},
      {"an SD header that ends beyond the file", {.sdLength = 9999}, {}},
      {"no SD header", {.sdHead = "SD_HEAD!"}, {}},
  };
  for (const auto& [rule, photo, soundMeta] : rows) {
    SCOPED_TRACE(rule);
    expectHash(photo.file(), 1, "SPF ", "PHOTO", scanContent(kData), kFrameMeta + soundMeta);
    const HashText labels = hashOf(photo.file(), KMHASH_MODE_IDENTIFY);  // the size, no sound
    EXPECT_EQ(labels.formatType(), "SPF ");
    EXPECT_EQ(labels.meta(), sha1Hex(kFrameMeta + soundMeta.part(0, 8)));
  }
}

TEST(Spf, AWholeHashTakesAllOfTheSound) {
  MemoryFile file(Photo{.sounds = {{20016, 0}}, .sound = kLongSound}.file());
  const Bytes sound = Bytes().u64be(19988) + kLongSound.part(0, 19988);
  EXPECT_EQ(hashSource(sourceOf(file), KMHASH_WHOLE).meta(), sha1Hex(kFrameMeta + sound));
}

TEST(Spf, BrokenIndexFailsTheFile) {
  const Bytes whole = Photo().file(), noIndex = kSoi + segment(0xFFE3, Bytes().text("SPF").u8(0));
  const size_t header = kBefore.size() + 10;
  expectCode(HASHCREATE_FORMAT_ERROR,
             {{"version: the character behind 9", Photo{.version = 0x3030303A}.file()},
              {"no sounds", Photo{.count = 0}.file()},
              {"no list", Photo{.list = 0}.file()},
              {"TIFF header", patched(whole, header, 0)},
              {"nothing", noIndex + scan(kData)},
              {"read past the segment", Photo{.list = 51}.file()}});
  expectCode(HASHCREATE_FILE_NOTFOUND, {{"directory", patched(whole, header + 4, 65)}});
  expectCode(HASHCREATE_READ_ERROR, {{"cut", Photo{.list = whole.size() - header - 15}.file()}});
}

TEST(Spf, SoundOfAMultiPictureFile) {
  const auto listed = [](size_t size) { return kBefore + mpf(true, 1, {{0x020002, size, 0}}); };
  Photo photo = {.before = listed(Photo{.before = listed(0)}.image(0).size())};
  expectHash(photo.file(), 2, "SPF ", "PHOTO", scanContent(kData),
             Bytes().u64be(488) + kSound.part(0, 488));
  photo.version = 0;  // here a broken index only means that there is none
  expectHash(photo.file(), 2, "MPO ", "PHOTO", scanContent(kData), {});
}

TEST(Spf, SurvivesDamageAndFaults) {
  expectSurvives(Photo{.sounds = {{100, 0}, {400, 116}}, .before = {}}.file());
  expectSurvives(Photo().file());
}
