// A catalogue: the file that holds what is known of a collection. This folder's functions throw Error, write to no
// terminal, and use a catalogue on one thread at a time.
#pragma once

#include <string>

#include "records.h"
#include "sqlite.h"

namespace catalogue {

inline constexpr int64_t kApplicationId = 0x6B6D6863;  // "kmhc"

// The schema's version that this library writes. Older ones are brought to it when opened for writing.
int64_t schemaVersion();

// $XDG_DATA_HOME/kmhash/catalogue.db, by default ~/.local/share/kmhash/catalogue.db.
std::string defaultPath();

// Keeps every other writer away: a lock on a file beside the catalogue, which goes with the process that holds it.
class WriteLock {
 public:
  explicit WriteLock(const std::string& catalogue);  // throws Error::inUse at once when another process holds it
  ~WriteLock();
  WriteLock(WriteLock&& other) noexcept;
  WriteLock& operator=(WriteLock&&) = delete;

 private:
  std::string path_;
  int descriptor_ = -1;
};

enum class Access {
  read,   // works on what is read-only; an older schema is refused as Error::other
  write,  // makes the catalogue, and its folder, where there is none; brings an older schema up to date
};

class Catalogue {
 public:
  // Throws Error. A file that is newer, damaged or no catalogue is left as it is, byte by byte.
  static Catalogue open(const std::string& path, Access access);

  const std::string& path() const { return path_; }
  Database& database() { return database_; }

 private:
  Catalogue(std::string path, std::optional<WriteLock> lock, Database database)
      : path_(std::move(path)), lock_(std::move(lock)), database_(std::move(database)) {}

  std::string path_;
  std::optional<WriteLock> lock_;  // released when the database is closed
  Database database_;
};

// Nanoseconds since 1970 UTC.
int64_t now();

}  // namespace catalogue
