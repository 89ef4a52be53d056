#include <memory>
#include <nlohmann/json.hpp>

#include "catalogueOptions.h"
#include "commands.h"
#include "format.h"
#include "hashList.h"
#include "hashText.h"
#include "importFormats.h"
#include "importer.h"
#include "recordReader.h"

namespace cli {
namespace {

constexpr std::string_view kCatalogueStart = "SQLite format 3";

struct Options {
  std::string catalog;
  bool zero = false;
};

class Import {
 public:
  Import(catalogue::Catalogue& catalogue, LineEnd end, Output& output)
      : database_(catalogue.database()), importer_(catalogue), end_(end), output_(output) {}

  void take(const std::string& path) {
    catalogue::Transaction transaction(database_);
    if (startsAsCatalogue(path)) {
      catalogue::Catalogue other = catalogue::Catalogue::open(path, catalogue::Access::read);
      importer_.add(other);
    } else {
      takeLines(path);
    }
    transaction.commit();
  }

  const catalogue::ImportTotals& totals() const { return importer_.totals(); }
  int status() const { return status_; }

 private:
  static bool startsAsCatalogue(const std::string& path) {
    if (!isRegularFile(path)) return false;
    std::string start;
    RecordReader reader(path, '\0');
    return reader.next(&start) && start == kCatalogueStart;
  }

  void takeLines(const std::string& path) {
    RecordReader reader(path, static_cast<char>(end_));
    ImportReader lines([&reader](std::string* line) { return reader.next(line); }, end_);
    for (ImportLine line; lines.next(&line);) {
      if (line.reason.empty()) {
        importer_.add(line.file);
      } else {
        fail(path, text::format("line {}: {}", line.number, line.reason));
      }
    }
    if (const Failure failure = reader.failure(); failure.code != 0) fail(path, describe(failure));
  }

  void fail(const std::string& path, const std::string& reason) {
    output_.message(path, reason);
    status_ = kSomethingFailed;
  }

  catalogue::Database& database_;
  catalogue::Importer importer_;
  const LineEnd end_;
  Output& output_;
  int status_ = kAllWell;
};

int run(const Options& options, const std::vector<std::string>& files, Output& output) {
  if (files.empty()) throw UsageError("no file is named; - is standard input");
  return withCatalogue(options.catalog, catalogue::Access::write, output, [&](catalogue::Catalogue& catalogue) {
    Import import(catalogue, options.zero ? LineEnd::nul : LineEnd::newline, output);
    for (const std::string& file : files) import.take(file);
    output.message(catalogue.path(),
                   text::format("{} new, {} recorded before", import.totals().added, import.totals().known));
    return import.status();
  });
}

Work declare(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  addCatalogueOption(line, &options->catalog);
  line.flag("-z,--zero", &options->zero, "The lists were written by hash --zero.");
  return [options](const std::vector<std::string>& files, Output& output) { return run(*options, files, output); };
}

}  // namespace

const Command kImportCommand{
    "import", "FILE...", "Record in a catalogue what lists, exports and other catalogues hold",
    "A FILE is a list of `kmhash hash`, with --json or without, what `kmhash export` wrote, or another catalogue; - is "
    "standard input. Paths are taken from the current directory on. What is recorded already stays, and gets the "
    "hashes that it lacked.\n\n"
    "A scan opens an imported file unless its size and time came with it and still are the same.",
    declare};

}  // namespace cli
