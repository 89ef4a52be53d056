// Sound by version 4: what is hashed between chunks and tags, and which fault decides.
#include "version4.h"

using namespace support;

namespace {

const Bytes kSound = Bytes().pattern(301);

struct Hashed {
  const char* what;
  Bytes file;
  Bytes payload = kSound;
};

struct Refused {
  const char* what;
  Bytes file;
  int code;
};

void expectRefused(const std::vector<Refused>& rows) {
  for (const auto& [what, file, code] : rows) EXPECT_EQ(hash4Of(file).code, code) << what;
}

// ---- WAVE ----

Bytes le(const char* name, const Bytes& body) {
  return Bytes().text(name).u32le(static_cast<uint32_t>(body.size())) + body +
         Bytes(body.size() % 2, 0);
}
Bytes wave(const Bytes& chunks, const char* magic = "RIFF") {
  return Bytes().text(magic).u32le(7).text("WAVE") + chunks;
}
const Bytes kPcm = Bytes().u16le(1).u16le(2).u32le(8000).u32le(32000).u16le(4).u16le(16);
const Bytes kExtensible =
    Bytes().u16le(0xFFFE) + kPcm.part(2) + Bytes{22, 0, 16, 0, 3, 0, 0, 0, 1, 0}.pattern(14);
const Bytes kSizes = Bytes().u64le(1).u64le(kSound.size()), kStream = Bytes().fill(4, 0xFF);

TEST(Wave, TheDataChunkIsHashedWithItsFormat) {
  const Bytes fmt = le("fmt ", kPcm), data = le("data", kSound), text = Bytes().text("data");
  expectFormat4(wave(le("LIST", {1}) + fmt + data), 0x2B, "WAVE0001", "AUDIO", kSound, kPcm);
  for (const auto& [what, file, payload] : std::vector<Hashed>{
           {"the first of each", wave(data + le("data", {1}) + fmt + le("fmt ", {}))},
           {"cut behind", wave(fmt + data + Bytes().text("LI"))},
           {"pad byte missing", wave(fmt + data).part(0, 36 + 8 + kSound.size())},
           {"extensible", wave(le("fmt ", kExtensible) + data)},
           {"a stream", wave(fmt + text + kStream + kSound)},
           {"64 bits", wave(le("ds64", {1}) + le("ds64", kSizes) + le("ds64", Bytes(16)) + fmt +
                                text + kStream + kSound + le("LIST", {}),
                            "RF64")},
           {"sizes, not asked for", wave(le("ds64", Bytes(16)) + fmt + data, "BW64")},
           {"sampled", wave(fmt + le("data", Bytes().pattern(16384))), Bytes().pattern(16384)},
       }) {
    SCOPED_TRACE(what);
    expectHash4(file, 0x2B, "WAVE0001", "AUDIO", payload, kPcm);
  }
  expectHash4(wave(le("fmt ", kExtensible.part(0, 25)) + data), 0x2B, "WAVEFFFE", "AUDIO", kSound,
              kExtensible.part(0, 16));
  expectRefused({
      {"no data", wave(fmt), HASHCREATE_FORMAT_ERROR},
      {"empty data", wave(fmt + le("data", {})), HASHCREATE_FORMAT_ERROR},
      {"cut header", wave(fmt + text + Bytes(3)), HASHCREATE_READ_ERROR},
      {"cut body", wave(fmt + data).part(0, 300), HASHCREATE_READ_ERROR},
      {"short format", wave(le("fmt ", kPcm.part(0, 15)) + data), HASHCREATE_FORMAT_ERROR},
      {"cut body in front of what a short format would tell",
       wave(le("fmt ", {}) + Bytes().text("data").u32le(1)), HASHCREATE_READ_ERROR},
      {"sizes behind the end", wave(le("ds64", kSizes) + fmt + text + kStream + Bytes(300), "RF64"),
       HASHCREATE_READ_ERROR},
      {"a size of 64 bits",
       wave(le("ds64", Bytes(16).fill(16, 0xFF).part(8)) + fmt + text + kStream + kSound),
       HASHCREATE_READ_ERROR},
      {"not WAVE", Bytes().text("RIFF").u32le(4).text("RMID"), HASHCREATE_NON_SUPPORTED},
  });
}

// ---- AIFF ----

Bytes be(const char* name, const Bytes& body) {
  return Bytes().text(name).u32be(static_cast<uint32_t>(body.size())) + body +
         Bytes(body.size() % 2, 0);
}
Bytes aiff(const Bytes& chunks, const char* kind = "AIFF") {
  return Bytes().text("FORM").u32be(7).text(kind) + chunks;
}
Bytes ssnd(uint32_t offset, const Bytes& rest) {
  return be("SSND", Bytes().u32be(offset).u32be(9) + rest);
}

TEST(Aiff, TheSoundBehindItsOffsetIsHashedWithItsDescription) {
  const Bytes common = Bytes().pattern(18), compressed = common + Bytes().text("sowt\4abcd");
  const Bytes comm = be("COMM", common), both = comm + ssnd(0, kSound);
  const Bytes id3 = Bytes().text("ID3\4").u8(0).u8(0).u32be(3).fill(3, 1);
  expectFormat4(Bytes(2) + id3 + aiff(ssnd(2, Bytes(2) + kSound) + be("NAME", {1}) + comm), 0x26,
                "AIFFNONE", "AUDIO", kSound, common);
  expectFormat4(aiff(be("COMM", compressed) + be("COMM", {}) + ssnd(0, kSound), "AIFC"), 0x26,
                "AIFFsowt", "AUDIO", kSound, compressed.part(0, 22));
  expectRefused({
      {"no sound", aiff(comm), HASHCREATE_FORMAT_ERROR},
      {"no sound, and no pad byte", aiff(be("NAME", {1})).part(0, 21), HASHCREATE_FORMAT_ERROR},
      {"cut header", aiff(comm + Bytes().text("SSND")), HASHCREATE_READ_ERROR},
      {"cut body", aiff(both).part(0, 300), HASHCREATE_READ_ERROR},
      {"short description", aiff(be("COMM", common.part(0, 17)) + ssnd(0, kSound)),
       HASHCREATE_FORMAT_ERROR},
      {"no compression", aiff(both, "AIFC"), HASHCREATE_FORMAT_ERROR},
      {"short sound", aiff(comm + be("SSND", Bytes(7))), HASHCREATE_FORMAT_ERROR},
      {"offset behind the sound", aiff(comm + ssnd(4, Bytes(3))), HASHCREATE_FORMAT_ERROR},
      {"offset at the end", aiff(comm + ssnd(3, Bytes(3))), HASHCREATE_FORMAT_ERROR},
      {"not AIFF", Bytes().text("FORM").u32be(4).text("8SVX"), HASHCREATE_NON_SUPPORTED},
  });
}

// ---- FLAC, and tags on its example ----

Bytes block(unsigned flagAndType, const Bytes& body) {
  return Bytes().u8(flagAndType).u24be(static_cast<uint32_t>(body.size())).add(body);
}
const Bytes kInfo = Bytes().pattern(34), kFlac = Bytes().text("fLaC"),
            kInfoAlone = block(0x80, kInfo);
const Bytes kFrames = Bytes{0xFF, 0xF9}.pattern(400);

TEST(Flac4, FramesAreHashedWithTheirFormat) {
  const auto expectFlac = [](const Bytes& blocks, const Bytes& frames) {
    expectFormat4(kFlac + blocks + frames, 0x2E, "FLAC", "AUDIO", frames, kInfo.part(10, 8));
  };
  expectFlac(kInfoAlone, kFrames);
  expectFlac(block(0, kInfo + Bytes{1}) + block(126, {}) + block(0x84, {5}), kFrames);
  expectFlac(kInfoAlone, {0xFF});
  expectRefused({
      {"no frame", kFlac + kInfoAlone, HASHCREATE_FORMAT_ERROR},
      {"no frame's beginning", kFlac + kInfoAlone + Bytes{0xFF, 0xFA}, HASHCREATE_FORMAT_ERROR},
      {"cut header", kFlac + block(0, kInfo) + Bytes(3), HASHCREATE_READ_ERROR},
      {"cut body, of a type that is invalid", kFlac + block(0, kInfo) + Bytes{0xFF, 0, 0, 1},
       HASHCREATE_READ_ERROR},
      {"invalid type", kFlac + block(0, kInfo) + block(0x7F, {}), HASHCREATE_FORMAT_ERROR},
      {"another block first", kFlac + block(4, kInfo) + kInfoAlone, HASHCREATE_FORMAT_ERROR},
      {"a second one", kFlac + block(0, kInfo) + kInfoAlone + kFrames, HASHCREATE_FORMAT_ERROR},
      {"short", kFlac + block(0x80, kInfo.part(1)) + kFrames, HASHCREATE_FORMAT_ERROR},
  });
}

Bytes id3(const char* mark, unsigned flags, uint32_t size = 0x0102) {  // 130 bytes
  return Bytes().text(mark).u8(4).u8(0).u8(flags).u32be(size);
}
Bytes ape(uint32_t size, uint32_t flags) {
  return Bytes().text("APETAGEX").u32le(2000).u32le(size).u32le(1).u32le(flags).fill(8, 0);
}
constexpr uint32_t kHasHeader = 0x80000000, kIsHeader = 0x20000000;
const Bytes kItems = Bytes().pattern(130, 3), kId3v1 = Bytes().text("TAG").pattern(125),
            kFooted = id3("ID3", 0x10) + kItems + id3("3DI", 0x10);
Bytes lyrics(const char* digits) {
  return Bytes().text("LYRICSBEGIN").pattern(130).text(digits).text("LYRICS200");
}

TEST(Tags, InFrontAndBehindAreLeftOut) {
  const Bytes flac = kFlac + kInfoAlone + kFrames;
  const Bytes endlessApe = ape(32 + 130, kHasHeader) + kItems + ape(31, 0);
  const std::vector<Hashed> rows = {
      {"zeros and all tags in front",
       Bytes(300) + id3("ID3", 0) + kItems + kFooted + Bytes(1) + ape(130, kIsHeader) + kItems +
           flac,
       {}},
      {"ID3v1", flac + kId3v1, {}},
      {"ID3v1 with more of it", flac + Bytes().text("TAG+").pattern(223) + kId3v1, {}},
      {"APE", flac + kItems + ape(32 + 130, 0), {}},
      {"APE with a header", flac + ape(162, kIsHeader) + kItems + ape(162, kHasHeader), {}},
      {"APE that counts nothing, with a header", flac + Bytes(0) + ape(0, kHasHeader), {}},
      {"Lyrics3", flac + lyrics("000141"), {}},
      {"ID3v2 behind", flac + kFooted, {}},
      {"all", flac + kFooted + kItems + ape(162, 0) + lyrics("000141") + kId3v1 + kId3v1, {}},
      {"zeros behind", flac + kId3v1 + Bytes(1), kId3v1 + Bytes(1)},
      {"APE too short", flac + ape(31, 0), ape(31, 0)},
      {"APE too long", flac + ape(434 + 1, 0), ape(434 + 1, 0)},
      {"APE whose name is no TAG", flac + ape(999, 0) + Bytes(99), ape(999, 0) + Bytes(99)},
      {"Lyrics3 of another size", flac + lyrics("000140"), lyrics("000140")},
      {"Lyrics3 that does not count", flac + lyrics("00014:"), lyrics("00014:")},
      {"ID3v2 of eight bits", flac + id3("3DI", 0, 0x80), id3("3DI", 0, 0x80)},
      {"ID3v2 that begins elsewhere", flac + kFooted.part(1), kFooted.part(1)},
      {"a tag in front of what is none", flac + kId3v1 + endlessApe, kId3v1 + endlessApe},
  };
  for (const auto& [what, file, behind] : rows) {
    SCOPED_TRACE(what);
    expectHash4(file, 0x2E, "FLAC", "AUDIO", kFrames + behind, kInfo.part(10, 8));
  }
  expectSurvives4(rows[0].file);
  expectSurvives4(rows[8].file);
  expectRefused({
      {"a tag longer than the file", id3("ID3", 0) + kItems.part(1), HASHCREATE_READ_ERROR},
      {"ID3v2 of no version", id3("ID3\xFF", 0).part(0, 10) + flac, HASHCREATE_NON_SUPPORTED},
      {"APE footer in front", ape(0, 0) + flac, HASHCREATE_NON_SUPPORTED},
      {"nothing but tags", id3("ID3", 0) + kItems, HASHCREATE_NON_SUPPORTED},
  });
}

// ---- ADTS ----

Bytes adts(uint32_t length, unsigned channels = 0x80) {
  return Bytes{0xFF, 0xF1, 0x50}
      .u8(channels | length >> 11)
      .u16be((length & 0x7FF) << 5)
      .pattern(length - 6);
}

TEST(Adts, EverythingBetweenTheTagsIsHashed) {
  const Bytes sound = adts(20) + adts(2100) + Bytes().pattern(9), small = adts(30) + adts(7);
  expectFormat4(kFooted + small + kId3v1, 0x27, "ADTSAAC ", "AUDIO", small,
                {0xFF, 0xF1, 0x50, 0x80});
  expectHash4(sound, 0x27, "ADTSAAC ", "AUDIO", sound, {0xFF, 0xF1, 0x50, 0x80});
  for (const auto& [place, byte] : {std::pair(0, 0xFE), {1, 0xF3}, {2, 0x74}, {4, 0x00}}) {
    Bytes damaged = small;
    damaged[static_cast<size_t>(place)] = static_cast<uint8_t>(byte);
    EXPECT_EQ(hash4Of(damaged).code, HASHCREATE_NON_SUPPORTED) << place;
  }
  EXPECT_EQ(hash4Of(adts(20) + adts(7, 0x90)).code, HASHCREATE_NON_SUPPORTED);
  EXPECT_EQ(hash4Of(adts(20) + adts(7).part(0, 6)).code, HASHCREATE_NON_SUPPORTED);
}

// ---- MPEG audio ----

struct Layer {
  const char* formatType;
  uint8_t second, third, fourth;  // bytes of a frame's header
  uint32_t length;                // of the frame
  Bytes meta;

  Bytes frame(size_t silent = 0, const char* name = "") const {
    return Bytes{0xFF, second, third, fourth}
        .fill(silent, 0)
        .text(name)
        .fill(length, 0x55)
        .part(0, length);
  }
};

TEST(MpegAudio, FramesAreAsLongAsTheirHeadersTell) {
  for (const Layer& row : std::vector<Layer>{
           {"MPEG1L1", 0xFF, 0x10, 0x00, 32, {3, 3, 0, 0}},
           {"MPEG1L1", 0xFF, 0xEB, 0x40, 676, {3, 3, 2, 1}},
           {"MPEG1L2", 0xFD, 0xE4, 0x80, 1152, {3, 2, 1, 2}},
           {"MPEG1L3", 0xFB, 0xE2, 0xC0, 1045, {3, 1, 0, 3}},
           {"MPEG2L1", 0xF7, 0xE8, 0x00, 768, {2, 3, 2, 0}},
           {"MPEG2L2", 0xF5, 0xA0, 0x00, 626, {2, 2, 0, 0}},
           {"MPEG2L3", 0xF3, 0x14, 0x00, 24, {2, 1, 1, 0}},
           {"MPEG25L2", 0xE5, 0xE8, 0x00, 2880, {0, 2, 2, 0}},
           {"MPEG25L3", 0xE3, 0xD2, 0x00, 941, {0, 1, 0, 0}},
       }) {
    SCOPED_TRACE(row.formatType);
    const Bytes frames = row.frame() + row.frame();
    expectFormat4(kFooted + frames + kId3v1, 0x2A, row.formatType, "AUDIO", frames, row.meta);
    EXPECT_EQ(hash4Of(frames + Bytes(1)).code, HASHCREATE_NON_SUPPORTED);
  }
}

TEST(MpegAudio, EnoughFramesMakeTheFormat) {
  const Layer low = {"MPEG2L3", 0xF2, 0x14, 0x00, 24, {2, 1, 1, 0}};
  const Bytes one = low.frame(), three = one + one + one, nine = three + three + three;
  const Bytes other = Layer{"MPEG2L3", 0xF3, 0x10, 0x00, 26, {}}.frame(), junk = {0xFF, 1, 1};
  for (const auto& [what, file, payload] : std::vector<Hashed>{
           {"one that ends the file", one, one},
           {"three, and anything", three + junk, three + junk},
           {"ten behind junk", junk + nine + one + junk, nine + one + junk},
           {"three behind junk that reach the end", junk + three.part(0, 71), three.part(0, 71)},
           {"in RIFF", Bytes().text("RIFF....RMP3") + three, three},
           {"of 18 bytes behind JPEG's mark", Bytes{0xFF, 0xD8, 0xFE} + three, three},
           {"as far away as it may be", Bytes(1, 1).fill(262143, 1) + three, three},
       }) {
    SCOPED_TRACE(what);
    expectHash4(file, 0x2A, "MPEG2L3", "AUDIO", payload, {2, 1, 1, 0});
  }
  for (const auto& [what, file, payload] : std::vector<Hashed>{
           {"two and junk", one + one + junk},
           {"others between", one + other + one + junk},
           {"nine behind junk, and more", junk + nine + junk},
           {"two behind junk", junk + one + one},
           {"too far away", Bytes().fill(262145, 1) + three},
           {"in a JPEG", Bytes{0xFF, 0xD8, 0xFF} + three},
           {"in a program stream", Bytes{0, 0, 1} + three},
           {"in ASF", Bytes{0x30, 0x26, 0xB2, 0x75} + three},
           {"in other RIFF", Bytes().text("RIFF....AVI ") + three},
           {"free format", Bytes{0xFF, 0xFB, 0x04, 0}.fill(20, 1)},
       }) {
    EXPECT_EQ(hash4Of(file).code, HASHCREATE_NON_SUPPORTED) << what;
  }
}

TEST(MpegAudio, AFrameThatInformsIsLeftOut) {
  const auto expectLeftOut = [](uint8_t second, uint8_t mode, size_t silent, const char* name,
                                bool is) {
    SCOPED_TRACE(name + std::to_string(silent));
    const Layer row = {"", second, 0x10, mode, second < 0xF8 ? 26u : 104u, {}};
    const Bytes informs = row.frame(silent, name), frame = row.frame();
    EXPECT_EQ(hash4Of(informs + frame + frame).content(),
              sha1Hex(content4((is ? Bytes() : informs) + frame + frame)));
    EXPECT_EQ(hash4Of(informs).code, is ? HASHCREATE_FORMAT_ERROR : HASHCREATE_SUCCESS);
  };
  expectLeftOut(0xFB, 0x00, 32, "Xing", true);
  expectLeftOut(0xFB, 0x00, 34, "Xing", false);
  expectLeftOut(0xFA, 0x00, 34, "Info", true);
  expectLeftOut(0xFB, 0xC0, 17, "Info", true);
  expectLeftOut(0xFB, 0x00, 17, "Info", false);
  expectLeftOut(0xF3, 0x00, 17, "Xing", true);
  expectLeftOut(0xF3, 0xC0, 9, "Xing", true);
  expectLeftOut(0xFB, 0xC0, 32, "VBRI", true);
  expectLeftOut(0xFD, 0x00, 32, "Xing", false);
}

// ---- Reads ----

TEST(Sound, HoursCostAsFewReadsAsMinutes) {
  const Layer layer = {"", 0xFB, 0x10, 0, 104, {}};
  for (const Bytes& begin :
       {wave(le("fmt ", kPcm) + Bytes().text("data") + kStream), kFlac + kInfoAlone + kFrames,
        kFooted + adts(20) + adts(20), layer.frame() + layer.frame() + layer.frame()}) {
    MemoryFile file(begin, uint64_t{1} << 33, kId3v1);
    EXPECT_EQ(hash4Of(file).code, HASHCREATE_SUCCESS);
    EXPECT_LE(file.reads, 105);
  }
}

}  // namespace
