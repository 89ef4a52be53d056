#include "status.h"

#include "roots.h"

namespace catalogue {
namespace {

Count countAt(const Statement& row, int column) {
  return {static_cast<uint64_t>(row.number(column)), static_cast<uint64_t>(row.number(column + 1))};
}

void add(Count* count, const Count& more) {
  count->files += more.files;
  count->bytes += more.bytes;
}

// The query's rows: a name, number of files, bytes.
void addNamed(Database& database, const char* sql, std::map<std::string, Count>* counts) {
  for (Statement rows = database.prepare(sql); rows.next();) add(&(*counts)[rows.text(0)], countAt(rows, 1));
}

void addWords(Database& database, Status* status) {
  Statement rows = database.prepare(
      "SELECT iif(missing_since IS NULL, status, 'missing') AS word, count(*), CAST(total(max(size, 0)) AS INTEGER) "
      "FROM files GROUP "
      "BY word");
  while (rows.next()) {
    const std::string word = rows.text(0);
    Count* count = word == kStatusHashed        ? &status->hashed
                   : word == kStatusUnsupported ? &status->unsupported
                   : word == kStatusFailed      ? &status->failed
                                                : &status->missing;
    add(count, countAt(rows, 1));
  }
}

void addRoots(Database& database, Status* status) {
  Statement count = database.prepare(
      "SELECT count(*), CAST(total(max(size, 0)) AS INTEGER) FROM files WHERE root = ? AND missing_since IS NULL");
  for (Root& root : allRoots(database)) {
    RootStatus made;
    if (count.with(root.id).next()) made.present = countAt(count, 0);
    if (!pathNow(placeOf(root))) made.absent = wordsOf(absenceOf(placeOf(root)));
    made.root = std::move(root);
    status->roots.push_back(std::move(made));
  }
}

}  // namespace

void addStatus(Catalogue& catalogue, Status* status) {
  Database& database = catalogue.database();
  addWords(database, status);
  addRoots(database, status);
  addNamed(database,
           "SELECT coalesce(format_type, ''), count(*), CAST(total(max(size, 0)) AS INTEGER) FROM present WHERE status "
           "= 'hashed' "
           "GROUP BY 1",
           &status->formats);
  addNamed(database,
           "SELECT coalesce(strftime('%Y', mtime_ns / 1000000000, 'unixepoch'), ''), count(*), CAST(total(max(size, "
           "0)) AS INTEGER) "
           "FROM files WHERE missing_since IS NULL GROUP BY 1",
           &status->years);
  addNamed(
      database,
      "SELECT mounted || substr(files.path, 1, instr(files.path, '/')), count(*), CAST(total(max(size, 0)) AS INTEGER) "
      "FROM files JOIN roots ON roots.id = files.root WHERE missing_since IS NULL GROUP BY 1",
      &status->folders);
  if (auto last = lastVerification(database)) status->verifications.push_back(std::move(*last));
}

}  // namespace catalogue
