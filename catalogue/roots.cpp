#include "roots.h"

namespace catalogue {
namespace {

Root rootOf(const Statement& row) {
  return {row.number(0), row.text(1), row.text(2), row.text(3), row.numberOrNull(4)};
}

// The files of a part go to a root, where this stands before their path below the part. A file that is recorded there
// already stays, and its other record goes.
void reroot(Database& database, const Part& from, const Root& to, const std::string& before) {
  const std::string sql =
      "UPDATE OR IGNORE files SET root = ?4, path = CAST(CAST(?5 AS BLOB) || "
      "substr(CAST(path AS BLOB), ?6) AS TEXT) WHERE ";  // substr of a text counts characters
  database.prepare(sql + kIsInPart)
      .with(from.root.id, from.folder, endOf(from.folder), to.id, before, static_cast<int64_t>(from.folder.size() + 1))
      .run();
  database.prepare(std::string("DELETE FROM files WHERE ") + kIsInPart)
      .with(from.root.id, from.folder, endOf(from.folder))
      .run();
}

// What was recorded below a folder before it became a root.
void takeOver(Database& database, const Root& made) {
  for (const Root& root : allRoots(database)) {
    if (root.id == made.id) continue;
    if (root.fileSystem == made.fileSystem && root.path.starts_with(made.path)) {
      const std::string below = root.path.substr(made.path.size());
      reroot(database, {root, ""}, made, below);
      for (const char* table : {"scans", "verified_folders"}) {
        database
            .prepare(std::string("UPDATE OR IGNORE ") + table + " SET root = ?2, folder = ?3 || folder WHERE root = ?1")
            .with(root.id, made.id, below)
            .run();
      }
      database.prepare("DELETE FROM roots WHERE id = ?").with(root.id).run();
    } else if (root.fileSystem == "unknown") {
      reroot(database, {root, made.mounted.substr(root.mounted.size())}, made, "");
    }
  }
  database.run("DELETE FROM roots WHERE file_system = 'unknown' AND id NOT IN (SELECT root FROM files)");
}

}  // namespace

std::vector<Root> allRoots(Database& database) {
  std::vector<Root> roots;
  Statement statement =
      database.prepare("SELECT id, file_system, path, mounted, last_scan FROM roots ORDER BY mounted");
  while (statement.next()) roots.push_back(rootOf(statement));
  return roots;
}

std::string endOf(const std::string& folder) {
  return folder.empty() ? "" : folder.substr(0, folder.size() - 1) + static_cast<char>('/' + 1);
}

std::vector<Part> partsUnder(Database& database, const std::string& folder) {
  std::vector<Part> parts;
  for (Root& root : allRoots(database)) {
    if (root.mounted.starts_with(folder)) {
      parts.push_back({std::move(root), ""});
    } else if (folder.starts_with(root.mounted)) {
      std::string below = folder.substr(root.mounted.size());
      parts.push_back({std::move(root), std::move(below)});
    }
  }
  return parts;
}

Part partFor(Database& database, const Place& folder) {
  for (Root& root : allRoots(database)) {
    if (root.fileSystem != folder.fileSystem || !folder.path.starts_with(root.path)) continue;
    const std::string below = folder.path.substr(root.path.size());
    if (!pathNow(placeOf(root)) && !folder.mounted.ends_with('/' + below)) continue;
    root.mounted = pathNow(placeOf(root)).value_or(folder.mounted.substr(0, folder.mounted.size() - below.size()));
    database.prepare("UPDATE roots SET mounted = ? WHERE id = ?").with(root.mounted, root.id).run();
    return {std::move(root), below};
  }
  database.prepare("INSERT INTO roots (file_system, path, mounted) VALUES (?, ?, ?)")
      .with(folder.fileSystem, folder.path, folder.mounted)
      .run();
  Root root{database.lastId(), folder.fileSystem, folder.path, folder.mounted, {}};
  takeOver(database, root);
  return {std::move(root), ""};
}

bool holdsFiles(Database& database, const Part& part) {
  Statement statement =
      database.prepare(std::string("SELECT 1 FROM files WHERE missing_since IS NULL AND ") + kIsInPart + " LIMIT 1");
  return statement.with(part.root.id, part.folder, endOf(part.folder)).next();
}

}  // namespace catalogue
