// The catalogues that a command works on.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "catalogue.h"
#include "commandLine.h"
#include "output.h"

namespace cli {

// --catalog FILE, which may be given again and again.
void addCataloguesOption(CommandLine& line, std::vector<std::string>* paths);

// Opens them, or the default one when none is named, and works on them. Gives the work's exit status, or 1 with a
// message when a catalogue cannot be opened or fails.
int withCatalogues(std::vector<std::string> paths, catalogue::Access access, Output& output,
                   const std::function<int(std::vector<catalogue::Catalogue>&)>& work);

}  // namespace cli
