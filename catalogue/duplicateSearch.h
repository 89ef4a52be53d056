// Finds duplicates in catalogues: a pass over an index tells which files agree, and only those are looked at. What is
// in memory is one group at a time.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "catalogue.h"
#include "duplicates.h"

namespace catalogue {

struct DuplicateSearch {
  Match match = Match::same;
  std::string under;     // only files below this folder or one of reference, and no group without one; empty: all
  uint64_t minSize = 1;  // bytes
  Judgement judgement;
};

// Hands over the judged groups, in an order that is the same for the same files. Files that are missing, and imported
// ones whose size is not known, take no part; a file that is in two catalogues is one. For Match::exact the files of
// one size are told apart by their digests. Throws Error.
void findDuplicates(std::vector<Catalogue>& catalogues, const DuplicateSearch& search,
                    const std::function<void(const Group&)>& take);

// Digests a file that has the size and the time that the member says; empty when it cannot be read or is another.
std::string digestIfUnchanged(const Member& member);

}  // namespace catalogue
