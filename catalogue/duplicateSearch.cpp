#include "duplicateSearch.h"

#include <fcntl.h>

#include <algorithm>
#include <deque>
#include <map>
#include <utility>

#include "fileHashes.h"
#include "place.h"
#include "walk.h"

namespace catalogue {
namespace {

constexpr std::string_view kDigestOfNothing(
    "\xDA\x39\xA3\xEE\x5E\x6B\x4B\x0D\x32\x55\xBF\xEF\x95\x60\x18\x90\xAF\xD8\x07\x09", 20);

// ---- Entries: the rows of one index of all catalogues ----

// A file that has a key: what duplicates have in common, a digest or a size.
struct Entry {
  size_t catalogue = 0;
  int64_t file = 0;
  std::string kind;  // of the hash that the key is from
};

struct Bucket {
  std::string key;
  std::vector<Entry> entries;
};

constexpr const char* kByContent = "SELECT content, file, kind FROM hashes ORDER BY content, kind, file";
constexpr const char* kBySize =
    "SELECT printf('%020d', size), id, '' FROM files WHERE size >= 1 ORDER BY files.size, mtime_ns, id";

class Entries {
 public:
  Entries(std::vector<Catalogue>& catalogues, const char* sql) {
    for (Catalogue& catalogue : catalogues) {
      cursors_.push_back({catalogue.database().prepare(sql), "", {cursors_.size(), 0, ""}});
      advance(cursors_.back());
    }
  }

  // Those of the next key; none at the end.
  Bucket next() {
    Bucket bucket{leastKey(), {}};
    for (Cursor& cursor : cursors_) {
      for (; !cursor.ended && cursor.key == bucket.key; advance(cursor)) bucket.entries.push_back(cursor.entry);
    }
    return bucket;
  }

 private:
  struct Cursor {
    Statement statement;
    std::string key;
    Entry entry;
    bool ended = false;
  };

  std::string leastKey() const {
    const std::string* least = nullptr;
    for (const Cursor& cursor : cursors_) {
      if (!cursor.ended && (least == nullptr || cursor.key < *least)) least = &cursor.key;
    }
    return least != nullptr ? *least : "";
  }

  static void advance(Cursor& cursor) {
    cursor.ended = !cursor.statement.next();
    if (cursor.ended) return;
    cursor.key = cursor.statement.bytes(0);
    cursor.entry.file = cursor.statement.number(1);
    cursor.entry.kind = cursor.statement.bytes(2);
  }

  std::vector<Cursor> cursors_;
};

// ---- Members ----

struct Found {
  Member member;
  bool hasFirstHash = false;  // a sampled or quick one: what is grouped by, where there is one
  bool isByFirstHash = false;
};

// Of a file, with the hash of a kind or, for a kind of "", with the first one that there is.
constexpr const char* kMemberSql =
    "SELECT files.root, roots.mounted, files.path, roots.file_system, roots.path, files.size, files.mtime_ns, "
    "files.device,"
    " files.inode, files.links, files.digest,"
    " (SELECT text FROM hashes WHERE file = files.id AND kind = 'whole'),"
    " (SELECT text FROM hashes WHERE file = files.id AND (kind = ?2 OR (?2 = '' AND kind <> 'whole'))"
    "  ORDER BY kind = 'version3' LIMIT 1),"
    " EXISTS (SELECT 1 FROM hashes WHERE file = files.id AND kind IN ('sampled', 'quick'))"
    " FROM files JOIN roots ON roots.id = files.root"
    " WHERE files.id = ?1 AND files.missing_since IS NULL AND files.size >= 0";

// What stands beside a file: its stem and a dot begin the name.
constexpr const char* kBesideSql =
    "SELECT path, max(size, 0) FROM files WHERE root = ? AND path > ? AND path < ? AND missing_since IS NULL";

std::string_view nameOf(std::string_view path) { return path.substr(path.rfind('/') + 1); }

class Members {
 public:
  Members(std::vector<Catalogue>& catalogues, const DuplicateSearch& search) : search_(search) {
    for (Catalogue& catalogue : catalogues) {
      member_.push_back(catalogue.database().prepare(kMemberSql));
      beside_.push_back(catalogue.database().prepare(kBesideSql));
    }
  }

  // False for a file that takes no part.
  bool read(const Entry& entry, Found* found) {
    Statement& row = member_[entry.catalogue].with(entry.file, entry.kind);
    const bool takesPart = row.next() && static_cast<uint64_t>(row.number(5)) >= search_.minSize;
    if (takesPart) *found = foundIn(row, entry.catalogue);
    row.reset();
    found->isByFirstHash = entry.kind == "sampled" || entry.kind == "quick";
    return takesPart && isConsidered(found->member.path);
  }

  // Names what belongs to the file.
  void addCompanions(const Entry& entry, Member* member) {
    Statement& file = member_[entry.catalogue].with(entry.file, "");
    if (!file.next()) return;
    const std::string path = file.text(2);
    const int64_t root = file.number(0);
    file.reset();
    const size_t dot = path.rfind('.');
    if (dot == std::string::npos || dot < path.rfind('/') + 1) return;
    const std::string stem = path.substr(0, dot);
    // '/' follows '.' in the order of bytes
    const std::string first = stem + '.', end = stem + '/';
    Statement& row = beside_[entry.catalogue].with(root, first, end);
    while (row.next()) {
      const std::string beside = row.text(0);
      Companion companion{Companion::Kind::sidecar, member->root + beside, static_cast<uint64_t>(row.number(1))};
      if (companionKind(nameOf(path), nameOf(beside), &companion.kind)) member->companions.push_back(companion);
    }
  }

 private:
  struct Root {
    std::string folder;
    bool isHere = false;
  };

  Found foundIn(const Statement& row, size_t catalogue) {
    Found found;
    Member& member = found.member;
    const Root& root = rootOf(row, catalogue);
    member.root = root.folder;
    member.isHere = root.isHere;
    member.path = root.folder + row.text(2);
    member.fileSystem = row.text(3);
    member.size = static_cast<uint64_t>(row.number(5));
    member.mtime = row.number(6);
    member.device = static_cast<uint64_t>(row.number(7));
    member.inode = static_cast<uint64_t>(row.number(8));
    member.links = static_cast<uint64_t>(row.number(9));
    member.digest = row.text(10);
    member.whole = hashTextOf(row, 11);
    member.hash = hashTextOf(row, 12);
    found.hasFirstHash = row.number(13) != 0;
    return found;
  }

  // Where the row's root is now, or was when it was seen last.
  const Root& rootOf(const Statement& row, size_t catalogue) {
    const auto [known, isNew] = roots_.try_emplace({catalogue, row.number(0)});
    if (isNew) {
      const std::string mounted = row.text(1);
      const std::optional<std::string> now = pathNow({row.text(3), row.text(4), mounted});
      known->second = {now.value_or(mounted), now.has_value()};
    }
    return known->second;
  }

  bool isConsidered(const std::string& path) const {
    const std::vector<std::string>& references = search_.judgement.references;
    return search_.under.empty() || isBelow(path, search_.under) ||
           std::any_of(references.begin(), references.end(),
                       [&](const std::string& folder) { return isBelow(path, folder); });
  }

  const DuplicateSearch& search_;
  std::vector<Statement> member_, beside_;  // of each catalogue
  std::map<std::pair<size_t, int64_t>, Root> roots_;
};

// ---- Groups ----

struct Candidate {
  Entry entry;
  Found found;
};

using Candidates = std::deque<Candidate>;  // given back bit by bit

// In the order of their paths; one that is in two catalogues, or there by two hashes of one kind of agreement, once.
void sortByPath(Candidates& candidates) {
  const auto path = [](const Candidate& it) -> const std::string& { return it.found.member.path; };
  std::stable_sort(candidates.begin(), candidates.end(),
                   [&](const Candidate& a, const Candidate& b) { return path(a) < path(b); });
  const auto isSame = [&](const Candidate& a, const Candidate& b) { return path(a) == path(b); };
  candidates.erase(std::unique(candidates.begin(), candidates.end(), isSame), candidates.end());
}

class Search {
 public:
  Search(std::vector<Catalogue>& catalogues, const DuplicateSearch& search,
         const std::function<void(const Group&)>& take)
      : search_(search), take_(take), members_(catalogues, search) {}

  void takeSameContent(const Bucket& bucket) {
    if (bucket.entries.size() < 2 || bucket.key == kDigestOfNothing) return;
    std::vector<Candidates> classes;
    for (const Entry& entry : bucket.entries) {
      Candidate candidate{entry, {}};
      if (!members_.read(entry, &candidate.found) || !tellsContent(candidate.found.member.hash)) continue;
      const auto like = std::find_if(classes.begin(), classes.end(), [&](const Candidates& others) {
        return agreeWith(others.front().found.member, candidate.found.member);
      });
      if (like != classes.end()) {
        like->push_back(std::move(candidate));
      } else {
        classes.push_back({});
        classes.back().push_back(std::move(candidate));
      }
    }
    for (Candidates& candidates : classes) {
      if (!isToldElsewhere(candidates)) tell(candidates);
    }
  }

  // Only digests are held of what has one size, however much that is.
  void takeSameSize(const Bucket& bucket) {
    const std::vector<Entry>& entries = bucket.entries;
    if (entries.size() < 2) return;
    std::vector<std::pair<std::string, size_t>> digests;
    for (size_t i = 0; i < entries.size(); ++i) {
      Found found;
      if (!members_.read(entries[i], &found)) continue;
      std::string& digest = found.member.digest;
      if (digest.empty() && search_.judgement.digestOf) digest = search_.judgement.digestOf(found.member);
      if (!digest.empty()) digests.emplace_back(std::move(digest), i);
    }
    std::sort(digests.begin(), digests.end());
    for (auto first = digests.begin(); first != digests.end();) {
      const auto end = std::find_if(first, digests.end(), [&](const auto& it) { return it.first != first->first; });
      std::vector<Entry> equal;
      for (auto it = first; it != end; ++it) equal.push_back(entries[it->second]);
      if (equal.size() > 1) tellCopies(equal, first->first);
      first = end;
    }
  }

 private:
  Candidates candidatesOf(const std::vector<Entry>& entries) {
    Candidates candidates;
    for (const Entry& entry : entries) {
      Found found;
      if (members_.read(entry, &found)) candidates.push_back({entry, std::move(found)});
    }
    return candidates;
  }

  // Where both files have a hash of every byte, that has to agree too.
  bool agreeWith(const Member& a, const Member& b) const {
    const bool haveWhole = !a.whole.empty() && !b.whole.empty();
    return agree(search_.match, a.hash, b.hash) && (!haveWhole || agree(search_.match, a.whole, b.whole));
  }

  // Files that have more than one hash are grouped by the first one.
  static bool isToldElsewhere(const Candidates& candidates) {
    return std::all_of(candidates.begin(), candidates.end(), [](const Candidate& candidate) {
      return candidate.found.hasFirstHash && !candidate.found.isByFirstHash;
    });
  }

  void tellCopies(const std::vector<Entry>& entries, const std::string& digest) {
    Candidates candidates = candidatesOf(entries);
    for (Candidate& candidate : candidates) candidate.found.member.digest = digest;
    tell(candidates);
  }

  void tell(Candidates& candidates) {
    sortByPath(candidates);
    Group group;
    group.match = search_.match;
    const bool isGroup = candidates.size() > 1;
    group.members.reserve(candidates.size());
    for (; !candidates.empty(); candidates.pop_front()) {
      Candidate& candidate = candidates.front();
      if (isGroup) members_.addCompanions(candidate.entry, &candidate.found.member);
      group.members.push_back(std::move(candidate.found.member));
    }
    judge(search_.judgement, &group);
    const bool anyUnder =
        search_.under.empty() || std::any_of(group.members.begin(), group.members.end(), [&](const Member& member) {
          return !member.isReference && isBelow(member.path, search_.under);
        });
    if (anyUnder && isWorthTelling(group)) take_(group);
  }

  const DuplicateSearch& search_;
  const std::function<void(const Group&)>& take_;
  Members members_;
};

}  // namespace

void findDuplicates(std::vector<Catalogue>& catalogues, const DuplicateSearch& search,
                    const std::function<void(const Group&)>& take) {
  const bool isBySize = search.match == Match::exact;
  Entries entries(catalogues, isBySize ? kBySize : kByContent);
  Search groups(catalogues, search, take);
  for (Bucket bucket = entries.next(); !bucket.entries.empty(); bucket = entries.next()) {
    isBySize ? groups.takeSameSize(bucket) : groups.takeSameContent(bucket);
  }
}

std::string digestIfUnchanged(const Member& member) {
  const Descriptor file(open(member.path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
  const auto isUnchanged = [&] {
    FileStat stat;
    return fileStatOf(file.number(), &stat) && static_cast<uint64_t>(stat.size) == member.size &&
           stat.mtimeNs == member.mtime;
  };
  if (file.number() < 0 || !isUnchanged()) return "";
  std::string digest = digestOf(file.number());
  return isUnchanged() ? digest : "";
}

}  // namespace catalogue
