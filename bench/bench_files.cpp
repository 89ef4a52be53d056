// What createHash costs over many files, for comparison with bench/BenchFiles.java.
//
//   bench_files ROUNDS [BEFORE] < LIST   prints minimum and median over the rounds of the microseconds a file: of
//                                        processor time, or with a command to run before each round of time that passed

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <string>
#include <vector>

#include "kmhash.h"

namespace {

double microseconds(clockid_t clock) {
  timespec now;
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3) return 2;
  const char* before = argv[2];
  const clockid_t clock = before != nullptr ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID;
  std::vector<std::string> files;
  for (std::string line; std::getline(std::cin, line);) files.push_back(line);
  if (files.empty()) return 2;
  std::vector<double> rounds(static_cast<size_t>(std::max(1, std::atoi(argv[1]))));
  for (double& round : rounds) {
    if (before != nullptr && std::system(before) != 0) return 1;
    const double begin = microseconds(clock);
    char text[KMHASH_TEXT_SIZE];
    for (const std::string& file : files) createHash(file.c_str(), text, sizeof(text), nullptr);
    round = (microseconds(clock) - begin) / static_cast<double>(files.size());
  }
  std::sort(rounds.begin(), rounds.end());
  std::printf("%.1f %.1f\n", rounds[0], rounds[rounds.size() / 2]);
}
