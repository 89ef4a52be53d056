#include "sqlite.h"

#include <cerrno>

namespace catalogue {
namespace {

using Kind = Error::Kind;

// How long a statement waits for another process that writes.
constexpr int kBusyWaits = 5000;

struct CodeWords {
  int code;
  Kind kind;
  const char* words;
};
constexpr CodeWords kWords[] = {
    {SQLITE_CORRUPT, Kind::damaged, "the catalogue is damaged"},
    {SQLITE_NOTADB, Kind::foreign, "is no catalogue"},
    {SQLITE_BUSY, Kind::inUse, "another process is writing to the catalogue"},
    {SQLITE_READONLY, Kind::readOnly, "the catalogue cannot be written to"},
    {SQLITE_CANTOPEN, Kind::readOnly, "the catalogue cannot be opened, or its folder not be written to"},
    {SQLITE_FULL, Kind::full, "no space is left for the catalogue"},
};

// A full disk that is met elsewhere than in a write, as in what the processes share.
bool isOfSpace(sqlite3* database, int code) {
  if ((code & 0xFF) != SQLITE_IOERR || database == nullptr) return false;
  const int error = sqlite3_system_errno(database);
  return error == ENOSPC || error == EDQUOT;
}

}  // namespace

void throwError(sqlite3* database, int code) {
  if (isOfSpace(database, code)) code = SQLITE_FULL;
  for (const CodeWords& row : kWords) {
    if (row.code == (code & 0xFF)) throw Error(row.kind, row.words);
  }
  throw Error(Kind::other, database != nullptr ? sqlite3_errmsg(database) : sqlite3_errstr(code));
}

// ---- Statement ----

Statement::Statement(sqlite3* database, std::string_view sql) {
  sqlite3_stmt* statement = nullptr;
  const int code = sqlite3_prepare_v3(database, sql.data(), static_cast<int>(sql.size()), 0, &statement, nullptr);
  statement_.reset(statement);
  if (code != SQLITE_OK) throwError(database, code);
}

bool Statement::next() {
  const int code = sqlite3_step(statement_.get());
  if (code == SQLITE_ROW) return true;
  if (code != SQLITE_DONE) check(code);
  reset();
  return false;
}

void Statement::run() {
  while (next()) continue;
}

std::string_view Statement::bytes(int column) const {
  const void* bytes = sqlite3_column_blob(statement_.get(), column);
  const int size = sqlite3_column_bytes(statement_.get(), column);
  return bytes == nullptr ? std::string_view()
                          : std::string_view(static_cast<const char*>(bytes), static_cast<size_t>(size));
}

std::optional<int64_t> Statement::numberOrNull(int column) const {
  return isNull(column) ? std::nullopt : std::optional<int64_t>(number(column));
}

void Statement::bind(int index, int64_t value) { check(sqlite3_bind_int64(statement_.get(), index, value)); }

void Statement::bind(int index, std::nullptr_t) { check(sqlite3_bind_null(statement_.get(), index)); }

void Statement::bind(int index, std::string_view text) {
  // A null pointer would be NULL, and no empty text.
  const char* data = text.data() != nullptr ? text.data() : "";
  check(sqlite3_bind_text64(statement_.get(), index, data, text.size(), SQLITE_STATIC, SQLITE_UTF8));
}

void Statement::bind(int index, Blob blob) {
  check(sqlite3_bind_blob64(statement_.get(), index, blob.bytes.data(), blob.bytes.size(), SQLITE_STATIC));
}

void Statement::check(int code) const {
  if (code != SQLITE_OK) throwError(sqlite3_db_handle(statement_.get()), code);
}

// ---- Database ----

Database::Database(const std::string& name, int flags) {
  sqlite3* database = nullptr;
  const int code =
      sqlite3_open_v2(name.c_str(), &database, flags | SQLITE_OPEN_EXRESCODE | SQLITE_OPEN_NOMUTEX, nullptr);
  database_.reset(database);
  if (code != SQLITE_OK) throwError(database, code);
  sqlite3_busy_timeout(database, kBusyWaits);
}

void Database::run(const std::string& sql) {
  const int code = sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) throwError(database_.get(), code);
}

int64_t Database::number(std::string_view sql) {
  Statement statement = prepare(sql);
  return statement.next() ? statement.number(0) : 0;
}

// ---- Transaction ----

Transaction::Transaction(Database& database) : database_(database) { database.run("BEGIN IMMEDIATE"); }

Transaction::~Transaction() {
  if (ended_ || !database_.isInTransaction()) return;
  try {
    database_.run("ROLLBACK");
  } catch (const Error&) {
    // What ended the transaction is being told already.
  }
}

void Transaction::commit() {
  database_.run("COMMIT");
  ended_ = true;
}

}  // namespace catalogue
