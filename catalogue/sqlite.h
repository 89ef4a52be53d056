// A thin layer over SQLite: a database, its prepared statements, a transaction. Every failure is thrown as an Error.
// None of them is for two threads at once.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "error.h"

namespace catalogue {

// Bytes to be stored as a blob. They are not copied.
struct Blob {
  std::string_view bytes;
};

class Statement {
 public:
  Statement(sqlite3* database, std::string_view sql);

  // Sets the parameters, in their order: integers, texts, blobs, nullptr and optionals of these. Texts and blobs must
  // stay as they are while rows are read. Rows of an earlier run are given up.
  template <class... Values>
  Statement& with(const Values&... values) {
    reset();
    int index = 0;
    (bind(++index, values), ...);
    return *this;
  }

  // The next row; false when there is none.
  bool next();

  // To the end, whatever rows there are.
  void run();

  // Of the row, columns from 0 on. A view holds until the next row. NULL is 0 and "".
  int64_t number(int column) const { return sqlite3_column_int64(statement_.get(), column); }
  std::string_view bytes(int column) const;  // of a text or a blob
  std::string text(int column) const { return std::string(bytes(column)); }
  bool isNull(int column) const { return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL; }
  std::optional<int64_t> numberOrNull(int column) const;
  int columns() const { return sqlite3_column_count(statement_.get()); }
  std::string name(int column) const { return sqlite3_column_name(statement_.get(), column); }

  // Ends the reading of rows, so that no lock is held.
  void reset() { sqlite3_reset(statement_.get()); }

 private:
  void bind(int index, int64_t value);
  void bind(int index, int value) { bind(index, static_cast<int64_t>(value)); }
  void bind(int index, bool value) { bind(index, static_cast<int64_t>(value)); }
  void bind(int index, std::nullptr_t);
  void bind(int index, std::string_view text);
  void bind(int index, const std::string& text) { bind(index, std::string_view(text)); }
  void bind(int index, const char* text) { bind(index, std::string_view(text)); }
  void bind(int index, Blob blob);
  template <class Value>
  void bind(int index, const std::optional<Value>& value) {
    value ? bind(index, *value) : bind(index, nullptr);
  }
  void check(int code) const;

  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

class Database {
 public:
  // flags: SQLITE_OPEN_READONLY, SQLITE_OPEN_READWRITE, SQLITE_OPEN_CREATE, SQLITE_OPEN_URI.
  Database(const std::string& name, int flags);

  // One or more statements without parameters.
  void run(const std::string& sql);

  Statement prepare(std::string_view sql) { return {database_.get(), sql}; }

  // Of the first row, its first column.
  int64_t number(std::string_view sql);

  int64_t lastId() const { return sqlite3_last_insert_rowid(database_.get()); }
  int64_t changes() const { return sqlite3_changes64(database_.get()); }
  bool isInTransaction() const { return sqlite3_get_autocommit(database_.get()) == 0; }

 private:
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
  };
  std::unique_ptr<sqlite3, Close> database_;
};

// Everything between its begin and commit() is done, or nothing of it.
class Transaction {
 public:
  explicit Transaction(Database& database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  void commit();

 private:
  Database& database_;
  bool ended_ = false;
};

// The failure that SQLite reports for this database, in words.
[[noreturn]] void throwError(sqlite3* database, int code);

}  // namespace catalogue
