#include "partScan.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <system_error>

#include "disk.h"

namespace catalogue {
namespace {

constexpr size_t kWindow = 4096;  // files that are found and wait to be hashed, at most

// Time stamps come in steps: of a second or two on some file systems, which shows, elsewhere of the system's clock
// tick.
constexpr int64_t kSecond = 1'000'000'000, kTick = 20'000'000;
// A file server's clock may be ahead by so much.
constexpr int64_t kClockSkew = 24 * 3600 * kSecond;

int64_t granularityOf(int64_t mtimeNs) { return mtimeNs % kSecond == 0 ? 2 * kSecond : kTick; }

bool isSettled(int64_t mtimeNs, int64_t scanBegan) {
  return mtimeNs < scanBegan - granularityOf(mtimeNs) || mtimeNs > scanBegan + kClockSkew;
}

}  // namespace

PartScan::PartScan(ScanCall& call, ScanTarget target, std::vector<std::string>* otherMounts)
    : call_(call),
      database_(call.database),
      options_(call.options),
      observer_(call.observer),
      target_(std::move(target)),
      began_(call.began),
      partBegan_(now()),
      totals_(call.totals),
      before_(call.totals),
      otherMounts_(*otherMounts),
      tree_(DirectoryTree::open(target_.path)),
      batches_(database_),
      recorder_(database_, began_),
      known_(database_, target_.part),
      sameInode_(database_.prepare(
          std::string("SELECT ") + kKnownColumns +
          ", roots.mounted, roots.path FROM files JOIN roots ON roots.id = files.root "
          "WHERE inode = ? AND +size = ? AND +mtime_ns = ? AND file_system = ? ORDER BY missing_since IS NOT NULL")),
      addGone_(prepareGone()) {}

// Rows whose files were not met. They become missing when all was walked, so that none is that has only moved.
Statement PartScan::prepareGone() {
  database_.run(
      "CREATE TEMP TABLE IF NOT EXISTS gone (file INTEGER PRIMARY KEY, path TEXT NOT NULL); DELETE FROM gone");
  return database_.prepare("INSERT OR REPLACE INTO gone (file, path) VALUES (?, ?)");
}

bool PartScan::run() {
  if (!tree_) throw Error(Error::Kind::notThere, target_.path + " is no longer there");
  begin();
  isRotating_ = isOnRotatingDisk(target_.path);
  const unsigned jobs = options_.jobs != 0 ? options_.jobs : threadsForFiles(isRotating_);
  Walk files(tree_, options_.walk, notes());
  Workers<Job, FileHashes> workers(
      jobs, [this](const Job& job) { return hashesOf(*tree_, job.path, job.stat, options_.wishes, &isStopped_); });
  walk(files, workers);
  if (!totals_.stopped) finish();
  batches_.end();
  isStopped_ = totals_.stopped;
  return !totals_.stopped;
}

void PartScan::begin() {
  batches_.begin();
  database_.prepare("INSERT INTO scans (root, folder, started) VALUES (?, ?, ?)")
      .with(target_.part.root.id, target_.part.folder, began_)
      .run();
  scan_ = database_.lastId();
}

void PartScan::walk(Walk& walk, Workers<Job, FileHashes>& workers) {
  for (;;) {
    while (!walked_ && workers.pending() + found_.size() < kWindow && !totals_.stopped) step(walk, workers);
    if (totals_.stopped) return;
    handOver(workers, true);
    takeDone(workers, true);
    if (walked_ && workers.pending() == 0) return;
  }
}

void PartScan::step(Walk& walk, Workers<Job, FileHashes>& workers) {
  Job job;
  if (!walk.next(&job.path, &job.stat)) {
    walked_ = true;
  } else if (!isCatalogues(absolute(job.path))) {
    ++totals_.seen;
    passRowsBefore(pathInRoot(job.path));
    meet(std::move(job));
    handOver(workers, false);
    if (workers.pending() > 0) takeDone(workers, false);
  }
  batches_.endWhenDue();
  totals_.stopped = observer_.isStopped();
}

// The catalogue itself changes while it is written.
bool PartScan::isCatalogues(const std::string& path) const {
  if (!path.starts_with(call_.catalogue)) return false;
  const std::string_view rest = std::string_view(path).substr(call_.catalogue.size());
  return rest.empty() || rest == "-wal" || rest == "-shm" || rest == "-lock";
}

// A turning disk has them by inode, which is near the order that they lie in, once there are as many as can wait.
void PartScan::handOver(Workers<Job, FileHashes>& workers, bool all) {
  if (isRotating_ && !all) return;
  if (isRotating_) {
    std::sort(found_.begin(), found_.end(), [](const Job& a, const Job& b) { return a.stat.inode < b.stat.inode; });
  }
  for (Job& job : found_) workers.add(std::move(job));
  found_.clear();
}

void PartScan::takeDone(Workers<Job, FileHashes>& workers, bool waits) {
  std::pair<Job, FileHashes> done;
  while (!totals_.stopped && workers.take(&done, waits)) {
    const auto bytes = static_cast<uint64_t>(done.second.stat.size);
    store(done.first, done.second);
    totals_.bytes += bytes;
    observer_.done(bytes);
    batches_.endWhenDue();
    totals_.stopped = observer_.isStopped();
    waits = false;
  }
}

void PartScan::passRowsBefore(const std::string& path) {
  for (const KnownFile* row = known_.front(); row != nullptr && row->path < path; row = known_.front()) {
    noteGone(*row);
    known_.pop();
  }
}

void PartScan::meet(Job job) {
  const KnownFile* row = known_.front();
  const bool isRecordedHere = row != nullptr && row->path == pathInRoot(job.path);
  if (isRecordedHere) {
    const KnownFile file = *row;
    known_.pop();
    if (isKnown(file, job.stat)) return takeKnown(file, job.stat);
  }
  if (takeOtherName(job, isRecordedHere)) return;
  found_.push_back(std::move(job));
}

bool PartScan::isKnown(const KnownFile& file, const FileStat& stat) const {
  const int64_t wanted = options_.wishes.recorded();
  return file.stat && file.settled && (file.recorded & wanted) == wanted && file.stat->size == stat.size &&
         file.stat->mtimeNs == stat.mtimeNs && (file.stat->inode == stat.inode || file.stat->inode == 0);
}

void PartScan::takeKnown(const KnownFile& file, const FileStat& stat) {
  ++totals_.known;
  observer_.done(0);
  const bool isAsItWas =
      file.stat->device == stat.device && file.stat->inode == stat.inode && file.stat->links == stat.links;
  if (isAsItWas && !file.isMissing) return;
  batches_.begin();
  if (!isAsItWas) recorder_.refresh(file.id, stat);
  if (file.isMissing) {
    recorder_.markBack(target_.part.root, file);
    ++totals_.back;
  }
  batches_.wrote();
}

// A file that has moved here, or another name of one that is recorded.
bool PartScan::takeOtherName(const Job& job, bool isRecordedHere) {
  const std::string path = pathInRoot(job.path);
  const FileStat& stat = job.stat;
  std::optional<KnownFile> other;
  std::string mounted;
  bool hasMoved = false;
  sameInode_.with(stat.inode, stat.size, stat.mtimeNs, target_.part.root.fileSystem);
  while (!hasMoved && sameInode_.next()) {
    KnownFile file = knownOf(sameInode_);
    if (file.root == target_.part.root.id && file.path == path) continue;
    const Former former = formerOf(file, sameInode_.text(kKnownColumnCount + 1), stat);
    if (former == Former::another) continue;
    hasMoved = !isRecordedHere && former == Former::gone;
    if (other && !hasMoved) continue;
    mounted = sameInode_.text(kKnownColumnCount);
    other = std::move(file);
  }
  sameInode_.reset();
  if (!other) return false;
  const bool knowsAll = isKnown(*other, stat);
  if (!hasMoved && !knowsAll) return false;
  batches_.begin();
  if (!hasMoved) {
    FileHashes copy = recorder_.hashesOf(*other);
    copy.stat = stat;
    store(job, copy);
    observer_.done(0);
    return true;
  }
  const bool wasMissing = recorder_.move(other->id, mounted + other->path, target_.part.root, path, stat);
  if (wasMissing) ++call_.joined.wereMissing;
  database_.prepare("DELETE FROM gone WHERE file = ?").with(other->id).run();
  ++totals_.moved;
  batches_.wrote();
  if (knowsAll) observer_.done(0);
  return knowsAll;
}

// What stands where the file was recorded that may be the one at hand.
PartScan::Former PartScan::formerOf(const KnownFile& file, const std::string& rootPath, const FileStat& stat) {
  const auto [other, isFirst] = otherRoots_.try_emplace(rootPath);
  if (isFirst) other->second = otherRootAt(rootPath);
  const auto& [tree, former] = other->second;
  if (!tree) return former;
  const Descriptor found = tree->find(file.path);
  FileStat now;
  if (found.number() < 0) {
    return saysNotThere(errno) ? Former::gone : Former::same;
  }
  if (!fileStatOf(found.number(), &now) || now.inode != stat.inode) return Former::gone;
  return now.device == stat.device ? Former::same : Former::another;
}

// A root of which the disk is here is not only away.
PartScan::OtherRoot PartScan::otherRootAt(const std::string& rootPath) const {
  const Root& here = target_.part.root;
  const Place place{here.fileSystem, rootPath, here.mounted};
  const std::optional<std::string> path = pathNow(place);
  if (path) return {DirectoryTree::open(*path), Former::same};
  return {nullptr, absenceOf(place) == Absence::folder ? Former::gone : Former::same};
}

void PartScan::store(const Job& job, const FileHashes& made) {
  if (made.isGone) return;
  batches_.begin();
  const bool settled = !made.changedMeanwhile && isSettled(made.stat.mtimeNs, partBegan_);
  const Recorder::Stored stored = recorder_.store(target_.part.root, pathInRoot(job.path), made, settled);
  if (stored == Recorder::Stored::isNew) ++totals_.isNew;
  if (stored == Recorder::Stored::isChanged) ++totals_.changed;
  if (stored == Recorder::Stored::isBack) ++totals_.back;
  if (stored == Recorder::Stored::isSame) ++totals_.again;
  if (made.status == kStatusUnsupported) ++totals_.unsupported;
  if (made.status == kStatusFailed) {
    ++totals_.failed;
    observer_.failed(absolute(job.path), made.result, made.error);
  }
  batches_.wrote();
}

// One that was excluded, or lies in a folder that cannot be read or that a mount hides, is not gone.
void PartScan::noteGone(const KnownFile& file) {
  const bool isHidden = std::any_of(mountsBelow_.begin(), mountsBelow_.end(),
                                    [&](const std::string& mount) { return file.path.starts_with(mount); });
  if (file.isMissing || isHidden) return;
  const Descriptor found = tree_->find(std::string_view(file.path).substr(target_.part.folder.size()));
  FileStat stat;
  const bool isGone = found.number() < 0 ? saysNotThere(errno) : !fileStatOf(found.number(), &stat);
  if (!isGone) return;
  batches_.begin();
  addGone_.with(file.id, file.path).run();
  batches_.wrote();
}

void PartScan::finish() {
  for (const KnownFile* row = known_.front(); row != nullptr; row = known_.front()) {
    noteGone(*row);
    known_.pop();
  }
  batches_.end();
  batches_.begin();
  const uint64_t missing = markMissing();
  addMissingEvents();
  const MovedFiles joined = joinMovedFiles(missing);
  totals_.moved += joined.moved;
  if (target_.part.folder.empty()) {
    database_.prepare("UPDATE roots SET last_scan = ? WHERE id = ?").with(began_, target_.part.root.id).run();
  }
  end();
  call_.joined.wereNew += joined.wereNew;
  call_.joined.wereMissing += joined.wereMissing;
}

// Their number. They were seen last by a scan of all of the root or of a folder that they are in.
uint64_t PartScan::markMissing() {
  const Root& root = target_.part.root;
  database_
      .prepare(
          "UPDATE files SET missing_since = ?1, last_seen = max(first_seen, ?2, coalesce((SELECT max(started) FROM "
          "scans WHERE scans.root = ?3 AND ended IS NOT NULL AND started > ?2 AND substr(files.path, 1, "
          "length(folder)) = folder), 0)) FROM gone WHERE files.id = gone.file AND files.path = gone.path AND "
          "files.root = ?3 AND missing_since IS NULL")
      .with(began_, root.lastScan.value_or(0), root.id)
      .run();
  const auto count = static_cast<uint64_t>(database_.changes());
  totals_.missing += count;
  return count;
}

// What a scan before this one found before it was interrupted is new too.
MovedFiles PartScan::joinMovedFiles(uint64_t missing) {
  const Root& root = target_.part.root;
  Statement since =
      database_.prepare("SELECT min(started) FROM scans WHERE root = ? AND ended IS NULL AND started > ?");
  since.with(root.id, root.lastScan.value_or(0)).next();
  const int64_t newSince = std::min(began_, since.numberOrNull(0).value_or(began_));
  since.reset();
  if (missing == 0 && totals_.isNew == before_.isNew && newSince == began_) return {};
  return joinMoved(database_, recorder_, {root.id, began_, newSince});
}

void PartScan::addMissingEvents() {
  const Root& root = target_.part.root;
  database_
      .prepare(
          "INSERT INTO events (time, file, word, path, old_hash) SELECT ?1, gone.file, ?2, ?4 || files.path, "
          "hashes.text FROM gone JOIN files ON files.id = gone.file LEFT JOIN hashes ON hashes.file = gone.file AND "
          "kind IN ('sampled', 'quick') WHERE files.missing_since = ?1 AND files.path = gone.path AND files.root = ?3")
      .with(began_, kWordMissing, root.id, root.mounted)
      .run();
}

void PartScan::end() {
  const auto since = [](uint64_t total, uint64_t before) { return static_cast<int64_t>(total - before); };
  database_
      .prepare(
          "UPDATE scans SET ended = ?2, seen = ?3, hashed = ?4, moved = ?5, missing = ?6, bytes = ?7 WHERE id = ?1")
      .with(scan_, now(), since(totals_.seen, before_.seen),
            since(totals_.isNew + totals_.changed, before_.isNew + before_.changed),
            since(totals_.moved, before_.moved), since(totals_.missing, before_.missing),
            since(totals_.bytes, before_.bytes))
      .run();
}

WalkNotes PartScan::notes() {
  return {.unreadable =
              [this](const std::string& path, int error) {
                ++totals_.unreadable;
                observer_.unreadable(absolute(path), std::generic_category().message(error));
              },
          .passedOver =
              [this](const std::string& path) {
                ++totals_.passedOver;
                observer_.passedOver(absolute(path));
              },
          .otherMount =
              [this](const std::string& path, uint64_t mountId) {
                mountsBelow_.push_back(pathInRoot(path));
                if (!isSystems(mountId)) return otherMounts_.push_back(absolute(path));
                ++totals_.passedOver;
                observer_.passedOver(absolute(path));
              }};
}

}  // namespace catalogue
