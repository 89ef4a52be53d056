// Whole hashes against the floor: what the system calls and the fastest SHA-1 of the same bytes cost by themselves.
//
//   bench_floor table [ROUNDS]       prints the table, in memory that is warm
//   bench_floor cold [ROUNDS]        the same file read with the page cache emptied of it, the kernel told or not
//   bench_floor photos FOLDER COUNT [SIZE]...  makes that many photos, of these sizes in turn or of 10 to 208 kB
//   bench_floor floor|told|hash|identify FILE...  one of each, for strace, perf and rounds; told is the floor with the
//                                    kernel told of all reads first
//
// Both sides of a row run in turn, a few milliseconds each, and the ratio is the median over the rounds, of the time
// that passed and of the processor's: a machine that others use too slows both.

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "kmhash.h"

namespace {

namespace fs = std::filesystem;

void fail(const std::string& what) {
  std::perror(what.c_str());
  std::exit(1);
}

// ---- The floor ----

class Sha1 {
 public:
  Sha1() : context_(EVP_MD_CTX_new()) { EVP_DigestInit_ex2(context_, type(), nullptr); }
  ~Sha1() {
    unsigned char digest[EVP_MAX_MD_SIZE];
    EVP_DigestFinal_ex(context_, digest, nullptr);
    EVP_MD_CTX_free(context_);
  }
  Sha1(const Sha1&) = delete;
  Sha1& operator=(const Sha1&) = delete;
  void input(const void* bytes, ssize_t count) { EVP_DigestUpdate(context_, bytes, static_cast<size_t>(count)); }

 private:
  static const EVP_MD* type() {
    static EVP_MD* const sha1 = EVP_MD_fetch(nullptr, "SHA1", nullptr);
    return sha1;
  }
  EVP_MD_CTX* context_;
};

// Open, size, every byte in pieces of 64 KiB, close.
void floorOfAll(const std::string& path) {
  static std::vector<char> bytes(65536);
  struct stat status;
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0 || fstat(file, &status) != 0) fail(path);
  Sha1 sha1;
  for (off_t left = status.st_size; left > 0;) {
    const ssize_t n = read(file, bytes.data(), bytes.size());
    if (n <= 0) fail(path);
    sha1.input(bytes.data(), n);
    left -= n;
  }
  close(file);
}

constexpr off_t kHashedWhole = 16384;  // files below this are

// Open, size, head, 100 evenly spaced reads of 163 bytes, close.
void floorOfSamples(const std::string& path, bool isTold) {
  Sha1 sha1;  // before the open: OpenSSL reads its configuration now
  char bytes[4096];
  struct stat status;
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0 || fstat(file, &status) != 0) fail(path);
  for (int i = 0; isTold && i < 100; ++i) posix_fadvise(file, status.st_size / 100 * i, 163, POSIX_FADV_WILLNEED);
  if (pread(file, bytes, sizeof(bytes), 0) <= 0) fail(path);
  for (int i = 0; i < 100; ++i) {
    const ssize_t n = pread(file, bytes, 163, status.st_size / 100 * i);
    sha1.input(bytes, n);
  }
  close(file);
}

// Open, size, every byte in pieces of 32 KiB, close: what a walk from one small piece to the next must read.
void readThrough(const std::string& path) {
  static std::vector<char> bytes(32768);
  struct stat status;
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0 || fstat(file, &status) != 0) fail(path);
  while (read(file, bytes.data(), bytes.size()) > 0) continue;
  close(file);
}

void floorOf(const std::string& path, bool isTold) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) fail(path);
  if (status.st_size < kHashedWhole) return floorOfAll(path);
  floorOfSamples(path, isTold);
}

// ---- The library ----

void hash(const std::string& path) {
  char text[KMHASH_TEXT_SIZE];
  if (const int rc = createHash(path.c_str(), text, sizeof(text), nullptr)) {
    std::fprintf(stderr, "%s: %d\n", path.c_str(), rc);
    std::exit(1);
  }
}

void identify(const std::string& path) {
  if (getAlgorithmId(path.c_str(), nullptr) < 0) fail(path);
}

// ---- Files ----

// Writes head, then up to size bytes: pattern bytes when they count, else a hole.
std::string makeFile(const fs::path& path, const std::string& head, uint64_t size, bool dense = true) {
  FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) fail(path);
  std::fwrite(head.data(), 1, head.size(), file);
  if (dense) {
    std::vector<unsigned char> bytes(1 << 20);
    uint32_t state = 1;
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>((state = state * 1664525u + 1013904223u) >> 24);
    for (uint64_t left = size - head.size(); left > 0;) {
      left -= std::fwrite(bytes.data(), 1, std::min<uint64_t>(left, bytes.size()), file);
    }
  }
  if (std::fclose(file) != 0 || truncate(path.c_str(), static_cast<off_t>(size)) != 0) fail(path);
  return path;
}

std::string number(uint64_t value, int size, bool bigEndian = true) {
  std::string bytes;
  for (int i = 0; i < size; ++i) bytes += static_cast<char>(value >> 8 * (bigEndian ? size - 1 - i : i));
  return bytes;
}

std::string jpegHead() {
  return "\xFF\xD8\xFF\xE1" + number(2002, 2) + std::string(2000, 'e') + "\xFF\xC0" + number(11, 2) + "\x08" +
         number(1000, 2) + number(1000, 2) + "\x01\x01\x11" + std::string(1, '\0') + "\xFF\xDA" + number(8, 2);
}

std::string box(const std::string& type, const std::string& body) { return number(body.size() + 8, 4) + type + body; }

std::string mp4Head(uint64_t size) {
  const std::string zeros(96, '\0');
  const std::string movie = box("mvhd", zeros + number(2, 4));
  const std::string handler = box("hdlr", std::string(8, '\0') + "vide" + std::string(13, '\0'));
  const std::string track =
      box("trak", box("tkhd", std::string(84, '\0')) + box("mdia", box("mdhd", std::string(24, '\0')) + handler));
  std::string head = box("ftyp", "isom" + number(512, 4) + "isom") + box("moov", movie + track);
  return head + number(1, 4) + "mdat" + number(size - head.size(), 8);
}

// Header, directory, then one uncompressed strip.
std::string tiffHead(uint64_t size) {
  const auto entry = [](uint64_t tag, uint64_t value) {
    return number(tag, 2, false) + number(4, 2, false) + number(1, 4, false) + number(value, 4, false);
  };
  const uint64_t headSize = 8 + 2 + 6 * 12 + 4;
  return std::string("II*\0", 4) + number(8, 4, false) + number(6, 2, false) + entry(256, 5000) + entry(257, 5000) +
         entry(259, 1) + entry(262, 2) + entry(273, headSize) + entry(279, size - headSize) + number(0, 4);
}

// ---- Files of many small pieces, each with a payload of a kilobyte at most behind them ----

std::string repeated(int count, const std::string& piece) {
  std::string bytes;
  for (int i = 0; i < count; ++i) bytes += piece;
  return bytes;
}

std::string chunk(const std::string& type, const std::string& data) {
  return number(data.size(), 4) + type + data + "CRC.";
}

std::string gifOfSubBlocks(int count) {
  const std::string image = "," + std::string(9, '\0') + "\x08\xC8" + std::string(200, 'i') + std::string(1, '\0');
  return "GIF89a" + std::string(7, '\0') + "!\xFE" + repeated(count, "\x01x") + std::string(1, '\0') + image + ";";
}

std::string pngOfTexts(int count) {
  return "\x89PNG\r\n\x1A\n" + chunk("IHDR", std::string(13, 'h')) + repeated(count, chunk("tEXt", "k=abc")) +
         chunk("IDAT", std::string(1000, 'i')) + chunk("IEND", "");
}

std::string tiffOfStrips(int count) {
  const auto entry = [](int tag, int type, int values, int value) {
    return number(static_cast<uint64_t>(tag), 2, false) + number(static_cast<uint64_t>(type), 2, false) +
           number(static_cast<uint64_t>(values), 4, false) + number(static_cast<uint64_t>(value), 4, false);
  };
  const int lists = 8 + 2 + 6 * 12 + 4, data = lists + 8 * count;
  std::string file = std::string("II*\0", 4) + number(8, 4, false) + number(6, 2, false) + entry(256, 4, 1, 100) +
                     entry(257, 4, 1, count) + entry(259, 4, 1, 5) + entry(262, 4, 1, 2) + entry(273, 4, count, lists) +
                     entry(279, 4, count, lists + 4 * count) + number(0, 4);
  for (int i = 0; i < count; ++i) file += number(static_cast<uint64_t>(data + i), 4, false);
  return file + repeated(count, number(1, 4, false)) + std::string(static_cast<size_t>(count), 's');
}

// ---- Measuring ----

struct Seconds {
  double passed, processor;
};

double now(clockid_t clock) {
  timespec time;
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

Seconds secondsOf(const std::function<void()>& work, int times) {
  const Seconds start = {now(CLOCK_MONOTONIC), now(CLOCK_PROCESS_CPUTIME_ID)};
  for (int i = 0; i < times; ++i) work();
  return {(now(CLOCK_MONOTONIC) - start.passed) / times, (now(CLOCK_PROCESS_CPUTIME_ID) - start.processor) / times};
}

struct Spread {
  double least, median;
};

Spread spread(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return {values[0], values[values.size() / 2]};
}

void compare(const char* what, int rounds, const std::function<void()>& work, const std::function<void()>& other) {
  work();
  other();
  const int times = std::max(1, static_cast<int>(0.002 / secondsOf(work, 1).processor));
  std::vector<double> workSeconds, otherSeconds, ratios, ratiosPassed;
  for (int i = 0; i < rounds; ++i) {
    const Seconds one = secondsOf(work, times), two = secondsOf(other, times);
    workSeconds.push_back(one.processor);
    otherSeconds.push_back(two.processor);
    ratios.push_back(one.processor / two.processor);
    ratiosPassed.push_back(one.passed / two.passed);
  }
  const Spread mine = spread(workSeconds), others = spread(otherSeconds);
  std::printf("%-44s %9.1f %9.1f %9.1f %9.1f %6.2f %6.2f %7.2f\n", what, mine.least * 1e6, mine.median * 1e6,
              others.least * 1e6, others.median * 1e6, mine.least / others.least, spread(ratios).median,
              spread(ratiosPassed).median);
  std::fflush(stdout);
}

void printTable(const fs::path& folder, int rounds) {
  constexpr uint64_t kKilo = 1000, kMega = 1000 * kKilo, kGiga = 1000 * kMega;
  const std::string photo = makeFile(folder / "photo", jpegHead(), kMega);
  const std::string smallPhoto = makeFile(folder / "small", jpegHead(), 10 * kKilo);
  const std::string video = makeFile(folder / "video", mp4Head(kGiga), kGiga, false);
  const std::string smallVideo = makeFile(folder / "smallVideo", mp4Head(kMega), kMega, false);
  const std::string largeVideo = makeFile(folder / "largeVideo", mp4Head(4 * kGiga), 4 * kGiga, false);
  const std::string bitmap = makeFile(folder / "bitmap", "BM", 100 * kMega);
  const std::string scan = makeFile(folder / "scan", tiffHead(100 * kMega), 100 * kMega);

  std::printf("%-44s %19s %19s %13s %7s\n", "microseconds of the processor", "work", "against", "ratio", "passed");
  std::printf("%-44s %9s %9s %9s %9s %6s %6s %7s\n", "", "min", "median", "min", "median", "min", "median", "median");
  compare(
      "JPEG of 1 MB: hash / floor", rounds, [&] { hash(photo); }, [&] { floorOfSamples(photo, false); });
  compare(
      "MP4 of 1 GB: hash / floor", rounds, [&] { hash(video); }, [&] { floorOfSamples(video, false); });
  compare(
      "MP4 of 4 GB / MP4 of 1 MB: hash", rounds, [&] { hash(largeVideo); }, [&] { hash(smallVideo); });
  compare(
      "JPEG of 10 KB: hash / floor of all bytes", rounds, [&] { hash(smallPhoto); }, [&] { floorOfAll(smallPhoto); });
  compare(
      "JPEG of 1 MB: identify / hash", rounds, [&] { identify(photo); }, [&] { hash(photo); });
  compare(
      "MP4 of 1 GB: identify / hash", rounds, [&] { identify(video); }, [&] { hash(video); });
  compare(
      "BMP of 100 MB: hash / floor of all bytes", rounds, [&] { hash(bitmap); }, [&] { floorOfAll(bitmap); });
  compare(
      "TIFF of 100 MB: hash / floor of all bytes", rounds, [&] { hash(scan); }, [&] { floorOfAll(scan); });

  const std::string zeros(1 << 20, '\0');
  const std::pair<const char*, std::string> pieces[] = {
      {"GIF of 100,000 sub-blocks: hash / reads", gifOfSubBlocks(100'000)},
      {"TIFF of 100,000 strips: hash / reads", tiffOfStrips(100'000)},
      {"JPEG behind 1 MiB of zeros: hash / reads", zeros + jpegHead() + std::string(1000, 'i')},
      {"PNG of 10,000 texts: hash / reads", pngOfTexts(10'000)}};
  for (const auto& [what, bytes] : pieces) {
    const std::string path = makeFile(folder / "pieces", bytes, bytes.size());
    compare(
        what, rounds, [&] { hash(path); }, [&] { readThrough(path); });
  }
}

// ---- Cold reads ----

enum class Advice { none, random, samples };

// The floor of samples with the page cache emptied of the file, in seconds.
double coldFloor(const std::string& path, Advice advice) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status;
  if (file < 0 || fstat(file, &status) != 0) fail(path);
  fdatasync(file);
  posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
  char bytes[163];
  const double seconds = secondsOf(
                             [&] {
                               const off_t gap = status.st_size / 100;
                               if (advice != Advice::none) posix_fadvise(file, 0, 0, POSIX_FADV_RANDOM);
                               for (int i = 0; advice == Advice::samples && i < 100; ++i) {
                                 posix_fadvise(file, gap * i, sizeof(bytes), POSIX_FADV_WILLNEED);
                               }
                               Sha1 sha1;
                               for (int i = 0; i < 100; ++i)
                                 sha1.input(bytes, pread(file, bytes, sizeof(bytes), gap * i));
                             },
                             1)
                             .passed;
  close(file);
  return seconds;
}

double coldHash(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) fail(path);
  posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
  close(file);
  return secondsOf([&] { hash(path); }, 1).passed;
}

void printCold(const fs::path& folder, int rounds) {
  std::printf("%-16s %10s %10s %10s %10s   us\n", "cold reads", "plain", "random", "told all", "hash");
  for (const uint64_t megabytes : {1, 20, 500}) {
    const std::string path = makeFile(folder / "cold", jpegHead(), megabytes * 1000 * 1000);
    std::vector<double> seconds[4];
    for (int i = 0; i < rounds; ++i) {
      for (size_t advice = 0; advice < 3; ++advice) seconds[advice].push_back(coldFloor(path, Advice(advice)));
      seconds[3].push_back(coldHash(path));
    }
    std::printf("%4d MB         ", static_cast<int>(megabytes));
    for (const std::vector<double>& column : seconds) std::printf(" %10.0f", spread(column).median * 1e6);
    std::printf("\n");
  }
}

void makePhotos(const fs::path& folder, int count, const std::vector<std::string>& sizes) {
  fs::create_directories(folder);
  for (int i = 0; i < count; ++i) {
    const auto number = static_cast<uint64_t>(i);
    makeFile(folder / ("photo" + std::to_string(i) + ".jpg"), jpegHead(),
             sizes.empty() ? 10'000 + number % 100 * 2000 : std::stoull(sizes[number % sizes.size()]));
  }
}

void inTemporaryFolder(const std::function<void(const fs::path&)>& work) {
  std::string pattern = fs::temp_directory_path() / "kmhash-bench-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) fail(pattern);
  work(pattern);
  fs::remove_all(pattern);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string what = argc > 1 ? argv[1] : "table";
  const std::vector<std::string> rest(argv + std::min(argc, 2), argv + argc);
  const int rounds = rest.empty() ? 31 : std::max(1, std::atoi(rest[0].c_str()));
  const auto forEach = [&](const std::function<void(const std::string&)>& work) {
    std::for_each(rest.begin(), rest.end(), work);
  };
  if (what == "table") {
    inTemporaryFolder([&](const fs::path& folder) { printTable(folder, rounds); });
  } else if (what == "cold") {
    inTemporaryFolder([&](const fs::path& folder) { printCold(folder, rounds); });
  } else if (what == "photos" && rest.size() >= 2) {
    makePhotos(rest[0], std::atoi(rest[1].c_str()), {rest.begin() + 2, rest.end()});
  } else if (what == "floor" || what == "told") {
    forEach([&](const std::string& path) { floorOf(path, what == "told"); });
  } else if (what == "hash" || what == "identify") {
    forEach(what == "hash" ? hash : identify);
  } else {
    std::fputs(
        "usage: bench_floor table|cold [ROUNDS] | photos FOLDER COUNT [SIZE]... | floor|told|hash|identify FILE...\n",
        stderr);
    return 2;
  }
}
