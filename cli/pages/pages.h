// Manual pages and completions, made from the table of commands and their options, and from the comments of kmhash.h.
#pragma once

#include <istream>
#include <string>
#include <string_view>
#include <vector>

#include "commands.h"

namespace cli {

// In the language of man(7).
std::string manualOfAll();                     // kmhash(1)
std::string manualOf(const Command& command);  // kmhash-COMMAND(1)

// kmhash(3), and the names of the functions that it describes.
struct Interface {
  std::string manual;
  std::vector<std::string> names;
};
Interface readInterface(std::istream& header);

// Pieces of a page. In prose, words in backquotes are set bold, and an empty line begins a paragraph.
std::string manualHeading(std::string_view name, int section, std::string_view summary);
std::string manualProse(std::string_view words);
std::string manualInLine(std::string_view words);
std::string manualBold(std::string_view words);
std::string manualItem(std::string_view tag, std::string_view words);

std::string bashCompletion();
std::string zshCompletion();
std::string fishCompletion();

}  // namespace cli
