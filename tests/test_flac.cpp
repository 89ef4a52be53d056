#include <algorithm>

#include "support.h"

using namespace support;

constexpr unsigned kLast = 0x80;
const Bytes kFrame = {0xFF, 0xF8, 0xC9, 0x18}, kAudio = Bytes().pattern(300);

Bytes block(unsigned flagAndType, const Bytes& data) {
  return Bytes().u8(flagAndType).u24be(static_cast<uint32_t>(data.size())).add(data);
}
Bytes streamInfo(uint64_t rate) {
  const Bytes sizes = Bytes().u16be(4096).u16be(4608).u24be(14).u24be(9000);
  return sizes + Bytes().u64be(rate << 44 | 0x2F000012345).pattern(16);
}
const Bytes kInfo = streamInfo(44100), kHigh = streamInfo(655350), kLow = streamInfo(1);
const Bytes kFirst = block(0, kInfo), kOnly = block(kLast | 0, kInfo);
Bytes flac(const Bytes& blocks, const Bytes& audio = kFrame + kAudio) {
  return Bytes().text("fLaC") + blocks + audio;
}

TEST(Flac, StreamInfoIsMetaAndEverythingBehindTheFirstFourFrameBytesIsContent) {
  const Bytes few = block(2, {1}) + block(3, {}) + block(5, {1}) + block(kLast | 4, {1});
  const Bytes large = block(1, Bytes(70000)) + block(6, Bytes(250, 1)),
              music = Bytes().pattern(20001);
  const Bytes otherSync = Bytes{0xFF, 0xFB, 0x10, 0xFF} + music;
  const std::tuple<const char*, Bytes, Bytes, Bytes> rows[] = {
      {"last", flac(large + kOnly), kInfo, kAudio},
      {"first", flac(kFirst + block(kLast | 4, Bytes().pattern(180))), kInfo, kAudio},
      {"all types", flac(kFirst + few), kInfo, kAudio},
      {"unknown types", flac(block(7, {1, 2}) + kFirst + block(kLast | 126, {3})), kInfo, kAudio},
      {"several", flac(block(0, kHigh) + block(0, kLow) + kOnly), kHigh + kLow + kInfo, kAudio},
      {"no sampling rate", flac(block(kLast | 0, streamInfo(0))), {}, kAudio},
      {"too high a rate", flac(block(kLast | 0, streamInfo(655351))), {}, kAudio},
      {"sampled", flac(kOnly, otherSync), kInfo, music},
  };
  for (const auto& [rule, file, streamInfos, content] : rows) {
    SCOPED_TRACE(rule);
    const Bytes meta = streamInfos + Bytes().u64be(content.size());
    expectFormat(file, 14, "FLAC", "AUDIO", sampled(content), meta);
  }
}

TEST(Flac, StreamInfoIsReadFieldByField) {
  MemoryFile file(flac(block(1, Bytes(250)) + kOnly));
  hashOf(file);
  std::string reads;
  for (const Call& call : file.calls) reads += call.kind + std::to_string(call.amount) + " ";
  EXPECT_NE(reads.find("read2 read2 read3 read3 read8 read16 "), std::string::npos) << reads;
}

TEST(Flac, Failures) {
  Bytes noInfo = block(kLast | 7, {});
  for (const unsigned type : {1u, 2u, 3u, 4u, 5u, 6u}) noInfo = block(type, {}) + noInfo;
  expectCode(HASHCREATE_FORMAT_ERROR,
             {{"type 127", flac(kFirst + block(127, {}) + block(kLast | 1, {}))},
              {"short STREAMINFO", flac(Bytes{kLast | 0, 0, 0, 33} + kInfo)},
              {"long STREAMINFO", flac(block(kLast | 0, kInfo + kFrame))},
              {"no STREAMINFO", flac(noInfo)},
              {"no sync", flac(kOnly, Bytes{0xFE, 0xF8, 0xC9} + kAudio)},
              {"reserved bit", flac(kOnly, Bytes{0xFF, 0xFC, 0xC9} + kAudio)},
              {"reserved block size", flac(kOnly, Bytes{0xFF, 0xF8, 0x0F} + kAudio)},
              {"no audio", flac(kOnly, kFrame)}});
  expectCode(HASHCREATE_READ_ERROR, {{"no block was the last", flac(kFirst, {})},
                                     {"no frame", flac(kOnly, {})},
                                     {"a byte of a block", flac({}, {1})}});
  const Bytes beyond = Bytes{kLast | 1, 0xFF, 0xFF, 0xFF};
  expectCode(HASHCREATE_SEEK_ERROR, {{"block past the end", flac(kFirst + beyond)}});
  expectCode(HASHCREATE_NON_SUPPORTED, {{"nothing behind the mark", flac({}, {})}});
}
