// Sound by version 4: what is hashed between chunks and tags, and which fault decides.
#include "version4.h"

using namespace support;

namespace {

const Bytes kSound = Bytes().pattern(301);

Bytes chunk(const char* name, const Bytes& body, bool isAiff = false) {
  const auto size = static_cast<uint32_t>(body.size());
  const Bytes sizes = isAiff ? Bytes().u32be(size) : Bytes().u32le(size);
  return Bytes().text(name) + sizes + body + Bytes(size % 2, 0);
}

// ---- WAVE ----

Bytes wave(const Bytes& chunks, const char* magic = "RIFF") {
  return Bytes().text(magic).u32le(7).text("WAVE") + chunks;
}
const Bytes kPcm = Bytes().u16le(1).u16le(2).u32le(8000).u32le(32000).u16le(4).u16le(16);
const Bytes kExtensible =
    Bytes().u16le(0xFFFE) + kPcm.part(2) + Bytes{22, 0, 16, 0, 3, 0, 0, 0, 1, 0}.pattern(14);
const Bytes kSizes = Bytes().u64le(1).u64le(kSound.size());
const Bytes kStream = Bytes().text("data").fill(4, 0xFF), kFormat = chunk("fmt ", kPcm);

TEST(Wave, TheDataChunkIsHashedWithItsFormat) {
  const Bytes data = chunk("data", kSound), sizes = chunk("ds64", kSizes);
  const Bytes zeros = chunk("ds64", Bytes(16)), large = Bytes().pattern(16384);
  expectFormat4(wave(chunk("LIST", {1}) + kFormat + data), 0x2B, "WAVE0001", "AUDIO", kSound, kPcm);
  expectHashes4(
      0x2B, "WAVE0001", "AUDIO", kSound, kPcm,
      {
          {"the first counts", wave(data + chunk("data", {}) + kFormat + chunk("fmt ", {}))},
          {"cut behind", wave(kFormat + data + Bytes().text("LI"))},
          {"pad byte missing", wave(kFormat + data).part(0, 44 + kSound.size())},
          {"extensible", wave(chunk("fmt ", kExtensible) + data)},
          {"a stream", wave(kFormat + kStream + kSound)},
          {"64 bits",
           wave(chunk("ds64", {1}) + sizes + zeros + kFormat + kStream + kSound + zeros)},
          {"sizes, not asked for", wave(zeros + kFormat + data, "BW64")},
          {"sampled", wave(kFormat + chunk("data", large), "RF64"), large},
      });
  expectHash4(wave(chunk("fmt ", kExtensible.part(0, 25)) + data), 0x2B, "WAVEFFFE", "AUDIO",
              kSound, kExtensible.part(0, 16));
  expectCode(kBroken, {wave(kFormat), wave(kFormat + chunk("data", {})),
                       wave(chunk("fmt ", kPcm.part(0, 15)) + data)});
  expectCode(kCut, {wave(kFormat + kStream.part(0, 7)), wave(kFormat + data).part(0, 300),
                    wave(chunk("fmt ", {}) + Bytes().text("data").u32le(1)),
                    wave(sizes + kFormat + kStream + Bytes(300)),
                    wave(chunk("ds64", Bytes(8).fill(8, 0xFF)) + kFormat + kStream + kSound)});
  expectCode(kUnsupported, {wave(kFormat + data).part(0, 11), wave(kFormat + data, "RIFX")});
}

// ---- AIFF ----

Bytes aiff(const Bytes& chunks, const char* kind = "AIFF") {
  return Bytes().text("FORM").u32be(7).text(kind) + chunks;
}
Bytes comm(const Bytes& body) { return chunk("COMM", body, true); }
Bytes ssnd(uint32_t offset, const Bytes& rest) {
  return chunk("SSND", Bytes().u32be(offset).u32be(9) + rest, true);
}

TEST(Aiff, TheSoundBehindItsOffsetIsHashedWithItsDescription) {
  const Bytes common = Bytes().pattern(18), compressed = common + Bytes().text("sowt\4abcd");
  const Bytes id3 = Bytes().text("ID3\4").u8(0).u8(0).u32be(3).fill(3, 1), sound = ssnd(0, kSound);
  const Bytes name = chunk("NAME", {1}, true), empty = chunk("SSND", Bytes(7), true);
  expectFormat4(Bytes(2) + id3 + aiff(ssnd(2, Bytes(2) + kSound) + name + comm(common)), 0x26,
                "AIFFNONE", "AUDIO", kSound, common);
  expectFormat4(aiff(comm(compressed) + comm({}) + sound, "AIFC"), 0x26, "AIFFsowt", "AUDIO",
                kSound, compressed.part(0, 22));
  expectCode(kBroken,
             {aiff(comm(common)), aiff(name).part(0, 21), aiff(comm(common) + empty),
              aiff(comm(common.part(0, 17)) + sound), aiff(comm(common) + sound, "AIFC"),
              aiff(comm(common) + ssnd(4, Bytes(3))), aiff(comm(common) + ssnd(3, Bytes(3)))});
  expectCode(kCut, {aiff(comm(common) + sound.part(0, 7)), aiff(comm(common) + sound.part(0, 300)),
                    aiff(comm({}) + sound.part(0, 300))});
  expectCode(kUnsupported, {aiff(comm(common) + sound, "8SVX")});
}

// ---- FLAC, and tags on its example ----

Bytes block(unsigned flagAndType, const Bytes& body) {
  return Bytes().u8(flagAndType).u24be(static_cast<uint32_t>(body.size())).add(body);
}
Bytes flac(const Bytes& blocks) { return Bytes().text("fLaC") + blocks; }
const Bytes kInfo = Bytes().pattern(34), kFirst = block(0, kInfo), kOnly = block(0x80, kInfo);
const Bytes kFrames = Bytes{0xFF, 0xF9}.pattern(400), kFlac = flac(kOnly) + kFrames;

void expectFlac(const Bytes& file, const Bytes& frames) {
  expectHash4(file, 0x2E, "FLAC", "AUDIO", frames, kInfo.part(10, 8));
}

TEST(Flac4, FramesAreHashedWithTheirFormat) {
  const Bytes blocks = block(0, kInfo + Bytes{1}) + block(126, {}) + block(0x84, {5});
  expectFormat4(kFlac, 0x2E, "FLAC", "AUDIO", kFrames, kInfo.part(10, 8));
  expectFlac(flac(blocks) + kFrames, kFrames);
  expectFlac(flac(kOnly) + Bytes{0xFF}, {0xFF});
  expectCode(kBroken, {flac(kOnly), flac(kOnly + Bytes{0xFF, 0xFA}), flac(kFirst + block(127, {})),
                       flac(block(4, kInfo) + kOnly), flac(kFirst + kOnly) + kFrames,
                       flac(block(0x80, kInfo.part(1))) + kFrames});
  expectCode(kCut, {flac(kFirst + Bytes(3)), flac(kFirst + Bytes{0xFF, 0, 0, 1})});
}

Bytes id3(const char* mark, unsigned flags, uint32_t size = 0x0102) {  // 130 bytes
  return Bytes().text(mark).u8(4).u8(0).u8(flags).u32be(size);
}
Bytes ape(uint32_t size, uint32_t flags = 0) {
  return Bytes().text("APETAGEX").u32le(2000).u32le(size).u32le(1).u32le(flags).fill(8, 0);
}
Bytes lyrics(const char* digits) {
  return Bytes().text("LYRICSBEGIN").pattern(130).text(digits).text("LYRICS200");
}
constexpr uint32_t kHasHeader = 0x80000000, kIsHeader = 0x20000000;
const Bytes kItems = Bytes().pattern(130, 3), kId3v1 = Bytes().text("TAG").pattern(125);
const Bytes kFooted = id3("ID3", 0x10) + kItems + id3("3DI", 0x10);

TEST(Tags, InFrontAndBehindAreLeftOut) {
  const Bytes front = id3("ID3", 0) + kItems + kFooted + Bytes(1) + ape(130, kIsHeader) + kItems;
  const Bytes eightBits = id3("ID3", 0x10, 0x80) + Bytes(128) + id3("3DI", 0x10, 0x80);
  const Bytes behind = kFooted + kItems + ape(162) + lyrics("000141") + kId3v1 + kId3v1;
  for (const Bytes& file :
       {Bytes(300) + front + kFlac, kFlac + behind, kFlac + kItems + ape(162),
        kFlac + Bytes().text("TAG+").pattern(223) + kId3v1, kFlac + ape(0, kHasHeader),
        kFlac + ape(162, kIsHeader) + kItems + ape(162, kHasHeader)}) {
    expectFlac(file, kFrames);
  }
  for (const Bytes& sound :
       {kId3v1 + Bytes(1), ape(31), ape(435), ape(999) + Bytes(99), lyrics("000140"),
        lyrics("00014:"), eightBits, kFooted.part(1), kId3v1 + kItems + ape(31)}) {
    expectFlac(kFlac + sound, kFrames + sound);
  }
  expectSurvives4(front + kFlac);
  expectSurvives4(kFlac + behind);
  expectCode(kCut, {id3("ID3", 0) + kItems.part(1)});
  const Bytes version = Bytes().text("ID3\4\xFF").fill(5, 0);
  expectCode(kUnsupported,
             {version + kFlac, id3("ID3\xFF", 0).part(0, 10) + kFlac, ape(0) + kFlac, front});
}

// ---- ADTS ----

Bytes adts(uint32_t length, const Bytes& begin = {0xFF, 0xF1, 0x50, 0xA0}) {
  const Bytes rest = Bytes().u8(begin[3] | length >> 11).u16be((length & 0x7FF) << 5);
  return begin.part(0, 3) + rest + Bytes().pattern(length - 6);
}

TEST(Adts, EverythingBetweenTheTagsIsHashed) {
  const Bytes sound = adts(20) + adts(2100) + Bytes().pattern(9), small = adts(30) + adts(7);
  const Bytes meta = {0xFF, 0xF1, 0x50, 0x80};
  expectFormat4(kFooted + small + kId3v1, 0x27, "ADTSAAC ", "AUDIO", small, meta);
  expectHash4(sound, 0x27, "ADTSAAC ", "AUDIO", sound, meta);
  for (const Bytes& begin : {Bytes{0xFE, 0xF1, 0x50, 0xA0}, Bytes{0xFF, 0xF3, 0x50, 0xA0},
                             Bytes{0xFF, 0xF1, 0x74, 0xA0}}) {
    expectCode(kUnsupported, {adts(30, begin) + adts(7, begin)});
  }
  expectCode(kUnsupported,
             {adts(20) + adts(7, {0xFF, 0xF1, 0x50, 0xB0}), adts(20) + adts(6) + adts(7),
              adts(20) + adts(7, {0xFF, 0xF1, 0x54, 0xA0}), sound.part(0, 26)});
}

// ---- MPEG audio ----

struct Layer {
  const char* formatType;
  uint8_t second, third, fourth;  // bytes of a frame's header
  uint32_t length;                // of the frame
  Bytes meta;

  Bytes frame(size_t silent = 0, const char* name = "") const {
    const Bytes begin = Bytes{0xFF, second, third, fourth}.fill(silent, 0).text(name);
    return (begin + Bytes(length, 0x55)).part(0, length);
  }
};

TEST(MpegAudio, FramesAreAsLongAsTheirHeadersTell) {
  for (const Layer& row : std::vector<Layer>{
           {"MPEG1L1", 0xFF, 0x10, 0x00, 32, {3, 3, 0, 0}},
           {"MPEG1L1", 0xFF, 0xEB, 0x40, 676, {3, 3, 2, 1}},
           {"MPEG1L2", 0xFD, 0xE4, 0x80, 1152, {3, 2, 1, 2}},
           {"MPEG1L3", 0xFB, 0xE2, 0xC0, 1045, {3, 1, 0, 3}},
           {"MPEG2L1", 0xF7, 0xE8, 0x00, 768, {2, 3, 2, 0}},
           {"MPEG2L3", 0xF3, 0x14, 0x00, 24, {2, 1, 1, 0}},
           {"MPEG25L2", 0xE5, 0xE8, 0x00, 2880, {0, 2, 2, 0}},
           {"MPEG25L3", 0xE3, 0xD2, 0x00, 941, {0, 1, 0, 0}},
       }) {
    SCOPED_TRACE(row.formatType);
    const Bytes frames = row.frame() + row.frame();
    expectFormat4(kFooted + frames + kId3v1, 0x2A, row.formatType, "AUDIO", frames, row.meta);
    expectCode(kUnsupported, {frames + Bytes(1)});
  }
}

TEST(MpegAudio, EnoughFramesMakeTheFormat) {
  const Layer low = {"MPEG2L3", 0xF2, 0x14, 0x00, 24, {2, 1, 1, 0}};
  const Bytes one = low.frame(), three = one + one + one, nine = three + three + three;
  const Bytes junk = {0xFF, 1, 1};
  expectHashes4(
      0x2A, "MPEG2L3", "AUDIO", three, {2, 1, 1, 0},
      {
          {"one that ends the file", one, one},
          {"three, and anything", three + junk, three + junk},
          {"ten behind junk", junk + nine + one + junk, nine + one + junk},
          {"three behind junk that reach the end", junk + three.part(0, 71), three.part(0, 71)},
          {"two behind junk, the third in a tag", junk + three + ape(56), one + one},
          {"in RIFF", Bytes().text("RIFF....RMP3") + three},
          {"behind almost a JPEG", Bytes{0xFF, 0xD8, 0xFE} + three},
          {"as far away as it may be", Bytes(262144, 1) + three},
      });
  for (const Layer& other : {Layer{"rate", 0xF3, 0x10, 0x00, 26, {}},
                             {"layer", 0xF5, 0x14, 0x00, 48, {}},
                             {"version", 0xFB, 0x14, 0x00, 96, {}}}) {
    expectCode(kUnsupported, {one + other.frame() + one + one + junk});
  }
  expectCode(kUnsupported, {one + one + junk, junk + nine + junk, junk + one + one,
                            Bytes(262145, 1) + three, Bytes{0xFF, 0xD8, 0xFF} + three,
                            Bytes{0, 0, 1} + three, Bytes{0x30, 0x26, 0xB2, 0x75} + three,
                            Bytes().text("RIFF....AVI ") + three, Bytes{0xFF, 0xFB, 0x04, 0}});
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
  expectLeftOut(0xFA, 0x00, 32, "Xing", true);
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
  for (const Bytes& begin : {wave(kFormat + kStream), kFlac, kFooted + adts(20) + adts(20),
                             layer.frame() + layer.frame() + layer.frame()}) {
    MemoryFile file(begin, uint64_t{1} << 33, kId3v1);
    EXPECT_EQ(hash4Of(file).code, HASHCREATE_SUCCESS);
    EXPECT_LE(file.reads, 105);
  }
}

}  // namespace
