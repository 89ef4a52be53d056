// Manual pages and completions, made from the table of commands and their options.
#pragma once

#include <string>

#include "commands.h"

namespace cli {

// In the language of man(7).
std::string manualOfAll();                     // kmhash(1)
std::string manualOf(const Command& command);  // kmhash-COMMAND(1)

std::string bashCompletion();
std::string zshCompletion();
std::string fishCompletion();

}  // namespace cli
