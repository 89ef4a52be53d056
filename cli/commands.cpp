#include "commands.h"

namespace cli {

std::span<const Command* const> allCommands() {
  static const Command* const kCommands[] = {&kHashCommand,     &kCheckCommand, &kCompareCommand,
                                             &kIdentifyCommand, &kShowCommand,  &kVersionCommand};
  return kCommands;
}

const Command* findCommand(std::string_view name) {
  for (const Command* command : allCommands()) {
    if (name == command->name) return command;
  }
  return nullptr;
}

}  // namespace cli
