#include "support.h"

using namespace support;

// A packet of 188 bytes behind its prefix. The body starts with the adaptation flags, the fourth
// byte.
static Bytes packet(size_t prefix, unsigned pid, const Bytes& body) {
  return Bytes(prefix, 0xE0).u8(0x47).u16be(0xE000 | pid) + (body + Bytes(185, 0xFF)).part(0, 185);
}
// Bodies with a section length or a program info length; nothing else of the tables' headers is
// looked at.
static Bytes pat(uint8_t size, const Bytes& list) {
  return Bytes(4, 0x10).u8(size).fill(5, 0xC1) + list;
}
static Bytes pmt(uint8_t size, const Bytes& list) { return Bytes(13, 0x10).u8(size) + list; }
static Bytes adapted(uint8_t n, uint8_t value, const Bytes& body) {
  return Bytes{48, n}.fill(n, value) + body.part(1);
}
static const Bytes kEntry = {0, 1, 0xF2, 0x34}, kNetwork = {0, 0, 0xF2, 0x35},
                   kHdmv = Bytes{5, 4}.text("HDMV");
static const Bytes kPat = pat(13, kEntry), kPmt = pmt(6, kHdmv);

static Bytes stream(size_t prefix, const Bytes& patBody = kPat, const Bytes& pmtBody = kPmt) {
  const Bytes file =
      packet(prefix, 0, patBody) + packet(prefix, 0x0234, {0x10}) + packet(prefix, 0x1234, pmtBody);
  return file + packet(prefix, 0x100, Bytes{0x10}.pattern(184)) +
         packet(prefix, 0x100, Bytes{0x10}.pattern(184, 2));
}

TEST(Mpeg2Ts, ContentRunsFromTheProgramMapToTheLastPacketThatCounts) {
  for (const size_t size : {188u, 192u}) {
    for (const size_t extra : {size_t{0}, size_t{9}, 200 * size}) {
      const size_t count =
          extra == 9 ? 4 : 5 + extra / size;  // a remainder costs the last whole packet
      const Bytes file = stream(size - 188) + Bytes().pattern(extra),
                  counted = Bytes().u64be(count);
      const Bytes content = sampled(file.part(3 * size, count * size - 3 * size)) + counted;
      expectFormat(file, 12, "HDMV", "VIDEO", content, Bytes().u64be(count * size), counted);
    }
    EXPECT_EQ(identify(stream(size - 188) + Bytes(size + 9)),
              -3);  // no sync byte at the end offset
  }
}

TEST(Mpeg2Ts, HashesMoreThanFourGibibytes) {
  MemoryFile file(stream(4), 30'000'000 * uint64_t{192});
  const HashText hash = hashOf(file);
  EXPECT_EQ(hash.content(),
            sha1Hex(file.bytes.part(576, 163) + Bytes(16300 - 163) + Bytes().u64be(30'000'005)));
  EXPECT_EQ(hash.meta(), sha1Hex(Bytes().u64be(30'000'005 * uint64_t{192})));
}

TEST(Mpeg2Ts, TablesAndPacketsDecide) {
  const Bytes first = packet(0, 0, kPat), map = packet(0, 0x1234, kPmt);
  const std::tuple<const char*, int, Bytes, const char*> rows[] = {
      {"no descriptors", 0, stream(0, kPat, pmt(0, kHdmv)), ""},
      {"registration looked for in the adaptation field", 0, stream(4, kPat, adapted(20, 5, kPmt)),
       "HDMV"},
      {"and not found there", 0, stream(0, kPat, adapted(20, 4, kPmt)), ""},
      {"adaptation without payload", 0,
       stream(0, Bytes{0x20} + kPat.part(1), Bytes{0x20} + kPmt.part(1)), "HDMV"},
      {"adaptation just fits", 0, stream(0, kPat, adapted(190, 5, {})), ""},
      {"adaptation too long", -3, stream(4, kPat, adapted(187, 5, {})), ""},
      {"network passed over", 0,
       stream(4, adapted(9, 0, pat(21, kNetwork + kEntry + Bytes{0, 2, 0, 9}))), "HDMV"},
      {"length 5 wraps", 0, stream(0, pat(5, kNetwork + kEntry)), "HDMV"},
      {"length 6 is no entry", -9, stream(0, pat(6, kEntry)), ""},
      {"wrapped up to the packet's end", -9, stream(0, pat(0, Bytes(180))), ""},
      {"PAT outside", -9, stream(4, adapted(255, 0, {})), ""},
      {"entry half outside: PID 0", 0,
       packet(4, 0, adapted(173, 0, pat(13, {1}))) + packet(4, 0, kPmt), "HDMV"},
      {"sync lost before the PAT", -9, packet(0, 9, {0x10}) + Bytes(188, 0xFF) + first + map, ""},
      {"sync lost before the PMT", -9, first + Bytes(188) + map, ""},
      {"no PMT", -5, first + first + first, ""},
      {"PMT in the packet left out", -5, first + map + Bytes(9), ""},
      {"PAT in the packet left out", -9, packet(0, 9, {0x10}) + first + Bytes(9), ""},
      {"one plain packet is too small", -9, first, ""},
      {"one prefixed packet is not", -5, packet(4, 0, kPat), ""},
      {"prefix like a sync byte", -9, Bytes{0x47} + stream(4).part(1), ""}};
  for (const auto& [what, code, file, label] : rows) {
    EXPECT_EQ(std::pair(hashOf(file).code, hashOf(file).formatType()),
              std::pair(code, std::string(label)))
        << what;
  }
}

TEST(Mpeg2Ts, RetryBehindZerosFindsTheSourceWhereTheFirstTryLeftIt) {
  // First taken for prefixed packets, of which two are read: behind the 200 buffered bytes, 184 are
  // gone for the retry.
  const Bytes map = packet(0, 0x1234, kPmt), rest = Bytes().pattern(198 * 188 - 184);
  const Bytes head = Bytes(4) + packet(0, 0, kPat) + map.part(0, 8) + Bytes(184) + map.part(8);
  expectHash(head + rest, 12, "HDMV", "VIDEO", sampled(rest + Bytes(184)).u64be(200),
             Bytes().u64be(37600));
}
