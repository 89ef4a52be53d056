// The rows of the table of commands, each defined in the command's own file.
#pragma once

#include "commandLine.h"

namespace cli {

extern const Command kHashCommand;
extern const Command kCheckCommand;
extern const Command kCompareCommand;
extern const Command kIdentifyCommand;
extern const Command kShowCommand;
extern const Command kVersionCommand;

}  // namespace cli
