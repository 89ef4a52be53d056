#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "catalogueOptions.h"
#include "commands.h"
#include "format.h"
#include "jsonLine.h"
#include "progress.h"
#include "status.h"

namespace cli {
namespace {

using catalogue::Count;
using Counts = std::map<std::string, Count>;

struct Options {
  std::vector<std::string> catalogs;
  std::string list;
  bool zero = false, json = false;
};

// ---- Lists of paths ----

int listPaths(const Options& options, std::vector<catalogue::Catalogue>& catalogues, Output& output) {
  const std::string condition = options.list == "missing" ? "missing_since IS NOT NULL"
                                                          : "missing_since IS NULL AND status = '" + options.list + "'";
  for (catalogue::Catalogue& catalogue : catalogues) {
    auto rows = catalogue.database().prepare(
        "SELECT mounted || files.path FROM files JOIN roots ON roots.id = files.root WHERE " + condition +
        " ORDER BY root, files.path");
    while (rows.next()) output.write(rows.text(0) + (options.zero ? '\0' : '\n'));
  }
  return kAllWell;
}

// ---- The overview ----

std::string countLine(const std::string& name, const Count& count, const std::string& note = "") {
  return text::format("  {:>9} {:>10}  {}{}\n", count.files, byteWords(count.bytes), name.empty() ? "not known" : name,
                      note);
}

std::string section(const char* title, const Counts& counts) {
  std::string text = counts.empty() ? "" : text::format("\n{}\n", title);
  for (const auto& [name, count] : counts) text += countLine(name, count);
  return text;
}

// What was verified last, and what was said of it.
std::string shown(const catalogue::VerificationRecord& last) {
  constexpr size_t kMostNamed = 3;
  std::string text = "\nlast verification, " + localTime(last.started);
  if (last.whole) text += *last.whole ? ", every byte" : ", samples";
  if (last.percent && *last.percent < 100) text += text::format(" of {} percent of the files", *last.percent);
  if (last.folders.size() > kMostNamed) {
    text += text::format(", of {} folders", last.folders.size());
  } else if (!last.folders.empty()) {
    text += text::format(", of {}", fmt::join(last.folders, ", "));
  }
  text += last.isEnded ? "\n" : ", interrupted\n";
  for (const auto& [word, files] : last.words) text += text::format("  {:>9} {:>10}  {}\n", files, "", word);
  return text;
}

std::string shown(const catalogue::Status& status) {
  std::string text = "files\n";
  text += countLine("hashed", status.hashed) + countLine("unsupported", status.unsupported) +
          countLine("failed", status.failed) + countLine("missing", status.missing);
  text += "\nroots\n";
  for (const catalogue::RootStatus& root : status.roots) {
    text += countLine(root.root.mounted, root.present, root.absent.empty() ? "" : "  (" + root.absent + ")");
  }
  text += section("formats", status.formats) + section("years of modification", status.years) +
          section("folders", status.folders);
  for (const catalogue::VerificationRecord& last : status.verifications) text += shown(last);
  return text;
}

nlohmann::ordered_json jsonOf(const Count& count) { return {{"files", count.files}, {"bytes", count.bytes}}; }

nlohmann::ordered_json jsonOf(const Counts& counts) {
  nlohmann::ordered_json object = nlohmann::ordered_json::object();
  for (const auto& [name, count] : counts) object[name] = jsonOf(count);
  return object;
}

nlohmann::ordered_json jsonOf(const catalogue::VerificationRecord& last) {
  nlohmann::ordered_json object = {{"started", last.started}, {"ended", last.isEnded}};
  if (last.whole) object["whole"] = *last.whole;
  if (last.percent) object["percent"] = *last.percent;
  object["folders"] = last.folders;
  object["words"] = last.words;
  return object;
}

std::string jsonOf(const catalogue::Status& status) {
  nlohmann::ordered_json object;
  object["hashed"] = jsonOf(status.hashed);
  object["unsupported"] = jsonOf(status.unsupported);
  object["failed"] = jsonOf(status.failed);
  object["missing"] = jsonOf(status.missing);
  object["roots"] = nlohmann::ordered_json::array();
  for (const catalogue::RootStatus& root : status.roots) {
    nlohmann::ordered_json made = {{"path", root.root.mounted}, {"file_system", root.root.fileSystem}};
    made["absent"] = !root.absent.empty();
    if (!root.absent.empty()) made["reason"] = root.absent;
    made["files"] = root.present.files;
    made["bytes"] = root.present.bytes;
    object["roots"].push_back(std::move(made));
  }
  object["formats"] = jsonOf(status.formats);
  object["years"] = jsonOf(status.years);
  object["folders"] = jsonOf(status.folders);
  object["verifications"] = nlohmann::ordered_json::array();
  for (const catalogue::VerificationRecord& last : status.verifications) {
    object["verifications"].push_back(jsonOf(last));
  }
  return object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

int run(const Options& options, const std::vector<std::string>& operands, Output& output) {
  if (!operands.empty()) throw UsageError(operands.front() + ": no operand is taken");
  if (options.json && !options.list.empty()) throw UsageError("--json and --list exclude each other");
  return withCatalogues(options.catalogs, catalogue::Access::read, output, [&](auto& catalogues) {
    if (!options.list.empty()) return listPaths(options, catalogues, output);
    catalogue::Status status;
    for (catalogue::Catalogue& catalogue : catalogues) catalogue::addStatus(catalogue, &status);
    output.write(options.json ? jsonOf(status) : shown(status));
    return kAllWell;
  });
}

Work declare(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  addCataloguesOption(line, &options->catalogs);
  line.choice("--list", "WORD", &options->list, {"failed", "unsupported", "missing"},
              "Write the paths of the files of which WORD is said: failed, unsupported or missing.");
  line.flag("-z,--zero", &options->zero, "End the paths of --list with NUL.");
  line.flag("--json", &options->json, "Write one JSON object.");
  return
      [options](const std::vector<std::string>& operands, Output& output) { return run(*options, operands, output); };
}

}  // namespace

const Command kStatusCommand{
    "status", "", "Tell what a catalogue holds, by root, format, year and folder",
    "Numbers are those of files and of their bytes. Years are those of the files' times, in UTC. Of the last "
    "verification it tells when it was, what it covered and what it said.",
    declare};

}  // namespace cli
