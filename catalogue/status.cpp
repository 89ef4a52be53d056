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

// In SQL: how many files a table has, and how many bytes they are, for each value of an expression.
std::string counted(const std::string& expression, const std::string& table) {
  return "SELECT " + expression + ", count(*), CAST(total(max(size, 0)) AS INTEGER) FROM " + table + " GROUP BY 1";
}

void addNamed(Database& database, const std::string& sql, std::map<std::string, Count>* counts) {
  for (Statement rows = database.prepare(sql); rows.next();) add(&(*counts)[rows.text(0)], countAt(rows, 1));
}

void addWords(Database& database, Status* status) {
  Statement rows = database.prepare(counted("iif(missing_since IS NULL, status, 'missing')", "files"));
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
  Statement count = database.prepare(counted("root", "files WHERE root = ? AND missing_since IS NULL"));
  for (Root& root : allRoots(database)) {
    RootStatus made;
    if (count.with(root.id).next()) made.present = countAt(count, 1);
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
  addNamed(database, counted("coalesce(format_type, '')", "present WHERE status = 'hashed'"), &status->formats);
  addNamed(
      database,
      counted("coalesce(strftime('%Y', mtime_ns / 1000000000, 'unixepoch'), '')", "files WHERE missing_since IS NULL"),
      &status->years);
  addNamed(database,
           counted("mounted || substr(files.path, 1, instr(files.path, '/'))",
                   "files JOIN roots ON roots.id = files.root WHERE missing_since IS NULL"),
           &status->folders);
  if (auto last = lastVerification(database)) status->verifications.push_back(std::move(*last));
}

}  // namespace catalogue
