// The options of commands that work on many files.
#pragma once

#include <cstdint>
#include <string>

#include "commandLine.h"

namespace cli {

struct RunOptions {
  unsigned jobs = 0;           // 0: as many as suit the disk
  size_t mostJobs = SIZE_MAX;  // more have nothing to do
  std::string progress = "auto";
};

inline void addProgressOption(CommandLine& line, std::string* progress) {
  line.choice("--progress", "WHEN", progress, {"auto", "always", "never"},
              "Show files done and total, rate and time left. WHEN is auto (a line on a terminal), always (also "
              "elsewhere, once a second) or never. The total is not known while names come through a pipe.");
}

inline void addRunOptions(CommandLine& line, RunOptions* options) {
  line.number(
      "-j,--jobs", &options->jobs, 1, 1024,
      "Use N threads; by default one a processor but 8 at least, for files that have to be waited for, and a single "
      "one for a rotating disk. The output is the same for every N.");
  addProgressOption(line, &options->progress);
}

}  // namespace cli
