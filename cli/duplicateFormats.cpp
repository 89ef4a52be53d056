#include "duplicateFormats.h"

#include <ctime>

#include "format.h"
#include "hashList.h"
#include "jsonPath.h"
#include "progress.h"

namespace cli {
namespace {

using catalogue::Companion;
using catalogue::Group;
using catalogue::Member;
using Json = nlohmann::ordered_json;

std::string nothing() { return ""; }
std::string nothingOf(const DuplicateSums&) { return ""; }

const char* kindName(Companion::Kind kind) {
  switch (kind) {
    case Companion::Kind::sidecar:
      return "sidecar";
    case Companion::Kind::raw:
      return "raw";
    case Companion::Kind::picture:
      return "picture";
    default:
      return "film";
  }
}

const char* matchName(catalogue::Match match) {
  const char* const names[] = {"same", "content", "exact"};
  return names[static_cast<size_t>(match)];
}

// ---- Text ----

// "2026-11-22 04:30:00", UTC
std::string timeInWords(int64_t nanoseconds) {
  constexpr int64_t kSecond = 1'000'000'000;
  const auto seconds = static_cast<time_t>(nanoseconds / kSecond - (nanoseconds % kSecond < 0 ? 1 : 0));
  tm parts{};
  if (gmtime_r(&seconds, &parts) == nullptr) return "";
  char text[40];
  return {text, strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts)};
}

std::string lineOf(const std::string& path) { return needsEscape(path) ? '\\' + escaped(path) : path; }

std::string memberText(const Group& group, const Member& member) {
  std::string text = text::format("  {}  {:8}  {:>12}  {}  {}{}\n", member.isKept ? "keep" : "    ",
                                  catalogue::relationOf(group, member), byteWords(member.size),
                                  timeInWords(member.mtime), lineOf(member.path), member.isHere ? "" : "  (not here)");
  for (const Companion& companion : member.companions) {
    text += text::format("        {:8}  {:>12}  {:19}  {}\n", kindName(companion.kind), byteWords(companion.size), "",
                         lineOf(companion.path));
  }
  return text;
}

std::string groupText(const Group& group, uint64_t) {
  std::string text = text::format("{} files, {}: {} could be freed\n", countFiles(group),
                                  group.isExact ? "the same bytes" : "the same media", byteWords(group.freeable));
  for (const Member& member : group.members) text += memberText(group, member);
  return text + '\n';
}

// ---- JSON ----

Json memberJson(const Group& group, const Member& member) {
  Json object;
  putPath(&object, "path", member.path);
  object["keep"] = member.isKept;
  object["relation"] = catalogue::relationOf(group, member);
  object["size"] = member.size;
  object["mtime_ns"] = member.mtime;
  object["hash"] = member.hash.empty() ? Json() : Json(member.hash);
  object["digest"] = member.digest.empty() ? Json() : Json(hexOf(member.digest));
  object["file"] = member.file;
  object["storage"] = member.storage;
  object["copy"] = member.copy == 0 ? Json() : Json(member.copy);
  object["reference"] = member.isReference;
  object["here"] = member.isHere;
  object["companions"] = Json::array();
  for (const Companion& companion : member.companions) {
    Json beside{{"kind", kindName(companion.kind)}};
    putPath(&beside, "path", companion.path);
    beside["size"] = companion.size;
    object["companions"].push_back(std::move(beside));
  }
  return object;
}

std::string groupJson(const Group& group, uint64_t number) {
  Json object{{"group", number},
              {"match", matchName(group.match)},
              {"exact", group.isExact},
              {"freeable", group.freeable},
              {"files", Json::array()}};
  for (const Member& member : group.members) object["files"].push_back(memberJson(group, member));
  return dumped(object);
}

std::string sumsJson(const DuplicateSums& sums) {
  return dumped({{"groups", sums.groups}, {"files", sums.files}, {"to_go", sums.toGo}, {"freeable", sums.freeable}});
}

// ---- CSV ----

std::string csvField(const std::string& text) {
  if (text.find_first_of("\",\n\r ") == std::string::npos) return text;
  std::string field = "\"";
  for (const char c : text) field += c == '"' ? "\"\"" : std::string(1, c);
  return field + '"';
}

std::string csvHead() { return "group,keep,relation,size,mtime_ns,hash,path\n"; }

std::string groupCsv(const Group& group, uint64_t number) {
  std::string text;
  for (const Member& member : group.members) {
    text += text::format("{},{},{},{},{},{},{}\n", number, member.isKept ? "yes" : "no",
                         catalogue::relationOf(group, member), member.size, member.mtime, csvField(member.hash),
                         csvField(member.path));
  }
  return text;
}

// ---- For other programs ----

std::string groupFdupes(const Group& group, uint64_t) {
  std::string text;
  for (const Member& member : group.members) text += member.path + '\n';
  return text + '\n';
}

std::string groupZero(const Group& group, uint64_t) {
  std::string text;
  for (const Member& member : group.members) {
    if (!member.isKept) text += member.path + '\0';
  }
  return text;
}

}  // namespace

const DuplicateFormat kGroupText{"", nothing, groupText, nothingOf}, kGroupJson{"--json", nothing, groupJson, sumsJson},
    kGroupCsv{"--csv", csvHead, groupCsv, nothingOf}, kGroupFdupes{"--fdupes", nothing, groupFdupes, nothingOf},
    kGroupZero{"--zero", nothing, groupZero, nothingOf};

}  // namespace cli
