// What hashing costs by format: reads, bytes read and processor time by version 4, and by version 3 where that takes
// the file.
//
//   bench_formats NAME FILE   prints a row of a table
//
// Reads are calls of readAt; hashing a path makes as many system calls, and those that open and close.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include "kmhash.h"

namespace {

constexpr int kRounds = 41;

struct Counted {
  int descriptor;
  uint64_t reads, bytes;
};

int64_t readAt(void* user, uint64_t offset, void* buffer, uint32_t count) {
  Counted* file = static_cast<Counted*>(user);
  const ssize_t n = pread(file->descriptor, buffer, count, static_cast<off_t>(offset));
  ++file->reads;
  file->bytes += static_cast<uint64_t>(std::max<ssize_t>(n, 0));
  return n;
}

struct Cost {
  int version = 0;  // 0: no hash
  uint64_t reads = 0, bytes = 0;
  std::vector<double> microseconds;
};

int versionOf(const char* path, uint32_t flags) {
  char text[KMHASH_TEXT_SIZE];
  if (kmhashHashFile(path, flags, text, sizeof(text)) != HASHCREATE_SUCCESS) return 0;
  return getAlgorithmMajorVersionFromHash(text);
}

Cost countedCost(const char* path, uint32_t flags) {
  Cost cost;
  cost.version = versionOf(path, flags);
  struct stat status;
  Counted counted = {open(path, O_RDONLY | O_CLOEXEC), 0, 0};
  if (counted.descriptor < 0 || fstat(counted.descriptor, &status) != 0) return {};
  const KmhashSource source = {sizeof(KmhashSource), static_cast<uint64_t>(status.st_size), &counted, readAt};
  char text[KMHASH_TEXT_SIZE];
  kmhashHashSource(&source, flags, text, sizeof(text));
  close(counted.descriptor);
  cost.reads = counted.reads;
  cost.bytes = counted.bytes;
  return cost;
}

double processorMicroseconds() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

double timeOf(const char* path, uint32_t flags) {
  constexpr int kTimes = 20;
  char text[KMHASH_TEXT_SIZE];
  const double begin = processorMicroseconds();
  for (int i = 0; i < kTimes; ++i) kmhashHashFile(path, flags, text, sizeof(text));
  return (processorMicroseconds() - begin) / kTimes;
}

void print(Cost* cost, int version) {
  if (cost->version != version) {
    std::printf(" - | - | - |");
    return;
  }
  std::sort(cost->microseconds.begin(), cost->microseconds.end());
  std::printf(" %llu | %.1f | %.0f (%.0f) |", static_cast<unsigned long long>(cost->reads),
              static_cast<double>(cost->bytes) / 1000, cost->microseconds[0],
              cost->microseconds[cost->microseconds.size() / 2]);
}

}  // namespace

int main(int argc, char** argv) {
  struct stat status;
  if (argc != 3 || stat(argv[2], &status) != 0) return 2;
  Cost four = countedCost(argv[2], KMHASH_PREFER_VERSION_4), three = countedCost(argv[2], 0);
  for (int i = 0; i < kRounds; ++i) {
    four.microseconds.push_back(timeOf(argv[2], KMHASH_PREFER_VERSION_4));
    three.microseconds.push_back(timeOf(argv[2], 0));
  }
  std::printf("| %s | %.1f |", argv[1], static_cast<double>(status.st_size) / 1000);
  print(&four, 4);
  print(&three, 3);
  std::printf("\n");
}
