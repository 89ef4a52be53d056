// ISO media: which bytes the tables of tracks and fragments name, and which fault decides.
#include "version4.h"

using namespace support;

namespace {

// ---- Boxes ----

Bytes full(uint32_t flags) { return Bytes().u32be(flags); }
// A table of rows: what stands in front of their number, and how many 32-bit numbers a row has.
Bytes table(const char* type, const Bytes& front, const std::vector<uint32_t>& numbers,
            size_t rowNumbers = 1) {
  const auto rows = static_cast<uint32_t>(numbers.size() / rowNumbers);
  return box(type, front + Bytes().u32be(rows) + u32s(numbers));
}
Bytes stsc(const std::vector<uint32_t>& runs) {  // first chunk, samples
  std::vector<uint32_t> rows;
  for (size_t i = 0; i < runs.size(); i += 2) {
    rows.insert(rows.end(), {runs[i], runs[i + 1], 1});
  }
  return table("stsc", full(0), rows, 3);
}
Bytes stco(const std::vector<uint32_t>& offsets) { return table("stco", full(0), offsets); }
Bytes stsz(const std::vector<uint32_t>& sizes) { return table("stsz", u32s({0, 0}), sizes); }
Bytes stsz(uint32_t size, uint32_t count) { return box("stsz", u32s({0, size, count})); }
Bytes stz2(uint32_t bits, uint32_t count, const Bytes& rows) {
  return box("stz2", u32s({0, bits, count}) + rows);
}
Bytes stsd(const Bytes& entry) { return box("stsd", u32s({0, 1}) + entry); }
const Bytes kPicture = stsd(Bytes(32).u16be(640).u16be(480));

// ---- Files: a brand, the media from kMedia on, and what tells of them ----

constexpr uint32_t kMedia = 24;
const Bytes kBytes = Bytes().pattern(20000), kBrand = box("ftyp", Bytes().text("isomabcd"));

Bytes film(const Bytes& told, const Bytes& media = kBytes) {
  return kBrand + box("mdat", media) + told;
}
Bytes moov(const Bytes& tracks) { return box("moov", box("mvhd", Bytes(9)) + tracks); }
Bytes minf(const Bytes& tables) { return box("minf", box("stbl", tables)); }
Bytes trak(const char* handler, const Bytes& tables, uint32_t id = 1) {
  return box("trak", box("tkhd", u32s({0, 0, 0, id, 0, 0})) +
                         box("mdia", box("hdlr", Bytes(8).text(handler)) + minf(tables)));
}
Bytes part(uint32_t from, uint32_t count) { return kBytes.part(from, count); }

struct Stated {
  const char* handler;
  uint64_t bytes;
  unsigned width = 0, height = 0;
};
Bytes meta(const std::vector<Stated>& tracks) {
  Bytes out;
  for (const Stated& track : tracks) {
    out.text({track.handler, 4}).u16be(track.width).u16be(track.height).u64be(track.bytes);
  }
  return out;
}

struct Film {
  const char* what;
  Bytes file, payload, meta;
  const char* fileType = "VIDEO";
};
void expectFilms(const std::vector<Film>& rows) {
  for (const auto& [what, file, payload, expected, fileType] : rows) {
    SCOPED_TRACE(what);
    expectHash4(file, 0x28, "ISOMisom", fileType, payload, expected);
  }
}

// ---- Sample tables ----

TEST(IsoMedia, TrackByTrackTheSamplesAreHashed) {
  const Bytes video = trak("vide", kPicture + stsc({1, 2, 3, 1}) + stsz({5, 6, 7, 8, 9}) +
                                       stco({kMedia, kMedia + 100, kMedia + 50, 9}));
  const Bytes sound = trak("soun", stsc({1, 1}) + stz2(8, 2, {3, 4}) +
                                       box("co64", u32s({0, 2, 0, kMedia + 11, 0, kMedia + 14})));
  const Bytes expected = part(0, 11) + part(100, 15) + part(50, 9) + part(11, 7);
  const Bytes told = moov(video + trak("text", stsc({1, 1}) + stsz({1}) + stco({kMedia})) + sound),
              described = meta({{"vide", 35, 640, 480}, {"soun", 7}});
  expectFormat4(film(told, part(0, 120)), 0x28, "ISOMisom", "VIDEO", expected, described);
}

// The bytes of one track whose chunks begin at 0, 100, 200 and so on.
Film samples(const char* what, const Bytes& tables, const std::vector<uint32_t>& chunks,
             const char* handler = "hint") {
  std::vector<uint32_t> offsets;
  Bytes payload;
  for (const uint32_t count : chunks) {
    payload.add(part(static_cast<uint32_t>(100 * offsets.size()), count));
    offsets.push_back(static_cast<uint32_t>(kMedia + 100 * offsets.size()));
  }
  return {what, film(moov(trak(handler, tables + stco(offsets)))), payload,
          meta({{handler, payload.size()}}),
          std::string_view(handler) == "soun" ? "AUDIO" : "VIDEO"};
}

TEST(IsoMedia, TablesTellWhatAChunkHolds) {
  const Bytes one = stsc({1, 1}), two = stsc({1, 2}), six = stsz({1, 2, 3, 4, 5, 6});
  expectFilms({
      samples("a row in order only", stsc({1, 1, 3, 2, 2, 9}) + six, {1, 2, 3 + 4 + 5 + 6}),
      samples("two rows at once", stsc({0, 4, 1, 1}) + six, {1, 2}),
      samples("no row yet", stsc({2, 1}) + six, {0, 1, 2}),
      samples("samples left over", one + six, {1, 2}),
      samples("chunks left over", two + six, {3, 7, 11, 0, 0}),
      samples("an empty chunk", two + stsz({0, 0, 8}), {0, 8}),
      samples("far more are told", stsc({1, 3}) + stsz(7, 0xFFFFFFFF), {21, 21}),
      samples("4 bits", stsc({1, 3}) + stz2(4, 5, {0x12, 0x3F, 0x10}), {6, 16}),
      samples("16 bits", two + stz2(16, 3, {0, 9, 0, 1, 0, 5}), {10, 5}),
      samples("the first of each", one + six + stsz({9}) + stz2(8, 1, {9}) + two, {1, 2}),
      {"a box that passes the end ends the list",
       film(moov(trak("hint", one + six + stco({kMedia}) + Bytes().u32be(99).text("free")))),
       part(0, 1), meta({{"hint", 1}})},
      {"other tracks where none counts, and two without a table",
       film(moov(trak("hint", one + six) + trak("hint", six + stco({kMedia})) +
                 trak("meta", one + stsz({9}) + stco({kMedia})))),
       part(0, 9), meta({{"meta", 9}})},
      {"handler and id cut",
       film(moov(box("trak", box("tkhd", Bytes(23)) +
                                 box("mdia", box("hdlr", Bytes(11)) +
                                                 minf(one + stsz({9}) + stco({kMedia})))))),
       part(0, 9), meta({{"\0\0\0", 9}})},
  });
}

Bytes soundEntry(const char* type, unsigned version, unsigned channels, unsigned bits) {
  return stsd(Bytes(4).text(type).fill(8, 0).u16be(version).fill(6, 0).u16be(channels).u16be(bits));
}

TEST(IsoMedia, SoundOfSampleSize1IsCountedByItsEntry) {
  const auto sound = [](const char* what, const Bytes& entry, uint32_t bytes) {
    return samples(what, entry + stsc({1, 13}) + stsz(1, 13), {bytes}, "soun");
  };
  const Bytes packets = u32s({0, 0, 3, 9, 14, 2}), noPackets = u32s({0, 0, 0, 9, 14, 2});
  const auto version1 = [](const Bytes& behind) {
    return stsd(soundEntry("sowt", 1, 2, 16).part(16) + behind);
  };
  expectFilms({
      sound("no entry", {}, 13),
      sound("short entry", stsd(Bytes(27, 9)), 13),
      sound("16 bits", soundEntry("sowt", 0, 2, 16), 52),
      sound("12 bits", soundEntry("lpcm", 0, 1, 12), 13),
      sound("below a byte", soundEntry("lpcm", 0, 1, 0), 13),
      sound("mu-law", soundEntry("ulaw", 0, 2, 16), 26),
      sound("A-law", soundEntry("alaw", 0, 3, 16), 39),
      sound("ima4", soundEntry("ima4", 0, 2, 16), 13),
      sound("MAC3", soundEntry("MAC3", 0, 3, 8), 13),
      sound("MAC6", soundEntry("MAC6", 0, 3, 8), 6),
      sound("packets", version1(packets), 13 * 14 / 3),
      sound("half a field", version1(packets.part(0, 23)), 52),
      sound("no packets", version1(noPackets), 52),
      samples("of a picture", soundEntry("sowt", 0, 2, 16) + stsc({1, 13}) + stsz(1, 13), {13}),
  });
}

// ---- Top boxes ----

TEST(IsoMedia, MediaMayLieAnywhere) {
  // Enough to be sampled, and the ranges' border lies within a sample.
  const auto placed = [](uint32_t first, uint32_t second) {
    return moov(trak("vide", kPicture + stsc({1, 2}) + stsz({4000, 4950, 3000, 6050}) +
                                 stco({kMedia + first, kMedia + second})));
  };
  const auto track = [=](uint32_t shift) { return placed(shift + 10000, shift); };
  const Bytes first = part(10000, 8950), second = part(0, 9050), payload = first + second;
  const auto size = static_cast<uint32_t>(track(0).size());
  const Bytes large = Bytes().u32be(1).text("mdat").u64be(20016) + kBytes,
              toTheEnd = Bytes().u32be(0).text("mdat") + kBytes;
  const Bytes pieces = box("mdat", second) + box("mdat", {}) + box("free", {}) + box("mdat", first);
  expectHashes4(0x28, "ISOMisom", "VIDEO", payload, meta({{"vide", 18000, 640, 480}}),
                {
                    {"moov behind", film(track(0))},
                    {"moov in front", kBrand + track(size) + box("mdat", kBytes)},
                    {"size of 64 bits", kBrand + large + track(8)},
                    {"to the end", kBrand + track(size) + toTheEnd},
                    {"cut, but not what counts", kBrand + track(size) + toTheEnd.part(0, 19500)},
                    {"several", kBrand + pieces + placed(9050 + 24, 0)},
                    {"another moov", film(track(0) + track(7))},
                    {"another brand", film(track(0) + box("styp", Bytes().text("abcd")))},
                    {"a brand cut", box("ftyp", {1, 2, 3}) + film(track(11))},
                    {"no box behind", film(track(0)) + Bytes().u32be(7).text("moov")},
                });
}

TEST(IsoMedia, BrandAndHandlersTellTheKind) {
  const auto kind = [](const char* first, const char* brand,
                       const std::vector<const char*>& handlers) {
    const Bytes tables = stsc({1, 1}) + stsz({9}) + stco({kMedia});
    Bytes tracks, file = box(first, Bytes().text(brand).u32be(0)) + box("mdat", part(0, 9));
    for (const char* handler : handlers) tracks.add(trak(handler, tables));
    const HashText hash = hash4Of(file + moov(tracks));
    return hash.fileType() + ' ' + hash.formatType();
  };
  EXPECT_EQ(kind("ftyp", "crx ", {"vide"}), "PHOTO ISOMcrx ");
  EXPECT_EQ(kind("ftyp", "msf1", {"pict", "soun"}), "PHOTO ISOMmsf1");
  EXPECT_EQ(kind("styp", "msf1", {"pict", "vide"}), "VIDEO ISOMmsf1");
  EXPECT_EQ(kind("ftyp", "M4A ", {"soun", "text"}), "AUDIO ISOMM4A ");
  EXPECT_EQ(kind("wide", "isom", {"soun", "auxv"}), "VIDEO ISOMqt  ");
}

// ---- Fragments ----

constexpr uint32_t kBase = 1, kSize = 0x10, kFromMoof = 0x20000;
Bytes traf(const Bytes& header, const Bytes& runs) {
  return box("traf", box("tfhd", header) + runs);
}
Bytes trun(uint32_t flags, uint32_t samples, const std::vector<uint32_t>& rest = {}) {
  return box("trun", u32s({flags, samples}) + u32s(rest));
}
Bytes trex(uint32_t id, uint32_t size) { return box("trex", u32s({0, id, 0, 0, size})); }

TEST(IsoMedia, RunsOfFragmentsFollowTheSamplesOfTheirTrack) {
  const Bytes empty = stsc({}) + stsz({}) + stco({});
  const Bytes defaults = box("mvex", trex(1, 9) + trex(2, 30) + trex(1, 20) + box("trex", {1}));
  const Bytes tracks = moov(trak("vide", kPicture + stsc({1, 1}) + stsz({4}) + stco({kMedia})) +
                            trak("soun", empty, 2) + trak("soun", empty, 2) + defaults);
  const Bytes base = Bytes().u64be(kMedia + 50);
  // Flags tell what stands in front of each size.
  const Bytes one = traf(u32s({kBase | 2 | 8, 1}) + base + u32s({7, 7}),
                         trun(0xF01, 2, {100, 1, 5, 1, 1, 1, 6, 1, 1}) + trun(4, 1, {0}));
  const Bytes two = traf(u32s({kSize, 2, 11}), trun(0, 2) + trun(1, 1, {0xFFFFFFFF}));
  const Bytes other = traf(u32s({kSize, 9, 1000}), trun(1, 1, {5}));
  const Bytes told = tracks + box("moof", one + two + other) +
                     box("moof", traf(Bytes().u32be(kBase).u32be(2) + base, trun(0, 1)));
  const Bytes sounds = part(181, 22) + part(180, 11) + part(50, 30);
  // The runs of one end at 150 + 11 + 20: there two begins.
  expectFormat4(film(told, part(0, 250)), 0x28, "ISOMisom", "VIDEO",
                part(0, 4) + part(150, 31) + sounds, meta({{"vide", 35, 640, 480}, {"soun", 63}}));
}

TEST(IsoMedia, SegmentsNeedNoMovie) {
  // Media behind each moof, whose start is the base.
  const auto segment = [](uint32_t id, uint32_t from, uint32_t count) {
    const auto runs = [=](uint32_t offset) {
      return box("moof", traf(u32s({kFromMoof | kSize, id, count}), trun(1, 1, {offset})));
    };
    return runs(static_cast<uint32_t>(runs(0).size() + 8)) + box("mdat", part(from, count));
  };
  const Bytes file = box("styp", Bytes().text("isom")) + segment(7, 0, 10) + segment(0, 10, 20) +
                     segment(7, 30, 40) + box("moof", traf(u32s({0, 5}), {}));
  expectFormat4(file, 0x28, "ISOMisom", "VIDEO", part(0, 10) + part(30, 40) + part(10, 20),
                meta({{"\0\0\0", 50}, {"\0\0\0", 20}}));
}

// ---- Faults ----

TEST(IsoMedia, TheFirstFaultDecides) {
  const auto one = [](const Bytes& tables) { return film(moov(trak("vide", tables))); };
  const auto chunk = [=](uint32_t offset, uint32_t size) {
    return one(stsc({1, 1}) + stsz({size}) + stco({offset}));
  };
  const auto run = [](const Bytes& header, const Bytes& runs) {
    return film(box("moof", traf(header, runs)));
  };
  const auto bytes = static_cast<uint32_t>(kBytes.size());
  const Bytes sc = stsc({1, 1}), co = stco({kMedia}), sz = stsz({9}), sized = u32s({kSize, 1, 5});
  Bytes tracks, fragments;
  for (int i = 0; i < 1024; ++i) tracks.add(box("trak", {}));
  for (uint32_t i = 0; i < 1025; ++i) fragments.add(traf(u32s({0, i}), {}));
  expectRefused({
      {"no moov", film({})},
      {"no moov, and cut", film({}).part(0, 1000), kCut},
      {"a picture", film(box("meta", Bytes(4))), kUnsupported},
      {"moov cut", chunk(kMedia, 9).part(0, kMedia + bytes + 30), kCut},
      {"moof cut", film(Bytes().u32be(99).text("moof")), kCut},
      {"nothing to hash", one(sc + co + stsz({0}))},
      {"no size of 8 bytes", one(sc + co + box("stsz", u32s({0, 0})))},
      {"stsc of half a row", one(box("stsc", u32s({0, 1, 1, 1})) + co + sz)},
      {"stsz of too few rows", one(sc + co + box("stsz", u32s({0, 0, 2, 9})))},
      {"stz2 of too few rows", one(sc + co + stz2(4, 3, {0x11}))},
      {"stz2 of other bits", one(sc + co + stz2(32, 1, {0, 0, 0, 9}))},
      {"1,025 tracks", film(moov(tracks + trak("vide", sc + sz + co)))},
      {"a chunk in front of the media", chunk(kMedia - 1, 9)},
      {"a chunk across the media's end", chunk(kMedia + bytes - 8, 9)},
      {"a chunk behind the media", chunk(kMedia + bytes, 9)},
      {"a chunk across the file's end", chunk(kMedia, 99999), kCut},
      {"repeated too often", one(sc + stsz(bytes, 9) + stco(std::vector<uint32_t>(9, kMedia)))},
      {"no tfhd", film(box("moof", box("traf", trun(0, 0))))},
      {"short tfhd", run(u32s({0}), {})},
      {"tfhd without its base", run(u32s({kBase, 1, 0}), {})},
      {"tfhd without its size", run(u32s({kSize | 2, 1, 0}), {})},
      {"short trun", run(sized, box("trun", u32s({0})))},
      {"trun without its offset", run(sized, trun(1, 1))},
      {"trun of too few rows", run(sized, trun(0x300, 2, {1, 1, 1}))},
      {"no default size", run(u32s({0, 1}), trun(0, 0))},
      {"a run in front of the file", run(sized, trun(1, 1, {0x80000000}))},
      {"a run beyond",
       run(Bytes().u32be(1 | kSize).u32be(1).fill(8, 0xFF).u32be(5), trun(1, 1, {9})), kCut},
      {"runs beyond all numbers",
       run(u32s({kSize, 1, 0xFFFFFFFF}), trun(0, 0) + trun(0, 0xFFFFFFFF)), kCut},
      {"1,025 tracks of fragments", film(box("moof", fragments))},
  });
}

}  // namespace
