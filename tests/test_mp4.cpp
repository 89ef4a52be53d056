#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "support.h"

using support::Bytes;

namespace {

Bytes box(std::string_view type, const Bytes& payload) {
  return Bytes().u32be(static_cast<uint32_t>(payload.size() + 8)).text(type).add(payload);
}
Bytes sizedBox(std::string_view type, uint32_t size, const Bytes& payload) {
  return Bytes().u32be(size).text(type).add(payload);
}
Bytes largeMdat(uint64_t size, const Bytes& payload) { return sizedBox("mdat", 1, Bytes().u64be(size).add(payload)); }
Bytes hdlr(std::string_view type) { return box("hdlr", Bytes().fill(8, 0).text(type).fill(12, 0)); }

// 320.5 by 240.5, versions and counts that add up past 32 bits.
Bytes trak(std::string_view handler, uint8_t version, std::string_view chunks) {
  const Bytes tkhd = Bytes().u8(version).pattern(75, 5).u32be(0x01408000).u32be(0x00F08000);
  const Bytes stbl = box("stsd", Bytes().pattern(30)) + box("stsz", Bytes().pattern(8).u32be(0xFFFFFFF0).fill(9, 1)) +
                     box(chunks, Bytes().u8(version).fill(3, 0).u32be(3).fill(12, 9));
  return box("trak", box("tkhd", tkhd) + box("mdia", hdlr(handler) + box("minf", box("smhd", {}) + box("stbl", stbl))));
}

const Bytes kBrand = box("ftyp", Bytes().text("mp42").u32be(1).text("isommp42"));
const Bytes kMvhd = Bytes().u8(1).pattern(99, 3);
const Bytes kChildren = box("mvhd", Bytes().fill(100, 1)) + box("mvhd", kMvhd) + trak("soun", 0, "stco") +
                        trak("vide", 1, "co64") + box("udta", Bytes().pattern(20));
const Bytes kMoov = box("moov", kChildren);
const Bytes kFragmentedMoov = box("moov", kChildren + box("mvex", box("trex", Bytes().fill(24, 0))));
const Bytes kMeta = kMvhd.part(4, 4) + kMvhd.part(12, 8) + Bytes().u64be(640).u64be(480);
const Bytes kSmall = Bytes().pattern(300, 7);
const Bytes kLarge = Bytes().pattern(20000, 8);
const Bytes kUnread = sizedBox("junk", 0xFFFFFFFF, {});  // larger than any file here

Bytes contentOf(const Bytes& media, uint64_t mdatSizes) {
  return media + Bytes().u64be(0x1FFFFFFE0).u64be(0x0100000000000006).u64be(mdatSizes);
}

struct PairRow {
  const char* rule;
  Bytes file;
  Bytes content;
};
const PairRow kPairs[] = {
    {"nothing after the pair is read", kBrand + kMoov + box("mdat", kLarge) + box("mdat", kSmall) + kUnread,
     contentOf(sampled(kLarge), 20000)},
    {"every mdat before moov",
     kBrand + box("mdat", kLarge) + box("free", kSmall) + box("mdat", kSmall) + kMoov + kUnread,
     contentOf(sampled(kLarge) + kSmall, 20300)},
    {"an empty mdat is none", kBrand + box("mdat", {}) + kMoov + box("mdat", {}) + box("mdat", kSmall),
     contentOf(kSmall, 300)},
    {"64-bit size", kBrand + largeMdat(316, kSmall) + largeMdat(20016, kLarge) + kMoov,
     contentOf(kSmall + sampled(kLarge), 20300)},
    {"size 0 reaches to the end", kBrand + kMoov + sizedBox("mdat", 0, kSmall), contentOf(kSmall, 0 - uint64_t{8})},
    {"size below the header, too", kBrand + kMoov + sizedBox("mdat", 7, kSmall), contentOf(kSmall, 0 - uint64_t{1})},
    {"64-bit size 0", kBrand + kMoov + largeMdat(0, kLarge), contentOf(sampled(kLarge), 0 - uint64_t{16})},
    {"64-bit size past the end", kBrand + kMoov + largeMdat(UINT64_MAX, kLarge),
     contentOf(sampled(kLarge), UINT64_MAX - 16)},
    {"size past the end", kBrand + kMoov + sizedBox("mdat", 900, kSmall), contentOf(kSmall, 892)},
    {"fragments: all from the payload on",
     kBrand + kFragmentedMoov + box("mdat", kSmall) + kUnread + box("mdat", kLarge),
     contentOf(sampled(kSmall + kUnread + box("mdat", kLarge)), 20316)},
    {"fragments: 64-bit size", kBrand + kFragmentedMoov + largeMdat(17, kSmall), contentOf(kSmall, 300)},
    {"mvex behind the mdat is too late", kBrand + box("mdat", kSmall) + kFragmentedMoov + kUnread,
     contentOf(kSmall, 300)},
    {"a last child may leave moov",
     kBrand + sizedBox("moov", static_cast<uint32_t>(kMoov.size() - 20), kChildren) + box("mdat", kSmall),
     contentOf(kSmall, 300)},
};

TEST(Mp4, HashesTheMediaDataUntilThePairIsComplete) {
  for (const PairRow& row : kPairs) {
    SCOPED_TRACE(row.rule);
    support::expectHash(row.file, KMHASH_ALGORITHM_MP4, "mp42", "VIDEO", row.content, kMeta);
    EXPECT_EQ(support::identify(row.file), KMHASH_ALGORITHM_MP4);
  }
}

TEST(Mp4, LabelsComeFromBrandAndHandlers) {
  const auto moov = [](const Bytes& handlers) { return box("moov", handlers) + box("mdat", kSmall); };
  const auto brand = [](std::string_view text) { return box("ftyp", Bytes().text(text)); };
  const struct {
    Bytes file;
    const char* formatType;
    const char* fileType;
  } rows[] = {
      {brand("qt  ") + moov(hdlr("soun") + hdlr("vide")), "qt  ", "VIDEO"},
      {brand("3gp4") + moov(hdlr("vide") + hdlr("soun")), "3gp4", "VIDEO"},
      {brand("isom") + brand("M4A ") + moov(hdlr("soun")), "M4A ", "AUDIO"},  // later brands win
      {brand({"M\0P4", 4}) + moov(hdlr("vidE")), "M", "AUDIO"},
      {brand({"\0P4", 4}) + moov({}), "", "AUDIO"},
      {moov(hdlr("vide")), "", "VIDEO"},
      {box("skip", {}) + moov({}), "", "AUDIO"},
      {box("free", {}) + moov({}), "", "AUDIO"},
      {box("wide", {}) + moov({}), "", "AUDIO"},
      {box("pnot", {}) + moov({}), "", "AUDIO"},
      {box("mdat", {}) + moov({}), "", "AUDIO"},
      {box("mdat", kSmall) + sizedBox("moov", 0, kUnread), "", "AUDIO"},  // a moov without room for children
  };
  for (const auto& row : rows) {
    const support::HashText hash = support::hashOf(row.file);
    SCOPED_TRACE(&row - rows);
    ASSERT_EQ(hash.code, HASHCREATE_SUCCESS);
    EXPECT_EQ(hash.algorithmId(), KMHASH_ALGORITHM_MP4);
    EXPECT_EQ(hash.formatType(), row.formatType);
    EXPECT_EQ(hash.fileType(), row.fileType);
  }
}

Bytes nested(int depth) { return depth == 0 ? Bytes() : box("trak", nested(depth - 1)); }

TEST(Mp4, AFailureCountsOnlyInTheBoxThatCompletesThePair) {
  const Bytes mdat = box("mdat", kSmall);
  const Bytes tail = Bytes().fill(400, 0);
  const struct {
    const char* rule;
    Bytes moov;
    int afterMdat;
    int beforeMdat;
  } rows[] = {
      {"child without size", box("moov", sizedBox("name", 0, {})), HASHCREATE_FORMAT_ERROR, HASHCREATE_NON_SUPPORTED},
      {"child of size 7", box("moov", sizedBox("trak", 7, {})), HASHCREATE_FORMAT_ERROR, HASHCREATE_NON_SUPPORTED},
      {"child larger than the file", box("moov", kUnread), HASHCREATE_FORMAT_ERROR, HASHCREATE_NON_SUPPORTED},
      {"child read past its end", box("moov", sizedBox("stco", 15, tail)), HASHCREATE_FORMAT_ERROR,
       HASHCREATE_NON_SUPPORTED},
      {"child ending past the file", box("moov", sizedBox("udta", 340, {})), HASHCREATE_SEEK_ERROR,
       HASHCREATE_NON_SUPPORTED},
      {"grandchild past its parent", box("moov", sizedBox("trak", 20, box("udta", tail))), HASHCREATE_FORMAT_ERROR,
       HASHCREATE_NON_SUPPORTED},
      {"level 32", box("moov", nested(31)), HASHCREATE_SUCCESS, HASHCREATE_SUCCESS},
      {"level 33", box("moov", nested(32)), HASHCREATE_FORMAT_ERROR, HASHCREATE_NON_SUPPORTED},
      {"no moov", box("free", kSmall), HASHCREATE_NON_SUPPORTED, HASHCREATE_NON_SUPPORTED},
      {"only an empty mdat", box("moov", {}), HASHCREATE_SUCCESS, HASHCREATE_SUCCESS},
      {"box larger than the file first", kUnread + kMoov, HASHCREATE_NON_SUPPORTED, HASHCREATE_NON_SUPPORTED},
      {"box without size first", sizedBox("free", 0, {}) + kMoov, HASHCREATE_NON_SUPPORTED, HASHCREATE_NON_SUPPORTED},
      {"ftyp without a brand first", box("ftyp", {}) + kMoov, HASHCREATE_NON_SUPPORTED, HASHCREATE_NON_SUPPORTED},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.rule);
    EXPECT_EQ(support::hashOf(kBrand + mdat + row.moov).code, row.afterMdat);
    EXPECT_EQ(support::hashOf(kBrand + row.moov + mdat).code, row.beforeMdat);
  }
  EXPECT_EQ(support::hashOf(kBrand + mdat + kMoov.part(0, 150)).code, HASHCREATE_READ_ERROR);
  EXPECT_EQ(support::hashOf(kBrand + kMoov + sizedBox("mdat", 1, Bytes().fill(7, 0))).code, HASHCREATE_READ_ERROR);
  EXPECT_EQ(support::hashOf(kBrand + kMoov + box("mdat", {})).code, HASHCREATE_NON_SUPPORTED);
  EXPECT_EQ(support::hashOf(box("styp", {}) + kMoov + mdat).code, HASHCREATE_NON_SUPPORTED);
}

TEST(Mp4, SurvivesDamageAndFaults) {
  for (const PairRow& row : {kPairs[2], kPairs[11]}) {
    support::expectSurvivesDamage(row.file);
    support::expectSurvivesFaults(row.file);
  }
}

// A file with a hole, through the built-in callbacks: positions past 4 GiB, and samples only.
TEST(Mp4, HashesMoreThanFourGibibytes) {
  constexpr uint64_t kSize = 5'000'000'000;
  const std::string path = testing::TempDir() + "kmhash_large.mp4";
  const Bytes head = kBrand + largeMdat(kSize + 16, {});
  Bytes media = Bytes().fill(99 * 163, 0).add(kSmall.part(0, 163));
  std::ofstream file(path, std::ios::binary);
  const auto write = [&file](uint64_t at, const Bytes& bytes) {
    file.seekp(static_cast<std::streamoff>(at));
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  };
  write(0, head);
  write(head.size() + kSize / 100 * 99, kSmall.part(0, 163));
  write(head.size() + kSize, kMoov);
  file.close();
  support::HashText hash;
  hash.text.resize(KMHASH_TEXT_SIZE);
  hash.code = createHash(path.c_str(), hash.text.data(), KMHASH_TEXT_SIZE, nullptr);
  std::filesystem::remove(path);
  ASSERT_EQ(hash.code, HASHCREATE_SUCCESS);
  EXPECT_EQ(hash.content(), support::sha1Hex(contentOf(media, kSize)));
  EXPECT_EQ(hash.meta(), support::sha1Hex(kMeta));
}

}  // namespace
