#include <ctime>
#include <memory>

#include "catalogueOptions.h"
#include "commands.h"
#include "format.h"
#include "hashList.h"
#include "hashText.h"

namespace cli {
namespace {

struct Options {
  std::string catalog, since;
};

constexpr int64_t kSecond = 1'000'000'000;

// Of local time; nothing of it may be left out but from the end.
int64_t timeOf(const std::string& text) {
  for (const char* format : {"%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M", "%Y-%m-%d"}) {
    std::tm parts{};
    parts.tm_isdst = -1;
    const char* end = strptime(text.c_str(), format, &parts);
    if (end != nullptr && *end == '\0') return int64_t{mktime(&parts)} * kSecond;
  }
  throw UsageError(text::format("--since: {}: a date as 2026-12-31 or \"2026-12-31 23:59\" is needed", text));
}

// What two hashes say of a file's media.
std::string comparison(const std::string& before, const std::string& after) {
  if (before.empty() || after.empty() || isNewer(before) || isNewer(after)) return "";
  const int flags = differenceFlags(before, after);
  return flags == 0 ? "  (the media agree)" : text::format("  (the media differ: {})", differenceNames(flags));
}

std::string lineOf(const catalogue::Statement& row) {
  const std::string word = row.text(1), path = row.text(2), oldPath = row.text(5);
  std::string text = text::format("{}  {:8}  {}", localTime(row.number(0)), word, escaped(path));
  if (!oldPath.empty()) text += "  from " + escaped(oldPath);
  if (word == "changed" || word == "back") text += comparison(row.text(3), row.text(4));
  return text + '\n';
}

int run(const Options& options, const std::vector<std::string>& operands, Output& output) {
  if (!operands.empty()) throw UsageError(operands.front() + ": no operand is taken");
  const int64_t since = options.since.empty() ? 0 : timeOf(options.since);
  return withCatalogue(options.catalog, catalogue::Access::read, output, [&](catalogue::Catalogue& catalogue) {
    auto rows = catalogue.database().prepare(
        "SELECT time, word, path, old_hash, new_hash, old_path FROM changes WHERE time >= ? ORDER BY time, path");
    for (rows.with(since); rows.next();) output.write(lineOf(rows));
    return kAllWell;
  });
}

Work declare(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  addCatalogueOption(line, &options->catalog);
  line.text("--since", "DATE", &options->since,
            "Begin with DATE, local time: 2026-12-31 or \"2026-12-31 23:59\", with seconds or not.");
  return
      [options](const std::vector<std::string>& operands, Output& output) { return run(*options, operands, output); };
}

}  // namespace

const Command kLogCommand{
    "log", "", "Tell what changed between scans and verifications",
    "A line for each change: the time of the scan or verification that found it, a word, the path. The words of scan "
    "are new, changed, moved, missing and back; those of verify are its own. Of a changed file is told whether its "
    "media agree, as far as its hash covers them.",
    declare};

}  // namespace cli
