#include "overview.h"

#include <algorithm>
#include <string_view>

#include "kmhash.h"

namespace report {
namespace {

using catalogue::Catalogue;
using catalogue::Statement;

// One row for each format, kind and year. Files of no supported format have neither of the first two.
constexpr const char* kSumsSql =
    "SELECT hashes.algorithm, hashes.file_type,"
    " CAST(strftime('%Y', files.mtime_ns / 1000000000, 'unixepoch') AS INTEGER),"
    " count(*), CAST(total(max(files.size, 0)) AS INTEGER)"
    " FROM files LEFT JOIN hashes ON hashes.file = files.id"
    " AND hashes.kind IN ('sampled', 'quick')"
    " WHERE files.missing_since IS NULL AND files.size IS NOT NULL GROUP BY 1, 2, 3";

void add(Sum* sum, const Statement& row) {
  sum->files += static_cast<uint64_t>(row.number(3));
  sum->bytes += static_cast<uint64_t>(row.number(4));
}

void addSums(Catalogue& catalogue, Overview* overview) {
  Statement row = catalogue.database().prepare(kSumsSql);
  while (row.next()) {
    const Kind kind = kindOf(row.text(1));
    add(&overview->all, row);
    add(&overview->formats[{formatOf(row.isNull(0) ? -1 : row.number(0)), kind}], row);
    add(&overview->years[{row.number(2), kind}], row);
  }
}

constexpr const char* kFindingsSql = "SELECT word, path FROM events WHERE time = ? ORDER BY 1, 2";

void addVerification(Catalogue& catalogue, Verification* verification) {
  constexpr size_t kMostFindings = 1000, kMostBytes = 256 * 1024;
  const std::optional<catalogue::VerificationRecord> last = lastVerification(catalogue.database());
  if (!last) return;
  for (const auto& [word, files] : last->words) verification->words[word] += files;
  verification->folders.insert(verification->folders.end(), last->folders.begin(), last->folders.end());
  if (last->started > verification->last.started) verification->last = *last;
  Statement row = catalogue.database().prepare(kFindingsSql);
  size_t bytes = 0;
  for (row.with(last->started); row.next();) {
    bytes += row.text(1).size();
    if (verification->findings.size() < kMostFindings && bytes < kMostBytes) {
      verification->findings.emplace_back(row.text(0), row.text(1));
    } else {
      ++verification->more;
    }
  }
}

}  // namespace

Kind kindOf(const std::string& fileType) {
  if (fileType == "PHOTO") return Kind::photo;
  if (fileType == "VIDEO") return Kind::video;
  return fileType == "AUDIO" ? Kind::audio : Kind::other;
}

std::string formatOf(int64_t algorithm) {
  if (algorithm == KMHASH_ALGORITHM_QUICK) return "other";
  const char* name = algorithm >= 0 ? kmhashAlgorithmName(static_cast<uint32_t>(algorithm)) : nullptr;
  if (name == nullptr) return "other";
  // the two versions' names of one family
  constexpr std::pair<std::string_view, const char*> kFamilies[] = {{"ISOMEDIA", "MP4"}, {"MPEGAUDIO", "MP3"}};
  for (const auto& [other, family] : kFamilies) {
    if (name == other) return family;
  }
  return name;
}

Overview overviewOf(std::vector<Catalogue>& catalogues) {
  Overview overview;
  for (Catalogue& catalogue : catalogues) {
    addSums(catalogue, &overview);
    addVerification(catalogue, &overview.verification);
  }
  return overview;
}

}  // namespace report
