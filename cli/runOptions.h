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
  line.number("-j,--jobs", &options->jobs, 1, 1024, "Use N threads, by default one a processor");
  line.choice("--progress", &options->progress, {"auto", "always", "never"}, "Show progress; auto: on a terminal");
}

}  // namespace cli
