// Groups of files that hold the same: what agrees in a group, which file of it is kept, and what could be freed. Needs
// no store; duplicateSearch.h finds the groups in catalogues.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "keepRules.h"

namespace catalogue {

// A file of the same stem in the same folder, which belongs to another one.
struct Companion {
  enum class Kind { sidecar, raw, picture, film };
  Kind kind = Kind::sidecar;
  std::string path;
  uint64_t size = 0;  // bytes
};

struct Member {
  std::string path;        // where the file is now; any bytes but NUL
  std::string root;        // the scanned folder that it is in, a beginning of the path
  std::string fileSystem;  // that the folder is on
  uint64_t size = 0;
  int64_t mtime = 0;  // nanoseconds since 1970
  uint64_t device = 0, inode = 0, links = 0;
  std::string hash;    // text of 128 characters with a dot for each of a label that was never set; empty: none
  std::string whole;   // the text that covers every byte of the media, where it is known too
  std::string digest;  // XXH3-128 of the file, 16 bytes; empty: not known
  std::vector<Companion> companions;
  bool isHere = true;  // false: its disk is away, or the folder is not there

  // What judge() finds out. Numbers are 1 or more and mean something within the group only.
  uint32_t file = 0;         // equal numbers: hard links, names of one file
  uint32_t storage = 0;      // equal numbers: hard links or reflinks, which take their space once
  uint32_t copy = 0;         // equal numbers: the same bytes; 0: could not be told
  bool isReference = false;  // below a folder of reference: never one to go
  bool isKept = false;
};

enum class Match {
  same,     // hashes that compare as identical
  content,  // content digests and formats agree, what describes them need not
  exact     // bytes are equal
};

struct Group {
  Match match = Match::same;
  std::vector<Member> members;  // those that are kept first, otherwise in the order in which they were found
  bool isExact = false;         // all members have the same bytes
  uint64_t freeable = 0;        // bytes that the members to go take, each storage once
};

// Whether two hash texts make a pair under `same` or `content`. Of quick hashes, whose content digest does not tell a
// file's length, everything is compared; a text that covers every byte and one of samples never agree.
bool agree(Match match, const std::string& hashA, const std::string& hashB);

// Whether a text can say of a file that it holds what another holds: its labels are set, and its content is not empty.
bool tellsContent(std::string_view hash);

// What a file beside it is to a file, by their names: the same stem and another ending. Nothing of the sort: false.
bool companionKind(std::string_view name, std::string_view beside, Companion::Kind* kind);

// How groups are judged.
struct Judgement {
  std::vector<KeepRule> keep;
  std::vector<std::string> references;  // folders
  // Digests a file that is as the member says; empty when it cannot be read or is not so any more.
  std::function<std::string(const Member&)> digestOf;
};

// Finds out what the members share, chooses those to keep, puts them first. Members of equal size whose digests are not
// known are digested. A group is worth telling when its members are not names of one file.
void judge(const Judgement& judgement, Group* group);
bool isWorthTelling(const Group& group);

// How many files a judged group has, names of one file counted once.
size_t countFiles(const Group& group);

// How a member of a judged group goes with the first one, in a word: "first"; "link" and "reflink", which share its
// space; "exact", the same bytes; "metadata", the same media with other bytes beside; "header" where the hashes differ
// in what describes the content; "unread" where bytes could not be compared.
const char* relationOf(const Group& group, const Member& member);

// Whether a path is the folder or below it, whether the folder's text ends with a slash or not.
bool isBelow(std::string_view path, std::string_view folder);

}  // namespace catalogue
