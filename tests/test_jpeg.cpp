#include "jpegBytes.h"

using namespace support;

const Bytes kData = Bytes().pattern(300), kLongData = Bytes().pattern(20000);

TEST(Jpeg, HashesScanDataAndFrame) {
  const Bytes otherMeta = {12, 1, 2, 3, 4, 1, 9, 9}, other = segment(0xFFC0, otherMeta);
  const Bytes garbage = {1, 2, 3, 0xFF, 0, 0xFF, 0xFF, 0}, noBody = {0xFF, 0xDA, 0, 2};
  const Bytes icc = segment(0xFFE2, kLongData) + segment(0xFFE2, {1});
  const Bytes xmp = segment(0xFFE3, kLongData) + segment(0xFFE3, {1});
  const Bytes noHeader = segment(0xFFE2, Bytes().text("MPF").fill(8, 0));
  const Bytes broken = garbage + other + noBody + Bytes({1}) + kFrameSegment;
  const std::tuple<const char*, Bytes, Bytes, Bytes> rows[] = {
      {"what is behind is the image's", kFrameSegment, scan(kData), kFrameMeta},
      {"long", segment(0xFFFE, kLongData) + kFrameSegment, kLongData, kFrameMeta},
      {"a progressive image has no meta", segment(0xFFC2, kFrameMeta), kData, Bytes(8)},
      {"the last frame counts, eight bytes are enough", kFrameSegment + other, kData, otherMeta},
      {"garbage, no body", broken, kData, kFrameMeta},
      {"other and short APP2 and APP3", icc + xmp + noHeader + kFrameSegment, kData, kFrameMeta},
  };
  for (const auto& [rule, segments, scanned, meta] : rows) {
    SCOPED_TRACE(rule);
    const Bytes sizes = Bytes().u64be(scanned.size()).u64be(1),
                file = kSoi + segments + scan(scanned);
    expectFormat(file, 1, "JPEG", "PHOTO", scanContent(scanned), meta, sizes);
  }
  const Bytes file = kSoi + scan(kData);
  EXPECT_EQ(hashOf(file, KMHASH_MODE_IDENTIFY + 1).text, hashOf(file, KMHASH_MODE_IDENTIFY).text);
  // A scan within the image's last two bytes has a negative size: the rest of the file is hashed.
  const Bytes content = Bytes().u8(0x55).u64be(UINT64_MAX).u64be(1),
              end = {0xFF, 0xDA, 0, 12, 0x55};
  expectHash(kSoi + kFrameSegment + end, 1, "JPEG", "PHOTO", content, kFrameMeta);
}

TEST(Jpeg, RefusesWhatHasNoScan) {
  const Bytes tooFar = kSoi + segment(0xFFE0, kFrameMeta).part(0, 10);
  expectCode(HASHCREATE_NON_SUPPORTED, {{"one byte", {0xFF}}});
  expectCode(HASHCREATE_READ_ERROR, {{"nothing behind", kSoi}});
  expectCode(HASHCREATE_FORMAT_ERROR, {{"length", kSoi + Bytes({0xFF, 0xDA, 0, 1}) + kData},
                                       {"a little beyond the file", tooFar}});
  MemoryFile source(kSoi + kFrameSegment + scan(kData));
  source.bytes = source.bytes.part(0, 300);
  EXPECT_EQ(hashOf(source).code, HASHCREATE_READ_ERROR) << "gives up in the scan";
}
