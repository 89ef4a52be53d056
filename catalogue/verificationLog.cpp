#include "verificationLog.h"

#include "catalogue.h"

namespace catalogue {
namespace {

std::map<std::string, uint64_t> wordsOf(Database& database, const char* sql, int64_t key) {
  std::map<std::string, uint64_t> words;
  Statement rows = database.prepare(sql);
  for (rows.with(key); rows.next();) words[rows.text(0)] = static_cast<uint64_t>(rows.number(1));
  return words;
}

}  // namespace

std::optional<VerificationRecord> lastVerification(Database& database) {
  Statement last = database.prepare(
      "SELECT id, started, ended IS NOT NULL, whole, percent FROM verifications WHERE ended IS NOT NULL OR EXISTS "
      "(SELECT 1 FROM events WHERE time = started) ORDER BY started DESC, id DESC LIMIT 1");
  if (!last.next()) return std::nullopt;
  VerificationRecord made;
  const int64_t id = last.number(0);
  made.started = last.number(1);
  made.isEnded = last.number(2) != 0;
  if (!last.isNull(3)) made.whole = last.number(3) != 0;
  made.percent = last.numberOrNull(4);
  Statement folders = database.prepare(
      "SELECT mounted || folder FROM verified_folders JOIN roots ON roots.id = root WHERE verification = ? ORDER BY 1");
  for (folders.with(id); folders.next();) made.folders.push_back(folders.text(0));
  made.words = made.isEnded
                   ? wordsOf(database, "SELECT word, files FROM verified_words WHERE verification = ?", id)
                   : wordsOf(database, "SELECT word, count(*) FROM events WHERE time = ? GROUP BY word", made.started);
  return made;
}

VerificationLog::VerificationLog(Database& database, int64_t time, bool whole, unsigned percent) : database_(database) {
  database.prepare("INSERT INTO verifications (started, whole, percent) VALUES (?, ?, ?)")
      .with(time, whole, static_cast<int64_t>(percent))
      .run();
  id_ = database.lastId();
}

void VerificationLog::addFolder(int64_t root, const std::string& folder) {
  database_.prepare("INSERT OR IGNORE INTO verified_folders VALUES (?, ?, ?)").with(id_, root, folder).run();
}

void VerificationLog::end(const std::map<std::string, uint64_t>& words) {
  Statement add = database_.prepare("INSERT INTO verified_words VALUES (?, ?, ?)");
  for (const auto& [word, files] : words) add.with(id_, word, static_cast<int64_t>(files)).run();
  database_.prepare("UPDATE verifications SET ended = ? WHERE id = ?").with(now(), id_).run();
}

}  // namespace catalogue
