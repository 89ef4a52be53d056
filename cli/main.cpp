// kmhash: hashes media files, and verifies, compares and explains their hashes.
#include <unistd.h>

#include <algorithm>
#include <exception>

#include "commands.h"
#include "format.h"
#include "output.h"

namespace cli {
namespace {

int runCommand(const Command& command, std::vector<std::string> arguments, Output& output) {
  try {
    CommandLine line;
    const Work work = command.declare(line);
    return work(line.read(std::move(arguments)), output);
  } catch (const HelpWanted&) {
    output.write(helpOf(command));
    return kAllWell;
  } catch (const UsageError& error) {
    output.message(command.name, text::format("{}; see kmhash {} --help", error.what(), command.name));
    return kWrongUsage;
  }
}

int run(std::vector<std::string> arguments, Output& output) {
  if (arguments.empty()) {
    output.message("usage", "a command is needed; see kmhash --help");
    return kWrongUsage;
  }
  std::string name = std::move(arguments.front());
  arguments.erase(arguments.begin());
  if (name == "help" && !arguments.empty()) {
    name = std::move(arguments.front());
    arguments = {"--help"};
  }
  if (name == "help") name = "--help";
  for (const TopOption& row : topOptions()) {
    const std::vector<std::string> names = namesOf(row.option);
    if (std::find(names.begin(), names.end(), name) == names.end()) continue;
    output.write(row.text());
    return kAllWell;
  }
  if (const Command* command = findCommand(name)) return runCommand(*command, std::move(arguments), output);
  output.message(name, "no such command; see kmhash --help");
  return kWrongUsage;
}

// Where an exception finds no memory or is caught by nobody.
[[noreturn]] void endAtOnce() {
  constexpr std::string_view kLine = "kmhash: out of memory, or an internal error\n";
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, kLine.data(), kLine.size());
  _exit(Output::failureStatus);
}

// Before the libraries' own initialisation, which takes memory.
[[gnu::constructor(101)]] void endWithoutAbort() { std::set_terminate(endAtOnce); }

}  // namespace
}  // namespace cli

int main(int argc, char** argv) {
  // Never destroyed: the thread that waits for signals uses it to the end.
  cli::Output& output = *new cli::Output;
  try {
    if (const cli::Command* command = argc > 1 ? cli::findCommand(argv[1]) : nullptr) {
      cli::Output::failureStatus = command->failureStatus;
    }
    cli::endOnSignals(output);
    const int status = cli::run({argv + 1, argv + argc}, output);
    output.finish();
    return status;
  } catch (const std::exception& error) {
    output.fail(error);
  }
}
