#include "duplicates.h"

#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include "kmhash.h"
#include "sharedStorage.h"

namespace catalogue {
namespace {

constexpr size_t kHashLength = 128, kContentStart = 18, kDigestLength = 40;
constexpr std::string_view kDigestOfNothing = "DA39A3EE5E6B4B0D3255BFEF95601890AFD80709";

// ---- Companions ----

struct Ending {
  const char* name;
  Companion::Kind kind;
};
constexpr Ending kEndings[] = {
    {"xmp", Companion::Kind::sidecar},  {"aae", Companion::Kind::sidecar},  {"thm", Companion::Kind::sidecar},
    {"json", Companion::Kind::sidecar}, {"dop", Companion::Kind::sidecar},  {"pp3", Companion::Kind::sidecar},
    {"srt", Companion::Kind::sidecar},  {"lrc", Companion::Kind::sidecar},  {"gpx", Companion::Kind::sidecar},
    {"dng", Companion::Kind::raw},      {"cr2", Companion::Kind::raw},      {"cr3", Companion::Kind::raw},
    {"crw", Companion::Kind::raw},      {"nef", Companion::Kind::raw},      {"nrw", Companion::Kind::raw},
    {"arw", Companion::Kind::raw},      {"sr2", Companion::Kind::raw},      {"raf", Companion::Kind::raw},
    {"orf", Companion::Kind::raw},      {"rw2", Companion::Kind::raw},      {"pef", Companion::Kind::raw},
    {"srw", Companion::Kind::raw},      {"raw", Companion::Kind::raw},      {"jpg", Companion::Kind::picture},
    {"jpeg", Companion::Kind::picture}, {"heic", Companion::Kind::picture}, {"heif", Companion::Kind::picture},
    {"mov", Companion::Kind::film},     {"mp4", Companion::Kind::film},
};

const Ending* endingOf(std::string_view name) {
  const size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return nullptr;
  const std::string ending(name.substr(dot + 1));
  const auto* row = std::find_if(std::begin(kEndings), std::end(kEndings),
                                 [&](const Ending& it) { return strcasecmp(it.name, ending.c_str()) == 0; });
  return row != std::end(kEndings) ? row : nullptr;
}

// ---- What members share ----

bool haveOneInode(const Member& a, const Member& b) {
  if (a.inode != b.inode || a.inode == 0 || a.fileSystem != b.fileSystem) return false;
  if (a.device == b.device && a.links > 1 && b.links > 1) return true;
  struct stat nowA {
  }, nowB{};  // a disk has another number after it was away, and may be mounted twice
  return lstat(a.path.c_str(), &nowA) == 0 && lstat(b.path.c_str(), &nowB) == 0 && nowA.st_dev == nowB.st_dev &&
         nowA.st_ino == nowB.st_ino;
}

// Snapshots of one file system may have an inode each, but not so many that all of them have to be looked at.
constexpr int kMostOfOneInode = 256;

// A file's number is that of its first name, from 1 on.
void numberFiles(std::vector<Member>& members) {
  std::multimap<std::pair<uint64_t, std::string_view>, size_t> firsts;
  for (size_t i = 0; i < members.size(); ++i) {
    Member& member = members[i];
    const std::pair<uint64_t, std::string_view> key(member.inode, member.fileSystem);
    auto [it, end] = firsts.equal_range(key);
    int looked = 0;
    while (it != end && looked < kMostOfOneInode && !haveOneInode(members[it->second], member)) ++it, ++looked;
    const bool isFirst = it == end || looked == kMostOfOneInode;
    member.file = isFirst ? static_cast<uint32_t>(i + 1) : members[it->second].file;
    if (isFirst) firsts.emplace(key, i);
  }
}

template <class KeyOf>
auto countFilesBy(const std::vector<Member>& members, const KeyOf& keyOf) {
  std::map<decltype(keyOf(members[0])), size_t> counts;
  for (size_t i = 0; i < members.size(); ++i) {
    if (members[i].file == i + 1) ++counts[keyOf(members[i])];
  }
  return counts;
}

// Digests the members that are not the only ones of their size; names of one file once, but where one was recorded
// before the file changed.
void completeDigests(const Judgement& judgement, std::vector<Member>& members) {
  auto files = countFilesBy(members, [](const Member& member) { return member.size; });
  const auto firstName = [&](const Member& member) -> Member& { return members[member.file - 1]; };
  const auto isAsFirst = [&](const Member& member) {
    return member.size == firstName(member).size && member.mtime == firstName(member).mtime;
  };
  for (const Member& member : members) {
    if (firstName(member).digest.empty() && isAsFirst(member)) firstName(member).digest = member.digest;
  }
  for (size_t i = 0; i < members.size(); ++i) {
    Member& member = members[i];
    if (!member.digest.empty() || files[member.size] < 2) continue;
    const bool isFirst = member.file == i + 1;
    if (!isFirst && isAsFirst(member)) {
      member.digest = firstName(member).digest;
    } else if (judgement.digestOf) {
      member.digest = judgement.digestOf(member);
    }
  }
}

// Those of another size than all others are told apart by that.
void numberCopies(std::vector<Member>& members) {
  auto files = countFilesBy(members, [](const Member& member) { return member.size; });
  std::map<std::pair<uint64_t, std::string>, uint32_t> firsts;
  for (size_t i = 0; i < members.size(); ++i) {
    Member& member = members[i];
    const Member& first = members[member.file - 1];
    if (&member != &first && member.size == first.size) {
      member.copy = first.copy;
      continue;
    }
    const auto number = static_cast<uint32_t>(i + 1);
    const bool isTold = !member.digest.empty();
    member.copy = isTold ? firsts.try_emplace({member.size, member.digest}, number).first->second : number;
    if (!isTold && files[member.size] > 1) member.copy = 0;
  }
}

// Copies on one disk whose bytes lie at one place.
void numberStorage(std::vector<Member>& members) {
  auto files = countFilesBy(members, [](const Member& member) { return member.copy; });
  std::map<std::tuple<uint32_t, std::string, uint64_t, std::string>, uint32_t> firsts;
  for (size_t i = 0; i < members.size(); ++i) {
    Member& member = members[i];
    const bool isFirst = member.file == i + 1;
    member.storage = isFirst ? member.file : members[member.file - 1].storage;
    if (!isFirst || member.copy == 0 || files[member.copy] < 2) continue;
    const std::string place = sharedStorage(member.path);
    if (place.empty()) continue;
    member.storage =
        firsts.try_emplace({member.copy, member.fileSystem, member.device, place}, member.file).first->second;
  }
}

// ---- What goes ----

void choose(const Judgement& judgement, Group* group) {
  std::vector<Member>& members = group->members;
  bool anyReference = false;
  size_t best = 0;
  for (size_t i = 0; i < members.size(); ++i) {
    members[i].isReference = std::any_of(judgement.references.begin(), judgement.references.end(),
                                         [&](const std::string& folder) { return isBelow(members[i].path, folder); });
    anyReference = anyReference || members[i].isReference;
    if (isRatherKept(judgement.keep, members[i], members[best])) best = i;
  }
  std::set<uint32_t> kept;
  for (size_t i = 0; i < members.size(); ++i) {
    if (anyReference ? members[i].isReference : i == best) kept.insert(members[i].file);
  }
  for (Member& member : members) member.isKept = kept.contains(member.file);
  if (!anyReference) {  // the one chosen is the first of its names too
    const auto chosen = members.begin() + static_cast<ptrdiff_t>(best);
    std::rotate(members.begin(), chosen, chosen + 1);
  }
  std::stable_partition(members.begin(), members.end(), [](const Member& member) { return member.isKept; });
}

// A file with more names than go stays.
uint64_t freeableIn(const std::vector<Member>& members) {
  std::map<uint32_t, uint64_t> names;  // of a file, that go
  for (const Member& member : members) ++names[member.file];
  std::map<uint32_t, uint64_t> freed;  // of a storage
  std::set<uint32_t> staying;
  for (const Member& member : members) {
    if (member.isKept || names[member.file] < member.links) staying.insert(member.storage);
    freed[member.storage] = member.size;
  }
  uint64_t sum = 0;
  for (const auto& [storage, size] : freed) sum += staying.contains(storage) ? 0 : size;
  return sum;
}

}  // namespace

bool agree(Match match, const std::string& hashA, const std::string& hashB) {
  const int flags = compareBetweenHash(hashA.c_str(), hashB.c_str());
  if (flags <= 0) return flags == 0;
  const bool isQuick = getAlgorithmIdFromHash(hashA.c_str()) == KMHASH_ALGORITHM_QUICK ||
                       getAlgorithmIdFromHash(hashB.c_str()) == KMHASH_ALGORITHM_QUICK;
  if (match != Match::content || isQuick || kmhashIsWhole(hashA.c_str()) != kmhashIsWhole(hashB.c_str())) return false;
  return (flags & (KMHASH_DIFFERENT_CONTENT | KMHASH_DIFFERENT_FORMAT)) == 0;
}

bool tellsContent(std::string_view hash) {
  return hash.size() == kHashLength && hash.find('.') == std::string_view::npos &&
         hash.substr(kContentStart, kDigestLength) != kDigestOfNothing;
}

bool companionKind(std::string_view name, std::string_view beside, Companion::Kind* kind) {
  const Ending* ending = endingOf(beside);
  if (ending == nullptr || name == beside) return false;
  const std::string_view stem = name.substr(0, name.rfind('.'));
  const std::string_view besideStem = beside.substr(0, beside.rfind('.'));
  *kind = ending->kind;
  return besideStem == stem || (besideStem == name && ending->kind == Companion::Kind::sidecar);
}

void judge(const Judgement& judgement, Group* group) {
  std::vector<Member>& members = group->members;
  if (members.empty()) return;
  numberFiles(members);
  completeDigests(judgement, members);
  numberCopies(members);
  numberStorage(members);
  choose(judgement, group);
  group->isExact = std::all_of(members.begin(), members.end(), [&](const Member& member) {
    return member.copy != 0 && member.copy == members.front().copy;
  });
  group->freeable = freeableIn(members);
}

bool isWorthTelling(const Group& group) { return countFiles(group) > 1; }

size_t countFiles(const Group& group) {
  std::set<uint32_t> files;
  for (const Member& member : group.members) files.insert(member.file);
  return files.size();
}

const char* relationOf(const Group& group, const Member& member) {
  const Member& first = group.members.front();
  if (&member == &first) return "first";
  if (member.file == first.file) return "link";
  if (member.storage == first.storage) return "reflink";
  if (member.copy == first.copy && first.copy != 0) return "exact";
  if (group.match == Match::content && !agree(Match::same, first.hash, member.hash)) return "header";
  return member.copy == 0 || first.copy == 0 ? "unread" : "metadata";
}

bool isBelow(std::string_view path, std::string_view folder) {
  while (folder.ends_with('/')) folder.remove_suffix(1);
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

}  // namespace catalogue
