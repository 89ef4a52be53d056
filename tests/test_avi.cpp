#include "support.h"

using namespace support;

Bytes chunk(std::string_view type, const Bytes& data, int64_t size = -1) {
  return Bytes()
      .text(type)
      .u32le(static_cast<uint32_t>(size < 0 ? int64_t(data.size()) : size))
      .add(data);
}
Bytes list(std::string_view type, const Bytes& data) {
  return chunk("LIST", Bytes().text(type) + data);
}
Bytes riff(std::string_view form, const Bytes& chunks) {
  return chunk("RIFF", Bytes().text(form) + chunks, 0);
}

const Bytes kHeader = Bytes().pattern(56, 3),
            kAvih = chunk("avih", kHeader, 9);  // 56 bytes whatever the size says
const Bytes kMeta = kHeader.part(0, 12) + kHeader.part(32, 8), kNoMeta = Bytes().fill(20, 0);
const Bytes kVideo = Bytes().pattern(300), kMovi = list("movi", kVideo),
            kDecoy = list("movi", {1, 2, 3, 4});
const Bytes kAll = kVideo + kHeader.part(16, 4), kBare = kVideo + Bytes().fill(4, 0);
Bytes strh(std::string_view typeAndHandler) {
  return chunk("strh", Bytes().text(typeAndHandler).fill(48, 1), 9);
}
const Bytes kStrl = list("strl", strh("vidsXVID") + chunk("strf", Bytes().fill(40, 0)));

const Bytes kPcm = Bytes().u16le(1).u16le(2).u32le(44100).u32le(176400).u16le(4).u16le(16),
            kFmt = chunk("fmt ", kPcm);
const Bytes kSound = Bytes().pattern(301), kData = chunk("data", kSound),
            kNote = list("INFO", Bytes().pattern(20));
const Bytes kVp8x = chunk("VP8X", Bytes{0x02}.fill(9, 0));
Bytes rest(const Bytes& bytes) { return bytes + Bytes().u64le(bytes.size()); }

// MP3 in RIFF: a frame of 417 bytes, the next one's header and more
const Bytes kFrame = {0xFF, 0xFB, 0x90, 0xC4},
            kMp3 = kFrame + Bytes().fill(413, 0) + kFrame + kVideo;
Bytes id3(unsigned major) { return Bytes().text("ID3").u8(major).fill(6, 0); }

void expectRiff(const Bytes& chunks, std::string_view label, const Bytes& content,
                const Bytes& meta) {
  const bool wave = label.starts_with("WF");
  expectHash(riff(wave ? "WAVE" : "AVI ", chunks), 11, label, wave ? "AUDIO" : "VIDEO", content,
             meta);
}
void expectMp3(const Bytes& bytes, const char* label, const Bytes& content) {
  expectHash(bytes, 13, label, "AUDIO", content, Bytes().u64be(content.size()) + kFrame);
  MemoryFile file(bytes);
  hashOf(file);
  EXPECT_GE(file.position, bytes.size()) << "stopped before the end of the whole file";
}

TEST(Riff, Avi) {
  expectRiff(list("hdrl", kAvih + kStrl + kDecoy) + kMovi, "AVIXVID", kAll,
             kMeta);  // the rest of hdrl is skipped
  expectRiff(list("hdrl", kStrl + kAvih + kDecoy) + kMovi, "AVIXVID", kAll, kMeta);
  expectRiff(list("hdrl", kAvih + strh("audsXVID") + kMovi) + kDecoy, "", kAll,
             kMeta);  // but not without video
  expectRiff(kAvih + strh("vidsXVID") + strh("audsABCD") + kMovi + kDecoy, "AVIXVID", kAll, kMeta);
  expectRiff(chunk("JUNK", {1, 0}, 1) + strh("vidsdvsd") + kMovi, "AVIdvsd2", kBare, kNoMeta);
  expectRiff(strh("vidsXVID") + strh("movidvsd") + kMovi, "AVIdvsd1", kBare, kNoMeta);
  expectRiff(strh("vidsdvsd") + strh("vidsDVSD") + chunk("LIST", kMovi.part(8), ~0u), "AVIDVSD",
             kBare, kNoMeta);
  expectRiff(strh({"vidsA\0BC", 8}) + chunk("LIST", kMovi.part(8), 3), "AVIA", kBare, kNoMeta);
}

TEST(Riff, Wave) {
  const Bytes size = Bytes().u32le(301), none = Bytes().u64le(0),
              wide = Bytes{0xFE, 0xFF} + kPcm.part(2);
  expectRiff(kNote + kFmt + kNote + kData, "WFmt0001", rest(kSound), size + kPcm);
  expectRiff(kFmt + chunk("data", kSound + kNote, ~0u), "WFmt0001", rest(kSound + kNote),
             Bytes().fill(4, 0xFF) + kPcm);
  expectRiff(kData + kFmt, "WFmt0000", rest(kSound + kFmt), size + none + none);
  expectRiff(chunk("fmt ", wide + Bytes().fill(24, 9)) + kData, "WFmtfffe", rest(kSound),
             size + wide);
  const Bytes music = Bytes().pattern(16384);
  expectRiff(chunk("data", music, 301), "WFmt0000", sampled(music).u64le(16384),
             size + none + none);
  expectRiff(kMovi + kData, "WFmt0000", kVideo + none, kNoMeta);
  expectRiff(chunk("VP8 ", kSound, 99) + kData, "WFmt0000", kSound.part(0, 99) + none, kNoMeta);
  expectRiff(chunk("VP8L", kVideo) + kData, "WFmt0000", kVideo + none, kNoMeta);
  expectRiff(kVp8x + chunk("ANIM", kVideo, 6), "WFmt0000", kVideo + none, kNoMeta);
}

TEST(Riff, Mp3) {
  const Bytes data = chunk("data", kMp3), junk = chunk("JUNK", Bytes().fill(200, 0));
  const Bytes tagged = riff("RMP3", chunk("data", id3(3) + kMp3) + junk);
  expectMp3(riff("RMP3", data + Bytes().fill(107, 0)), "M13I100R",
            kVideo.part(0, 172));  // no room for 128 bytes
  expectMp3(riff("RMP3", data + Bytes().fill(108, 0)), "M13I100R", kVideo);
  expectMp3(riff("RMP3", junk + data), "M13I100R", kVideo);  // the slice reaches beyond the file
  expectMp3(id3(4) + tagged, "M13I240R", kVideo);
  expectMp3(tagged, "M13I230R", kVideo);
  EXPECT_EQ(hashOf(riff("RMP3", kMovi)).text.substr(0, 58), std::string(18, 0) + sha1Hex(kVideo));
}

TEST(Riff, Failures) {
  for (const Bytes& chunks :
       {Bytes{}, kFmt, chunk("JUNK", {1}) + kData, chunk("fmt ", kPcm, 15) + kData,
        chunk("LIST", kNote, 3) + kData, chunk("JUNK", {}, ~0u) + kData,
        chunk("LIST", list("hdrl", kAvih + kStrl).part(8), 99) + kMovi, chunk("ANIM", {1}),
        chunk("VP8X", Bytes(10, 0)) + chunk("ANIM", {1}),
        chunk("VP8X", Bytes{0x40}.fill(9, 0)) + kData,
        chunk("VP8X", Bytes{0, 1}.fill(8, 0)) + kData,
        chunk("VP8X", Bytes{0, 0, 1}.fill(7, 0)) + kData,
        chunk("VP8X", Bytes{0, 0, 0, 1}.fill(6, 0)) + kData}) {
    EXPECT_EQ(hashOf(riff("AVI ", chunks)).code, HASHCREATE_FORMAT_ERROR)
        << ::testing::PrintToString(chunks);
  }
  EXPECT_EQ(hashOf(riff("WAVE", {}).part(0, 11)).code, HASHCREATE_NON_SUPPORTED);
  EXPECT_EQ(hashOf(chunk("RIFX", Bytes().text("WAVE") + kData)).code, HASHCREATE_NON_SUPPORTED);
  EXPECT_EQ(hashOf(riff("WEBP", chunk("VP8 ", kVideo))).code, HASHCREATE_NON_SUPPORTED);
  EXPECT_EQ(hashOf(riff("RMP3", chunk("data", kMp3.part(0, 417)))).code, HASHCREATE_NON_SUPPORTED);
  EXPECT_EQ(hashOf(riff("RMP3", kData)).code,
            HASHCREATE_SEEK_ERROR);  // declined with the front out of reach
  MemoryFile payload(riff("AVI ", kMovi)), walk(riff("AVI ", chunk("JUNK", kVideo) + kMovi));
  payload.bytes.resize(250);
  walk.bytes.resize(325);
  EXPECT_EQ(hashOf(payload).code, HASHCREATE_READ_ERROR);  // a source that gives up
  EXPECT_EQ(hashOf(walk).code, HASHCREATE_FORMAT_ERROR);   // the same, before the payload
}

TEST(Riff, Families) {
  const Bytes avi = riff("AVI ", list("hdrl", kAvih + kStrl) + kMovi);
  const Bytes rmp3 = riff("RMP3", chunk("data", id3(3) + kMp3));
  for (const Bytes& file :
       {avi, rmp3, riff("WAVE", kFmt + kNote + kData), riff("WAVE", kVp8x + chunk("ANIM", {1}))}) {
    EXPECT_EQ(identify(file), file == rmp3 ? 13 : 11);
    expectSurvives(file);
  }
}
