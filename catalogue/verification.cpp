#include "verification.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "fileHashes.h"
#include "globs.h"
#include "kmhash.h"
#include "place.h"

namespace catalogue {
namespace {

std::string wordsOf(int error) { return std::generic_category().message(error); }

// ---- Comparing ----

// The text that a hash of today would have which is made as the stored one, in its written form; or a result code.
struct Rehash {
  int code = HASHCREATE_SUCCESS;
  std::string text;
};

Rehash rehash(const std::string& openAs, const std::string& stored) {
  char text[KMHASH_TEXT_SIZE];
  const bool isQuick = stored.compare(114, 2, "FF") == 0;
  const bool isWhole = stored.compare(116, 2, "F1") == 0;
  uint32_t flags = isWhole ? KMHASH_WHOLE : 0;
  if (stored.starts_with("0004")) flags |= KMHASH_PREFER_VERSION_4;
  const int code = isQuick ? createQuickFileHash(openAs.c_str(), text, sizeof text, nullptr)
                           : kmhashHashFile(openAs.c_str(), flags, text, sizeof text);
  if (code != HASHCREATE_SUCCESS) return {code, ""};
  return {code, hashRecordOf({text, KMHASH_TEXT_SIZE - 1}).text};
}

// A text with labels that were never set is none for the library.
bool lacksLabels(const std::string& text) { return text.find('.') != std::string::npos; }

bool isSameHash(const std::string& a, const std::string& b) {
  if (lacksLabels(a) || lacksLabels(b)) return a == b;
  return compareBetweenHash(a.c_str(), b.c_str()) == 0;
}

class Comparison {
 public:
  Comparison(const VerifyTask& task, const RecordedFile& recorded, bool whole)
      : task_(task), recorded_(recorded), whole_(whole) {
    said_.path = task.path;
    said_.file = recorded.id;
    said_.oldHash = recorded.text;
    said_.newHash = recorded.text;
  }

  Verified compare() {
    const Descriptor file = task_.tree->openToRead(task_.below);
    FileStat stat;
    if (file.number() < 0) return unreadable(wordsOf(errno));
    if (!fileStatOf(file.number(), &stat)) return unreadable("is no regular file by now");
    findings_.isSameSize = recorded_.stat && recorded_.stat->size == stat.size;
    findings_.isSameStat = findings_.isSameSize && recorded_.settled && recorded_.stat->mtimeNs == stat.mtimeNs;
    if (!compareBytes(file) || !compareHash(pathOf(file))) return said_;
    said_.isSaid = judge(findings_, &said_.word);
    said_.lacksWhole = whole_ && findings_.bytes == Compared::not_ && findings_.whole == Compared::not_;
    return said_;
  }

 private:
  Verified unreadable(const std::string& reason) {
    said_.isSaid = true;
    said_.word = Word::unreadable;
    said_.reason = reason;
    said_.newHash.clear();
    return said_;
  }

  // False when that ended it.
  bool compareBytes(const Descriptor& file) {
    if (!whole_ || recorded_.digest.empty()) return true;
    const std::string digest = digestOf(file.number());
    if (digest.empty()) {
      unreadable(wordsOf(errno));
      return false;
    }
    findings_.bytes = digest == recorded_.digest ? Compared::same : Compared::different;
    return true;
  }

  bool compareHash(const std::string& openAs) {
    const bool isWhole = whole_ && !recorded_.whole.empty();
    const std::string& stored = isWhole ? recorded_.whole : recorded_.text;
    if (findings_.bytes == Compared::same || stored.empty()) return true;
    if (!lacksLabels(stored) && kmhashCanVerify(stored.c_str()) == 0) {
      unreadable("the hash was made by a newer kmhash");
      return false;
    }
    const Rehash now = rehash(openAs, stored);
    if (tellsOfSystem(now.code)) {
      unreadable(kmhashResultName(now.code));
      return false;
    }
    const bool isSame = now.code == HASHCREATE_SUCCESS && isSameHash(stored, now.text);
    (isWhole ? findings_.whole : findings_.sampled) = isSame ? Compared::same : Compared::different;
    said_.oldHash = stored;
    said_.newHash = now.text;
    return true;
  }

  const VerifyTask& task_;
  const RecordedFile& recorded_;
  const bool whole_;
  Findings findings_;
  Verified said_;
};

// Of those that are gone, the one that this file is; else it is new.
Verified find(const VerifyTask& task, bool whole) {
  for (const RecordedFile& gone : task.gone) {
    Verified said = Comparison(task, gone, whole).compare();
    if (!said.isSaid || !isWell(said.word)) continue;
    said.word = Word::moved;
    said.oldPath = gone.path;
    return said;
  }
  Verified said;
  said.isSaid = true;
  said.word = Word::isNew;
  said.path = task.path;
  return said;
}

bool isGone(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) == 0) return !S_ISREG(status.st_mode);
  return errno == ENOENT || errno == ENOTDIR;
}

// Whether a walk with these options would come to the file.
bool isWanted(const WalkOptions& options, const std::string& path) {
  for (size_t end = path.find('/'); end != std::string::npos; end = path.find('/', end + 1)) {
    if (matchesAny(options.excluded, path.substr(0, end + 1))) return false;
  }
  return !matchesAny(options.excluded, path) && (options.included.empty() || matchesAny(options.included, path));
}

// ---- Rows ----

constexpr const char* kColumns =
    "SELECT files.id, files.path, files.size, files.mtime_ns, files.settled, files.digest,"
    " (SELECT text FROM hashes WHERE file = files.id AND kind <> 'whole' ORDER BY kind = 'version3' LIMIT 1),"
    " (SELECT text FROM hashes WHERE file = files.id AND kind = 'whole'), files.root FROM files WHERE ";

// Files of one size and time may well be one that moved.
constexpr const char* kOfSizeAndTime = "files.size = ? AND files.mtime_ns = ? LIMIT 100";

constexpr size_t kEventsInTransaction = 1000;

}  // namespace

Verified verifyTask(const VerifyTask& task, bool whole) {
  if (task.kind == VerifyTask::Kind::compare) return Comparison(task, task.recorded, whole).compare();
  if (task.kind == VerifyTask::Kind::find) return find(task, whole);
  Verified said;
  said.isSaid = true;
  said.word = task.word;
  said.path = task.path;
  said.reason = task.reason;
  said.file = task.recorded.id;
  said.oldHash = task.recorded.text;
  return said;
}

// ---- Verification ----

Verification::Verification(Catalogue& catalogue, VerifyOptions options, bool records)
    : catalogue_(catalogue),
      options_(std::move(options)),
      rows_(catalogue.database().prepare(std::string(kColumns) + kIsInPart + " ORDER BY files.path")),
      gone_(catalogue.database().prepare(std::string(kColumns) + kOfSizeAndTime)),
      goneRow_(catalogue.database().prepare(std::string(kColumns) + "files.id = ?")),
      records_(records) {
  addPlaces();
  if (records_) beginLog();
}

void Verification::beginLog() {
  Database& database = catalogue_.database();
  recorder_.emplace(database, now());
  if (places_.empty()) return;
  Transaction transaction(database);
  log_.emplace(database, recorder_->time(), options_.whole, options_.percent);
  for (const Place& place : places_) log_->addFolder(place.root.id, place.folder);
  transaction.commit();
}

Verification::~Verification() = default;

void Verification::addPlaces() {
  std::vector<std::string> folders = options_.folders;
  if (folders.empty()) folders.emplace_back("/");
  std::sort(folders.begin(), folders.end());  // those below another one are told with it
  const auto isWithin = [](const std::string& outer, const std::string& folder) { return folder.starts_with(outer); };
  folders.erase(std::unique(folders.begin(), folders.end(), isWithin), folders.end());
  for (const std::string& folder : folders) {
    const size_t before = places_.size();
    for (Root& root : allRoots(catalogue_.database())) {
      const std::optional<std::string> here = pathNow(placeOf(root));
      const std::string at = here.value_or(root.mounted);
      const bool isAbove = at.starts_with(folder);
      if (!isAbove && !folder.starts_with(at)) continue;
      places_.push_back({std::move(root), at, isAbove ? "" : folder.substr(at.size()), here.has_value()});
    }
    if (places_.size() == before && !options_.folders.empty()) unknownFolders_.push_back(folder);
  }
}

// False when there is none any more.
bool Verification::openPlace() {
  if (isOpen_ || place_ == places_.size()) return isOpen_;
  const Place& place = places_[place_];
  isOpen_ = true;
  barred_.clear();
  walk_.reset();
  walkEnded_ = true;
  tree_ = place.isHere ? DirectoryTree::open(place.at + place.folder) : nullptr;
  // Imported files may be anywhere: where no folder is named, each is looked up.
  const bool isLookedUp = place.root.fileSystem == "unknown" && place.folder.empty();
  if (tree_ != nullptr && !isLookedUp) {
    WalkNotes notes;
    notes.unreadable = [this](const std::string& path, int error) { bar(path, Word::unreadable, wordsOf(error)); };
    notes.otherMount = [this](const std::string& path, uint64_t) { bar(path, Word::absent, wordsOf(Absence::hidden)); };
    walk_ = std::make_unique<Walk>(tree_, WalkOptions{}, std::move(notes));
    walkEnded_ = false;
    advanceWalk();
  }
  // A folder without any file where there were some is a disk that is away.
  const bool isEmpty = walkEnded_ && barred_.empty() && place.folder.empty() && !isLookedUp;
  if (!place.isHere) {
    bar("", Word::absent, wordsOf(absenceOf(placeOf(place.root))));
  } else if (isEmpty) {
    bar("", Word::absent, "the folder is empty");
  }
  end_ = endOf(place.folder);
  rows_.with(place.root.id, place.folder, end_);
  rowsEnded_ = false;
  advanceRow();
  return true;
}

void Verification::advanceWalk() {
  std::string path;
  walkEnded_ = !walk_->next(&path, &walkedStat_);
  walked_ = places_[place_].folder + path;
}

void Verification::advanceRow() { rowsEnded_ = !rows_.next(); }

void Verification::bar(const std::string& folder, Word word, const std::string& reason) {
  barred_.push_back({places_[place_].folder + folder, word, reason});
}

bool Verification::isChosen() { return random_() % 100 < options_.percent; }

RecordedFile Verification::recordedOf(const Statement& row, const std::string& at) const {
  RecordedFile file;
  file.id = row.number(0);
  file.path = at + row.text(1);
  if (!row.isNull(2)) {
    file.stat.emplace();
    file.stat->size = row.number(2);
    file.stat->mtimeNs = row.number(3);
  }
  file.settled = row.number(4) != 0;
  file.digest = row.text(5);
  file.text = hashTextOf(row, 6);
  file.whole = hashTextOf(row, 7);
  if (file.text.empty()) file.text = file.whole;
  return file;
}

bool Verification::next(VerifyTask* task) {
  while (openPlace()) {
    *task = {};
    const std::string_view row = rowsEnded_ ? std::string_view() : rows_.bytes(1);
    if (walkEnded_ && rowsEnded_) {
      isOpen_ = false;
      ++place_;
    } else if (walkEnded_ || (!rowsEnded_ && row < walked_)) {
      const bool isTold = tellRow(task);
      advanceRow();
      if (isTold) return true;
    } else if (rowsEnded_ || walked_ < row) {
      const bool isTold = findNew(task);
      advanceWalk();
      if (isTold) return true;
    } else {
      compareRow(task);
      const bool isRead = isChosen();
      advanceRow();
      advanceWalk();
      if (isRead) return true;
    }
  }
  return false;
}

// A recorded file that is not where it was: known is why, or it is told when all others were seen.
bool Verification::tellRow(VerifyTask* task) {
  const std::string_view path = rows_.bytes(1);
  for (const Barred& barred : barred_) {
    if (!path.starts_with(barred.folder)) continue;
    task->recorded = recordedOf(rows_, places_[place_].at);
    task->path = task->recorded.path;
    task->word = barred.word;
    task->reason = barred.reason;
    return true;
  }
  FileStat stat;
  if (!walk_ && tree_ && fileStatOf(tree_->find(path).number(), &stat)) {
    compareRow(task);
    return isChosen();
  }
  missing_.push_back(rows_.number(0));
  return false;
}

void Verification::compareRow(VerifyTask* task) {
  task->kind = VerifyTask::Kind::compare;
  task->tree = tree_;
  task->below = rows_.text(1).substr(places_[place_].folder.size());
  task->recorded = recordedOf(rows_, places_[place_].at);
  task->path = task->recorded.path;
}

// False for one that a scan would have passed over.
bool Verification::findNew(VerifyTask* task) {
  if (!isWanted(options_.newFiles, walked_.substr(places_[place_].folder.size()))) return false;
  task->kind = VerifyTask::Kind::find;
  task->tree = tree_;
  task->below = walked_.substr(places_[place_].folder.size());
  task->path = places_[place_].at + walked_;
  gone_.with(walkedStat_.size, walkedStat_.mtimeNs);
  while (gone_.next()) {
    for (const Place& place : places_) {
      if (place.root.id != gone_.number(8)) continue;
      RecordedFile recorded = recordedOf(gone_, place.at);
      if (place.isHere && isGone(recorded.path)) task->gone.push_back(std::move(recorded));
      break;
    }
  }
  return true;
}

bool Verification::nextMissing(Verified* verified) {
  std::sort(moved_.begin(), moved_.end());
  while (told_ < missing_.size()) {
    const int64_t id = missing_[told_++];
    if (std::binary_search(moved_.begin(), moved_.end(), id) || !goneRow_.with(id).next()) continue;
    *verified = {};
    for (const Place& place : places_) {
      if (place.root.id == goneRow_.number(8)) verified->path = recordedOf(goneRow_, place.at).path;
    }
    verified->isSaid = true;
    verified->word = Word::missing;
    verified->file = id;
    verified->oldHash = goneRow_.text(6);
    return true;
  }
  return false;
}

void Verification::take(const Verified& verified) {
  if (verified.word == Word::moved) moved_.push_back(verified.file);
  ++words_[verified.isSaid ? nameOf(verified.word) : kNotCompared];
  const bool isAsItWas = verified.word == Word::intact || verified.word == Word::intactAsSampled;
  if (!records_ || verified.file == 0 || isAsItWas || verified.word == Word::absent) return;
  if (!transaction_) transaction_.emplace(catalogue_.database());
  const auto orNothing = [](const std::string& text) {
    return text.empty() ? std::nullopt : std::optional<std::string>(text);
  };
  recorder_->add({verified.file, nameOf(verified.word), verified.path, orNothing(verified.oldHash),
                  orNothing(verified.newHash), orNothing(verified.oldPath)});
  if (++events_ == kEventsInTransaction) endTransaction();
}

void Verification::endTransaction() {
  if (transaction_) transaction_->commit();
  transaction_.reset();
  events_ = 0;
}

void Verification::finish() {
  if (log_) {
    if (!transaction_) transaction_.emplace(catalogue_.database());
    log_->end(words_);
  }
  endTransaction();
}

}  // namespace catalogue
