// The scanned folders of a catalogue: found by what they are, or by where they were.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "place.h"
#include "records.h"
#include "sqlite.h"

namespace catalogue {

std::vector<Root> allRoots(Database& database);

inline Place placeOf(const Root& root) { return {root.fileSystem, root.path, root.mounted}; }

// A folder of a root with all that is below it. An empty folder is the whole root, others end with '/'.
struct Part {
  Root root;
  std::string folder;
};

// In SQL: the files whose path stands between the parameters ?2 and ?3, of the root ?1, which are to be root.id, folder
// and endOf(folder).
inline constexpr const char* kIsInPart =
    "files.root = ?1 AND files.path >= ?2 AND files.path < iif(?3 = '', X'FF', ?3)";
std::string endOf(const std::string& folder);

// Where the files below an absolute folder were, which ends with '/'. What it is now plays no part.
std::vector<Part> partsUnder(Database& database, const std::string& folder);

// The part that a folder is, which is made a root when it is in none. Roots within a new one become a part of it, as do
// imported files. Throws Error::notThere when it is no folder that can be opened.
Part partFor(Database& database, const Place& folder);

// Whether files are recorded that are not missing.
bool holdsFiles(Database& database, const Part& part);

}  // namespace catalogue
