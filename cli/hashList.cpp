#include "hashList.h"

#include <optional>

#include "hashText.h"

namespace cli {
namespace {

constexpr std::string_view kSeparator = "  ";

ListLine malformed(std::string reason) { return {ListLine::Kind::malformed, {}, {}, std::move(reason)}; }

// Nothing when a backslash is followed by something that is no escape.
std::optional<std::string> unescaped(std::string_view text) {
  std::string path;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      path += text[i];
      continue;
    }
    if (++i == text.size()) return std::nullopt;
    switch (text[i]) {
      case '\\':
        path += '\\';
        break;
      case 'n':
        path += '\n';
        break;
      case 'r':
        path += '\r';
        break;
      default:
        return std::nullopt;
    }
  }
  return path;
}

}  // namespace

bool needsEscape(std::string_view path) { return path.find_first_of("\\\n\r") != std::string_view::npos; }

std::string escaped(std::string_view path) {
  std::string text;
  for (const char c : path) {
    switch (c) {
      case '\\':
        text += "\\\\";
        break;
      case '\n':
        text += "\\n";
        break;
      case '\r':
        text += "\\r";
        break;
      default:
        text += c;
    }
  }
  return text;
}

std::string listLine(std::string_view hash, std::string_view path, LineEnd end) {
  const bool escapes = end == LineEnd::newline && needsEscape(path);
  std::string line;
  line.reserve(hash.size() + kSeparator.size() + path.size() + 2);
  if (escapes) line += '\\';
  line += hash;
  line += kSeparator;
  line += escapes ? escaped(path) : std::string(path);
  line += static_cast<char>(end);
  return line;
}

ListLine parseListLine(std::string_view line, LineEnd end) {
  const bool isText = end == LineEnd::newline;
  if (isText && line.ends_with('\r')) line.remove_suffix(1);
  if (line.empty() || (isText && line.front() == '#')) return {};
  if (line.find('\0') != std::string_view::npos)
    return malformed("a NUL in the line; --zero reads lists of hash --zero");

  const bool escapes = isText && line.front() == '\\';
  if (escapes) line.remove_prefix(1);
  std::string reason;
  const std::optional<std::string> hash = readHashText(line.substr(0, line.find(' ')), &reason);
  if (!hash) return malformed("no hash text: " + reason);
  line.remove_prefix(kHashLength);
  if (!line.starts_with(kSeparator)) return malformed("the hash is not followed by two spaces");
  line.remove_prefix(kSeparator.size());
  if (line.empty()) return malformed("no path");
  if (!escapes) return {ListLine::Kind::entry, *hash, std::string(line), {}};
  std::optional<std::string> path = unescaped(line);
  if (!path) return malformed("a backslash in the path that escapes nothing");
  return {ListLine::Kind::entry, *hash, std::move(*path), {}};
}

}  // namespace cli
