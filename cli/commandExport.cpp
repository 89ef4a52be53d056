#include <memory>
#include <nlohmann/json.hpp>

#include "catalogueOptions.h"
#include "commands.h"
#include "hashList.h"
#include "jsonLine.h"

namespace cli {
namespace {

struct Options {
  std::string catalog;
  bool json = false, csv = false;
};

constexpr int kPath = 0, kHash = 5;

bool isNumber(const std::string& column) {
  return column == "length" || column == "modified_ns" || column == "result" || column == "algorithm";
}

std::string jsonRow(const catalogue::Statement& row) {
  nlohmann::ordered_json object;
  for (int i = 0; i < row.columns(); ++i) {
    const std::string column = row.name(i);
    if (row.isNull(i)) {
      object[column] = nullptr;
    } else if (isNumber(column)) {
      object[column] = row.number(i);
    } else {
      object[column] = row.text(i);
    }
  }
  return jsonLine(std::move(object), row.text(kPath));
}

std::string csvField(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? "\"\"" : std::string(1, c);
  return quoted + '"';
}

std::string csvRow(const catalogue::Statement& row, bool isHeader) {
  std::string line;
  for (int i = 0; i < row.columns(); ++i) {
    if (i > 0) line += ',';
    line += csvField(isHeader ? row.name(i) : row.text(i));
  }
  return line + '\n';
}

int run(const Options& options, const std::vector<std::string>& operands, Output& output) {
  if (!operands.empty()) throw UsageError(operands.front() + ": no operand is taken");
  if (options.json && options.csv) throw UsageError("--json and --csv exclude each other");
  return withCatalogue(options.catalog, catalogue::Access::read, output, [&](catalogue::Catalogue& catalogue) {
    auto rows = catalogue.database().prepare("SELECT * FROM export");
    if (options.csv) output.write(csvRow(rows, true));
    while (rows.next()) {
      if (options.json) {
        output.write(jsonRow(rows));
      } else if (options.csv) {
        output.write(csvRow(rows, false));
      } else if (!rows.isNull(kHash)) {
        output.write(listLine(rows.text(kHash), rows.text(kPath), LineEnd::newline));
      }
    }
    return kAllWell;
  });
}

Work declare(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  addCatalogueOption(line, &options->catalog);
  line.flag("--json", &options->json, "Write a JSON object a line.");
  line.flag("--csv", &options->csv, "Write comma-separated values with a line of names first.");
  return
      [options](const std::vector<std::string>& operands, Output& output) { return run(*options, operands, output); };
}

}  // namespace

const Command kExportCommand{
    "export", "", "Write the files of a catalogue for other programs",
    "Without an option: a list of hashes, as `kmhash hash` writes it and `kmhash check` reads it. The members and "
    "columns of --json and --csv: path, length, modified_ns (nanoseconds since 1970 UTC), status (hashed, unsupported "
    "or failed), result (the code), hash, algorithm, file_type, format_type, content, meta. Missing files are left "
    "out.\n\n"
    "A path that is not UTF-8 stands in JSON with U+FFFD in place of its wrong bytes, and whole, as hex digits, in "
    "\"path_hex\"; the other ways of writing take it as it is.",
    declare};

}  // namespace cli
