#include "hashText.h"

#include <algorithm>

#include "format.h"
#include "kmhash.h"

namespace cli {
namespace {

constexpr char kUnset = '.';

struct Field {
  const char* name;
  size_t offset, count;
  bool decimal;
  bool mayBeUnset;
};
constexpr Field kVersion{"version", 0, 8, true, true};
constexpr Field kFileType{"file type", 8, 10, false, true};
constexpr Field kContent{"content digest", 18, 40, false, false};
constexpr Field kMeta{"meta digest", 58, 40, false, false};
constexpr Field kFormatType{"format type", 98, 16, false, true};
constexpr Field kAlgorithm{"algorithm id", 114, 2, false, true};
constexpr Field kFiller{"filler", 116, 12, false, false};  // begins with the mark
constexpr Field kFields[] = {kVersion, kFileType, kContent, kMeta, kFormatType, kAlgorithm, kFiller};

std::string part(const std::string& hash, const Field& field) { return hash.substr(field.offset, field.count); }

bool isUnset(std::string_view characters) { return characters.find_first_not_of(kUnset) == std::string_view::npos; }

bool isWellFormed(std::string_view characters, const Field& field) {
  if (field.mayBeUnset && isUnset(characters)) return true;
  return characters.find_first_not_of(field.decimal ? "0123456789" : "0123456789ABCDEF") == std::string_view::npos;
}

// The characters of a label without the zero bytes that pad it.
std::string labelText(std::string_view hex) {
  while (hex.ends_with("00")) hex.remove_suffix(2);
  std::string text;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) {
    const auto byte = static_cast<unsigned char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16));
    if (byte >= 0x20 && byte < 0x7F) {
      text += static_cast<char>(byte);
    } else {
      text += text::format("\\x{:02X}", byte);
    }
  }
  return text;
}

std::string labelOf(const std::string& hash, const Field& field) {
  const std::string hex = part(hash, field);
  return isUnset(hex) ? "" : labelText(hex);
}

// What the library can read: it takes no text without a version for a hash. No analyzer writes the version 0.0, so that
// an unset version still differs from every set one.
std::string comparableForm(std::string hash) {
  std::replace(hash.begin(), hash.begin() + kVersion.count, kUnset, '0');
  return hash;
}

}  // namespace

std::string writtenForm(const char* libraryText) {
  std::string hash(libraryText, kHashLength);
  std::replace(hash.begin(), hash.end(), '\0', kUnset);
  return hash;
}

std::optional<std::string> readHashText(std::string_view text, std::string* reason) {
  if (text.size() != kHashLength) {
    *reason = text::format("{} characters instead of {}", text.size(), kHashLength);
    return std::nullopt;
  }
  std::string hash(text);
  for (char& c : hash) {
    if (c >= 'a' && c <= 'f') c = static_cast<char>(c - 'a' + 'A');
  }
  for (const Field& field : kFields) {
    if (isWellFormed(std::string_view(hash).substr(field.offset, field.count), field)) continue;
    *reason = text::format("characters {} to {} are no {}", field.offset, field.offset + field.count - 1, field.name);
    return std::nullopt;
  }
  return hash;
}

int differenceFlags(const std::string& a, const std::string& b) {
  return compareBetweenHash(comparableForm(a).c_str(), comparableForm(b).c_str());
}

const Difference kDifferences[5] = {{KMHASH_DIFFERENT_CONTENT, "content"},
                                    {KMHASH_DIFFERENT_META, "meta"},
                                    {KMHASH_DIFFERENT_FORMAT, "format"},
                                    {KMHASH_DIFFERENT_ALGORITHM, "algorithm"},
                                    {KMHASH_DIFFERENT_VERSION, "version"}};

std::string differenceNames(int flags) {
  std::string names;
  for (const Difference& difference : kDifferences) {
    if ((flags & difference.flag) != 0) names += (names.empty() ? "" : ", ") + std::string(difference.name);
  }
  return names;
}

bool isQuick(const std::string& hash) {
  return getAlgorithmIdFromHash(comparableForm(hash).c_str()) == KMHASH_ALGORITHM_QUICK;
}

bool isWhole(const std::string& hash) { return kmhashIsWhole(comparableForm(hash).c_str()) == 1; }

bool isNewer(const std::string& hash) {
  return !hash.empty() && !isUnset(part(hash, kVersion)) && kmhashCanVerify(comparableForm(hash).c_str()) == 0;
}

bool lacksLabels(const std::string& hash) { return hash.find(kUnset) != std::string::npos; }

HashFields fieldsOf(const std::string& hash) {
  HashFields fields;
  if (!isUnset(part(hash, kVersion))) {
    fields.version = text::format("{}.{}", getAlgorithmMajorVersionFromHash(hash.c_str()),
                                  getAlgorithmMinorVersionFromHash(hash.c_str()));
  }
  fields.fileType = labelOf(hash, kFileType);
  fields.content = part(hash, kContent);
  fields.meta = part(hash, kMeta);
  fields.formatType = labelOf(hash, kFormatType);
  if (!isUnset(part(hash, kAlgorithm))) fields.algorithmId = getAlgorithmIdFromHash(comparableForm(hash).c_str());
  fields.filler = part(hash, kFiller);
  return fields;
}

const char* algorithmName(int id) {
  const char* name = kmhashAlgorithmName(static_cast<uint32_t>(id));
  return name != nullptr ? name : "unknown";
}

std::string algorithmVersion(int id, bool whole) {
  for (int major = 9; major > 0; --major) {
    const int minor = whole ? 1 : 0;
    const std::string text =
        text::format("{:04}{:04}{:0106}{:02X}{}{:010}", major, minor, 0, id, whole ? "F1" : "00", 0);
    if (kmhashCanVerify(text.c_str()) == 1) return text::format("{}.{}", major, minor);
  }
  return "";
}

}  // namespace cli
