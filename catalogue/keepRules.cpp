#include "keepRules.h"

#include <fnmatch.h>

#include <algorithm>

#include "duplicates.h"

namespace catalogue {
namespace {

using Order = std::weak_ordering;

// Where the media are the same, the longer file holds more besides; sidecars hold what was written beside it.
uint64_t metadataBytes(const Member& member) {
  uint64_t bytes = member.size;
  for (const Companion& companion : member.companions) {
    if (companion.kind == Companion::Kind::sidecar) bytes += companion.size;
  }
  return bytes;
}

bool isLike(const Member& member, const std::string& glob) {
  return fnmatch(glob.c_str(), member.path.c_str(), 0) == 0;
}

struct Row {
  std::string_view name;  // one that ends with a colon takes a value
  KeepRule::Compare compare;
};
constexpr Row kRows[] = {
    {"newest", [](const Member& a, const Member& b, const std::string&) -> Order { return a.mtime <=> b.mtime; }},
    {"oldest", [](const Member& a, const Member& b, const std::string&) -> Order { return b.mtime <=> a.mtime; }},
    {"largest", [](const Member& a, const Member& b, const std::string&) -> Order { return a.size <=> b.size; }},
    {"smallest", [](const Member& a, const Member& b, const std::string&) -> Order { return b.size <=> a.size; }},
    {"first", [](const Member& a, const Member& b, const std::string&) -> Order { return b.path <=> a.path; }},
    {"shortest-path",
     [](const Member& a, const Member& b, const std::string&) -> Order { return b.path.size() <=> a.path.size(); }},
    {"path:",
     [](const Member& a, const Member& b, const std::string& glob) -> Order {
       return isLike(a, glob) <=> isLike(b, glob);
     }},
    {"most-metadata",
     [](const Member& a, const Member& b, const std::string&) -> Order {
       return metadataBytes(a) <=> metadataBytes(b);
     }},
};

const Row* rowFor(std::string_view rule) {
  for (const Row& row : kRows) {
    const bool takesValue = row.name.ends_with(':');
    if (takesValue ? rule.starts_with(row.name) && rule != row.name : rule == row.name) return &row;
  }
  return nullptr;
}

}  // namespace

bool readKeepRules(std::string_view text, std::vector<KeepRule>* rules, std::string* unknown) {
  for (size_t start = 0; start <= text.size();) {
    const size_t end = std::min(text.find(',', start), text.size());
    const std::string_view rule = text.substr(start, end - start);
    const Row* row = rowFor(rule);
    if (row == nullptr) {
      *unknown = rule;
      return false;
    }
    const size_t valueStart = std::min(row->name.size(), rule.size());
    rules->push_back({row->compare, std::string(rule.substr(valueStart))});
    start = end + 1;
  }
  return true;
}

std::string keepRuleNames() {
  std::string names;
  for (const Row& row : kRows) {
    names += (names.empty() ? "" : ", ") + std::string(row.name) + (row.name.ends_with(':') ? "GLOB" : "");
  }
  return names;
}

bool isRatherKept(const std::vector<KeepRule>& rules, const Member& a, const Member& b) {
  for (const KeepRule& rule : rules) {
    const Order order = rule.compare(a, b, rule.value);
    if (order != 0) return order > 0;
  }
  return false;
}

}  // namespace catalogue
