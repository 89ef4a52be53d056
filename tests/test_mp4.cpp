#include "support.h"

using namespace support;

namespace {

Bytes sizedBox(std::string_view type, uint64_t size, const Bytes& payload) {
  return Bytes().u32be(static_cast<uint32_t>(size)).text(type).add(payload);
}
Bytes box(std::string_view type, const Bytes& payload) {
  return sizedBox(type, payload.size() + 8, payload);
}
Bytes mdat64(uint64_t size, const Bytes& media) {
  return sizedBox("mdat", 1, Bytes().u64be(size).add(media));
}
Bytes hdlr(std::string_view type) { return box("hdlr", Bytes(8).text(type)); }

// 320.5 by 240.5; the counts of two tracks add up past 32 bits.
Bytes trak(std::string_view handler, uint8_t version, std::string_view chunks) {
  const Bytes head = Bytes().u8(version).pattern(75, 5).u32be(0x01408000).u32be(0x00F08000);
  const Bytes stsz = box("stsz", Bytes().pattern(8).u32be(0xFFFFFFF0));
  const Bytes stco = box(chunks, Bytes().u8(version).fill(3, 0).u32be(3).fill(12, 9));
  const Bytes minf = box("minf", box("smhd", {}) + box("stbl", stsz + stco));
  return box("trak", box("tkhd", head) + box("mdia", hdlr(handler) + minf));
}

const Bytes kBrand = box("ftyp", Bytes().text("mp42").u32be(1).text("isommp42"));
const Bytes kMvhd = Bytes().u8(1).pattern(99, 3), kUdta = box("udta", Bytes().pattern(20));
const Bytes kTracks = trak("soun", 0, "stco") + trak("vide", 1, "co64") + kUdta;
const Bytes kChildren = box("mvhd", Bytes(20, 1)) + box("mvhd", kMvhd) + kTracks;
const Bytes kMoov = box("moov", kChildren);
const Bytes kFragmented = box("moov", kChildren + box("mvex", Bytes().pattern(24)));
const Bytes kMeta = kMvhd.part(4, 4) + kMvhd.part(12, 8) + Bytes().u64be(640).u64be(480);
const Bytes kSums = Bytes().u64be(0x1FFFFFFE0).u64be(0x0100000000000006);  // but the mdat sizes'
const Bytes kShort = Bytes().pattern(300, 7), kLong = Bytes().pattern(20000, 8);
const Bytes kMdat = box("mdat", kShort), kLongMdat = box("mdat", kLong), kNoMdat = box("mdat", {});
// Larger than any file here, so a failure wherever it is read.
const Bytes kUnread = sizedBox("junk", 0xFFFFFFFF, {});

TEST(Mp4, HashesTheMediaDataUntilThePairIsComplete) {
  const size_t whole = kBrand.size() + kMoov.size() + 300;
  const Bytes both = sampled(kLong) + kShort, fragments = kShort + kUnread + kMdat;
  const std::tuple<const char*, Bytes, Bytes, uint64_t> rows[] = {
      {"nothing behind is read", kMoov + kLongMdat + kMdat + kUnread, sampled(kLong), 20000},
      {"all in front of moov", kLongMdat + box("free", kShort) + kMdat + kMoov, both, 20300},
      {"an empty mdat is none", kNoMdat + kMoov + kNoMdat + kMdat, kShort, 300},
      {"64-bit size", mdat64(20016, kLong) + mdat64(316, kShort) + kMoov, both, 20300},
      {"64-bit size past the end", kMoov + mdat64(~0ull, kLong), sampled(kLong), UINT64_MAX - 16},
      {"as long as the file", kMoov + sizedBox("mdat", whole + 8, kShort), kShort, whole},
      {"size 0 reaches to the end", kMoov + sizedBox("mdat", 0, kShort), kShort, UINT64_MAX - 7},
      {"fragments", kFragmented + kNoMdat + kMdat + kUnread + kMdat, fragments, 616},
      {"mvex behind the mdat is too late", kMdat + kFragmented + kUnread, kShort, 300},
      {"a last child may leave moov", sizedBox("moov", kMoov.size() - 20, kChildren) + kMdat,
       kShort, 300},
  };
  for (const auto& [rule, boxes, media, mdatSizes] : rows) {
    SCOPED_TRACE(rule);
    expectHash(kBrand + boxes, 8, "mp42", "VIDEO", media + kSums + Bytes().u64be(mdatSizes), kMeta);
    EXPECT_EQ(identify(kBrand + boxes), 8);
  }
}

TEST(Mp4, LabelsComeFromBrandAndHandlers) {
  const auto labels = [](const Bytes& first, const Bytes& handlers) {
    const HashText hash = hashOf(first + box("moov", handlers) + kMdat);
    return hash.formatType() + "/" + hash.fileType();
  };
  const Bytes two = box("ftyp", Bytes().text("isom")) + kBrand;
  EXPECT_EQ(labels(two, hdlr("vide") + hdlr("soun")), "mp42/VIDEO");
  EXPECT_EQ(labels(box("ftyp", Bytes().text({"M\0P4", 4})), hdlr("vidE")), "M/AUDIO");
  for (auto type : {"skip", "free", "wide", "pnot", "mdat"}) {
    EXPECT_EQ(labels(box(type, {}), {}), "/AUDIO") << type;
  }
  EXPECT_EQ(labels(box("styp", {}), {}), "/");
}

TEST(Mp4, AFailureCountsOnlyInTheBoxThatCompletesThePair) {
  Bytes level32 = box("trak", {});  // moov is level 1
  for (int level = 3; level <= 32; ++level) level32 = box("trak", {}) + box("trak", level32);
  const Bytes overread = box("moov", sizedBox("tkhd", 91, kShort.part(0, 83))) + kMdat;
  const std::tuple<int, const char*, Bytes> rows[] = {
      {HASHCREATE_FORMAT_ERROR, "child larger than the file", box("moov", kUnread)},
      {HASHCREATE_FORMAT_ERROR, "child read past its end", overread},
      {HASHCREATE_SEEK_ERROR, "past the file's end", box("moov", sizedBox("udta", 20040, {}))},
      {HASHCREATE_READ_ERROR, "child cut off", kMoov.part(0, 250)},
      {HASHCREATE_SUCCESS, "level 32", box("moov", level32)},
      {HASHCREATE_FORMAT_ERROR, "level 33", box("moov", box("trak", level32))},
      {HASHCREATE_SUCCESS, "moov too small for children", sizedBox("moov", 0, {})},
      {HASHCREATE_NON_SUPPORTED, "box of size 0", sizedBox("free", 0, {}) + kMoov},
  };
  for (const auto& [code, rule, boxes] : rows) {
    const int declined = code == 0 ? 0 : HASHCREATE_NON_SUPPORTED;
    EXPECT_EQ(hashOf(kBrand + kLongMdat + boxes).code, code) << rule;
    EXPECT_EQ(hashOf(kBrand + boxes + kLongMdat).code, declined) << rule;
  }
  EXPECT_EQ(hashOf(kMoov + sizedBox("mdat", 1, Bytes(7))).code, HASHCREATE_READ_ERROR);
}

TEST(Mp4, SurvivesDamageAndFaults) {
  expectSurvives(kBrand + kMoov + mdat64(316, kShort), false);
  expectSurvives(kMdat + kFragmented, false);
}

TEST(Mp4, HashesMoreThanFourGibibytes) {
  constexpr uint64_t kSize = 5'000'000'000;
  MemoryFile file(kBrand + mdat64(kSize + 16, {}), kSize, kMoov);
  EXPECT_EQ(hashOf(file).content(), sha1Hex(Bytes().fill(16300, 0) + kSums + Bytes().u64be(kSize)));
}

}  // namespace
