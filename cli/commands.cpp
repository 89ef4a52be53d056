#include "commands.h"

#include "format.h"

namespace cli {

std::span<const Command* const> allCommands() {
  static const Command* const kCommands[] = {&kHashCommand,   &kCheckCommand,  &kCompareCommand, &kIdentifyCommand,
                                             &kShowCommand,   &kScanCommand,   &kStatusCommand,  &kDuplicatesCommand,
                                             &kVerifyCommand, &kReportCommand, &kLogCommand,     &kExportCommand,
                                             &kImportCommand, &kForgetCommand, &kVersionCommand};
  return kCommands;
}

const Command* findCommand(std::string_view name) {
  for (const Command* command : allCommands()) {
    if (name == command->name) return command;
  }
  return nullptr;
}

namespace {

std::string helpOfAll() {
  std::string text = "Usage: kmhash COMMAND [OPTION]... OPERAND...\n";
  for (const std::string& line : wrapped(kOverview, kHelpWidth)) text += line + '\n';
  text += "\nCommands:\n";
  for (const Command* command : allCommands()) {
    text += text::format("  {:10}  {:12}  {}\n", command->name, command->operands, command->summary);
  }
  text += "\nkmhash COMMAND --help shows a command's options.\n\nOptions:\n";
  for (const TopOption& row : topOptions()) text += helpLines(row.option);
  text += "\nExit status:\n";
  for (const ExitStatus& row : kExitStatuses) {
    text += text::format("  {}  {}{}\n", row.status, row.meaning, row.ofCompare);
  }
  return text;
}

std::string versionLine() { return "kmhash " KMHASH_VERSION "\n"; }

}  // namespace

std::span<const TopOption> topOptions() {
  static const TopOption kTopOptions[] = {
      {{"-h,--help", Option::Value::none, "", {}, "Show the commands."}, helpOfAll},
      {{"-V,--version", Option::Value::none, "", {}, "Show the version."}, versionLine},
  };
  return kTopOptions;
}

}  // namespace cli
