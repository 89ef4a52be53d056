#include <algorithm>
#include <memory>
#include <set>

#include "catalogueOptions.h"
#include "commands.h"
#include "duplicateFormats.h"
#include "duplicateScript.h"
#include "format.h"
#include "output.h"
#include "place.h"
#include "progress.h"
#include "searchOptions.h"

namespace cli {
namespace {

using catalogue::Catalogue;
using catalogue::Group;
using catalogue::Member;

struct Options {
  SearchOptions search;
  std::string to;
  bool json = false, csv = false, fdupes = false, script = false, zero = false;
};

const DuplicateFormat& formatOf(const Options& options) {
  const std::pair<bool, const DuplicateFormat*> formats[] = {{options.json, &kGroupJson},
                                                             {options.csv, &kGroupCsv},
                                                             {options.fdupes, &kGroupFdupes},
                                                             {options.zero, &kGroupZero}};
  const DuplicateFormat* chosen = &kGroupText;
  for (const auto& [isWanted, format] : formats) {
    if (isWanted) chosen = format;
  }
  if (options.json + options.csv + options.fdupes + options.zero + options.script > 1) {
    throw UsageError("of --json, --csv, --fdupes, --script and --zero one can be written at a time");
  }
  return *chosen;
}

void addTo(DuplicateSums* sums, const Group& group) {
  std::set<uint32_t> toGo;
  for (const Member& member : group.members) {
    if (!member.isKept) toGo.insert(member.file);
  }
  ++sums->groups;
  sums->files += countFiles(group);
  sums->toGo += toGo.size();
  sums->freeable += group.freeable;
}

// A line ends a name there.
bool lacksName(const Group& group, Output& output) {
  bool any = false;
  for (const Member& member : group.members) {
    if (member.path.find('\n') == std::string::npos) continue;
    output.message(member.path, "has a newline in its name, for which --fdupes has no sign; its group is left out");
    any = true;
  }
  return any;
}

size_t countRoots(std::vector<Catalogue>& catalogues) {
  int64_t count = 0;
  for (Catalogue& catalogue : catalogues) count += catalogue.database().number("SELECT count(*) FROM roots");
  return static_cast<size_t>(count);
}

std::string folderTo(const Options& options) {
  std::string folder = catalogue::absoluteFolder(options.to);
  folder.pop_back();  // the slash at its end
  return folder;
}

int writeGroups(const Options& options, std::vector<Catalogue>& catalogues, Output& output) {
  const catalogue::DuplicateSearch search = searchFor(options.search);
  const DuplicateFormat& format = formatOf(options);
  const bool areSeveralRoots = options.script && countRoots(catalogues) > 1;
  DuplicateSums sums;
  int status = kAllWell;
  output.write(options.script ? scriptBegin(folderTo(options)) : format.begin());
  findDuplicates(catalogues, search, [&](const Group& group) {
    if (options.fdupes && lacksName(group, output)) {
      status = kSomethingFailed;
      return;
    }
    addTo(&sums, group);
    output.write(options.script ? scriptGroup(group, areSeveralRoots) : format.group(group, sums.groups));
  });
  output.write(options.script ? scriptEnd() : format.end(sums));
  output.message("duplicates",
                 text::format("{} group{} of {} files; {} of them may go, which would free {}", sums.groups,
                              sums.groups == 1 ? "" : "s", sums.files, sums.toGo, byteWords(sums.freeable)));
  return status;
}

int run(const Options& options, const std::vector<std::string>& operands, Output& output) {
  if (!operands.empty()) throw UsageError(operands.front() + ": there are no operands; --under names a folder");
  if (options.script == options.to.empty()) throw UsageError("--script and --to go together");
  formatOf(options);
  searchFor(options.search);
  return withCatalogues(options.search.catalogues, catalogue::Access::read, output,
                        [&](std::vector<Catalogue>& catalogues) { return writeGroups(options, catalogues, output); });
}

Work declare(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  addSearchOptions(line, &options->search);
  line.flag("--json", &options->json, "Write a JSON object for each group, and one for the sums at the end.");
  line.flag("--csv", &options->csv, "Write a line with commas for each file, below a line of names.");
  line.flag("--fdupes", &options->fdupes, "Write the paths of each group, one a line, and an empty line behind them.");
  line.flag("--script", &options->script,
            "Write a script for sh that moves the files that may go into the folder of --to. It is to be read first, "
            "checks each file again before it moves it, and stops at the first that is not as it was.");
  line.text("--to", "DIR", &options->to, "Where the script moves files to.");
  line.flag("-z,--zero", &options->zero, "Write the paths of the files that may go, each ended by NUL.");
  return
      [options](const std::vector<std::string>& operands, Output& output) { return run(*options, operands, output); };
}

}  // namespace

const Command kDuplicatesCommand{
    "duplicates",
    "",
    "Tell which files of a catalogue hold the same media",
    "Of each group the file that stays is told first, with \"keep\". The word before each file says how it goes with "
    "that one: link and reflink (it shares its space), exact (the same bytes), metadata (the same media, other bytes "
    "beside it), header (what describes the content differs, with --match content), unread (the bytes could not be "
    "compared). Files that belong to one by their name (sidecars, raw files, the film of a live photo) are named below "
    "it.\n\n"
    "Files are read only to tell exact copies where the catalogue has no digest of them (scan --whole). Nothing is "
    "ever changed or deleted.",
    declare,
    "",
    "kmhash duplicates\n"
    "kmhash duplicates --keep oldest --script --to ~/set-aside >move.sh"};

}  // namespace cli
