// Another program that is given a file it may not be trusted with: bounded in time, memory and output, without a shell,
// and where the kernel allows it without a network and with nothing that outlives it.
#pragma once

#include <string>
#include <vector>

namespace report {

struct ProcessLimits {
  unsigned seconds = 20;               // of the clock, and half of that of the processor
  uint64_t memory = 1ULL << 30;        // bytes of address space
  size_t output = 256 * size_t{1024};  // bytes; a program that writes more is ended
};

// Where a program lies in the folders of PATH; empty when in none.
std::string findProgram(const std::string& name);

// What the program writes to its standard output with the descriptor as its standard input, when it ends with status 0
// within its limits; empty otherwise. It cannot write to files, has no other descriptor open but an error output that
// leads nowhere, and ends with the thread that calls; what it starts itself ends with it. May be called on any number
// of threads, in a process that does not ignore SIGCHLD.
std::string outputOfProgram(const std::string& program, const std::vector<std::string>& arguments, int input,
                            const ProcessLimits& limits);

}  // namespace report
