// What catalogues hold as a whole, in the sums that the page draws.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "catalogue.h"
#include "thumbnails.h"
#include "verificationLog.h"

namespace report {

struct Sum {
  uint64_t files = 0, bytes = 0;
};

// What the last verification of each catalogue said, by the words of `kmhash verify`.
struct Verification {
  catalogue::VerificationRecord last;                         // the latest of them; started is 0: there was none
  std::vector<std::string> folders;                           // that they covered, absolute
  std::map<std::string, uint64_t> words;                      // and of how many files
  std::vector<std::pair<std::string, std::string>> findings;  // word and path of what is not well
  uint64_t more = 0;                                          // findings that are not among them
};

struct Overview {
  Sum all;                                              // files that are not missing
  std::map<std::pair<std::string, Kind>, Sum> formats;  // "JPEG", Kind::photo
  std::map<std::pair<int64_t, Kind>, Sum> years;        // of modification
  Verification verification;
};

// Throws catalogue::Error.
Overview overviewOf(std::vector<catalogue::Catalogue>& catalogues);

// Of a file with that file type in its hash ("PHOTO") or that algorithm (-1: not known).
Kind kindOf(const std::string& fileType);
std::string formatOf(int64_t algorithm);

}  // namespace report
