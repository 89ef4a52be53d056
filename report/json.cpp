#include "json.h"

#include <algorithm>

#include "format.h"

namespace report {
namespace {

constexpr uint32_t kNoCharacter = 0xFFFFFFFF;

struct Character {
  size_t length = 1;  // bytes
  uint32_t code = kNoCharacter;
};

// The character of UTF-8 that the text begins with. What is too long, a surrogate or beyond U+10FFFF is none.
Character firstOf(std::string_view text) {
  const auto first = static_cast<unsigned char>(text[0]);
  if (first < 0x80) return {1, first};
  const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length) return {};
  uint32_t code = first & (0x7FU >> length);
  for (size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0U) != 0x80) return {};
    code = code << 6U | (next & 0x3FU);
  }
  constexpr uint32_t kLowest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (code < kLowest[length] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return {};
  return {length, code};
}

bool isPlain(uint32_t code) {
  return code >= 0x20 && code != '"' && code != '\\' && code != '<' && code != 0x2028 && code != 0x2029;
}

}  // namespace

std::string jsonText(std::string_view bytes) {
  std::string out = "\"";
  while (!bytes.empty()) {
    const Character character = firstOf(bytes);
    if (character.code == kNoCharacter) {
      out += text::format("\\udc{:02x}", static_cast<unsigned char>(bytes[0]));
    } else if (isPlain(character.code)) {
      out += bytes.substr(0, character.length);
    } else {
      out += text::format("\\u{:04x}", character.code);
    }
    bytes.remove_prefix(character.length);
  }
  return out + '"';
}

}  // namespace report
