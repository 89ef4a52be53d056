#include "support.h"

using namespace support;

// A packet of 188 bytes behind its prefix. The body starts with the adaptation flags, byte 4.
static Bytes packet(size_t prefix, unsigned pid, const Bytes& body) {
  return Bytes(prefix, 0xE0).u8(0x47).u16be(0xE000 | pid) + (body + Bytes(185, 0xFF)).part(0, 185);
}
// Bodies with a section length or a program info length; nothing else in front is looked at.
static Bytes pat(uint8_t size, const Bytes& list) {
  return Bytes(4, 0x10).u8(size).fill(5, 0xC1) + list;
}
static Bytes pmt(uint8_t size, const Bytes& list) { return Bytes(13, 0x10).u8(size) + list; }
static Bytes adapted(uint8_t n, uint8_t value, const Bytes& body) {
  return Bytes{48, n}.fill(n, value) + body.part(1);
}
static Bytes withoutPayload(const Bytes& body) { return Bytes{0x20} + body.part(1); }
static const Bytes kEntry = {0, 1, 0xF2, 0x34}, kNetwork = {0, 0, 0xF2, 0x35};
static const Bytes kHdmv = Bytes{5, 4}.text("HDMV"), kPat = pat(13, kEntry), kPmt = pmt(6, kHdmv);
static const Bytes kOther = Bytes{0x10};

static Bytes stream(size_t prefix, const Bytes& patBody = kPat, const Bytes& pmtBody = kPmt) {
  Bytes file = packet(prefix, 0, patBody) + packet(prefix, 0x0234, kOther);
  const Bytes data = packet(prefix, 0x100, Bytes(kOther).pattern(184));
  return file.add(packet(prefix, 0x1234, pmtBody)) + data + data;
}

TEST(Mpeg2Ts, ContentRunsFromTheProgramMapToTheLastPacketThatCounts) {
  for (const size_t size : {188u, 192u}) {
    for (const size_t extra : {size_t{0}, size_t{9}, 200 * size}) {
      // A remainder costs the last whole packet.
      const size_t count = extra == 9 ? 4 : 5 + extra / size;
      const Bytes file = stream(size - 188) + Bytes().pattern(extra);
      const Bytes counted = Bytes().u64be(count);
      const Bytes content = sampled(file.part(3 * size, count * size - 3 * size)) + counted;
      expectFormat(file, 12, "HDMV", "VIDEO", content, Bytes().u64be(count * size), counted);
    }
    const Bytes noSync = stream(size - 188) + Bytes(size + 9);
    expectCode(HASHCREATE_FORMAT_ERROR, {{"at the end offset", noSync}});
  }
}

TEST(Mpeg2Ts, HashesMoreThanFourGibibytes) {
  MemoryFile file(stream(4), 30'000'000 * uint64_t{192});
  const HashText hash = hashOf(file);
  const Bytes samples = file.bytes.part(576, 163) + Bytes(16300 - 163);
  EXPECT_EQ(hash.content(), sha1Hex(samples + Bytes().u64be(30'000'005)));
  EXPECT_EQ(hash.meta(), sha1Hex(Bytes().u64be(30'000'005 * uint64_t{192})));
}

TEST(Mpeg2Ts, TablesDecideTheLabel) {
  const Bytes list = kNetwork + kEntry + Bytes{0, 2, 0, 9};
  const Bytes halfOutside = packet(4, 0, adapted(173, 0, pat(13, {1}))) + packet(4, 0, kPmt);
  const std::tuple<const char*, Bytes, const char*> rows[] = {
      {"no descriptors", stream(0, kPat, pmt(0, kHdmv)), ""},
      {"looked for in the adaptation field", stream(4, kPat, adapted(20, 5, kPmt)), "HDMV"},
      {"and not found there", stream(0, kPat, adapted(20, 4, kPmt)), ""},
      {"no payload", stream(0, withoutPayload(kPat), withoutPayload(kPmt)), "HDMV"},
      {"adaptation just fits", stream(0, kPat, adapted(190, 5, {})), ""},
      {"network passed over", stream(4, adapted(9, 0, pat(21, list))), "HDMV"},
      {"length 5 wraps", stream(0, pat(5, kNetwork + kEntry)), "HDMV"},
      {"entry half outside: PID 0", halfOutside, "HDMV"},
  };
  for (const auto& [rule, file, label] : rows) {
    EXPECT_EQ(hashOf(file).code, HASHCREATE_SUCCESS) << rule;
    EXPECT_EQ(hashOf(file).formatType(), label) << rule;
  }
}

TEST(Mpeg2Ts, Failures) {
  const Bytes first = packet(0, 0, kPat), map = packet(0, 0x1234, kPmt),
              other = packet(0, 9, kOther);
  expectCode(HASHCREATE_NON_SUPPORTED,
             {{"length 6 is no entry", stream(0, pat(6, kEntry))},
              {"wrapped up to the packet's end", stream(0, pat(0, Bytes(180)))},
              {"PAT outside", stream(4, adapted(255, 0, {}))},
              {"sync lost before the PAT", other + Bytes(188, 0xFF) + first + map},
              {"sync lost before the PMT", first + Bytes(188) + map},
              {"PAT in the packet left out", other + first + Bytes(9)},
              {"one plain packet is too small", first},
              {"prefix like a sync byte", Bytes{0x47} + stream(4).part(1)}});
  expectCode(HASHCREATE_FORMAT_ERROR, {{"adaptation", stream(4, kPat, adapted(187, 5, {}))}});
  expectCode(HASHCREATE_READ_ERROR, {{"no PMT", first + first + first},
                                     {"PMT in the packet left out", first + map + Bytes(9)},
                                     {"one prefixed packet", packet(4, 0, kPat)}});
}

// First taken for prefixed packets, of which two are read: behind the 200 buffered bytes, 184 are
// gone for the retry.
TEST(Mpeg2Ts, RetryBehindZerosFindsTheSourceWhereTheFirstTryLeftIt) {
  const Bytes map = packet(0, 0x1234, kPmt), rest = Bytes().pattern(198 * 188 - 184);
  const Bytes head = Bytes(4) + packet(0, 0, kPat) + map.part(0, 8) + Bytes(184) + map.part(8);
  const Bytes content = sampled(rest + Bytes(184)).u64be(200);
  expectHash(head + rest, 12, "HDMV", "VIDEO", content, Bytes().u64be(37600));
}
