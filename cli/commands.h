// The table of commands, each defined in the command's own file.
#pragma once

#include <span>

#include "commandLine.h"

namespace cli {

extern const Command kHashCommand;
extern const Command kCheckCommand;
extern const Command kCompareCommand;
extern const Command kIdentifyCommand;
extern const Command kShowCommand;
extern const Command kVersionCommand;

std::span<const Command* const> allCommands();

// Null for a name that no command has.
const Command* findCommand(std::string_view name);

}  // namespace cli
