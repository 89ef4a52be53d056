// What a call may take at most: memory, stack and callback calls; and what it answers when memory
// ends.
#include <malloc.h>
#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <new>

#include "jpegBytes.h"
#include "version4.h"
#include "version4/version4.h"

using namespace support;

// ---- The heap, watched during a call of the library ----

namespace {

thread_local struct {
  bool watched;
  size_t live, peak;
  int taken, failing;  // the failing-th block taken is refused; 0: none
} heap;

void* take(size_t size) {
  if (heap.watched && ++heap.taken == heap.failing) return nullptr;
  if (heap.watched) heap.peak = std::max(heap.peak, heap.live + size);
  void* block = std::malloc(size);
  if (heap.watched && block != nullptr) heap.live += malloc_usable_size(block);
  return block;
}

void giveBack(void* block) {
  if (block != nullptr && heap.watched) heap.live -= malloc_usable_size(block);
  std::free(block);
}

}  // namespace

void* operator new(size_t size) { return take(size); }
void* operator new[](size_t size) { return take(size); }
void* operator new(size_t size, const std::nothrow_t&) noexcept { return take(size); }
void* operator new[](size_t size, const std::nothrow_t&) noexcept { return take(size); }
void operator delete(void* block) noexcept { giveBack(block); }
void operator delete[](void* block) noexcept { giveBack(block); }
void operator delete(void* block, size_t) noexcept { giveBack(block); }
void operator delete[](void* block, size_t) noexcept { giveBack(block); }

namespace {

namespace fs = std::filesystem;

struct Cost {
  int code;
  size_t heap, calls;
  int blocks;
  char text[KMHASH_TEXT_SIZE];
};

template <typename Work>
Cost measured(MemoryFile* file, int failingBlock, Work hash) {
  file->recording = false;
  Cost cost = {};
  heap = {true, 0, 0, 0, failingBlock};
  cost.code = hash(cost.text);
  heap.watched = false;
  EXPECT_EQ(heap.live, 0u) << "memory kept";
  cost.heap = heap.peak;
  cost.blocks = heap.taken;
  cost.calls = static_cast<size_t>(file->reads) + static_cast<size_t>(file->seeks);
  return cost;
}

Cost costOf(const Bytes& bytes, int failingBlock = 0, bool sizeIsKnown = true) {
  MemoryFile file(bytes);
  if (!sizeIsKnown) file.statedSize = -1;
  return measured(&file, failingBlock, [&file](char* text) {
    return createHash(file.path(), text, KMHASH_TEXT_SIZE, callbacks());
  });
}

// Of version 4, whole and sampled.
Cost costOf4(const Bytes& bytes, int failingBlock = 0) {
  MemoryFile file(bytes);
  const KmhashSource source = sourceOf(file);
  return measured(&file, failingBlock, [&source](char* text) {
    char whole[KMHASH_TEXT_SIZE];
    return version4::createHash(&source, text, whole);
  });
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

Bytes oggPage(uint32_t serial, const Bytes& packet) {
  const auto length = static_cast<unsigned>(packet.size());
  return Bytes()
      .text("OggS")
      .u16be(0)
      .fill(8, 0)
      .u32le(serial)
      .fill(8, 0)
      .u8(length > 0)
      .add(length > 0 ? Bytes().u8(length) + packet : packet);
}
Bytes oggStreams() {
  Bytes file;
  for (uint32_t i = 0; file.size() + 27 <= kMiB; ++i) file.add(oggPage(i << 16 | i, {}));
  return file;
}

// Rows of nine frames, four bytes apart, of the longest frames that there are.
Bytes mpegAudioRows() {
  Bytes file = Bytes(1, 1), frames;
  while (frames.size() < 2880) frames.add({0xFF, 0xE5, 0xE8, 0x00});
  while (file.size() < kMiB)
    file.add(frames + frames + frames)
        .add(frames + frames + frames)
        .add(frames + frames + frames)
        .fill(2880, 0);
  return file;
}

std::vector<Family> families4() {
  const Bytes flac = Bytes().text("fLaC").u32be(0x80000022).fill(34, 7).u16be(0xFFF8);
  const Bytes ape = Bytes().text("APETAGEX").fill(15, 0).u8(0x80).fill(8, 0);
  return {
      {"tags in front", repeated({}, Bytes().text("ID3").fill(7, 0))},
      {"tags behind", repeated(flac, ape)},
      {"Ogg, streams", oggStreams()},
      {"Ogg, ranges", repeated(oggPage(7, {1}), oggPage(7, {1}))},
      {"Ogg, no pages", repeated(oggPage(7, {1}), Bytes().text("OggS"))},
      {"AIFF, chunks", repeated(Bytes().text("FORM....AIFF"), Bytes().text("NAME").u32be(0))},
      {"WAVE, chunks", repeated(Bytes().text("RIFF....WAVE"), Bytes().text("LIST").u32le(0))},
      {"FLAC, blocks",
       repeated(flac.part(0, 4) + Bytes(1).u24be(34).fill(34, 0), Bytes().u32be(0x01000000))},
      {"MPEG audio, rows of frames", mpegAudioRows()},
      {"MPEG audio, no frames", repeated(Bytes(1, 1), {0xFF, 0xE5, 0xE8, 0x00})},
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

TEST(Bounds, CallsAndMemoryOfVersion4GrowWithTheBytesPresentOnly) {
  for (const auto& rows : {families(), families4()}) {
    for (const Family& family : rows) {
      const Cost cost = costOf4(family.file);
      EXPECT_LE(cost.calls, family.file.size() / 3) << family.name;
      EXPECT_LE(cost.heap, 7 * family.file.size()) << family.name;
    }
  }
}

TEST(Bounds, MemoryThatEndsIsAnAnswer) {
  std::vector<Family> files = testMedia();
  files.push_back({"MPO", mpoImages(1000), 0});
  files.push_back({"TIFF", tiffDirectories(10'000), 0});
  int refused = 0, refused4 = 0;
  for (const Family& file : files) {
    const Cost whole = costOf(file.file), whole4 = costOf4(file.file);
    for (int n = 1; n <= whole.blocks; ++n, ++refused) {
      EXPECT_EQ(costOf(file.file, n).code, HASHCREATE_MEM_ALLOC_ERROR);
    }
    for (int n = 1; n <= whole4.blocks; ++n, ++refused4) {
      EXPECT_EQ(costOf4(file.file, n).code, HASHCREATE_MEM_ALLOC_ERROR);
    }
  }
  EXPECT_GT(std::min(refused, refused4), 10);
}

#ifndef __has_feature
#define __has_feature(feature) 0
#endif
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && \
    !__has_feature(address_sanitizer) && !__has_feature(thread_sanitizer)

// Runs on a stack of painted bytes and tells how many of them were touched.
size_t stackOf(const std::function<void()>& work) {
  constexpr uint8_t kPaint = 0xA5;
  static std::vector<uint8_t> memory(1 << 20);
  std::fill(memory.begin(), memory.end(), kPaint);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstack(&attributes, memory.data(), memory.size());
  pthread_t thread;
  const auto start = [](void* argument) -> void* {
    (*static_cast<const std::function<void()>*>(argument))();
    return nullptr;
  };
  EXPECT_EQ(pthread_create(&thread, &attributes, start, const_cast<std::function<void()>*>(&work)),
            0);
  pthread_join(thread, nullptr);
  const auto touched =
      std::find_if(memory.begin(), memory.end(), [](uint8_t byte) { return byte != kPaint; });
  return static_cast<size_t>(memory.end() - touched);
}

TEST(Bounds, StackStaysBelow64KiB) {
  const size_t bare = stackOf([] {});  // what a thread takes by itself
  size_t most = 0;
  size_t most4 = 0;
  for (const auto& files : {families(), families4(), testMedia()}) {
    for (const Family& file : files) {
      most = std::max(most, stackOf([&] { costOf(file.file); }) - bare);
      most4 = std::max(most4, stackOf([&] { costOf4(file.file); }) - bare);
    }
  }
  std::printf("%zu and %zu bytes of stack at most\n", most, most4);
  EXPECT_LT(std::max(most, most4), 65536u);
}

#endif

}  // namespace
