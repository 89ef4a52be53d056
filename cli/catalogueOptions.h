// The catalogues that a command works on.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "catalogue.h"
#include "commandLine.h"
#include "output.h"

namespace cli {

// --catalog FILE.
void addCatalogueOption(CommandLine& line, std::string* path);

// --catalog FILE, which may be given again and again.
void addCataloguesOption(CommandLine& line, std::vector<std::string>* paths);

// Opens them, or the default one when none is named, and works on them. Gives the work's exit status, or 1 with a
// message when a catalogue cannot be opened or fails.
int withCatalogues(std::vector<std::string> paths, catalogue::Access access, Output& output,
                   const std::function<int(std::vector<catalogue::Catalogue>&)>& work);

// The same with one catalogue; an empty path is the default one.
int withCatalogue(const std::string& path, catalogue::Access access, Output& output,
                  const std::function<int(catalogue::Catalogue&)>& work);

// "2026-12-31 23:59:59", of nanoseconds since 1970; empty for a time that the system cannot tell.
std::string localTime(int64_t time);

}  // namespace cli
