// RIFF: AVI, WAVE, what of WebP is looked at, and MP3 in RIFF.
#include "support.h"

using namespace support;

Bytes sizedChunk(std::string_view type, uint32_t size, const Bytes& data) {
  return Bytes().text(type).u32le(size) + data;
}
Bytes chunk(std::string_view type, const Bytes& data) {
  return sizedChunk(type, static_cast<uint32_t>(data.size()), data);
}
Bytes listed(std::string_view type, const Bytes& data) { return Bytes().text(type) + data; }
Bytes list(std::string_view type, const Bytes& data) { return chunk("LIST", listed(type, data)); }
Bytes riff(std::string_view form, const Bytes& chunks) {
  return sizedChunk("RIFF", 0, listed(form, chunks));
}

// 56 bytes of "avih" and "strh" are read, whatever the size says.
const Bytes kHeader = Bytes().pattern(56, 3), kAvih = sizedChunk("avih", 9, kHeader);
Bytes strh(std::string_view typeAndHandler) {
  return sizedChunk("strh", 9, Bytes().text(typeAndHandler).fill(48, 1));
}
const Bytes kStrl = list("strl", strh("vidsXVID") + chunk("strf", Bytes(40)));
const Bytes kVideo = Bytes().pattern(300), kMovi = list("movi", kVideo);
const Bytes kDecoy = list("movi", {1, 2, 3, 4});

const Bytes kPcm = Bytes().u16le(1).u16le(2).u32le(44100).u32le(176400).u16le(4).u16le(16);
const Bytes kSound = Bytes().pattern(301), kFmt = chunk("fmt ", kPcm),
            kData = chunk("data", kSound);
const Bytes kNote = list("INFO", Bytes().pattern(20)), kMusic = Bytes().pattern(16384);
const Bytes kAnimated = chunk("VP8X", Bytes{0x02}.fill(9, 0));
Bytes rest(const Bytes& bytes) { return bytes + Bytes().u64le(bytes.size()); }

// MP3 in RIFF: a frame of 417 bytes, the next one's header and more.
const Bytes kFrame = {0xFF, 0xFB, 0x90, 0xC4}, kMp3 = kFrame + Bytes(413) + kFrame + kVideo;
Bytes id3(unsigned major) { return Bytes().text("ID3").u8(major).fill(6, 0); }

struct Digests {
  Bytes content, meta;
};
const Digests kFull = {kVideo + kHeader.part(16, 4), kHeader.part(0, 12) + kHeader.part(32, 8)};
Digests noHeader(const Bytes& content, size_t count) { return {content + Bytes(count), Bytes(20)}; }

void expectRiff(const char* rule, const Bytes& chunks, std::string_view label, const Digests& of) {
  SCOPED_TRACE(rule);
  const bool isWave = label.starts_with("WF");
  const Bytes file = riff(isWave ? "WAVE" : "AVI ", chunks);
  expectHash(file, 11, label, isWave ? "AUDIO" : "VIDEO", of.content, of.meta);
}

TEST(Riff, Avi) {
  const auto hdrl = [](const Bytes& lists) { return list("hdrl", lists + kDecoy) + kMovi; };
  expectRiff("rest of header passed over", hdrl(kAvih + kStrl), "AVIXVID", kFull);
  expectRiff("in any order", hdrl(kStrl + kAvih), "AVIXVID", kFull);
  const Bytes soundOnly = list("hdrl", kAvih + strh("audsXVID") + kMovi) + kDecoy;
  expectRiff("but not without a video stream", soundOnly, "", kFull);
  const Bytes noList = kAvih + strh("vidsXVID") + strh("audsABCD") + kMovi + kDecoy;
  expectRiff("no header list", noList, "AVIXVID", kFull);

  const Digests bare = noHeader(kVideo, 4);
  const Bytes odd = sizedChunk("JUNK", 1, {1, 0}), mixed = strh("vidsXVID") + strh("movidvsd");
  expectRiff("odd chunk", odd + strh("vidsdvsd") + kMovi, "AVIdvsd2", bare);
  expectRiff("the last stream counts", mixed + kMovi, "AVIdvsd1", bare);
  const Bytes tooLong = sizedChunk("LIST", ~0u, kMovi.part(8));
  expectRiff("case counts", strh("vidsdvsd") + strh("vidsDVSD") + tooLong, "AVIDVSD", bare);
  const Bytes size3 = sizedChunk("LIST", 3, kMovi.part(8));
  expectRiff("NUL ends a label, size 3 wraps", strh({"vidsA\0BC", 8}) + size3, "AVIA", bare);
}

TEST(Riff, Wave) {
  const Bytes size = Bytes().u32le(301), wide = Bytes{0xFE, 0xFF} + kPcm.part(2);
  const Digests plain = {rest(kSound), size + kPcm},
                early = {rest(kSound + kFmt), size + Bytes(16)};
  expectRiff("chunks in front", kNote + kFmt + kNote + kData, "WFmt0001", plain);
  expectRiff("format behind the sound", kData + kFmt, "WFmt0000", early);
  const Bytes unsure = kFmt + sizedChunk("data", ~0u, kSound + kNote);
  expectRiff("size beyond the file", unsure, "WFmt0001",
             {rest(kSound + kNote), Bytes(4, 0xFF) + kPcm});
  const Bytes longer = chunk("fmt ", wide + Bytes(24, 9)) + kData;
  expectRiff("longer format", longer, "WFmtfffe", {rest(kSound), size + wide});
  expectRiff("sampled", sizedChunk("data", 301, kMusic), "WFmt0000",
             {sampled(kMusic).u64le(16384), size + Bytes(16)});
}

TEST(Riff, PicturesInWaveAreContent) {
  const std::tuple<const char*, Bytes, Bytes> rows[] = {
      {"a movie", kMovi + kData, kVideo},
      {"lossy", sizedChunk("VP8 ", 99, kSound) + kData, kSound.part(0, 99)},
      {"long", chunk("VP8 ", kMusic) + kData, sampled(kMusic)},
      {"lossless", chunk("VP8L", kVideo) + kData, kVideo},
      {"moving", kAnimated + sizedChunk("ANIM", 6, kVideo), kVideo},
  };
  for (const auto& [rule, chunks, content] : rows) {
    expectRiff(rule, chunks, "WFmt0000", noHeader(content, 8));
  }
}

TEST(Riff, Mp3) {
  const Bytes data = chunk("data", kMp3), junk = chunk("JUNK", Bytes(200));
  const Bytes tagged = riff("RMP3", chunk("data", id3(3) + kMp3) + junk);
  const std::tuple<const char*, Bytes, const char*, Bytes> rows[] = {
      {"no room for 128 bytes", riff("RMP3", data + Bytes(107)), "M13I100R", kVideo.part(0, 172)},
      {"room for them", riff("RMP3", data + Bytes(108)), "M13I100R", kVideo},
      {"the slice reaches beyond the file", riff("RMP3", junk + data), "M13I100R", kVideo},
      {"behind a tag", id3(4) + tagged, "M13I240R", kVideo},
      {"a tag in the data", tagged, "M13I230R", kVideo},
  };
  for (const auto& [rule, bytes, label, content] : rows) {
    SCOPED_TRACE(rule);
    expectHash(bytes, 13, label, "AUDIO", content, Bytes().u64be(content.size()) + kFrame);
    MemoryFile file(bytes);
    hashOf(file);
    EXPECT_GE(file.position, bytes.size()) << "stopped before the end of the whole file";
  }
  EXPECT_EQ(hashOf(riff("RMP3", kMovi)).text.substr(0, 58), std::string(18, 0) + sha1Hex(kVideo));
}

TEST(Riff, Failures) {
  const auto vp8x = [](const Bytes& start) {
    return chunk("VP8X", start + Bytes(10 - start.size()));
  };
  const Bytes longHeader = sizedChunk("LIST", 99, listed("hdrl", kAvih + kStrl));
  const std::pair<const char*, Bytes> rows[] = {
      {"nothing", {}},
      {"no payload", kFmt},
      {"no pad byte", chunk("JUNK", {1}) + kData},
      {"format too short", sizedChunk("fmt ", 15, kPcm) + kData},
      {"list below four bytes", sizedChunk("LIST", 3, kNote) + kData},
      {"chunk beyond the file", sizedChunk("JUNK", ~0u, {}) + kData},
      {"header list beyond the file", longHeader + kMovi},
      {"moving, no header", chunk("ANIM", {1})},
      {"moving, says no", vp8x({}) + chunk("ANIM", {1})},
      {"reserved flag", vp8x({0x40}) + kData},
      {"reserved byte 1", vp8x({0, 1}) + kData},
      {"reserved byte 2", vp8x({0, 0, 1}) + kData},
      {"reserved byte 3", vp8x({0, 0, 0, 1}) + kData},
  };
  for (const auto& [rule, chunks] : rows) {
    EXPECT_EQ(hashOf(riff("AVI ", chunks)).code, HASHCREATE_FORMAT_ERROR) << rule;
  }
  for (const Bytes& file :
       {riff("WAVE", {}).part(0, 11), chunk("RIFX", listed("WAVE", kData)),
        riff("WEBP", chunk("VP8 ", kVideo)), riff("RMP3", chunk("data", kMp3.part(0, 417)))}) {
    EXPECT_EQ(hashOf(file).code, HASHCREATE_NON_SUPPORTED) << file.part(8, 8).size();
  }
  // Declined with the front out of reach.
  EXPECT_EQ(hashOf(riff("RMP3", kData)).code, HASHCREATE_SEEK_ERROR);
}

TEST(Riff, ASourceThatGivesUpFailsTheReadOrTheWalk) {
  MemoryFile payload(riff("AVI ", kMovi)), walk(riff("AVI ", chunk("JUNK", kVideo) + kMovi));
  payload.bytes.resize(250);
  walk.bytes.resize(325);
  EXPECT_EQ(hashOf(payload).code, HASHCREATE_READ_ERROR);
  EXPECT_EQ(hashOf(walk).code, HASHCREATE_FORMAT_ERROR);
}

TEST(Riff, Families) {
  const Bytes avi = riff("AVI ", list("hdrl", kAvih + kStrl) + kMovi);
  const Bytes rmp3 = riff("RMP3", chunk("data", id3(3) + kMp3));
  const Bytes wave = riff("WAVE", kFmt + kNote + kData);
  for (const Bytes& file : {avi, rmp3, wave, riff("WAVE", kAnimated + chunk("ANIM", {1}))}) {
    EXPECT_EQ(identify(file), file == rmp3 ? 13 : 11);
    expectSurvives(file);
  }
}
