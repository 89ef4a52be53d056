// The built-in callbacks: files of the file system, and a disk that fails or is slow.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <new>
#include <set>

#include "fileStream.h"
#include "support.h"
#include "version4.h"

// ---- The system calls, with a disk between ----

namespace {

struct Disk {
  int reads = 0;                     // calls of pread
  int failing = 0, lastFailing = 0;  // of these, from the first to the last, report error; 0: none
  int error = EIO;
  size_t inMemory = SIZE_MAX;  // bytes that a read without waiting delivers, behind the head
  size_t headInMemory = SIZE_MAX;
  int answer = EAGAIN;  // when it delivers none
  long takes = 1000;    // nanoseconds of a read that waits
  int asked = 0;
  long clock = 0;  // in nanoseconds; only reads take time
} disk;
std::vector<off_t> told;  // lengths that the kernel was told of

ssize_t diskRead(int descriptor, void* buffer, size_t count, off_t position) {
  ++disk.reads;
  disk.clock += disk.takes;
  if (disk.reads < disk.failing || disk.reads > disk.lastFailing)
    return pread(descriptor, buffer, count, position);
  errno = disk.error;
  return -1;
}

ssize_t diskReadInMemory(int descriptor, const iovec* piece, int, off_t position, int) {
  ++disk.asked;
  const size_t count = std::min(piece->iov_len, position == 0 ? disk.headInMemory : disk.inMemory);
  if (count != 0) return pread(descriptor, piece->iov_base, count, position);
  errno = disk.answer;
  return -1;
}

int diskClock(clockid_t, timespec* time) {
  time->tv_nsec = disk.clock;
  return 0;
}

int diskIsTold(int, off_t, off_t length, int) {
  told.push_back(length);
  return 0;
}

}  // namespace

// The library's own file in place of the one in the archive, over these calls.
#define pread diskRead
#define preadv2 diskReadInMemory
#define clock_gettime diskClock
#define posix_fadvise diskIsTold
#include "../jni/fileSource.cpp"  // NOLINT(bugprone-suspicious-include)
#undef pread
#undef preadv2
#undef clock_gettime
#undef posix_fadvise

using namespace support;

namespace {

struct OnDisk : InFolder {
  OnDisk() { disk = {}; }
  static HashText hash(const std::string& path, int32_t mode = KMHASH_MODE_NORMAL) {
    HashText made;
    made.text.resize(KMHASH_TEXT_SIZE);
    made.code = createHashEx(path.c_str(), made.text.data(), KMHASH_TEXT_SIZE, nullptr, mode);
    made.text.resize(128);
    return made;
  }
  static HashText hashFile(const std::string& path, uint32_t flags) {
    return textOf(
        [&](char* text) { return kmhashHashFile(path.c_str(), flags, text, KMHASH_TEXT_SIZE); });
  }
  static HashText quick(const std::string& path) { return hash(path, KMHASH_MODE_QUICK); }
};

TEST_F(OnDisk, FilesOfEverySizeReadAsTheyAre) {
  const int descriptor = dup(0);  // the first that is free
  close(descriptor);
  for (const size_t size :
       {1u, 199u, 200u, 201u, 4096u, 16383u, 16384u, 16385u, 20'000u, 50'000u, 700'000u}) {
    const Bytes bytes = Bytes().pattern(size);
    const std::string path = write("file", bytes);
    EXPECT_EQ(quick(path).text, hashOf(bytes, KMHASH_MODE_QUICK).text) << size;
    const int file = open(path.c_str(), O_RDONLY);  // once more from the disk, where there is one
    fdatasync(file);
    posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
    close(file);
    EXPECT_EQ(quick(path).text, hashOf(bytes, KMHASH_MODE_QUICK).text) << size;
  }
  EXPECT_EQ(dup(0), descriptor) << "a file was left open";
  // Sequential reads that outgrow the buffer, and short steps between reads.
  const Bytes bytes = Bytes().pattern(300'000);
  void* handle = nullptr;
  Stream stream = {};
  c_init_callback(&stream, nullptr);
  ASSERT_EQ(c_open(&stream, write("file", bytes).c_str()), 0);
  handle = stream.handle;
  size_t at = 0;
  Bytes piece(100'000);
  for (const uint32_t step :
       {3u, 60u, 1024u, 1024u, 5u, 9000u, 40'000u, 1u, 32'768u, 100'000u, 2u}) {
    EXPECT_EQ(stream.callbacks.read(piece.data(), step, handle), step);
    EXPECT_EQ(piece.part(0, step), bytes.part(at, step)) << at;
    EXPECT_EQ(stream.callbacks.seek(step / 3, SEEK_CUR, handle), 0);
    at += step + step / 3;
  }
  c_close(&stream);
}

// Whole, cut short, with something behind, and behind zeros.
TEST_F(OnDisk, HashesAreThoseOfTheSameBytesInMemory) {
  for (const auto& entry : std::filesystem::directory_iterator(KMHASH_TEST_MEDIA)) {
    const Bytes whole = media(entry.path().filename().string());
    for (const Bytes& bytes :
         {whole.part(0, whole.size() / 2), whole + whole, Bytes(300) + whole}) {
      const HashText fromDisk = hash(write("file", bytes)), fromMemory = hashOf(bytes);
      ASSERT_EQ(fromDisk.code, fromMemory.code) << entry;
      ASSERT_EQ(fromDisk.code == 0 ? fromDisk.text : "", fromMemory.text) << entry;
    }
  }
}

TEST_F(OnDisk, WhatIsFetchedAheadIsDeliveredUpToTheEndOnly) {
  Stream stream = {};
  c_init_callback(&stream, nullptr);
  const std::string path = write("file", Bytes().pattern(300'000));
  ASSERT_EQ(c_open(&stream, path.c_str()), 0);
  ASSERT_EQ(c_fsize(&stream, path.c_str()), 0);
  uint8_t piece[100];
  for (int i = 0; i < 3000; ++i) EXPECT_EQ(callbackRead(&stream, piece, sizeof(piece)), 0);
  EXPECT_LT(disk.reads, 20);
  c_close(&stream);

  ASSERT_EQ(c_open(&stream, path.c_str()), 0);
  c_set_file_current_file_pos(&stream, 0);
  EXPECT_EQ(callbackRead(&stream, piece, 60), 0);
  c_set_file_size(&stream, 100);  // as of a slice
  EXPECT_EQ(callbackSeek(&stream, 41, kSeekRelative), HASHCREATE_SEEK_ERROR);
  EXPECT_EQ(callbackRead(&stream, piece, 41), HASHCREATE_READ_ERROR);
  EXPECT_EQ(c_ftell(&stream), 100u);
  c_set_file_size(&stream, 99);
  EXPECT_EQ(callbackRead(&stream, piece, 1), HASHCREATE_READ_ERROR);
  c_close(&stream);
}

TEST_F(OnDisk, LargeFileWithADateFarAhead) {
  constexpr uint64_t kSize = uint64_t{5} << 30;
  const std::string path = write("file", Bytes().fill(163, 0));
  std::filesystem::resize_file(path, kSize);
  const Bytes last = Bytes().pattern(163);  // the last sample
  std::fstream(path, std::ios::binary | std::ios::in | std::ios::out)
      .seekp(static_cast<std::streamoff>(kSize / 100 * 99))
      .write(reinterpret_cast<const char*>(last.data()), std::ssize(last));
  const timespec dates[2] = {{4'102'444'800, 0}, {4'102'444'800, 0}};  // 2100
  EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), dates, 0), 0);
  EXPECT_EQ(quick(path).content(), sha1Hex(Bytes().fill(99 * 163, 0) + last));
}

TEST_F(OnDisk, FileUnderALeaseIsWaitedFor) {
  static int leased;
  leased = open(write("file", Bytes().u8('x')).c_str(), O_RDONLY);
  std::signal(SIGIO, [](int) { fcntl(leased, F_SETLEASE, F_UNLCK); });
  const bool isLeased = fcntl(leased, F_SETLEASE, F_WRLCK) == 0;
  EXPECT_EQ(quick(folder / "file").code, 0);
  close(leased);
  if (!isLeased) GTEST_SKIP() << "no leases in the folder for temporary files";
}

TEST_F(OnDisk, WhatIsNoFileAnswersAndDoesNotHang) {
  EXPECT_EQ(quick(folder / "missing").code, HASHCREATE_FILE_NOTFOUND);
  EXPECT_EQ(quick(write("empty", {})).code, HASHCREATE_NON_SUPPORTED);
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(quick(folder / "pipe").code, HASHCREATE_NON_SUPPORTED);
  EXPECT_EQ(quick("/dev/zero").code, HASHCREATE_NON_SUPPORTED);
  EXPECT_LT(quick(folder).code, 0);
}

// From the n-th read on, or in the n-th alone.
TEST_F(OnDisk, AnErrorThatTheSystemReportsIsNeverAHash) {
  // The tag is longer than what is read at once, and what follows it may be missing.
  const Bytes tag = Bytes().text("ID3").u32be(0x03000000).u24be(0x011C20).fill(20'000, 0);
  std::vector<std::string> paths = {write("tagged.mp3", tag + media("mp3-plain.mp3"))};
  for (const auto& entry : std::filesystem::directory_iterator(KMHASH_TEST_MEDIA))
    paths.push_back(entry.path());
  const std::function<HashText(const std::string&)> calls[] = {
      [](const std::string& path) { return hash(path); },
      [](const std::string& path) { return quick(path); },
      [](const std::string& path) { return hash(path, KMHASH_MODE_IDENTIFY); },
      [](const std::string& path) { return hashFile(path, 0); },
      [](const std::string& path) { return hashFile(path, KMHASH_PREFER_VERSION_4); },
      [](const std::string& path) {
        return HashText{kmhashIdentifyFile(path.c_str(), 0), {}};
      },
  };
  for (const std::string& path : paths) {
    for (const auto& call : calls) {
      disk = {};
      const HashText whole = call(path);
      for (int n = 1, reads = disk.reads; n <= reads; ++n) {
        for (const int last : {n, INT_MAX}) {
          disk = {.failing = n, .lastFailing = last};
          EXPECT_EQ(call(path).code, HASHCREATE_ERROR) << path << " from read " << n;
        }
        disk = {.failing = n, .lastFailing = n, .error = EINTR};  // a signal is no failure
        EXPECT_EQ(call(path).text, whole.text) << path;
      }
    }
  }
}

// What the kernel is told of: nothing when all is in memory, a small file whole, of a large one the
// head and the samples, and from far away, in larger pieces, what lies between them too.
TEST_F(OnDisk, ReadsThatHaveToWaitAreToldOfFirst) {
  const off_t piece = 131'072, large = 2 * piece, sample = 163, sequential = 0;
  const off_t behindTheFirst = (98 * 7000 + sample) % piece;
  const Disk fast = {.inMemory = 0, .headInMemory = 0, .answer = EOPNOTSUPP};
  Disk slow = fast, far = fast;
  slow.takes = 900'000;
  far.takes = 2'000'000;
  const struct {
    const char* rule;
    Disk disk;
    size_t size;
    std::set<off_t> lengths;
  } rows[] = {
      {"all in memory", {}, 700'000, {}},
      {"all in memory", {}, 5'000'000, {}},
      {"nothing", {.inMemory = 0, .headInMemory = 0}, 700'000, {piece, 700'000 % piece}},
      {"nothing", {.inMemory = 0, .headInMemory = 0}, 5'000'000, {piece, sample}},
      {"part of the head", {.headInMemory = 4095}, 5'000'000, {piece, sample}},
      {"the head, and samples near each other",
       {.inMemory = 0},
       700'000,
       {piece, behindTheFirst, sample}},
      {"part of a sample", {.inMemory = 162}, 5'000'000, {sample}},
      {"no answer, and small", fast, 200'000, {piece, 200'000 - piece}},
      {"no answer, and fast", fast, 700'000, {}},
      {"no answer, and slow", slow, 700'000, {piece, 700'000 % piece}},
      {"no answer, and slow", slow, 3'000'000, {piece, sample}},
      {"far", far, 700'000, {sequential, large, 700'000 % large}},
      {"far", far, 3'000'000, {sequential, large, (99 * 30'000 + sample) % large, sample}},
      {"far", far, 5'000'000, {sequential, large, sample}},
  };
  for (const auto& row : rows) {
    const Bytes bytes = Bytes().pattern(row.size);
    const std::string path = write("file", bytes);
    disk = row.disk;
    told.clear();
    EXPECT_EQ(quick(path).content(), sha1Hex(sampled(bytes))) << row.rule;
    EXPECT_GT(disk.asked, 0) << row.rule;
    EXPECT_EQ(std::set<off_t>(told.begin(), told.end()), row.lengths)
        << row.rule << ' ' << row.size;
  }
}

}  // namespace
