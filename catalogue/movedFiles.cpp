#include "movedFiles.h"

#include <optional>
#include <string>

#include "records.h"

namespace catalogue {
namespace {

// All files with a mark: what tells that two are the same, a hash that says something of the media, else the digest.
// An inode is known of those alone that a scan has seen.
constexpr const char* kMarked =
    "WITH marked AS (SELECT files.*, roots.mounted || files.path AS full_path,"
    " coalesce(iif(hashes.content <> X'DA39A3EE5E6B4B0D3255BFEF95601890AFD80709', hashes.text, NULL),"
    "  hex(files.digest)) AS mark FROM files JOIN roots ON roots.id = files.root"
    " LEFT JOIN hashes ON hashes.file = files.id AND hashes.kind IN ('sampled', 'quick')"
    " WHERE +files.size > 0 AND +files.inode <> 0) ";

constexpr const char* kTables =
    "CREATE TEMP TABLE departed (file INTEGER PRIMARY KEY, mark TEXT, size INTEGER, mtime_ns INTEGER, digest BLOB,"
    " last_seen INTEGER, missing_since INTEGER, path TEXT);"
    "CREATE INDEX temp.departed_mark ON departed (mark, size, mtime_ns);"
    "CREATE TEMP TABLE arrived (file INTEGER PRIMARY KEY, mark TEXT, size INTEGER, mtime_ns INTEGER, digest BLOB,"
    " first_seen INTEGER, path TEXT, name TEXT);"
    "CREATE INDEX temp.arrived_name ON arrived (mark, size, mtime_ns, name, path);"
    "CREATE INDEX temp.arrived_path ON arrived (mark, size, mtime_ns, path);";

constexpr const char* kDepartures =
    "INSERT OR IGNORE INTO departed SELECT id, mark, size, mtime_ns, digest, last_seen, missing_since, full_path FROM "
    "marked WHERE missing_since IS NOT NULL AND mark <> ''";

constexpr const char* kArrivals =
    "SELECT id, mark, size, mtime_ns, digest, first_seen, full_path FROM marked WHERE missing_since IS NULL "
    "AND ((root = ?1 AND first_seen >= ?2)"
    " OR first_seen > (SELECT min(last_seen) FROM departed WHERE missing_since = ?3)) "
    "AND EXISTS (SELECT 1 FROM departed WHERE departed.mark = marked.mark AND departed.size = marked.size"
    " AND departed.mtime_ns = marked.mtime_ns)";

// Among so many that are equal but for time or digest, so that it costs little however many there are.
constexpr const char* kFirstThatFits =
    " ORDER BY path LIMIT 1000) WHERE first_seen > ?4 AND coalesce(digest = ?5, 1) LIMIT 1";

std::optional<Blob> blobOrNull(const std::string& bytes) {
  return bytes.empty() ? std::nullopt : std::optional<Blob>(Blob{bytes});
}

std::string nameIn(const std::string& path) { return path.substr(path.rfind('/') + 1); }

class Joining {
 public:
  Joining(Database& database, Recorder& recorder, int64_t time)
      : database_(database),
        recorder_(recorder),
        time_(time),
        arrival_(database.prepare(std::string("SELECT ") + kKnownColumns +
                                  ", roots.mounted FROM files JOIN roots ON roots.id = root WHERE files.id = ?")),
        hashes_(database.prepare("INSERT OR REPLACE INTO hashes SELECT ?1, kind, text, algorithm, file_type, "
                                 "format_type, content, meta FROM hashes WHERE file = ?2")),
        events_(database.prepare("UPDATE events SET file = ?1 WHERE file = ?2")),
        rest_(database.prepare("UPDATE files SET status = made.status, result = made.result, settled = made.settled, "
                               "recorded = files.recorded | made.recorded, digest = coalesce(made.digest, "
                               "files.digest) FROM files AS made WHERE files.id = ?1 AND made.id = ?2")),
        dropFile_(database.prepare("DELETE FROM files WHERE id = ?")),
        dropArrived_(database.prepare("DELETE FROM arrived WHERE file = ?")),
        dropDeparted_(database.prepare("DELETE FROM departed WHERE file = ?")) {}

  void findArrivals(const ScanFound& found) {
    Statement rows = database_.prepare(std::string(kMarked) + kArrivals);
    Statement add = database_.prepare("INSERT OR IGNORE INTO arrived VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
    for (rows.with(found.root, found.newSince, found.time); rows.next();) {
      const std::string digest = rows.text(4), path = rows.text(6);
      add.with(rows.number(0), rows.text(1), rows.number(2), rows.number(3), blobOrNull(digest), rows.number(5), path,
               nameIn(path))
          .run();
    }
  }

  void join(bool byName) {
    Statement departed =
        database_.prepare("SELECT file, mark, size, mtime_ns, digest, last_seen, path FROM departed ORDER BY path");
    Statement arrived = database_.prepare(
        std::string("SELECT file, first_seen FROM (SELECT * FROM arrived WHERE mark = ?1 AND size = ?2 "
                    "AND mtime_ns = ?3") +
        (byName ? " AND name = ?6" : "") + kFirstThatFits);
    while (departed.next()) {
      const std::string mark = departed.text(1), digest = departed.text(4), path = departed.text(6);
      const std::string name = nameIn(path);
      const int64_t size = departed.number(2), time = departed.number(3), lastSeen = departed.number(5);
      if (byName) {
        arrived.with(mark, size, time, lastSeen, blobOrNull(digest), name);
      } else {
        arrived.with(mark, size, time, lastSeen, blobOrNull(digest));
      }
      if (!arrived.next()) continue;
      const int64_t file = arrived.number(0), firstSeen = arrived.number(1);
      arrived.reset();
      if (firstSeen == time_) ++made_.wereNew;
      joinOne(departed.number(0), path, file);
    }
  }

  const MovedFiles& made() const { return made_; }

 private:
  void joinOne(int64_t file, const std::string& oldPath, int64_t arrived) {
    arrival_.with(arrived).next();
    const KnownFile known = knownOf(arrival_);
    Root root;
    root.id = known.root;
    root.mounted = arrival_.text(kKnownColumnCount);
    arrival_.reset();
    hashes_.with(file, arrived).run();
    events_.with(file, arrived).run();
    rest_.with(file, arrived).run();
    dropFile_.with(arrived).run();
    ++made_.moved;
    if (recorder_.move(file, oldPath, root, known.path, known.stat.value_or(FileStat()))) ++made_.wereMissing;
    dropArrived_.with(arrived).run();
    dropDeparted_.with(file).run();
  }

  Database& database_;
  Recorder& recorder_;
  const int64_t time_;
  Statement arrival_, hashes_, events_, rest_, dropFile_, dropArrived_, dropDeparted_;
  MovedFiles made_;
};

}  // namespace

MovedFiles joinMoved(Database& database, Recorder& recorder, const ScanFound& found) {
  if (!database.prepare("SELECT 1 FROM files WHERE missing_since IS NOT NULL LIMIT 1").next()) return {};
  database.run(kTables);
  database.run(std::string(kMarked) + kDepartures);
  MovedFiles made;
  {
    Joining joining(database, recorder, found.time);
    joining.findArrivals(found);
    joining.join(true);
    joining.join(false);
    made = joining.made();
  }
  database.run("DROP TABLE departed; DROP TABLE arrived");
  return made;
}

}  // namespace catalogue
