// kmhash: hashes media files, and verifies, compares and explains their hashes.
#include <fmt/format.h>

#include <exception>

#include "commands.h"
#include "kmhash.h"
#include "output.h"

namespace cli {
namespace {

const Command* const kCommands[] = {&kHashCommand,     &kCheckCommand, &kCompareCommand,
                                    &kIdentifyCommand, &kShowCommand,  &kVersionCommand};

std::string helpText() {
  std::string text =
      "Usage: kmhash COMMAND [OPTION]... OPERAND...\n"
      "Identity hashes of photos, videos and music: they name the media in a file and stay\n"
      "the same when tags, captions or covers are edited.\n\nCommands:\n";
  for (const Command* command : kCommands) {
    text += fmt::format("  {:8}  {:12}  {}\n", command->name, command->operands, command->summary);
  }
  text +=
      "\nkmhash COMMAND --help shows a command's options.\n"
      "Exit status: 0 all well; 1 a difference was found or some file failed; 2 wrong usage;\n"
      "130 ended by Ctrl-C.\n";
  return text;
}

const Command* findCommand(const std::string& name) {
  for (const Command* command : kCommands) {
    if (name == command->name) return command;
  }
  return nullptr;
}

int runCommand(const Command& command, std::vector<std::string> arguments, Output& output) {
  try {
    CommandLine line(command, std::move(arguments));
    return command.run(line, output);
  } catch (const HelpWanted& help) {
    output.write(help.text);
    return kAllWell;
  } catch (const UsageError& error) {
    output.message(command.name, fmt::format("{}; see kmhash {} --help", visible(error.what()), command.name));
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
  if (name == "--version") name = kVersionCommand.name;
  if (name == "help" && !arguments.empty()) {
    name = std::move(arguments.front());
    arguments = {"--help"};
  }
  if (name == "help" || name == "--help" || name == "-h") {
    output.write(helpText());
    return kAllWell;
  }
  if (const Command* command = findCommand(name)) return runCommand(*command, std::move(arguments), output);
  output.message(name, "no such command; see kmhash --help");
  return kWrongUsage;
}

}  // namespace
}  // namespace cli

int main(int argc, char** argv) {
  // Never destroyed: the thread that waits for signals uses it to the end.
  cli::Output& output = *new cli::Output;
  try {
    cli::endOnSignals(output);
    const int status = cli::run({argv + 1, argv + argc}, output);
    output.finish();
    return status;
  } catch (const std::exception& error) {
    output.fail("internal error", error.what());
  }
}
