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

// Of disks that took turns at one place, the one that is there now is meant: takes the others out of the list.
bool keepAbsent(std::vector<catalogue::Part>* parts) {
  const auto isThere = [](const catalogue::Part& part) {
    return catalogue::pathNow(catalogue::placeOf(part.root)) == part.root.mounted;
  };
  std::set<std::string> taken;
  for (const catalogue::Part& part : *parts) {
    if (isThere(part)) taken.insert(part.root.mounted);
  }
  return std::erase_if(*parts, [&](const catalogue::Part& part) {
           return taken.contains(part.root.mounted) && !isThere(part);
         }) != 0;
}

int run(const Options& options, const std::vector<std::string>& folders, Output& output) {
  if (folders.empty() && !options.missing) throw UsageError("neither a folder nor --missing is named");
  return withCatalogue(options.catalog, catalogue::Access::write, output, [&](catalogue::Catalogue& catalogue) {
    catalogue::Database& database = catalogue.database();
    catalogue::Transaction transaction(database);
    int64_t count = 0;
    int status = kAllWell;
    for (const std::string& folder : folders.empty() ? std::vector<std::string>{"/"} : folders) {
      std::vector<catalogue::Part> parts = partsUnder(database, catalogue::absoluteFolder(folder));
      if (!options.missing && keepAbsent(&parts)) {
        output.message(folder, "of another disk that was there before nothing is forgotten");
      }
      const int64_t before = count;
      for (const catalogue::Part& part : parts) count += forget(database, part, options.missing);
      if (count > before || options.missing) continue;
      output.message(folder, "nothing is recorded there");
      status = kSomethingFailed;
    }
    transaction.commit();
    output.message(catalogue.path(), text::format("{} file{} forgotten", count, count == 1 ? "" : "s"));
    return status;
  });
}

Work declare(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  addCatalogueOption(line, &options->catalog);
  line.flag("--missing", &options->missing, "Forget missing files only; without a DIR, those of all folders.");
  return [options](const std::vector<std::string>& folders, Output& output) { return run(*options, folders, output); };
}

}  // namespace

const Command kForgetCommand{"forget", "DIR...", "Take files out of a catalogue",
                             "The records of all files below each DIR are removed, with their events. It need not be "
                             "there any more, and no file on a disk is touched. Where disks took turns at one place, "
                             "those of the one that is there now are removed.",
                             declare};

}  // namespace cli
