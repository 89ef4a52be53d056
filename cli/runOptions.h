// The options of commands that work on many files.
#pragma once

#include <algorithm>
#include <string>
#include <thread>

#include "commandLine.h"

namespace cli {

struct RunOptions {
  unsigned jobs = std::max(1U, std::thread::hardware_concurrency());
  std::string progress = "auto";
};

inline void addRunOptions(CommandLine& line, RunOptions* options) {
  line.number("-j,--jobs", &options->jobs, 1, 1024,
              "Use N threads, by default one a processor. The output is the same for every N.");
  line.choice("--progress", "WHEN", &options->progress, {"auto", "always", "never"},
              "Show files done and total, rate and time left. WHEN is auto (a line on a terminal), always (also "
              "elsewhere, once a second) or never. The total is not known while names come through a pipe.");
}

}  // namespace cli
