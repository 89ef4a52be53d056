#include "duplicateScript.h"

#include "format.h"
#include "output.h"

namespace cli {
namespace {

using catalogue::Companion;
using catalogue::Group;
using catalogue::Member;

constexpr const char* kFunctions = R"sh(kmhash=${KMHASH:-kmhash}
kept=
moved=0

stop() {
  printf '%s: %s; stopped here, %s files are moved so far\n' "$1" "$2" "$moved" >&2
  exit 1
}

# unchanged SIZE TIME HASH FILE: HASH is - where there is none
unchanged() {
  if [ ! -f "$4" ] || [ -L "$4" ]; then stop "$4" 'is not the file any more that it was'; fi
  [ "$(stat -c '%s %.9Y' -- "$4")" = "$1 $2" ] || stop "$4" 'its size or time is another by now'
  [ "$3" = - ] || printf '%s  %s\0' "$3" "$4" | "$kmhash" check --status --zero - ||
    stop "$4" 'its hash is another by now'
}

# keep SIZE TIME HASH FILE: the file that stays for those that go
keep() {
  unchanged "$@"
  kept=$4
}

# move SIZE TIME HASH FILE TARGET [exact]: an exact copy is compared with the one that stays, byte by byte
move() {
  unchanged "$@"
  if [ "$kept" -ef "$4" ]; then stop "$4" 'is the file that stays, by another path'; fi
  [ $# = 5 ] || cmp -s -- "$kept" "$4" || stop "$4" 'its bytes are not those of the file that stays'
  if [ -e "$to/$5" ] || [ -L "$to/$5" ]; then stop "$to/$5" 'is there already'; fi
  folder=$to/$5
  mkdir -p -- "${folder%/*}"
  mv -n -T -- "$4" "$to/$5"
  if [ -e "$4" ] || [ -L "$4" ]; then stop "$4" 'could not be moved'; fi
  moved=$((moved + 1))
}

command -v "$kmhash" >/dev/null || stop "$kmhash" 'there is no such command'
)sh";

// As stat writes it with %.9Y.
std::string secondsOf(int64_t nanoseconds) {
  constexpr uint64_t kSecond = 1'000'000'000;
  const auto bits = static_cast<uint64_t>(nanoseconds);
  const uint64_t amount = nanoseconds < 0 ? 0 - bits : bits;
  return text::format("{}{}.{:09}", nanoseconds < 0 ? "-" : "", amount / kSecond, amount % kSecond);
}

std::string factsOf(const Member& member) {
  const std::string& hash = member.whole.empty() ? member.hash : member.whole;
  return text::format("{} {} {} {}", member.size, secondsOf(member.mtime), hash.empty() ? "-" : shellWord(hash),
                      shellWord(member.path));
}

std::string targetOf(const Member& member, bool areSeveralRoots) {
  std::string target = areSeveralRoots ? member.path : member.path.substr(member.root.size());
  return target.substr(std::min(target.find_first_not_of('/'), target.size()));
}

// No walk finds such a path; one that a catalogue holds all the same would lead out of the folder.
bool leadsUp(const std::string& path) { return text::format("/{}/", path).find("/../") != std::string::npos; }

std::string partOf(const Group& group, const Member& member, bool areSeveralRoots) {
  std::string text;
  for (const Companion& companion : member.companions) {
    text += text::format("# beside it, stays: {}\n", visible(companion.path));
  }
  if (!member.isHere || leadsUp(member.path)) return text + text::format("# not here: {}\n", visible(member.path));
  const bool isExact = member.copy != 0 && member.copy == group.members.front().copy;
  return text + text::format("move {} {}{}\n", factsOf(member), shellWord(targetOf(member, areSeveralRoots)),
                             isExact ? " exact" : "");
}

}  // namespace

std::string shellWord(const std::string& bytes) {
  std::string word = "'";
  for (const char c : bytes) word += c == '\'' ? "'\\''" : std::string(1, c);
  return word + '\'';
}

std::string scriptBegin(const std::string& to) {
  return text::format(
      "#!/bin/sh\n"
      "# Moves duplicates into a folder, one file of each group stays where it is. Read it, then run it with sh.\n"
      "# Before a file is moved, it and the one that stays are checked again by size, time and hash; the first that\n"
      "# is not as it was ends the script. Nothing is deleted, and nothing is overwritten.\n"
      "set -eu\nLC_ALL=C\nexport LC_ALL\nto={}\n{}",
      shellWord(to), kFunctions);
}

std::string scriptGroup(const Group& group, bool areSeveralRoots) {
  const Member& kept = group.members.front();
  if (!kept.isHere) return text::format("\n# The file that would stay is not here: {}\n", visible(kept.path));
  std::string moves;
  for (const Member& member : group.members) {
    if (!member.isKept) moves += partOf(group, member, areSeveralRoots);
  }
  if (moves.empty()) return "";
  return text::format("\nkeep {}\n{}", factsOf(kept), moves);
}

std::string scriptEnd() { return "\nprintf '%s files are moved to %s\\n' \"$moved\" \"$to\"\n"; }

}  // namespace cli
