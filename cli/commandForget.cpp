#include <algorithm>
#include <memory>
#include <set>

#include "catalogueOptions.h"
#include "commands.h"
#include "format.h"
#include "roots.h"

namespace cli {
namespace {

struct Options {
  std::string catalog;
  bool missing = false;
  bool absent = false;
};

int64_t forget(catalogue::Database& database, const catalogue::Part& part, bool onlyMissing) {
  const std::string condition = onlyMissing ? " AND missing_since IS NOT NULL" : "";
  database.prepare(std::string("DELETE FROM files WHERE ") + catalogue::kIsInPart + condition)
      .with(part.root.id, part.folder, catalogue::endOf(part.folder))
      .run();
  const int64_t count = database.changes();
  if (!onlyMissing && part.folder.empty()) {
    database.prepare("DELETE FROM roots WHERE id = ?").with(part.root.id).run();
  }
  return count;
}

bool isThere(const catalogue::Part& part) {
  return catalogue::pathNow(catalogue::placeOf(part.root)) == part.root.mounted;
}

// Where the disk was mounted: the folder without what it has in common with its path on the disk.
std::string mountPointOf(const catalogue::Root& root) {
  const auto end =
      std::mismatch(root.mounted.rbegin(), root.mounted.rend(), root.path.rbegin(), root.path.rend()).first;
  return root.mounted.substr(0, root.mounted.find('/', static_cast<size_t>(root.mounted.rend() - end)) + 1);
}

// Of disks that took turns at one mount point, the one that is there now is meant. True when others were left out.
bool leaveOutAbsent(std::vector<catalogue::Part>* parts) {
  std::set<std::string> taken;
  for (const catalogue::Part& part : *parts) {
    if (isThere(part)) taken.insert(mountPointOf(part.root));
  }
  return std::erase_if(*parts, [&](const catalogue::Part& part) {
           return !isThere(part) && taken.contains(mountPointOf(part.root));
         }) != 0;
}

// Gives how many files of the folder were forgotten.
int64_t forgetFolder(catalogue::Database& database, const Options& options, const std::string& folder, Output& output) {
  std::vector<catalogue::Part> parts = partsUnder(database, catalogue::absoluteFolder(folder));
  if (options.absent) std::erase_if(parts, isThere);
  const bool areKept = !options.absent && !options.missing && leaveOutAbsent(&parts);
  int64_t count = 0;
  for (const catalogue::Part& part : parts) count += forget(database, part, options.missing);
  if (areKept) {
    output.message(folder, "nothing is forgotten of a disk that was mounted there before; --absent does that");
  } else if (count == 0 && !options.missing) {
    output.message(folder, "nothing is recorded there");
  }
  return count;
}

int run(const Options& options, const std::vector<std::string>& folders, Output& output) {
  if (folders.empty() && !options.missing) throw UsageError("neither a folder nor --missing is named");
  return withCatalogue(options.catalog, catalogue::Access::write, output, [&](catalogue::Catalogue& catalogue) {
    catalogue::Transaction transaction(catalogue.database());
    int64_t total = 0;
    int status = kAllWell;
    for (const std::string& folder : folders.empty() ? std::vector<std::string>{"/"} : folders) {
      const int64_t count = forgetFolder(catalogue.database(), options, folder, output);
      total += count;
      if (count == 0 && !options.missing) status = kSomethingFailed;
    }
    transaction.commit();
    output.message(catalogue.path(), text::format("{} file{} forgotten", total, total == 1 ? "" : "s"));
    return status;
  });
}

Work declare(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  addCatalogueOption(line, &options->catalog);
  line.flag("--missing", &options->missing, "Forget missing files only; without a DIR, those of all folders.");
  line.flag("--absent", &options->absent, "Forget only what is recorded of disks and folders that are not here now.");
  return [options](const std::vector<std::string>& folders, Output& output) { return run(*options, folders, output); };
}

}  // namespace

const Command kForgetCommand{"forget", "DIR...", "Take files out of a catalogue",
                             "The records of all files below each DIR are removed, with their events. It need not be "
                             "there any more, and no file on a disk is touched.\n\n"
                             "Where disks took turns at one mount point, those of the one that is there now are "
                             "removed; when none of them is there, those of all.",
                             declare};

}  // namespace cli
