#include "hashCreate.h"
#include "openStream.h"

using namespace support;

const Bytes kHeader = {0xFF, 0xFB, 0x90, 0xC4};  // MPEG-1 Layer III, 128 kbit/s at 44100 Hz
const Bytes kFrame = kHeader + Bytes().fill(417 - 4, 0), kAudio = Bytes().pattern(300);
const Bytes kRest = kHeader + kAudio + Bytes().fill(128, 0x54), kMp3 = kFrame + kRest;
const Bytes kFlac =
    Bytes().text("fLaC").u8(0x80).u24be(34).fill(34, 0).add({0xFF, 0xF8, 0xC9, 0x18}).add(kAudio);

void expectMp3(const Bytes& file, std::string_view label, const Bytes& content,
               const Bytes& header = kHeader, uint64_t length = 300) {
  expectHash(file, 13, label, "AUDIO", content, Bytes().u64be(length) + header);
}

Bytes tag(unsigned major, unsigned minor, unsigned size, unsigned flags = 0) {
  Bytes header = Bytes().text("ID3").u8(major).u8(minor).u8(flags);
  for (const int shift : {21, 14, 7, 0}) header.u8(size >> shift & 0x7F);
  return header.pattern(size);
}

// The analyzer's own answer, and the size of the digests' input, of which a byte went before.
std::pair<int, uint32_t> analyze(const Bytes& bytes) {
  OpenStream stream(bytes);
  Labels labels = {};
  inputContentSha1(&stream, "x", 1);
  inputMetaSha1(&stream, "x", 1);
  const int code = createHash_MP3(&stream, &labels);
  EXPECT_TRUE(code != 0 || stream.file.position == bytes.size()) << "not at the end";
  return {code, (stream.contentSha1.lengthLow + stream.metaSha1.lengthLow) / 8};
}

// kbit/s: MPEG-1 by layer, then low sampling frequencies, Layer I and others. 0 is the free format.
constexpr unsigned kBitRates[5][15] = {
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
};

TEST(Mp3, SecondFrameStandsWhereTheStandardsPutItForEveryHeader) {
  for (unsigned bits = 0xE000; bits <= 0xFFFF; ++bits) {
    // 0 is MPEG-1, 1 MPEG-2, 3 MPEG-2.5
    const unsigned version = 3 - (bits >> 11 & 3), layer = 4 - (bits >> 9 & 3);
    const unsigned rate = bits >> 4 & 15, frequency = bits >> 2 & 3, padding = bits >> 1 & 1;
    const Bytes header = Bytes{0xFF}.u16be(bits).u8(0xC4);
    SCOPED_TRACE(bits);
    if (version == 2 || layer == 4 || rate == 15 || frequency == 3) {
      EXPECT_EQ(analyze(header + kRest).first, kNotThisFormat);
      EXPECT_EQ(analyze(kFrame + header + kAudio).first, HASHCREATE_NON_SUPPORTED);
      continue;
    }
    constexpr unsigned kHertz[] = {44100, 48000, 32000};
    const unsigned bitRate = kBitRates[version == 0 ? layer - 1 : layer == 1 ? 3 : 4][rate] * 1000;
    const unsigned hertz = kHertz[frequency] / (version == 3 ? 4 : version + 1);
    const unsigned factor = layer == 1 ? 12 : layer == 3 && version != 0 ? 72 : 144;
    const unsigned length = (factor * bitRate / hertz + padding) * (layer == 1 ? 4 : 1);
    const std::string label = {'M', "12?3"[version], "0123"[layer], 'I', '1', '0', '0'};
    const Bytes file = header + Bytes(length < 4 ? 0 : length - 4) + kRest;
    EXPECT_EQ(analyze(file).first, length < 4 ? HASHCREATE_NON_SUPPORTED : HASHCREATE_SUCCESS);
    if (length >= 4) expectMp3(file, label, kAudio, header);
  }
}

TEST(Mp3, ContentEnds128BytesBeforeTheEndAndCountsWhatIsMissing) {
  const Bytes music = Bytes().pattern(16384), start = kFrame + kHeader, few = music.part(0, 50);
  expectMp3(start + music + Bytes(128), "M13I100", sampled(music), kHeader, 16384);
  expectMp3(start + few, "M13I100", few, kHeader, uint64_t{0} - 78);
}

TEST(Mp3, AnswersOfTheAnalyzer) {
  EXPECT_EQ(analyze(kMp3.part(0, 12)).first, kNotThisFormat);
  EXPECT_EQ(analyze(kMp3.part(0, 13)).first, HASHCREATE_NON_SUPPORTED);
  EXPECT_EQ(analyze(Bytes{0xFF, 0xDB, 0x90} + kMp3).first, kNotThisFormat);
  EXPECT_EQ(analyze(kFrame).first, HASHCREATE_NON_SUPPORTED);
  const Bytes unlikeTheFirst = kFrame + Bytes{0xFF, 0xF5, 0x00, 0};
  EXPECT_EQ(analyze(unlikeTheFirst).first, HASHCREATE_SUCCESS);
  const std::pair digestsStartAnewBehindATag(0, 300u + 12u);
  EXPECT_EQ(analyze(tag(3, 0, 300) + kMp3), digestsStartAnewBehindATag);
  MemoryFile source(kMp3);
  source.bytes = kMp3.part(0, 600);
  EXPECT_EQ(hashOf(source).code, HASHCREATE_READ_ERROR) << "gives up in the content";
}

TEST(Mp3, TagVersionGoesIntoTheLabelOfMp3Only) {
  const Bytes ihdr = Bytes().pattern(13), idat = Bytes(4).u32be(300).text("IDAT") + kAudio;
  const Bytes start = Bytes{0x89}.text("PNG\r\n\x1A\n").u32be(13).text("IHDR") + ihdr;
  for (const unsigned size : {0u, 50u, 300u, 2200000u}) {
    expectMp3(tag(4, 12, size) + kMp3, "M13I241", kAudio);
    expectMp3(tag(255, 255, size, 0xFF) + kMp3, "M13I225", kAudio);
    const Bytes flac = tag(3, 0, size) + kFlac, png = tag(3, 0, size) + start + idat + Bytes(12);
    expectHash(flac, 14, "FLAC", "AUDIO", kAudio, Bytes().u64be(kAudio.size()));
    expectHash(png, 3, "PNG ", "PHOTO", kAudio, ihdr);
  }
  const auto formatOf = [](const char* brand) {
    const Bytes ftyp = tag(3, 0, 9).u32be(12).text("ftyp").text(brand);
    return hashOf(ftyp + Bytes().u32be(9).text("mdat").u8(1).u32be(8).text("moov")).formatType();
  };
  EXPECT_EQ(formatOf("M4A "), "M4A ");
  EXPECT_EQ(formatOf("M4AI"), "M4AI230") << "two letters make an MP3 label";
}

TEST(Mp3, Tags) {
  Bytes nested = kMp3;
  for (unsigned depth = 32; depth > 0; --depth) nested = tag(depth % 10, 0, 5) + nested;
  expectMp3(nested, "M13I210", kAudio);
  EXPECT_EQ(hashOf(tag(3, 0, 0) + nested).code, HASHCREATE_FORMAT_ERROR);
  const Bytes large = tag(3, 0, 300), bare = tag(3, 0, 0);
  for (const size_t at : {6u, 7u, 8u, 9u}) {
    const Bytes highBit = bare.part(0, at).u8(0x80).fill(9 - at, 0);
    EXPECT_EQ(hashOf(highBit + kMp3).code, HASHCREATE_FORMAT_ERROR) << at;
  }
  EXPECT_EQ(hashOf(large.part(0, 159)).code, HASHCREATE_SEEK_ERROR);
  const std::string noLabels = std::string(18, 0) + sha1Hex({});
  EXPECT_EQ(hashOf(large.part(0, 160)).text.substr(0, 58), noLabels);
  EXPECT_EQ(hashOf(large).text.substr(0, 58), noLabels) << "nothing behind it";
}

TEST(Mp3, Families) {
  for (const Bytes& file : {kMp3, tag(3, 0, 180) + kMp3, tag(3, 0, 40) + kFlac}) {
    EXPECT_EQ(identify(file), file.size() > 500 ? 13 : 14);
    expectSurvives(file);
  }
}
