// The rows of a catalogue as structures. docs/catalogue.md tells what they mean.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sqlite.h"

namespace catalogue {

// The path that leads to a file of a root is mounted + its path; both are bytes.
struct Root {
  int64_t id = 0;
  std::string fileSystem, path, mounted;
  std::optional<int64_t> lastScan;  // times are nanoseconds since 1970 UTC
};

// What one stat tells of a file. Inode and the like are the system's unsigned numbers as they are in 64 bits.
struct FileStat {
  int64_t size = 0, mtimeNs = 0, device = 0, inode = 0, links = 0;
};

// Of FileRecord::recorded, to be added up: what was asked for, also where it could not be had.
inline constexpr int64_t kRecordedSampled = 1, kRecordedVersion3 = 2, kRecordedWhole = 4, kRecordedQuick = 8;

inline constexpr std::string_view kStatusHashed = "hashed", kStatusUnsupported = "unsupported",
                                  kStatusFailed = "failed";

struct FileRecord {
  int64_t id = 0, root = 0;
  std::string path;              // below the root
  std::optional<FileStat> stat;  // as it was when the file was hashed; nothing: imported, not known
  std::string status;            // kStatus*
  int64_t result = 0;            // result code of the library
  int64_t recorded = 0;
  bool settled = false;
  std::string digest;  // of 16 bytes, empty: none
  int64_t firstSeen = 0;
  std::optional<int64_t> lastSeen, missingSince;
};

// To be selected from files for fileOf(), which reads them from the row's column `from` on.
inline constexpr const char* kFileColumns =
    "files.id, files.root, files.path, files.size, files.mtime_ns, files.device, files.inode, files.links, "
    "files.status, files.result, files.recorded, files.settled, files.digest, files.first_seen, files.last_seen, "
    "files.missing_since";
inline constexpr int kFileColumnCount = 16;
FileRecord fileOf(const Statement& row, int from = 0);

// The kinds of hashes.
inline constexpr std::string_view kKindSampled =
                                      "sampled",  // of version 4, or of version 3 where 4 does not know the format
    kKindVersion3 = "version3",                   // beside it, of version 3
    kKindWhole = "whole",                         // of every byte of the media, by the version of the sampled one
    kKindQuick = "quick";                         // of a file of no supported format

// A hash text and its fields. A label that was never set is nothing.
struct HashRecord {
  std::string text;  // 128 characters, a dot for each of a label that was never set
  std::optional<int64_t> algorithm;
  std::optional<std::string> fileType, formatType;
  std::string content, meta;  // 20 bytes each
};

// Of a row's column; empty where it is NULL. Throws Error::damaged when its length is another than that of a hash text.
std::string hashTextOf(const Statement& row, int column);

// Takes a text of 128 characters apart. NULs of the library's own text become dots.
HashRecord hashRecordOf(std::string_view text);

// As fileOf; what it reads are kHashColumns.
inline constexpr const char* kHashColumns =
    "hashes.text, hashes.algorithm, hashes.file_type, hashes.format_type, hashes.content, hashes.meta";
inline constexpr int kHashColumnCount = 6;
HashRecord hashOf(const Statement& row, int from = 0);

}  // namespace catalogue
