// What catalogues hold, counted.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "catalogue.h"
#include "verificationLog.h"

namespace catalogue {

struct Count {
  uint64_t files = 0, bytes = 0;
};

struct RootStatus {
  Root root;
  Count present;
  std::string absent;  // why it is not here; empty: it is
};

struct Status {
  Count hashed, unsupported, failed, missing;
  std::vector<RootStatus> roots;
  // Of the files that are there. Years are those of modification, in UTC; folders those directly in a root, absolute.
  std::map<std::string, Count> formats, years, folders;
  std::vector<VerificationRecord> verifications;  // the last one of each catalogue that has any
};

// Adds what a catalogue holds.
void addStatus(Catalogue& catalogue, Status* status);

}  // namespace catalogue
