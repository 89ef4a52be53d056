// Writes the page's data as JSON that may stand in an element of HTML.
#pragma once

#include <string>
#include <string_view>

namespace report {

// A JSON string with its quotes. A byte that is not UTF-8 becomes the lone surrogate U+DC80 to U+DCFF whose last eight
// bits it is, so that every path comes back as it was. Neither "<" nor a line separator stands in it as such.
std::string jsonText(std::string_view bytes);

// The items in brackets, with commas between them: of an array or, with curly ones, of an object.
template <class Items, class Text>
std::string jsonList(char open, const Items& items, char close, Text text) {
  std::string out(1, open);
  for (const auto& item : items) {
    if (out.size() > 1) out += ',';
    out += text(item);
  }
  return out + close;
}

}  // namespace report
