// What createHash costs over many files, for comparison with bench/BenchFiles.java.
//
//   bench_files ROUNDS < LIST   prints minimum and median over the rounds of the microseconds of processor time a file

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <string>
#include <vector>

#include "kmhash.h"

namespace {

double processorMicroseconds() {
  timespec now;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  std::vector<std::string> files;
  for (std::string line; std::getline(std::cin, line);) files.push_back(line);
  if (files.empty()) return 2;
  std::vector<double> rounds(static_cast<size_t>(std::max(1, std::atoi(argv[1]))));
  for (double& round : rounds) {
    const double begin = processorMicroseconds();
    char text[KMHASH_TEXT_SIZE];
    for (const std::string& file : files) createHash(file.c_str(), text, sizeof(text), nullptr);
    round = (processorMicroseconds() - begin) / static_cast<double>(files.size());
  }
  std::sort(rounds.begin(), rounds.end());
  std::printf("%.1f %.1f\n", rounds[0], rounds[rounds.size() / 2]);
}
