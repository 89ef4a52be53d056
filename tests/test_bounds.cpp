// What a call may take at most: memory, stack and callback calls; and what it answers when memory
// ends.
#include <chrono>

#include "jpegBytes.h"
#include "watched.h"

using namespace support;

namespace {

namespace fs = std::filesystem;

struct Cost {
  int code;
  size_t heap, calls;
  int blocks;
  char text[KMHASH_TEXT_SIZE];
};

Cost costOf(const Bytes& bytes, int failingBlock = 0, bool sizeIsKnown = true) {
  MemoryFile source(bytes);
  source.recording = false;
  if (!sizeIsKnown) source.statedSize = -1;
  Cost cost = {};
  watchHeap(
      [&] { cost.code = createHash(source.path(), cost.text, sizeof(cost.text), callbacks()); },
      failingBlock);
  cost.heap = heap.peak;
  cost.blocks = heap.taken;
  cost.calls = static_cast<size_t>(source.reads) + static_cast<size_t>(source.seeks);
  return cost;
}

// ---- Files of one MiB that are as laborious as their format allows ----

constexpr size_t kMiB = 1 << 20;

Bytes repeated(Bytes head, const Bytes& piece) {
  while (head.size() + piece.size() <= kMiB) head.add(piece);
  return head;
}

Bytes tiffStrips() {
  constexpr size_t kCount = 130'000, kOffsets = 8 + 2 + 5 * 12 + 4, kSizes = kOffsets + 4 * kCount;
  return directory(false, {{256, 1, 9},
                           {257, 1, 9},
                           {262, 1, 2},
                           {273, kCount, kOffsets},
                           {279, kCount, kSizes}})
      .fill(8 * kCount, 1);
}

// One directory of as many tags as its count can tell.
Bytes tiffTags() {
  std::vector<Numbers> tags;
  for (size_t tag = 0; tag < 0xFFFF; ++tag) tags.push_back({tag, 1, 8});
  return directory(false, tags);
}

Bytes tiffDirectories(size_t size = kMiB) {
  Bytes file = header(false, 8);
  while (file.size() + 6 <= size) file.u16le(0).u32le(static_cast<uint32_t>(file.size() + 4));
  return file;
}

Bytes mpoList(size_t claimed) {
  return repeated(kSoi + mpf(true, claimed, {}), Bytes().fill(16, 0));
}

// Images of which each begins behind the one before.
Bytes mpoImages(uint32_t count) {
  Bytes file = kSoi + mpf(true, count, {});
  for (uint32_t i = 0; i < count; ++i)
    file.u32be(kOther).u32be(0).u32be(16 * count + 8 * i).u32be(0);
  return file.fill(8 * count, 0);
}

// Lists and a text that claim far more bytes than there are.
Bytes tiffClaim(const Numbers& offsets, const Numbers& counts, const Numbers& text) {
  return header(false, 8) +
         ifd(false, {{256, 4, 1, 9}, {257, 4, 1, 9}, {262, 4, 1, 2}, text, offsets, counts}) +
         Bytes(300, 1);
}

struct Family {
  const char* name;
  Bytes file;
  size_t list = 0;  // bytes of it that must be held
};
std::vector<Family> families() {
  const Bytes asfHeader = Bytes{0x30, 0x26, 0xB2, 0x75, 0x8E, 0x66, 0xCF, 0x11,
                                0xA6, 0xD9, 0,    0xAA, 0,    0x62, 0xCE, 0x6C};
  return {
      {"zeros", Bytes().fill(kMiB, 0)},
      {"JPEG, no marker", Bytes().u16be(0xFFD8).fill(kMiB, 0)},
      {"JPEG, fill bytes", Bytes().u16be(0xFFD8).fill(kMiB, 0xFF)},
      {"JPEG, empty segments", repeated(Bytes().u16be(0xFFD8), Bytes().u16be(0xFFE0).u16be(2))},
      {"MPO, one place for all images", mpoList(33'000)},
      {"MPO, endless list", mpoList(0xFFFFFFFF)},
      {"MPO, many images", mpoImages(16'384), 16'384 * 16},
      {"MPO, more than can be sampled", mpoImages(33'000)},
      {"PNG, empty chunks",
       repeated(Bytes().text("\x89PNG\r\n\x1A\n"), Bytes().u32be(0).text("tEXt").u32be(0))},
      {"GIF, sub-blocks",
       repeated(Bytes().text("GIF89a").fill(7, 0).u16be(0x21FE), Bytes().u16be(0x0141))},
      {"GIF, extensions", repeated(Bytes().text("GIF89a").fill(7, 0), Bytes().u16be(0x21FE).u8(0))},
      {"TIFF, strips", tiffStrips()},
      {"TIFF, tags", tiffTags()},
      {"TIFF, directories", tiffDirectories(), kMiB * 4 / 6},
      {"TIFF, sizes claimed", tiffClaim({273, 4, 1, 86}, {279, 4, 0xFFFFFFFF, 86}, {271, 2, 1, 0})},
      {"TIFF, SHORTs claimed", tiffClaim({273, 3, 0x80000003, 86}, {279, 4, 1, 9}, {271, 2, 1, 0})},
      {"TIFF, text",
       tiffClaim({273, 4, 1, 9}, {999, 4, 1, 9}, {271, 2, 600'000, 90}) + Bytes(600'000, 'x')},
      {"TIFF, text claimed", tiffClaim({273, 4, 1, 9}, {999, 4, 1, 9}, {271, 2, 0xFFFFFF00, 90})},
      {"MP4, boxes",
       repeated(Bytes().u32be(16).text("ftypisom").u32be(0), Bytes().u32be(8).text("free"))},
      {"MP4, boxes in moov",
       repeated(Bytes().u32be(16).text("ftypisom").u32be(0).u32be(kMiB).text("moov"),
                Bytes().u32be(8).text("trak"))},
      {"MP4, nested boxes",
       repeated(Bytes().u32be(16).text("ftypisom").u32be(0).u32be(kMiB).text("moov"),
                Bytes().u32be(kMiB).text("trak"))},
      {"ASF, objects", repeated(Bytes().add(asfHeader).u64le(kMiB).u32le(40'000).u16be(0x0102),
                                Bytes().fill(16, 7).u64le(24))},
      {"MPEG, packs", repeated({}, Bytes().u32be(0x1BA).u8(0x44).fill(8, 4).u8(0))},
      {"RIFF, chunks",
       repeated(Bytes().text("RIFF").u32le(kMiB).text("AVI "), Bytes().text("JUNK").u32le(0))},
      {"RIFF, headers", repeated(Bytes().text("RIFF").u32le(kMiB).text("AVI "),
                                 Bytes().text("strh").u32le(0).fill(56, 0))},
      {"transport stream, null packets",
       repeated({}, Bytes().u8(0x47).u8(0x1F).u16be(0xFF10).fill(184, 0xFF))},
      {"ID3, nested", repeated({}, Bytes().text("ID3").fill(7, 0))},
      {"FLAC, blocks", repeated(Bytes().text("fLaC"), Bytes().u32be(0x01000000))},
      {"MP3, one frame", repeated(Bytes{0xFF, 0xFB, 0x90, 0x00}, Bytes().u8(0))},
  };
}

std::vector<Family> testMedia() {
  std::vector<Family> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(KMHASH_TEST_MEDIA)) {
    files.push_back({"", media(entry.path().filename().string()), 0});
  }
  return files;
}

TEST(Bounds, CallsAndMemoryGrowWithTheBytesPresentOnly) {
  for (const Family& family : families()) {
    for (const bool sizeIsKnown : {true, false}) {
      const auto begin = std::chrono::steady_clock::now();
      const Cost cost = costOf(family.file, 0, sizeIsKnown);
      const std::chrono::duration<double, std::milli> time =
          std::chrono::steady_clock::now() - begin;
      std::printf("%-32s %4d  %8zu calls  %8zu bytes of heap  %6.1f ms\n", family.name, cost.code,
                  cost.calls, cost.heap, time.count());
      EXPECT_LE(cost.calls, family.file.size() + 1000) << family.name;
      EXPECT_LE(cost.heap, family.list + family.list / 8 + 4096) << family.name;
    }
  }
}

TEST(Bounds, MemoryThatEndsIsAnAnswer) {
  std::vector<Family> files = testMedia();
  files.push_back({"MPO", mpoImages(1000), 0});
  files.push_back({"TIFF", tiffDirectories(10'000), 0});
  int refused = 0;
  for (const Family& file : files) {
    const Cost whole = costOf(file.file);
    for (int n = 1; n <= whole.blocks; ++n, ++refused) {
      EXPECT_EQ(costOf(file.file, n).code, HASHCREATE_MEM_ALLOC_ERROR);
    }
  }
  EXPECT_GT(refused, 10);
}

TEST(Bounds, StackStaysBelow64KiB) {
  if (!kStackIsKnown) GTEST_SKIP();
  const size_t bare = stackOf([] {});  // what a thread takes by itself
  size_t most = 0;
  for (const auto& files : {families(), testMedia()}) {
    for (const Family& file : files)
      most = std::max(most, stackOf([&] { costOf(file.file); }) - bare);
  }
  std::printf("%zu bytes of stack at most\n", most);
  EXPECT_LT(most, 65536u);
}

}  // namespace
