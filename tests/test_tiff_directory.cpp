// TIFF structure: what parsing leaves in a table, and what the table answers.
#include <gtest/gtest.h>

#include "jpegBytes.h"
#include "openStream.h"
#include "tiffDirectory.h"

namespace {

using namespace support;

TEST(TiffDirectory, AnErrnoIsNoByteOrder) {
  OpenStream stream(300);
  callbackSeek(&stream, 200, kSeekAbsolute);
  stream.file.failingRead = stream.file.reads + 1;
  stream.file.failingErrno = kBigEndian;
  EXPECT_EQ(IsTIFF(&stream), HASHCREATE_READ_ERROR);
}

TEST(TiffDirectory, LengthsAreTypeSizesTimesCountsAndWrap) {
  constexpr uint32_t kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 0};
  for (uint32_t type = 0; type < std::size(kSizes); type++) {
    DirEntryInfo row = unfilledRow(256);
    setDirEntryInfo(ifd(true, {{256, type, 0x40000003, 7}}).part(2).data(), &row, kBigEndian);
    EXPECT_EQ(row.length, kSizes[type] * 0x40000003) << type;
  }
}

TEST(TiffDirectory, EntriesEndEarlyAndTheNextOffsetComesFromThere) {
  const Bytes three = ifd(false, {{256, 4, 1, 11}, {257, 4, 1, 22}, {259, 4, 1, 33}}, 99);
  const Bytes strange = ifd(false, {{256, 4, 1, 11}, {257, 13, 1, 22}, {259, 4, 1, 33}}, 99);
  const Bytes unwanted = ifd(false, {{999, 0, 1, 0}, {256, 4, 1, 4}, {256, 4, 1, 5}}, 99);
  // What is left: the next offset, 777 when it was not read, and the rows' values.
  const std::tuple<const char*, Bytes, uint64_t, ResultCode, std::vector<uint32_t>> rows[] = {
      {"all of it", three, 100, 0, {99, 11, 22, 33}},
      {"room for one entry and four bytes", three, 18, 0, {0x00040101, 11, 0, 0}},
      {"the file ends in an entry", three.part(0, 20), 100, -5, {777, 11, 0, 0}},
      {"a wanted tag of unknown type", strange, 100, 0, {0x00040103, 11, 0, 0}},
      {"no room behind the unknown type", strange, 29, -3, {777, 11, 0, 0}},
      {"an unwanted unknown type, a tag twice", unwanted, 100, 0, {99, 5, 0, 0}},
  };
  for (const auto& [what, bytes, limit, code, left] : rows) {
    OpenStream stream(bytes);
    DirEntryInfo table[] = {unfilledRow(256), unfilledRow(257), unfilledRow(259), unfilledRow(kEndOfTable)};
    uint32_t next = 777;
    EXPECT_EQ(parseIFD(&stream, kLittleEndian, table, &next, limit), code) << what;
    EXPECT_EQ((std::vector{next, table[0].value, table[1].value, table[2].value}), left) << what;
  }
}

TEST(TiffDirectory, DataIsAccessibleWhereTheReaderStillComes) {
  OpenStream stream(300);
  callbackSeek(&stream, 100, kSeekAbsolute);
  const DirEntryInfo table[] = {
      {1, 3, 2, 9, 4}, {2, 4, 2, 90, 8}, {3, 4, 2, 89, 8}, {0, 4, 1, 200, 4}, unfilledRow(kEndOfTable)};
  for (uint16_t tag = 0; tag < 6; tag++) EXPECT_EQ(isAccessibleTagEx(&stream, table, tag, 10), tag == 1 || tag == 2);
}

TEST(TiffDirectory, TextsComeFromTheEntryOrFromTheFile) {
  const Bytes file = Bytes().fill(20, 0).text("PXLR-K550 v");
  const std::tuple<DirEntryInfo, uint64_t, const char*, uint64_t> rows[] = {
      {{305, 2, 3, 0x00434241, 3}, 1, "ABC", 0},
      {{305, 2, 0, 20, 0}, 1, "", 0},
      {{305, 7, 11, 20, 11}, 0, "(none)", 0},  // no ASCII
      {{305, 2, 11, 20, 11}, 31, "PXLR-K550 v", 31},
      {{305, 2, 10, 20, 10}, 0, "PXLR-K550 ", 30},
      {{305, 2, 11, 20, 11}, 30, "(none)", 0},
      {{305, 2, 0xFFFFFFF5, 20, 0xFFFFFFF5}, 9, "(none)", 31},  // the end wraps
  };
  for (const auto& [row, limit, want, position] : rows) {
    OpenStream stream(file);
    const DirEntryInfo table[] = {row, unfilledRow(kEndOfTable)};
    MakerAndModel texts;
    const int found = getMakerAndModel(&stream, table, &texts, limit);
    EXPECT_EQ(found == 0 ? "(none)" : std::string(texts.software.bytes.get(), texts.software.length), want);
    EXPECT_EQ(c_ftell(&stream), position) << want;
    Vr2Version version = {0, 0};
    makeVr2Version(&texts, &version);
    EXPECT_EQ(version.model, want == std::string("PXLR-K550 v") ? 256 : -1);
    EXPECT_EQ(releaseMakerAndModel(&texts), found);
  }
}

}  // namespace
