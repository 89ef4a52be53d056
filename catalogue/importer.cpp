#include "importer.h"

#include "kmhash.h"
#include "roots.h"

namespace catalogue {
namespace {

constexpr int64_t kQuickAlgorithm = KMHASH_ALGORITHM_QUICK;

std::string_view kindOf(const HashRecord& hash) {
  if (hash.algorithm == kQuickAlgorithm) return kKindQuick;
  return kmhashIsWhole(hash.text.c_str()) == 1 ? kKindWhole : kKindSampled;
}

// The time and size alone tell whether it is the file on the disk; its inode is taken from there.
FileRecord recordOf(const ImportedFile& imported) {
  FileRecord file;
  if (imported.size && imported.modifiedNs) file.stat = {*imported.size, *imported.modifiedNs, 0, 0, 0};
  file.status = imported.status;
  file.result = imported.result;
  file.recorded = file.stat ? kRecordedSampled : 0;
  file.settled = file.stat.has_value();
  file.firstSeen = now();
  return file;
}

}  // namespace

Importer::Importer(Catalogue& catalogue)
    : database_(catalogue.database()),
      roots_(allRoots(database_)),
      insert_(
          database_.prepare("INSERT OR IGNORE INTO files (root, path, size, mtime_ns, device, inode, links, status, "
                            "result, recorded, settled, digest, first_seen, last_seen, missing_since) "
                            "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")),
      find_(database_.prepare("SELECT id FROM files WHERE root = ? AND path = ?")),
      // A file has one hash that stands for it.
      addHash_(database_.prepare("INSERT OR IGNORE INTO hashes (file, kind, text, algorithm, file_type, format_type, "
                                 "content, meta) SELECT ?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8 WHERE ?2 NOT IN ('sampled', "
                                 "'quick') OR NOT EXISTS (SELECT 1 FROM hashes WHERE file = ?1 AND kind IN ('sampled', "
                                 "'quick'))")),
      recorded_(
          database_.prepare("SELECT mtime_ns, inode, status, size FROM files WHERE id = ? AND mtime_ns IS NOT NULL")),
      replace_(database_.prepare("UPDATE files SET size = ?2, mtime_ns = ?3, status = ?4, result = ?5 WHERE id = ?1")),
      dropHashes_(database_.prepare("DELETE FROM hashes WHERE file = ?")) {}

void Importer::add(const ImportedFile& file) {
  const Root& root = rootFor(file.path);
  const FileRecord record = recordOf(file);
  const int64_t id = insert(record, root.id, file.path.substr(root.mounted.size()));
  if (!isOfLatest(id, record) || file.hash.empty()) return;
  const HashRecord hash = hashRecordOf(file.hash);
  addHash(id, std::string(kindOf(hash)), hash);
}

// False for another state of the file than the one that is recorded, or is from now on.
bool Importer::isOfLatest(int64_t id, const FileRecord& file) {
  if (!file.stat || !recorded_.with(id).next()) return true;
  const int64_t mtime = recorded_.number(0), now = file.stat->mtimeNs;
  const bool wasSeen = recorded_.number(1) != 0;  // by a scan
  const bool isBetter = recorded_.text(2) != kStatusHashed && file.status == kStatusHashed;
  const bool isSame = now == mtime && recorded_.number(3) == file.stat->size;
  recorded_.reset();
  if (wasSeen || now < mtime || (now == mtime && !isBetter)) return isSame;
  replace_.with(id, file.stat->size, now, file.status, file.result).run();
  dropHashes_.with(id).run();
  return true;
}

void Importer::add(Catalogue& other) {
  for (const Root& root : allRoots(other.database())) addRoot(other, root);
}

void Importer::addRoot(Catalogue& other, const Root& root) {
  const Part part = partFor(database_, placeOf(root));
  Statement files =
      other.database().prepare(std::string("SELECT ") + kFileColumns + " FROM files WHERE root = ? ORDER BY path");
  Statement hashes =
      other.database().prepare(std::string("SELECT ") + kHashColumns + ", hashes.kind FROM hashes WHERE file = ?");
  for (files.with(root.id); files.next();) {
    const FileRecord file = fileOf(files);
    const int64_t id = insert(file, part.root.id, part.folder + file.path);
    for (hashes.with(file.id); hashes.next();) addHash(id, hashes.text(kHashColumnCount), hashOf(hashes));
  }
  roots_ = allRoots(database_);
}

const Root& Importer::rootFor(const std::string& path) {
  const Root* found = nullptr;
  for (const Root& root : roots_) {
    if (path.starts_with(root.mounted) && (!found || root.mounted.size() > found->mounted.size())) found = &root;
  }
  if (found != nullptr) return *found;
  database_.run("INSERT INTO roots (file_system, path, mounted) VALUES ('unknown', '/', '/')");
  return roots_.emplace_back(Root{database_.lastId(), "unknown", "/", "/", {}});
}

// Of the file, the id that it has or had.
int64_t Importer::insert(const FileRecord& file, int64_t root, const std::string& path) {
  const std::optional<FileStat>& stat = file.stat;
  const auto orNull = [&stat](int64_t FileStat::*member) {
    return stat ? std::optional<int64_t>((*stat).*member) : std::nullopt;
  };
  const std::optional<Blob> digest = file.digest.empty() ? std::nullopt : std::optional<Blob>(Blob{file.digest});
  insert_
      .with(root, path, orNull(&FileStat::size), orNull(&FileStat::mtimeNs), orNull(&FileStat::device),
            orNull(&FileStat::inode), orNull(&FileStat::links), file.status, file.result, file.recorded, file.settled,
            digest, file.firstSeen, file.lastSeen, file.missingSince)
      .run();
  ++(database_.changes() > 0 ? totals_.added : totals_.known);
  find_.with(root, path).next();
  const int64_t id = find_.number(0);
  find_.reset();
  return id;
}

// One of the kind that is recorded already stays.
void Importer::addHash(int64_t file, const std::string& kind, const HashRecord& hash) {
  addHash_
      .with(file, kind, hash.text, hash.algorithm, hash.fileType, hash.formatType, Blob{hash.content}, Blob{hash.meta})
      .run();
}

}  // namespace catalogue
