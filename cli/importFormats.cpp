#include "importFormats.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>

#include "hashText.h"
#include "kmhash.h"

namespace cli {
namespace {

using Values = std::map<std::string, std::string>;  // a column's text; null and empty: none

// More lines than this do not belong to one path.
constexpr int kMostLinesOfOne = 4096;

// Some editors and tables begin a file of UTF-8 with it.
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::optional<int64_t> numberOf(const Values& values, const std::string& column) {
  const auto found = values.find(column);
  if (found == values.end()) return std::nullopt;
  int64_t number = 0;
  const char* end = found->second.data() + found->second.size();
  const auto [stop, error] = std::from_chars(found->second.data(), end, number);
  return error == std::errc() && stop == end ? std::optional<int64_t>(number) : std::nullopt;
}

std::string textOf(const Values& values, const std::string& column) {
  const auto found = values.find(column);
  return found != values.end() ? found->second : "";
}

// Where a path was not UTF-8 its bytes are told as hex digits.
std::string pathOf(const Values& values) {
  const std::string digits = textOf(values, "path_hex");
  if (digits.empty() || digits.size() % 2 != 0) return textOf(values, "path");
  std::string path;
  for (size_t i = 0; i < digits.size(); i += 2) {
    unsigned char byte = 0;
    std::from_chars(digits.data() + i, digits.data() + i + 2, byte, 16);
    path += static_cast<char>(byte);
  }
  return path;
}

// `hash --json` tells the name of a result code, and an export one of three words beside the code.
void takeStatus(const Values& values, catalogue::ImportedFile* file) {
  const std::string status = textOf(values, "status");
  file->result = numberOf(values, "result").value_or(HASHCREATE_SUCCESS);
  for (int code = HASHCREATE_MEM_ALLOC_ERROR; code < 0; ++code) {
    if (status == kmhashResultName(code)) file->result = code;
  }
  if (status == kmhashResultName(HASHCREATE_ERROR)) file->result = HASHCREATE_ERROR;
  if (file->result == HASHCREATE_SUCCESS) {
    file->status = catalogue::kStatusHashed;
  } else {
    file->status = file->result == HASHCREATE_NON_SUPPORTED ? catalogue::kStatusUnsupported : catalogue::kStatusFailed;
  }
}

void takeRow(const Values& values, ImportLine* line) {
  const std::string path = pathOf(values), hash = textOf(values, "hash");
  if (path.empty() || path.find('\0') != std::string::npos) {
    line->reason = "no path";
    return;
  }
  line->file.path = path;
  line->file.size = numberOf(values, "length");
  line->file.modifiedNs = numberOf(values, "modified_ns");
  if (line->file.size.value_or(0) < 0) line->reason = "a length below 0";
  takeStatus(values, &line->file);
  if (hash.empty() || !line->reason.empty()) return;
  const std::optional<std::string> read = readHashText(hash, &line->reason);
  if (read) line->file.hash = *read;
  if (!read) line->reason = "no hash text: " + line->reason;
}

void takeObject(const std::string& text, ImportLine* line) {
  const auto object = nlohmann::json::parse(text, nullptr, false);
  if (!object.is_object()) {
    line->reason = "no JSON object";
    return;
  }
  Values values;
  for (const auto& [name, value] : object.items()) {
    if (value.is_string()) values[name] = value.get<std::string>();
    if (value.is_number_integer()) values[name] = value.dump();
  }
  takeRow(values, line);
}

void takeListLine(const std::string& text, LineEnd end, ImportLine* line) {
  ListLine read = parseListLine(text, end);
  line->reason = std::move(read.reason);
  if (read.kind == ListLine::Kind::entry) {
    line->file.path = std::move(read.path);
    line->file.hash = std::move(read.hash);
  }
}

std::vector<std::string> csvFields(const std::string& text) {
  std::vector<std::string> fields(1);
  bool isQuoted = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool isTwice = isQuoted && text[i] == '"' && i + 1 < text.size() && text[i + 1] == '"';
    if (isTwice) {
      fields.back() += '"';
      ++i;
    } else if (text[i] == '"') {
      isQuoted = !isQuoted;
    } else if (text[i] == ',' && !isQuoted) {
      fields.emplace_back();
    } else {
      fields.back() += text[i];
    }
  }
  return fields;
}

}  // namespace

ImportReader::ImportReader(std::function<bool(std::string*)> nextLine, LineEnd end)
    : nextLine_(std::move(nextLine)), end_(end) {}

bool ImportReader::readLine(std::string* line) {
  if (!nextLine_(line)) return false;
  ++number_;
  return true;
}

bool ImportReader::next(ImportLine* line) {
  for (std::string text; readLine(&text);) {
    *line = {};
    line->number = number_;
    if (number_ == 1 && text.starts_with(kByteOrderMark)) text.erase(0, kByteOrderMark.size());
    if (columns_.empty() && text.starts_with("path,")) {
      if (text.ends_with('\r')) text.pop_back();
      columns_ = csvFields(text);
      continue;
    }
    if (!columns_.empty()) {
      if (!takeValues(text, line)) continue;
    } else if (text.starts_with('{')) {
      takeObject(text, line);
    } else {
      takeListLine(text, end_, line);
    }
    if (!line->file.path.empty()) line->file.path = realPath(line->file.path);
    if (line->reason.empty() && line->file.path.ends_with('/')) line->reason = "the path of a folder";
    if (!line->reason.empty() || !line->file.path.empty()) return true;
  }
  return false;
}

std::string ImportReader::realPath(const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::path absolute = fs::absolute(path, error).lexically_normal();
  if (error) return path;
  if (fs::is_symlink(absolute, error)) {
    const fs::path target = fs::canonical(absolute, error);
    if (!error) return target.string();
  }
  if (const fs::path folder = absolute.parent_path(); folder != folder_) {
    folder_ = folder;
    realFolder_ = fs::weakly_canonical(folder, error);
    if (error) realFolder_ = folder;
  }
  return (realFolder_ / absolute.filename()).string();
}

// A path within quotes may go on over lines.
bool ImportReader::takeValues(const std::string& text, ImportLine* line) {
  std::string whole = text;
  int lines = 1;
  for (std::string more; std::count(whole.begin(), whole.end(), '"') % 2 != 0;) {
    if (++lines > kMostLinesOfOne || !readLine(&more)) break;
    whole += '\n';
    whole += more;
  }
  if (whole.ends_with('\r')) whole.pop_back();
  if (whole.empty()) return false;
  const std::vector<std::string> fields = csvFields(whole);
  if (fields.size() != columns_.size()) {
    line->reason = "not as many values as names";
    return true;
  }
  Values values;
  for (size_t i = 0; i < fields.size(); ++i) {
    if (!fields[i].empty()) values[columns_[i]] = fields[i];
  }
  takeRow(values, line);
  return true;
}

}  // namespace cli
