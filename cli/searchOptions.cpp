#include "searchOptions.h"

#include <algorithm>

#include "catalogueOptions.h"
#include "format.h"
#include "place.h"

namespace cli {
namespace {

using catalogue::Match;

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
    throw UsageError(text::format("--min-size N: a number of bytes, or with K, M, G or T, is needed, not {}", text));
  }
  return number << (10 * unit);
}

std::vector<catalogue::KeepRule> keepRulesOf(const SearchOptions& options) {
  std::vector<catalogue::KeepRule> rules;
  std::string unknown;
  for (const std::string& text : options.keep) {
    if (readKeepRules(text, &rules, &unknown)) continue;
    throw UsageError(
        text::format("--keep RULE: there is no rule \"{}\"; there are {}", unknown, catalogue::keepRuleNames()));
  }
  return rules;
}

}  // namespace

void addSearchOptions(CommandLine& line, SearchOptions* options) {
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
  line.list("--keep", "RULE[,RULE]...", &options->keep,
            "Which file of a group stays: newest, oldest, largest, smallest, first (in the order of paths), "
            "shortest-path, path:GLOB or most-metadata. Where a rule does not decide the next one does, at last first. "
            "May be given again and again.");
}

catalogue::DuplicateSearch searchFor(const SearchOptions& options) {
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

}  // namespace cli
