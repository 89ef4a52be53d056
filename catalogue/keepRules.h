// Which of several files with the same media is kept: rules that are applied in the order given until one of them
// tells two files apart.
#pragma once

#include <compare>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace catalogue {

struct Member;

struct KeepRule {
  // Which of two is rather kept: greater for the first.
  using Compare = std::weak_ordering (*)(const Member& a, const Member& b, const std::string& value);
  Compare compare = nullptr;
  std::string value;  // "GLOB" of path:GLOB
};

// Appends the rules of a text such as "path:*/album/*,newest". False for a rule that there is not, named in unknown.
bool readKeepRules(std::string_view text, std::vector<KeepRule>* rules, std::string* unknown);

// The names of the rules, as a help text lists them.
std::string keepRuleNames();

// Whether a is kept rather than b.
bool isRatherKept(const std::vector<KeepRule>& rules, const Member& a, const Member& b);

}  // namespace catalogue
