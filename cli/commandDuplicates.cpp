#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <set>

#include "catalogueOptions.h"
#include "commands.h"
#include "duplicateFormats.h"
#include "duplicateScript.h"
#include "duplicateSearch.h"
#include "output.h"
#include "place.h"
#include "progress.h"

namespace cli {
namespace {

using catalogue::Catalogue;
using catalogue::Group;
using catalogue::Match;
using catalogue::Member;

struct Options {
  std::vector<std::string> catalogues, references, keep;
  std::string match = "same", under, minSize, to;
  bool json = false, csv = false, fdupes = false, script = false, zero = false;
};

Match matchOf(const std::string& name) {
  return name == "exact" ? Match::exact : name == "content" ? Match::content : Match::same;
}

// "4096", "100K", "2M": units of 1,024.
uint64_t sizeOf(const std::string& text) {
  const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  const size_t unit = text.size() == digits ? 0 : std::string_view("KMGT").find(text.back()) + 1;
  const bool isUnit = text.size() == digits || (text.size() == digits + 1 && unit != 0);
  const bool isSize = digits > 0 && digits <= 15 && isUnit;
  const uint64_t number = isSize ? std::stoull(text.substr(0, digits)) : 0;
  if (!isSize || number > (uint64_t{INT64_MAX} >> (10 * unit))) {
    throw UsageError(fmt::format("--min-size N: a number of bytes, or with K, M, G or T, is needed, not {}", text));
  }
  return number << (10 * unit);
}

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

std::vector<catalogue::KeepRule> keepRulesOf(const Options& options) {
  std::vector<catalogue::KeepRule> rules;
  std::string unknown;
  for (const std::string& text : options.keep) {
    if (readKeepRules(text, &rules, &unknown)) continue;
    throw UsageError(
        fmt::format("--keep RULE: there is no rule \"{}\"; there are {}", unknown, catalogue::keepRuleNames()));
  }
  return rules;
}

catalogue::DuplicateSearch searchFor(const Options& options) {
  catalogue::DuplicateSearch search;
  search.match = matchOf(options.match);
  if (!options.under.empty()) search.under = catalogue::absoluteFolder(options.under);
  if (!options.minSize.empty()) search.minSize = std::max<uint64_t>(1, sizeOf(options.minSize));
  search.judgement.keep = keepRulesOf(options);
  for (const std::string& folder : options.references) {
    search.judgement.references.push_back(catalogue::absoluteFolder(folder));
  }
  search.judgement.digestOf = catalogue::digestIfUnchanged;
  return search;
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
  const catalogue::DuplicateSearch search = searchFor(options);
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
                 fmt::format("{} group{} of {} files; {} of them may go, which would free {}", sums.groups,
                             sums.groups == 1 ? "" : "s", sums.files, sums.toGo, byteWords(sums.freeable)));
  return status;
}
int run(const Options& options, const std::vector<std::string>& operands, Output& output) {
  if (!operands.empty()) throw UsageError(operands.front() + ": there are no operands; --under names a folder");
  if (options.script == options.to.empty()) throw UsageError("--script and --to go together");
  formatOf(options);
  searchFor(options);
  return withCatalogues(options.catalogues, catalogue::Access::read, output,
                        [&](std::vector<Catalogue>& catalogues) { return writeGroups(options, catalogues, output); });
}

Work declare(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  addCataloguesOption(line, &options->catalogues);
  line.choice("--match", "HOW", &options->match, {"same", "content", "exact"},
              "What makes two files duplicates: hashes that compare as identical (same, the default), the content's "
              "digest and the format, though what describes the content differs (content), or equal bytes (exact).");
  line.list("--reference", "DIR", &options->references,
            "Files below DIR always stay, and the others of their group may go. May be given again and again.");
  line.text("--under", "DIR", &options->under,
            "Look only at files below DIR and at those of reference, and tell only groups with one below DIR that may "
            "go or stay.");
  line.text("--min-size", "N", &options->minSize, "Pass over files of fewer bytes; K, M, G or T may follow.");
  line.list(
      "--keep", "RULE[,RULE]...", &options->keep,
      "Which file of a group stays: newest, oldest, largest, smallest, first (in the order of paths), "
      "shortest-path, path:GLOB or most-metadata. Where a rule does not decide the next one does, at last first.");
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
    "duplicates", "", "Tell which files of a catalogue hold the same media",
    "Of each group the file that stays is told first, with \"keep\". The word before each file says how it goes with "
    "that one: link and reflink (it shares its space), exact (the same bytes), metadata (the same media, other bytes "
    "beside it), header (what describes the content differs, with --match content), unread (the bytes could not be "
    "compared). Files that belong to one by their name (sidecars, raw files, the film of a live photo) are named below "
    "it.\n\n"
    "Files are read only to tell exact copies where the catalogue has no digest of them (scan --whole). Nothing is "
    "ever "
    "changed or deleted.",
    declare};

}  // namespace cli
