// Takes records over that were made elsewhere.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "catalogue.h"

namespace catalogue {

struct ImportedFile {
  std::string path;  // absolute
  std::optional<int64_t> size, modifiedNs;
  std::string status{kStatusHashed};
  int64_t result = 0;
  std::string hash;  // 128 characters; empty: none
};

struct ImportTotals {
  uint64_t added = 0, known = 0;  // known: recorded before; what that lacked was added to it
};

// A file goes to the root that it lies in, else to one of file system 'unknown', until a scan finds it. What is
// recorded already stays; but of rows of one path that no scan has seen the latest modification counts, and of two such
// ones the one with a hash. For many files, within a transaction of the caller.
class Importer {
 public:
  explicit Importer(Catalogue& catalogue);
  void add(const ImportedFile& file);

  // All that another catalogue holds, but for its events.
  void add(Catalogue& other);

  const ImportTotals& totals() const { return totals_; }

 private:
  const Root& rootFor(const std::string& path);
  bool isOfLatest(int64_t id, const FileRecord& file);
  int64_t insert(const FileRecord& file, int64_t root, const std::string& path);
  void addHash(int64_t file, const std::string& kind, const HashRecord& hash);
  void addRoot(Catalogue& other, const Root& root);

  Database& database_;
  std::vector<Root> roots_;
  Statement insert_, find_, addHash_, recorded_, replace_, dropHashes_;
  ImportTotals totals_;
};

}  // namespace catalogue
