// What a call of version 4 may take at most: reads, bytes read, memory and stack.
#include "jpegBytes.h"
#include "version4.h"
#include "version4/version4.h"
#include "watched.h"

using namespace support;

namespace {

namespace fs = std::filesystem;

struct Cost {
  HashText hash;
  size_t heap;
  int blocks;
};

Cost costOf(MemoryFile& file, int failingBlock = 0) {
  const KmhashSource source = sourceOf(file);
  char text[KMHASH_TEXT_SIZE] = {};
  Cost cost = {};
  watchHeap([&] { cost.hash.code = version4::createHash(&source, text, nullptr); }, failingBlock);
  cost.hash.text = text;
  cost.heap = heap.peak;
  cost.blocks = heap.taken;
  return cost;
}

// ---- Boxes and elements ----

constexpr size_t kMiB = 1 << 20;

// Pieces up to a MiB; a piece tells its number.
template <typename Piece>
Bytes repeated(Bytes head, Piece piece) {
  for (uint32_t i = 0; head.size() < kMiB; ++i) head.add(piece(i));
  return head;
}
Bytes repeated(const Bytes& head, const Bytes& piece) {
  return repeated(head, [&](uint32_t) { return piece; });
}

Bytes trak(const Bytes& tables) {
  return box("trak",
             box("mdia", box("hdlr", Bytes(8).text("vide")) + box("minf", box("stbl", tables))));
}
Bytes stsz(uint32_t size) { return box("stsz", u32s({0, size, 0xFFFFFFFF})); }
const Bytes kBrand = box("ftyp", Bytes().text("isomabcd"));

// HEIF whose last boxes go on to the end of the file.
Bytes heif(const Bytes& boxes) {
  return box("ftyp", {}) + Bytes(4).text("meta").u32be(0) + box("pitm", Bytes(5).u8(1)) + boxes;
}
Bytes heifItems(uint32_t i) {
  Bytes ids = Bytes().u32be(1).u16be(1000);
  for (uint32_t id = 1000 * i; id < 1000 * i + 1000; ++id) ids.u32be(id * 2654435761);
  return box("dimg", ids);
}
Bytes heifAssociation(uint32_t i) { return Bytes().u32be(i).u16be(0x0101); }

// Many mdats of one byte, each of them named often.
Bytes isoChunks() {
  const Bytes media = repeated(kBrand, box("mdat", {1})).part(0, 16 + 9 * 50'000);
  Bytes offsets = u32s({0, kMiB / 8});
  for (uint32_t i = 0; i < kMiB / 8; ++i) offsets.u32be(24 + i * 7919 % 50'000 * 9);
  return media +
         box("moov", trak(box("stsc", u32s({0, 1, 1, 1, 1})) + stsz(1) + box("stco", offsets)));
}

// A table that claims 2^32 samples, of a size that takes rows or not.
Bytes isoClaim(uint32_t size) {
  const Bytes tables = box("stsc", u32s({0, 1, 1, 0xFFFFFFFF, 1})) + stsz(size);
  return kBrand + box("mdat", Bytes(kMiB)) +
         box("moov", trak(tables + box("stco", u32s({0, 2, 24, 24}))));
}

// Runs of tracks that are in no list, so that the lists are searched to their ends.
Bytes isoFragments() {
  Bytes tracks, defaults;
  for (uint32_t i = 0; i < 1024; ++i) tracks.add(trak({}));
  for (uint32_t i = 1; i <= 1024; ++i) defaults.add(box("trex", u32s({0, i, 0, 0, 1})));
  const Bytes run = box("trun", u32s({0, 0xFFFFFFFF}));
  const Bytes fragment = box("traf", box("tfhd", u32s({0x10, 5000, 0xFFFFFFFF})) + run);
  return kBrand + box("moov", tracks + box("mvex", defaults)) + box("moof", repeated({}, fragment));
}

Bytes element(const Bytes& id, const Bytes& body) {
  return id + Bytes().u32be(0x10000000 + static_cast<uint32_t>(body.size())) + body;
}
const Bytes kEbml = element({0x1A, 0x45, 0xDF, 0xA3}, {}), kCluster = {0x1F, 0x43, 0xB6, 0x75};
const Bytes kSegment = kEbml + Bytes{0x18, 0x53, 0x80, 0x67, 0xFF};  // of unknown size
const Bytes kTracks = {0x16, 0x54, 0xAE, 0x6B};
Bytes matroska(const Bytes& id, const Bytes& body) {
  return kSegment + element(kTracks, {}) + element(id, body) + element(kCluster, {1, 2});
}

// Each Seek leads elsewhere, to another one.
Bytes matroskaSeeks() {
  const Bytes seek = {0x4D, 0xBB, 0x8E, 0x53, 0xAB, 0x84, 0x1C, 0x53, 0xBB, 0x6B, 0x53, 0xAC, 0x84};
  return matroska({0x11, 0x4D, 0x9B, 0x74}, repeated({}, [&](uint32_t i) {
                    return seek + Bytes().u32be(16 + i * 7919 % 60'000 * 17);
                  }));
}

Bytes oggPage(uint32_t serial, const Bytes& packet) {
  const auto length = static_cast<unsigned>(packet.size());
  const Bytes front = Bytes().text("OggS").fill(10, 0).u32le(serial).fill(8, 0).u8(length > 0);
  return length > 0 ? front + Bytes().u8(length) + packet : front;
}

// Rows of nine frames, four bytes apart, of the longest frames that there are.
Bytes mpegAudioRows() {
  const Bytes frames = repeated({}, Bytes{0xFF, 0xE5, 0xE8, 0x00}).part(0, 9 * 2880);
  return repeated({1}, frames + Bytes(2880));
}

struct Family {
  const char* name;
  Bytes file;
  size_t held = 0;   // bytes of the lists that must be held
  size_t jumps = 0;  // places elsewhere that it leads to
};
std::vector<Family> families() {
  const Bytes webp = Bytes().text("RIFF").u32le(kMiB - 16).text("WEBP");
  const Bytes flac = Bytes().text("fLaC").u32be(0x80000022).fill(34, 7).u16be(0xFFF8);
  const Bytes ape = Bytes().text("APETAGEX").fill(15, 0).u8(0x80).fill(8, 0);
  const Bytes png = Bytes().text("\x89PNG\r\n\x1A\n") + Bytes().u32be(13).text("IHDR").fill(17, 0);
  const Bytes jxl = Bytes().u32be(12).text("JXL \r\n\x87\n"), apng = Bytes().u32be(5).text("fdAT");
  const Bytes jp2 = Bytes().u32be(12).text("jP  \r\n\x87\n");
  const Bytes iref = heif(Bytes(4).text("iref").u32be(1 << 24));
  const Bytes ipma = heif(Bytes(4).text("iprp") + Bytes(4).text("ipma").u32be(1 << 24).u32be(~0U));
  return {
      {"WebP, pictures", repeated(webp, Bytes().text("ALPH").u32le(1).u16be(0)), 2 * kMiB},
      {"PNG, chunks", repeated(png, Bytes().u32be(0).text("tEXt").u32be(0))},
      {"PNG, pictures", repeated(png, apng + Bytes(9)), kMiB},
      {"JPEG XL, parts", repeated(jxl, box("jxlp", Bytes(5))), 2 * kMiB},
      {"JPEG 2000, palettes", repeated(jp2 + Bytes(4).text("jp2h"), box("pclr", {})), 2 * kMiB},
      {"HEIF, items", repeated(iref, heifItems), 5 * kMiB},
      {"HEIF, associations", repeated(ipma, heifAssociation), 6 * kMiB},
      {"TIFF, directories",
       repeated(header(false, 8), [](uint32_t i) { return Bytes().u16le(0).u32le(14 + 6 * i); }),
       4 * kMiB},
      {"zeros", Bytes().fill(kMiB, 0)},
      {"tags in front", repeated({}, Bytes().text("ID3").fill(7, 0))},
      {"tags behind", repeated(flac, ape), 0, kMiB / 32},
      {"Ogg, streams", repeated({}, [](uint32_t i) { return oggPage(i << 16 | i, {}); }), 6 * kMiB},
      {"Ogg, no pages", repeated(oggPage(7, {1}), Bytes().text("OggS"))},
      {"WAVE, chunks", repeated(Bytes().text("RIFF....WAVE"), Bytes().text("LIST").u32le(0))},
      {"FLAC, blocks", repeated(flac.part(0, 4) + Bytes(1) + flac.part(5, 37), {1, 0, 0, 0})},
      {"MPEG audio, rows of frames", mpegAudioRows(), 0, 300'000},
      {"MPEG audio, no frames", repeated({1}, Bytes{0xFF, 0xE5, 0xE8, 0x00})},
      {"Ogg, packets by turns", repeated({}, [](uint32_t i) { return oggPage(i % 2, {1}); }),
       2 * kMiB},
      {"ISO media, boxes", repeated(kBrand, Bytes().u32be(8).text("free"))},
      {"ISO media, moofs", repeated(kBrand, Bytes().u32be(8).text("moof")), kMiB},
      {"ISO media, boxes in moov", kBrand + box("moov", repeated({}, box("free", {})))},
      {"ISO media, chunks", isoChunks(), 5 * kMiB, 100 * 163},
      {"ISO media, samples claimed", isoClaim(1)},
      {"ISO media, sizes claimed", isoClaim(0)},
      {"ISO media, fragments of tracks", isoFragments(), 256 * 1024},
      {"Matroska, elements", repeated(kSegment, Bytes{0xEC, 0x80})},
      {"Matroska, tracks",
       kSegment + element(kTracks, repeated({}, Bytes{0xAE, 0x80})) + kCluster + Bytes{0x80}},
      {"Matroska, cues", matroska({0x1C, 0x53, 0xBB, 0x6B}, repeated({}, Bytes{0xBB, 0x80})),
       65536},
      {"Matroska, seeks", matroskaSeeks(), 0, 2 * kMiB / 17},
      {"Matroska, open clusters", repeated(matroska({0xEC}, {}), kCluster + Bytes{0xFF})},
  };
}

TEST(Bounds4, ReadsAndMemoryGrowWithTheBytesPresentOnly) {
  for (const Family& family : families()) {
    MemoryFile file(family.file);
    const Cost cost = costOf(file);
    SCOPED_TRACE(family.name);
    EXPECT_LE(static_cast<size_t>(file.reads), file.bytes.size() / 512 + family.jumps + 250);
    EXPECT_LE(file.delivered, 4 * file.bytes.size() + 512 * family.jumps + 65536);
    EXPECT_LE(cost.heap, family.held + family.held / 8 + 8192);
  }
}

// ---- Films of 4 GB ----

constexpr uint32_t kFilm = 0xFF000000;  // bytes of media

// Two tracks by turns, in 7200 chunks each, of so many samples.
Bytes longMoov(uint32_t mediaAt) {
  constexpr uint32_t kChunks = 7200, kChunk = kFilm / kChunks;
  const auto track = [=](uint32_t samples, uint32_t place, uint32_t bytes) {
    Bytes sizes = u32s({0, 0, kChunks * samples}), offsets = u32s({0, kChunks});
    for (uint32_t i = 0; i < kChunks * samples; ++i) sizes.u32be(bytes);
    for (uint32_t i = 0; i < kChunks; ++i) offsets.u32be(mediaAt + i * kChunk + place);
    return trak(box("stts", sizes) + box("stsz", sizes) + box("stco", offsets) +
                box("stsc", u32s({0, 1, 1, samples, 1})));
  };
  return box("moov", track(25, 0, kChunk / 26) + track(48, kChunk / 26 * 25, 300));
}
Bytes mdatHeader() { return Bytes().u32be(1).text("mdat").u64be(uint64_t{kFilm} + 16); }

// A Cluster of all but the last bytes; the index behind them names many places.
MemoryFile longMatroska() {
  const Bytes last = element(kCluster, Bytes(999)), cues = {0x1C, 0x53, 0xBB, 0x6B};
  const auto front = [=](uint32_t index) {
    const Bytes seek = Bytes{0x53, 0xAB, 0x84} + cues + Bytes{0x53, 0xAC, 0x84}.u32be(index);
    const Bytes head = Bytes{0x11, 0x4D, 0x9B, 0x74, 0x91, 0x4D, 0xBB, 0x8E} + seek;
    return head + element(kTracks, {}) + kCluster + Bytes().u64be((uint64_t{1} << 56) + kFilm);
  };
  const auto at = static_cast<uint32_t>(front(0).size() + kFilm);
  const Bytes point = {0xBB, 0x8C, 0xB3, 0x82, 1, 1, 0xB7, 0x86, 0xF1, 0x84};
  Bytes points;
  for (uint32_t i = 0; i <= 20'000; ++i) points.add(point + Bytes().u32be(at / 20'000 * i));
  points.add(point + Bytes().u32be(at));
  const auto index = static_cast<uint32_t>(at + last.size());
  return MemoryFile(kSegment + front(index), kFilm, last + element(cues, points));
}

TEST(Bounds4, AFilmOf4GBTakesFewReads) {
  const Bytes moov = longMoov(0),
              front = kBrand + longMoov(static_cast<uint32_t>(32 + moov.size()));
  const std::pair<const char*, MemoryFile> films[] = {
      {"moov behind", MemoryFile(kBrand + mdatHeader(), kFilm, longMoov(32))},
      {"moov in front", MemoryFile(front + mdatHeader(), kFilm)},
      {"Matroska", longMatroska()},
  };
  for (const auto& [name, film] : films) {
    MemoryFile file = film;
    const Cost cost = costOf(file);
    EXPECT_EQ(cost.hash.code, HASHCREATE_SUCCESS) << name;
    EXPECT_LE(file.reads, 250) << name;
    EXPECT_LE(cost.heap, 1u << 20) << name;
  }
}

// ---- Memory and stack ----

std::vector<Family> testMedia() {
  std::vector<Family> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(KMHASH_TEST_MEDIA)) {
    files.push_back({"", media(entry.path().filename().string())});
  }
  return files;
}

TEST(Bounds4, MemoryThatEndsIsAnAnswer) {
  int refused = 0;
  for (const Family& family : testMedia()) {
    MemoryFile file(family.file);
    const Cost whole = costOf(file);
    for (int n = 1; n <= whole.blocks; ++n, ++refused) {
      EXPECT_EQ(costOf(file, n).hash.code, HASHCREATE_MEM_ALLOC_ERROR);
    }
  }
  EXPECT_GT(refused, 10);
}

TEST(Bounds4, AThreadOf64KiBWillDo) {
  if (!kStackIsKnown) GTEST_SKIP();
  size_t most = 0;
  for (const auto& files : {families(), testMedia()}) {
    for (const Family& family : files) {
      MemoryFile file(family.file);
      most = std::max(most, stackOf([&] { costOf(file); }));
    }
  }
  std::printf("%zu bytes of stack at most\n", most);
  EXPECT_LT(most, 65536u);
}

}  // namespace
