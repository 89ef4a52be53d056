// Files that are missing at one place and were found first at another after they were seen last: they have moved, also
// to another disk.
#pragma once

#include <cstdint>

#include "recorder.h"
#include "sqlite.h"

namespace catalogue {

// What a scan has just found.
struct ScanFound {
  int64_t root = 0;
  int64_t time = 0;      // of the scan, at which it recorded what is new and what is missing
  int64_t newSince = 0;  // what of the root was recorded first then or later is new
};

struct MovedFiles {
  uint64_t moved = 0;
  uint64_t wereNew = 0, wereMissing = 0;  // of those, what the scan had counted as such
};

// Joins the records of two paths where one is missing, the other was recorded first after the one was seen last, and
// size, time and hash are equal (and the digests of the whole files, where both are known). Either the scan found one
// of them, or it found that the other is missing. Of several that are equal, those of the same name belong together,
// then those that come first by their paths. The older record goes on at the new path, with the events and hashes of
// both. To be called within a transaction.
MovedFiles joinMoved(Database& database, Recorder& recorder, const ScanFound& found);

}  // namespace catalogue
