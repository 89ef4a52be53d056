// Verifications as a catalogue records them: when, what was covered, of how many files which word was said.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sqlite.h"

namespace catalogue {

inline constexpr const char* kNotCompared = "not-compared";  // beside the words: nothing was recorded to compare with

struct VerificationRecord {
  int64_t started = 0;                    // its events have this time
  bool isEnded = false;                   // false: it was interrupted, and its words are those of its events
  std::optional<bool> whole;              // every byte was to be compared; nothing: not known, as of percent
  std::optional<int64_t> percent;         // of the files that were read
  std::vector<std::string> folders;       // absolute; none: not known
  std::map<std::string, uint64_t> words;  // numbers of files
};

// The last one that reached its end or found something.
std::optional<VerificationRecord> lastVerification(Database& database);

class VerificationLog {
 public:
  VerificationLog(Database& database, int64_t time, bool whole, unsigned percent);
  void addFolder(int64_t root, const std::string& folder);  // below the root
  void end(const std::map<std::string, uint64_t>& words);

 private:
  Database& database_;
  int64_t id_ = 0;
};

}  // namespace catalogue
