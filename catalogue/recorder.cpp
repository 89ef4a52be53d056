#include "recorder.h"

namespace catalogue {
namespace {

std::optional<Blob> blobOrNull(const std::string& bytes) {
  return bytes.empty() ? std::nullopt : std::optional<Blob>(Blob{bytes});
}

bool isSameFile(const FileStat& a, const FileStat& b) { return a.size == b.size && a.mtimeNs == b.mtimeNs; }

constexpr std::string_view kVersion3 = "0003";

// Whether they can be compared: of one version and algorithm.
bool isOfOneKind(const std::string& a, const std::string& b) {
  return a.substr(0, 8) == b.substr(0, 8) && a.substr(114, 2) == b.substr(114, 2);
}

// What stands for the file: the sampled hash, else the quick one.
std::optional<std::string> textOf(const FileHashes& made) {
  for (const auto& [kind, hash] : made.hashes) {
    if (kind == kKindSampled || kind == kKindQuick) return hash.text;
  }
  return std::nullopt;
}

}  // namespace

KnownFile knownOf(const Statement& row) {
  KnownFile file;
  file.id = row.number(0);
  file.root = row.number(1);
  file.path = row.text(2);
  if (!row.isNull(3)) file.stat = {row.number(3), row.number(4), row.number(5), row.number(6), row.number(7)};
  file.recorded = row.number(8);
  file.settled = row.number(9) != 0;
  file.isMissing = row.number(10) != 0;
  return file;
}

Recorder::Recorder(Database& database, int64_t time)
    : time_(time),
      database_(database),
      find_(
          database.prepare(std::string("SELECT ") + kKnownColumns + ", digest FROM files WHERE root = ? AND path = ?")),
      insert_(
          database.prepare("INSERT INTO files (root, path, size, mtime_ns, device, inode, links, status, result, "
                           "recorded, settled, digest, first_seen) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")),
      update_(
          database.prepare("UPDATE files SET size = ?2, mtime_ns = ?3, device = ?4, inode = ?5, links = ?6, "
                           "status = ?7, result = ?8, recorded = ?9, settled = ?10, digest = ?11, last_seen = NULL, "
                           "missing_since = NULL WHERE id = ?1")),
      dropAll_(database.prepare("DELETE FROM hashes WHERE file = ?")),
      // A file has one hash that stands for it.
      drop_(database.prepare("DELETE FROM hashes WHERE file = ?1 AND (kind = ?2 OR (?2 IN ('sampled', 'quick') AND "
                             "kind IN ('sampled', 'quick')))")),
      keepAsVersion3_(
          database.prepare("UPDATE OR REPLACE hashes SET kind = 'version3' WHERE file = ? AND kind = 'sampled'")),
      addHash_(
          database.prepare("INSERT INTO hashes (file, kind, text, algorithm, file_type, format_type, content, meta) "
                           "VALUES (?, ?, ?, ?, ?, ?, ?, ?)")),
      hashText_(database.prepare("SELECT text FROM hashes WHERE file = ? AND kind IN ('sampled', 'quick')")),
      hashes_(database.prepare(std::string("SELECT kind, ") + kHashColumns + " FROM hashes WHERE file = ?")),
      record_(database.prepare("SELECT status, result, recorded, digest FROM files WHERE id = ?")),
      move_(database.prepare("UPDATE files SET root = ?2, path = ?3, device = ?4, inode = ?5, links = ?6, "
                             "last_seen = NULL, missing_since = NULL WHERE id = ?1")),
      back_(database.prepare("UPDATE files SET last_seen = NULL, missing_since = NULL WHERE id = ?")),
      refresh_(database.prepare("UPDATE files SET device = ?2, inode = ?3, links = ?4 WHERE id = ?1")),
      event_(database.prepare(
          "INSERT INTO events (time, file, word, path, old_hash, new_hash, old_path) VALUES (?, ?, ?, ?, ?, ?, ?)")),
      dropEvent_(database.prepare("DELETE FROM events WHERE file = ? AND time = ? AND word = ?")) {}

Recorder::Stored Recorder::store(const Root& root, const std::string& path, const FileHashes& made, bool settled) {
  const FileStat& stat = made.stat;
  if (!find_.with(root.id, path).next()) {
    insert_
        .with(root.id, path, stat.size, stat.mtimeNs, stat.device, stat.inode, stat.links, made.status, made.result,
              made.recorded, settled, blobOrNull(made.digest), time_)
        .run();
    replaceHashes(database_.lastId(), made, true);
    return Stored::isNew;
  }
  const KnownFile old = knownOf(find_);
  const std::string oldDigest = find_.text(11);
  find_.reset();
  const std::optional<std::string> oldText = hashText(old.id), newText = textOf(made);
  const bool isComparable = oldText && newText && isOfOneKind(*oldText, *newText);
  const bool isSame = (!old.stat || isSameFile(*old.stat, stat)) && (oldText == newText || !isComparable);
  if (isSame && oldText && !isComparable && oldText->starts_with(kVersion3)) keepAsVersion3_.with(old.id).run();
  const std::string digest = made.digest.empty() && isSame ? oldDigest : made.digest;
  update_
      .with(old.id, stat.size, stat.mtimeNs, stat.device, stat.inode, stat.links, made.status, made.result,
            made.recorded | (isSame && made.recorded != 0 ? old.recorded : 0), settled, blobOrNull(digest))
      .run();
  replaceHashes(old.id, made, isSame);
  const std::string fullPath = root.mounted + path;
  if (old.isMissing) add({old.id, kWordBack, fullPath, oldText, newText, {}});
  if (old.isMissing) return Stored::isBack;
  if (!isSame) add({old.id, kWordChanged, fullPath, oldText, newText, {}});
  return isSame ? Stored::isSame : Stored::isChanged;
}

void Recorder::replaceHashes(int64_t file, const FileHashes& made, bool keepsOthers) {
  if (!keepsOthers) dropAll_.with(file).run();
  for (const auto& [kind, hash] : made.hashes) {
    if (keepsOthers) drop_.with(file, kind).run();
    addHash_
        .with(file, kind, hash.text, hash.algorithm, hash.fileType, hash.formatType, Blob{hash.content},
              Blob{hash.meta})
        .run();
  }
}

FileHashes Recorder::hashesOf(const KnownFile& file) {
  FileHashes made;
  made.stat = file.stat.value_or(FileStat());
  if (record_.with(file.id).next()) {
    const std::string status = record_.text(0);
    made.status = status == kStatusHashed        ? kStatusHashed
                  : status == kStatusUnsupported ? kStatusUnsupported
                                                 : kStatusFailed;
    made.result = static_cast<int>(record_.number(1));
    made.recorded = record_.number(2);
    made.digest = record_.text(3);
    record_.reset();
  }
  for (hashes_.with(file.id); hashes_.next();) made.hashes.emplace_back(hashes_.text(0), hashOf(hashes_, 1));
  return made;
}

bool Recorder::move(int64_t file, const std::string& oldPath, const Root& root, const std::string& path,
                    const FileStat& stat) {
  move_.with(file, root.id, path, stat.device, stat.inode, stat.links).run();
  const std::optional<std::string> hash = hashText(file);
  dropEvent_.with(file, time_, kWordMissing).run();
  const bool wasMissedNow = database_.changes() > 0;
  add({file, kWordMoved, root.mounted + path, hash, hash, oldPath});
  return wasMissedNow;
}

void Recorder::markBack(const Root& root, const KnownFile& file) {
  back_.with(file.id).run();
  const std::optional<std::string> hash = hashText(file.id);
  add({file.id, kWordBack, root.mounted + file.path, hash, hash, {}});
}

void Recorder::refresh(int64_t file, const FileStat& stat) {
  refresh_.with(file, stat.device, stat.inode, stat.links).run();
}

std::optional<std::string> Recorder::hashText(int64_t file) {
  std::optional<std::string> text;
  if (hashText_.with(file).next()) text = hashTextOf(hashText_, 0);
  hashText_.reset();
  return text;
}

void Recorder::add(const Event& event) {
  event_.with(time_, event.file, event.word, event.path, event.oldHash, event.newHash, event.oldPath).run();
}

}  // namespace catalogue
