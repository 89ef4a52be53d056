#include "scan.h"

#include <algorithm>
#include <optional>

#include "partScan.h"
#include "roots.h"

namespace catalogue {
namespace {

bool isEmptyFolder(const std::string& folder) {
  const std::shared_ptr<const DirectoryTree> tree = DirectoryTree::open(folder);
  std::vector<std::string> names, others;
  const Descriptor opened = tree ? tree->openToRead("") : Descriptor();
  return opened.number() >= 0 && DirectoryTree::readNames(opened.number(), &names, &others) == 0 && names.empty() &&
         others.empty();
}

class Scan {
 public:
  Scan(Catalogue& catalogue, const ScanOptions& options, const ScanObserver& observer)
      : call_{catalogue.database(), absoluteFile(catalogue.path()), options, observer, now(), {}, {}} {}

  ScanTotals run(const std::vector<std::string>& folders) {
    for (const std::string& folder : folders) {
      std::vector<std::string> waiting = {absoluteFolder(folder)};
      while (!waiting.empty() && !totals_.stopped) {  // what is mounted in a folder is scanned after it
        const std::string next = std::move(waiting.back());
        waiting.pop_back();
        scanFolder(next, &waiting);
      }
      if (!totals_.stopped) tellOfAbsentBelow(absoluteFolder(folder));
    }
    totals_.isNew -= std::min(totals_.isNew, call_.joined.wereNew);
    totals_.missing -= std::min(totals_.missing, call_.joined.wereMissing);
    return totals_;
  }

 private:
  void scanFolder(const std::string& folder, std::vector<std::string>* waiting) {
    std::optional<Place> place;
    std::optional<Error> error;
    try {
      place = placeOf(folder);
    } catch (const Error& thrown) {
      error = thrown;
    }
    if (const std::optional<Root> root = absentRoot(folder, place)) return tellOfAbsent(folder, *root);
    if (error) {
      ++totals_.unreadable;
      return observer_.unreadable(folder, error->what());
    }
    Transaction transaction(database_);
    Part part = partFor(database_, *place);
    transaction.commit();
    told_.push_back(part.root.id);
    const std::string at = part.root.mounted + part.folder;
    if (at != place->mounted && !areOneDevice(at, place->mounted)) {
      ++totals_.unreadable;
      return observer_.unreadable(folder,
                                  "the disk is a copy of the one at " + at + ", with the same UUID; it is not scanned");
    }
    PartScan(call_, {std::move(part), place->mounted}, waiting).run();
  }

  // Of which files are recorded there, but which is not: the folder is gone, or it is an empty mount point.
  std::optional<Root> absentRoot(const std::string& folder, const std::optional<Place>& place) {
    if (place && !isEmptyFolder(folder)) return std::nullopt;
    for (const Part& part : partsUnder(database_, folder)) {
      if (!folder.starts_with(part.root.mounted)) continue;
      const bool isThatRoot =
          place && part.root.fileSystem == place->fileSystem && place->path.starts_with(part.root.path);
      if (!isThatRoot && !pathNow(placeOf(part.root)) && holdsFiles(database_, part)) return part.root;
    }
    return std::nullopt;
  }

  void tellOfAbsent(const std::string& folder, const Root& root) {
    ++totals_.absent;
    observer_.absent(folder, wordsOf(absenceOf(placeOf(root))));
    for (const Part& part : partsUnder(database_, folder)) told_.push_back(part.root.id);
  }

  void tellOfAbsentBelow(const std::string& folder) {
    for (const Part& part : partsUnder(database_, folder)) {
      const bool isTold = std::find(told_.begin(), told_.end(), part.root.id) != told_.end();
      const bool isBelow = part.folder.empty() && part.root.fileSystem != "unknown";
      if (isTold || !isBelow || pathNow(placeOf(part.root)) || !holdsFiles(database_, part)) continue;
      ++totals_.absent;
      observer_.absent(part.root.mounted, wordsOf(absenceOf(placeOf(part.root))));
      told_.push_back(part.root.id);
    }
  }

  static std::string absoluteFile(const std::string& file) {
    std::string path = absoluteFolder(file);
    path.pop_back();
    return path;
  }

  ScanCall call_;
  Database& database_ = call_.database;
  const ScanObserver& observer_ = call_.observer;
  ScanTotals& totals_ = call_.totals;
  std::vector<int64_t> told_;  // roots that were scanned or are said to be absent
};

}  // namespace

ScanTotals scan(Catalogue& catalogue, const std::vector<std::string>& folders, const ScanOptions& options,
                const ScanObserver& observer) {
  return Scan(catalogue, options, observer).run(folders);
}

}  // namespace catalogue
