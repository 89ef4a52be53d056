#include "records.h"

#include <algorithm>

namespace catalogue {
namespace {

constexpr size_t kTextLength = 128;

// Value of a hex digit; of anything else 0, as the library takes it.
unsigned digitOf(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A') + 10;
  return c >= 'a' && c <= 'f' ? static_cast<unsigned>(c - 'a') + 10 : 0;
}

std::string bytesOf(std::string_view digits) {
  std::string bytes;
  for (size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes += static_cast<char>(digitOf(digits[i]) << 4U | digitOf(digits[i + 1]));
  }
  return bytes;
}

bool isSet(std::string_view label) { return !label.starts_with('.'); }

// A label's characters without the zeros that fill it up; those that are not printable ASCII as '?'.
std::optional<std::string> labelOf(std::string_view digits) {
  if (!isSet(digits)) return std::nullopt;
  std::string label = bytesOf(digits);
  while (label.ends_with('\0')) label.pop_back();
  std::replace_if(
      label.begin(), label.end(), [](char c) { return c < 0x20 || c > 0x7E; }, '?');
  return label;
}

std::optional<std::string> textOrNull(const Statement& row, int column) {
  return row.isNull(column) ? std::nullopt : std::optional<std::string>(row.text(column));
}

}  // namespace

FileRecord fileOf(const Statement& row, int from) {
  FileRecord file;
  file.id = row.number(from);
  file.root = row.number(from + 1);
  file.path = row.text(from + 2);
  if (!row.isNull(from + 3)) {
    file.stat = {row.number(from + 3), row.number(from + 4), row.number(from + 5), row.number(from + 6),
                 row.number(from + 7)};
  }
  file.status = row.text(from + 8);
  file.result = row.number(from + 9);
  file.recorded = row.number(from + 10);
  file.settled = row.number(from + 11) != 0;
  file.digest = row.text(from + 12);
  file.firstSeen = row.number(from + 13);
  file.lastSeen = row.numberOrNull(from + 14);
  file.missingSince = row.numberOrNull(from + 15);
  return file;
}

std::string hashTextOf(const Statement& row, int column) {
  std::string text = row.text(column);
  if (row.isNull(column) || text.size() == kTextLength) return text;
  throw Error(Error::Kind::damaged, "the catalogue is damaged: it holds a hash that is none");
}

HashRecord hashRecordOf(std::string_view text) {
  HashRecord hash;
  hash.text = text.substr(0, kTextLength);
  hash.text.resize(kTextLength, '.');
  std::replace(hash.text.begin(), hash.text.end(), '\0', '.');
  const std::string_view written = hash.text;
  hash.fileType = labelOf(written.substr(8, 10));
  hash.content = bytesOf(written.substr(18, 40));
  hash.meta = bytesOf(written.substr(58, 40));
  hash.formatType = labelOf(written.substr(98, 16));
  const std::string_view id = written.substr(114, 2);
  if (isSet(id)) hash.algorithm = digitOf(id[0]) << 4U | digitOf(id[1]);
  return hash;
}

HashRecord hashOf(const Statement& row, int from) {
  return {hashTextOf(row, from),     row.numberOrNull(from + 1), textOrNull(row, from + 2),
          textOrNull(row, from + 3), row.text(from + 4),         row.text(from + 5)};
}

}  // namespace catalogue
