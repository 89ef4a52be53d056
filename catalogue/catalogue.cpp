#include "catalogue.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "schema.h"

namespace catalogue {
namespace {

using Kind = Error::Kind;

constexpr std::string_view kMagic("SQLite format 3\0", 16);
constexpr size_t kHeaderSize = 100, kVersionAt = 60, kApplicationIdAt = 68;

[[noreturn]] void throwNewer() {
  throw Error(Kind::newer, "the catalogue was made by a newer kmhash; this one cannot read it");
}

[[noreturn]] void throwForeign() { throw Error(Kind::foreign, "is no catalogue"); }

[[noreturn]] void throwSystem(int error, Kind kind) { throw Error(kind, std::generic_category().message(error)); }

int64_t u32be(const unsigned char* bytes) {
  return int64_t{bytes[0]} << 24 | int64_t{bytes[1]} << 16 | int64_t{bytes[2]} << 8 | bytes[3];
}

enum class Content { none, empty, catalogue };

// Judges the file by its first bytes, before SQLite may change something about it.
Content contentOf(const std::string& path) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0 && errno == ENOENT) return Content::none;
  if (descriptor < 0) throwSystem(errno, Kind::other);
  unsigned char header[kHeaderSize];
  struct stat status {};
  const bool isFile = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
  const ssize_t count = isFile ? read(descriptor, header, sizeof header) : -1;
  close(descriptor);
  if (isFile && count == 0) return Content::empty;
  if (count != kHeaderSize || kMagic != std::string_view(reinterpret_cast<const char*>(header), kMagic.size())) {
    throwForeign();
  }
  if (u32be(header + kApplicationIdAt) != kApplicationId) throwForeign();
  if (u32be(header + kVersionAt) > schemaVersion()) throwNewer();
  return Content::catalogue;
}

void makeFolderOf(const std::string& path) {
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  std::error_code error;
  if (!folder.empty()) std::filesystem::create_directories(folder, error);
  if (error) throw Error(Kind::readOnly, folder.string() + ": " + error.message());
}

void bringUpToDate(Database& database) {
  int64_t version = database.number("PRAGMA user_version");
  if (version > schemaVersion()) throwNewer();
  if (version == 0 && database.number("SELECT count(*) FROM sqlite_schema") > 0) throwForeign();
  if (version < schemaVersion()) {
    Transaction transaction(database);
    for (; version < schemaVersion(); ++version) database.run(kMigrations[version]);
    database.run("PRAGMA application_id = " + std::to_string(kApplicationId));
    database.run("PRAGMA user_version = " + std::to_string(version));
    transaction.commit();
  }
  database.run("PRAGMA journal_mode = WAL");
}

void checkSchema(Database& database) {
  const int64_t version = database.number("PRAGMA user_version");
  if (version > schemaVersion()) throwNewer();
  if (version < schemaVersion()) {
    throw Error(Kind::other, "the catalogue is of an older kmhash; a scan brings it up to date");
  }
}

// Under another name, so that a process that ends in the middle leaves no half of one.
void make(const std::string& path) {
  const std::string made = path + "-new";
  for (const char* part : {"", "-journal", "-wal", "-shm"}) unlink((made + part).c_str());
  {
    Database database(made, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    bringUpToDate(database);
  }
  if (rename(made.c_str(), path.c_str()) != 0) throwSystem(errno, Kind::readOnly);
}

Database openToWrite(const std::string& path) {
  Database database(path, SQLITE_OPEN_READWRITE);
  bringUpToDate(database);
  // In a write-ahead log the system's crash can lose the last transactions with this, and nothing else.
  database.run("PRAGMA synchronous = NORMAL; PRAGMA foreign_keys = ON; PRAGMA cell_size_check = ON");
  return database;
}

// As a part of a URI.
std::string uriOf(const std::string& path) {
  constexpr const char* kHex = "0123456789ABCDEF";
  std::string uri = "file:";
  if (path.starts_with("//")) uri += "//";  // else the first name would be taken for a host
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '%' || c == '?' || c == '#' || byte < 0x20 || byte > 0x7E) {
      uri += {'%', kHex[byte >> 4U], kHex[byte & 15U]};
    } else {
      uri += c;
    }
  }
  return uri;
}

Database openToRead(const std::string& path) {
  try {
    Database database(path, SQLITE_OPEN_READONLY);
    checkSchema(database);
    return database;
  } catch (const Error& error) {
    struct stat status {};
    const bool hasLog = stat((path + "-wal").c_str(), &status) == 0 && status.st_size > 0;
    if (error.kind != Kind::readOnly || hasLog) throw;
  }
  // The folder cannot be written to, so nobody else writes either.
  Database database(uriOf(path) + "?immutable=1", SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
  checkSchema(database);
  return database;
}

}  // namespace

int64_t schemaVersion() { return static_cast<int64_t>(kMigrationCount); }

std::string defaultPath() {
  const char* data = std::getenv("XDG_DATA_HOME");
  if (data != nullptr && *data == '/') return std::string(data) + "/kmhash/catalogue.db";
  const char* home = std::getenv("HOME");
  return std::string(home != nullptr ? home : "") + "/.local/share/kmhash/catalogue.db";
}

// ---- WriteLock ----

WriteLock::WriteLock(const std::string& catalogue) : path_(catalogue + "-lock") {
  for (;;) {
    descriptor_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
    if (descriptor_ < 0) throwSystem(errno, errno == ENOSPC ? Kind::full : Kind::readOnly);
    if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
      close(descriptor_);
      throw Error(Kind::inUse, "another kmhash is writing to the catalogue; try again when it has ended");
    }
    // Whoever held it may have removed the name in the meantime.
    struct stat named {
    }, held{};
    const bool isNamed = stat(path_.c_str(), &named) == 0 && fstat(descriptor_, &held) == 0;
    if (isNamed && named.st_ino == held.st_ino && named.st_dev == held.st_dev) return;
    close(descriptor_);
  }
}

WriteLock::WriteLock(WriteLock&& other) noexcept
    : path_(std::move(other.path_)), descriptor_(std::exchange(other.descriptor_, -1)) {}

WriteLock::~WriteLock() {
  if (descriptor_ < 0) return;
  unlink(path_.c_str());
  close(descriptor_);
}

// ---- Catalogue ----

Catalogue Catalogue::open(const std::string& path, Access access) {
  if (access == Access::read) {
    const Content content = contentOf(path);
    if (content == Content::none) throw Error(Kind::notThere, "there is no such catalogue; kmhash scan makes one");
    if (content == Content::empty) throwForeign();
    return {path, std::nullopt, openToRead(path)};
  }
  contentOf(path);  // refuses before anything is made
  makeFolderOf(path);
  WriteLock lock(path);
  if (contentOf(path) != Content::catalogue) make(path);
  return {path, std::move(lock), openToWrite(path)};
}

int64_t now() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}

}  // namespace catalogue
