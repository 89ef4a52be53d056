// Ogg by version 4: packets of streams, whatever pages they are cut into.
#include "version4.h"

using namespace support;

namespace {

using Packets = std::vector<Bytes>;

constexpr unsigned kGoesOn = 1, kBegins = 2;

// When asked for, the last packet, of a multiple of 255 bytes, goes on on the stream's next page.
Bytes page(uint32_t serial, unsigned flags, const Packets& packets, bool goesOn = false) {
  Bytes lacing, body;
  for (const Bytes& packet : packets) {
    lacing.fill(packet.size() / 255, 255).u8(static_cast<unsigned>(packet.size() % 255));
    body.add(packet);
  }
  if (goesOn) lacing.pop_back();
  const Bytes header = Bytes().text("OggS").u8(0).u8(flags).fill(8, 9).u32le(serial).fill(8, 9);
  return header + Bytes().u8(static_cast<unsigned>(lacing.size())) + lacing + body;
}

const Bytes kOpus = Bytes().text("OpusHead").pattern(11), kComment = Bytes().text("OpusTags....");
const Bytes kOpusMeta = kOpus.part(0, 16) + kOpus.part(18, 1);
const Bytes kLong = Bytes().pattern(510), kShort = Bytes().pattern(77, 2);

Bytes opus(uint32_t serial, const Packets& packets) {
  return page(serial, kBegins, {kOpus}) + page(serial, 0, {kComment}) + page(serial, 0, packets);
}

struct Stream {
  const char* formatType;
  Bytes first;  // packet
  int headers;  // packets in front of the payload
  Bytes meta;   // of the first packet
};

TEST(Ogg, HeaderPacketsAreLeftOutAndTheFirstOneDescribesTheStream) {
  const Bytes flac = Bytes{0x7F}.text("FLAC\1").u8(0).u16be(2).pattern(42);
  const Bytes speex = Bytes().text("Speex   ").pattern(60).u32le(1).pattern(8);
  const Bytes other = Bytes().pattern(60), vorbis = Bytes{1}.text("vorbis").pattern(40);
  for (const auto& [formatType, first, headers, meta] : std::vector<Stream>{
           {"OGG Opus", kOpus, 2, kOpusMeta},
           {"OGG Vorb", vorbis, 3, vorbis.part(0, 30)},
           {"OGG FLAC", flac, 3, flac.part(0, 5) + flac.part(27, 8)},
           {"OGG Spex", speex, 3, speex.part(0, 8) + speex.part(36, 32)},
           {"OGG Spex", speex.part(0, 69), 2 + speex[68], speex.part(0, 8) + speex.part(36, 32)},
           {"OGG ", other, 1, other.part(0, 30)},
           {"OGG Opus", kOpus.part(0, 17), 2, kOpus.part(0, 16)},
           {"OGG ", {}, 1, {}},
       }) {
    SCOPED_TRACE(formatType);
    Packets packets(static_cast<size_t>(headers) - 1, Bytes().pattern(9));
    packets.insert(packets.end(), {kLong, {}, kShort});
    const Bytes file = page(5, kBegins, {first}) + page(5, 0, packets);
    expectFormat4(file, 0x25, formatType, "AUDIO", kLong + kShort, meta + Bytes().u32be(3));
  }
}

TEST(Ogg, FlacOfAnUnknownNumberOfHeadersBeginsAtItsFirstFrame) {
  const Bytes first = Bytes{0x7F}.text("FLAC\1").u8(0).u16be(0).pattern(42),
              frame = {0xFF, 0xF8, 1};
  const Bytes file = page(5, kBegins, {first}) + page(5, 0, {{}, Bytes(255, 4)}, true) +
                     page(5, kGoesOn, {{0xFF, 3}, {}, frame, kShort});
  expectFormat4(file, 0x25, "OGG FLAC", "AUDIO", frame + kShort,
                first.part(0, 5) + first.part(27, 8) + Bytes().u32be(2));
}

TEST(Ogg, StreamsFollowOneAnotherHoweverTheirPagesLie) {
  const Bytes theora = Bytes{0x80}.text("theora").pattern(50),
              bones = Bytes().text("fishead").pattern(30);
  const Bytes video = page(1, 0, {{1}, {2}, kLong}), sound = page(2, 0, {kComment, kShort});
  const Bytes begin = page(3, kBegins, {bones.part(0, 7) + Bytes(9)}) + page(2, kBegins, {kOpus}) +
                      page(1, kBegins, {theora});
  const Bytes end = video + sound + page(3, 0, {kLong}) + page(1, 4, {kShort});
  expectFormat4(begin + end, 0x25, "OGG Theo", "VIDEO", kShort + kLong + kShort,
                kOpusMeta + Bytes().u32be(1) + theora.part(0, 42) + Bytes().u32be(2));

  const Bytes meta = kOpusMeta + Bytes().u32be(1), split = kOpusMeta + Bytes().u32be(2);
  const Bytes file = opus(4, {kLong}), open = page(4, 0, {Bytes(255)}, true);
  const Bytes more = page(4, 0, {kShort}), first = Bytes().text("OpusHead").fill(247, 1);
  struct Row {
    const char* what;
    Bytes file, payload, meta;
  };
  for (const auto& [what, bytes, payload, expected] : std::vector<Row>{
           {"a serial used again", file + opus(4, {kShort}), kLong + kShort, meta + meta},
           {"no beginning", file + page(5, 0, {kOpus, {}, kShort}), kLong + kShort, meta + meta},
           {"three pages", file + open + page(4, 0, {}) + more, kLong + Bytes(255) + kShort, split},
           {"no end", file + open, kLong + Bytes(255), meta},
           {"no first packet", file + page(6, kBegins, {Bytes(255)}, true), kLong, meta},
           {"other bytes", file + Bytes().text("OggO").fill(506, 'O') + more + Bytes().text("Ogg"),
            kLong + kShort, split},
           {"first packet on two pages",
            page(4, kBegins, {first}, true) + page(4, 0, {kOpus, {}, kLong}), kLong,
            first.part(0, 17) + Bytes().u32be(1)},
       }) {
    SCOPED_TRACE(what);
    expectHash4(bytes, 0x25, "OGG Opus", "AUDIO", payload, expected);
  }
}

TEST(Ogg, Faults) {
  const Bytes file = opus(4, {kLong}) + page(4, 0, {kShort});
  const uint64_t last = file.size() - kShort.size() - 28;
  EXPECT_EQ(hash4Of(file.part(0, last + 4)).code, HASHCREATE_SUCCESS);  // no page begins
  for (const uint64_t length : {last + 5, last + 27, uint64_t{file.size()} - 1}) {
    EXPECT_EQ(hash4Of(file.part(0, length)).code, kCut) << length;
  }
  EXPECT_EQ(hash4Of(opus(4, {})).code, kBroken);
}

// Pages of many streams in turn: each costs the same, and so does each stream.
TEST(Ogg, ManyStreamsAndPagesAreReadInLinearTime) {
  const auto fileOf = [](uint32_t streams, uint32_t pages) {
    Bytes file;
    for (uint32_t i = 0; i < pages; ++i) file.add(page(i % streams * 0x01000193, 0, {{1}, {2}}));
    return file;
  };
  EXPECT_EQ(hash4Of(fileOf(65536, 65536)).code, HASHCREATE_SUCCESS);
  EXPECT_EQ(hash4Of(fileOf(65537, 65537)).code, kBroken);
  const Bytes one = page(7, 0, {{1}, {2}});
  Bytes many;
  for (uint32_t i = 0; i < 1 << 20; ++i) many.insert(many.end(), one.begin(), one.end());
  EXPECT_EQ(hash4Of(many).code, HASHCREATE_SUCCESS);
  EXPECT_EQ(hash4Of(many + page(7, 0, {{1}})).code, kBroken);
}

}  // namespace
