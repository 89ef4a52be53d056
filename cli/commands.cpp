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

std::string helpOfAll() {
  std::string text = "Usage: kmhash COMMAND [OPTION]... OPERAND...\n";
  for (const std::string& line : wrapped(kOverview, kHelpWidth)) text += line + '\n';
  text += "\nCommands:\n";
  for (const Command* command : allCommands()) {
    text += text::format("  {:10}  {:12}  {}\n", command->name, command->operands, command->summary);
  }
  text += "\nkmhash COMMAND --help shows a command's options, kmhash --version the version.\n\nExit status:\n";
  for (const ExitStatus& row : kExitStatuses) text += text::format("  {}  {}\n", row.status, row.meaning);
  return text;
}

}  // namespace cli
