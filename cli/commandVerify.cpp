#include <algorithm>
#include <array>
#include <exception>
#include <iterator>
#include <memory>
#include <mutex>

#include "catalogueOptions.h"
#include "commands.h"
#include "disk.h"
#include "format.h"
#include "hashList.h"
#include "jsonPath.h"
#include "orderedRunner.h"
#include "place.h"
#include "verification.h"

namespace cli {
namespace {

using catalogue::Catalogue;
using catalogue::Verification;
using catalogue::Verified;
using catalogue::VerifyTask;
using catalogue::Word;

struct Options {
  RunOptions run;
  std::vector<std::string> catalogues;
  bool whole = false, quiet = false, json = false;
  unsigned percent = 100;
  catalogue::WalkOptions newFiles;
};

struct Task : VerifyTask {
  static constexpr bool isFile() { return true; }
};

// ---- What is said ----

struct Tally {
  std::array<uint64_t, catalogue::kWords> said{};
  uint64_t notCompared = 0, lacksWhole = 0;
  bool isWell = true;
};

std::string jsonOf(const Verified& verified) {
  nlohmann::ordered_json object;
  putPath(&object, "path", verified.path);
  object["word"] = nameOf(verified.word);
  if (!verified.reason.empty()) object["reason"] = verified.reason;
  if (!verified.oldPath.empty()) putPath(&object, "old_path", verified.oldPath);
  if (!verified.oldHash.empty()) object["old_hash"] = verified.oldHash;
  if (!verified.newHash.empty()) object["new_hash"] = verified.newHash;
  return dumped(object);
}

std::string shown(const std::string& path) { return needsEscape(path) ? '\\' + escaped(path) : path; }

std::string lineOf(const Verified& verified) {
  std::string line = text::format("{}: {}", shown(verified.path), nameOf(verified.word));
  if (!verified.reason.empty()) line += text::format(" ({})", verified.reason);
  if (!verified.oldPath.empty()) line += text::format(" (was {})", shown(verified.oldPath));
  return line + '\n';
}

class Report {
 public:
  Report(const Options& options, Output& output) : options_(options), output_(output) {}

  void take(const Verified& verified) {
    if (!verified.isSaid) {
      ++tally_.notCompared;
      return;
    }
    ++tally_.said[static_cast<size_t>(verified.word)];
    if (verified.lacksWhole) ++tally_.lacksWhole;
    if (!isWell(verified.word)) tally_.isWell = false;
    const bool isAsItWas = verified.word == Word::intact || verified.word == Word::intactAsSampled;
    if (options_.quiet && isAsItWas) return;
    output_.write(options_.json ? jsonOf(verified) : lineOf(verified));
  }

  void failed() { tally_.isWell = false; }

  int end() {
    if (options_.json) writeJsonSums();
    output_.message("verify", sums());
    if (tally_.lacksWhole > 0) {
      output_.message("verify", text::format("of {} files only a hash of samples is recorded; to have every byte "
                                             "compared the next time, scan with --whole",
                                             tally_.lacksWhole));
    }
    return tally_.isWell ? kAllWell : kSomethingFailed;
  }

 private:
  void writeJsonSums() {
    nlohmann::ordered_json object;
    for (size_t i = 0; i < catalogue::kWords; ++i) object[nameOf(static_cast<Word>(i))] = tally_.said[i];
    object[catalogue::kNotCompared] = tally_.notCompared;
    output_.write(dumped({{"summary", object}}));
  }

  std::string sums() const {
    std::string text;
    for (size_t i = 0; i < catalogue::kWords; ++i) {
      if (tally_.said[i] == 0) continue;
      text += text::format("{}{} {}", text.empty() ? "" : ", ", tally_.said[i], nameOf(static_cast<Word>(i)));
    }
    if (tally_.notCompared > 0) {
      text +=
          text::format("{}{} without anything recorded to compare with", text.empty() ? "" : ", ", tally_.notCompared);
    }
    return text.empty() ? "nothing was verified" : text;
  }

  const Options& options_;
  Output& output_;
  Tally tally_;
};

// ---- The work ----

// The catalogue is used by one thread at a time; what fails in it ends the work.
class Guarded {
 public:
  explicit Guarded(Verification& verification) : verification_(verification) {}

  bool next(Task& task) {
    return guarded([&] { return verification_.next(&task); });
  }
  void take(const Verified& verified) {
    guarded([&] {
      verification_.take(verified);
      return true;
    });
  }
  void rethrow() const {
    if (thrown_) std::rethrow_exception(thrown_);
  }

 private:
  template <class Call>
  bool guarded(const Call& call) {
    const std::lock_guard lock(mutex_);
    if (thrown_) return false;
    try {
      return call();
    } catch (const catalogue::Error&) {
      thrown_ = std::current_exception();
      return false;
    }
  }

  Verification& verification_;
  std::mutex mutex_;
  std::exception_ptr thrown_;
};

void verifyCatalogue(const Options& options, const std::vector<std::string>& folders, Catalogue& catalogue,
                     bool records, Report& report, Output& output) {
  Verification verification(catalogue, {options.whole, options.percent, folders, options.newFiles}, records);
  for (const std::string& folder : verification.unknownFolders()) {
    output.message(folder, "nothing of it is recorded in " + catalogue.path());
    report.failed();
  }
  Guarded guarded(verification);
  runInOrder<Task, Verified>(
      output, options.run,
      {.next = [&](Task& task) { return guarded.next(task); },
       .work = [&](const Task& task) { return verifyTask(task, options.whole); },
       .commit =
           [&](const Task&, const Verified& verified) {
             guarded.take(verified);
             report.take(verified);
           },
       .isOnRotatingDisk = [](const Task& task) { return catalogue::isOnRotatingDisk(task.path); },
       .place = [](const Task& task) { return catalogue::placeOnDisk(task.path); }});
  guarded.rethrow();
  for (Verified missing; verification.nextMissing(&missing);) {
    verification.take(missing);
    report.take(missing);
  }
  verification.finish();
}

// A catalogue that cannot be written to is verified all the same.
int verifyAt(const Options& options, const std::string& path, const std::vector<std::string>& folders, Report& report,
             Output& output) {
  bool records = true;
  try {
    Catalogue::open(path, catalogue::Access::read);  // makes none
    Catalogue::open(path, catalogue::Access::write);
  } catch (const catalogue::Error& error) {
    records = error.kind != catalogue::Error::Kind::readOnly;
    if (!records) output.message(path, "cannot be written to; what is found is not recorded in it");
  }
  const auto access = records ? catalogue::Access::write : catalogue::Access::read;
  return withCatalogues({path}, access, output, [&](std::vector<Catalogue>& catalogues) {
    verifyCatalogue(options, folders, catalogues.front(), records, report, output);
    return kAllWell;
  });
}

int run(const Options& options, const std::vector<std::string>& operands, Output& output) {
  std::vector<std::string> folders;
  std::transform(operands.begin(), operands.end(), std::back_inserter(folders), catalogue::absoluteFolder);
  std::vector<std::string> paths = options.catalogues;
  if (paths.empty()) paths.push_back(catalogue::defaultPath());
  Report report(options, output);
  int status = kAllWell;
  for (const std::string& path : paths) status = std::max(status, verifyAt(options, path, folders, report, output));
  return std::max(status, report.end());
}

Work declare(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  addCataloguesOption(line, &options->catalogues);
  line.flag("--whole", &options->whole,
            "Read every byte of the files that were scanned with --whole. Without it what was hashed is hashed again: "
            "samples of long media.");
  line.number("--sample", &options->percent, 1, 100,
              "Read N percent of the files that are there, others each time; nothing is said of the rest.");
  line.list("--exclude", "GLOB", &options->newFiles.excluded,
            "Do not call files new that match GLOB, as they were passed over by scan --exclude. May be given again and "
            "again.");
  line.list(
      "--include", "GLOB", &options->newFiles.included,
      "Do not call files new that match no GLOB of this option, as scan --include. May be given again and again.");
  line.flag("--quiet", &options->quiet, "Write no line for a file that is intact, or intact as sampled.");
  line.flag("--json", &options->json, "Write a JSON object for each file instead of a line, and one for the sums.");
  addRunOptions(line, &options->run);
  return
      [options](const std::vector<std::string>& operands, Output& output) { return run(*options, operands, output); };
}

}  // namespace

const Command kVerifyCommand{
    "verify",
    "[DIR...]",
    "Compare recorded files with what is there now, and say what became of each",
    "A word for each file below the folders, or of all that is recorded:\n"
    "intact (no byte changed), intact-as-sampled (what was compared is the same, and that was not every byte), "
    "metadata-edited (bytes changed, all of the media is the same), media-changed, rotten (bytes changed though size "
    "and time did not), moved, missing, new, unreadable, absent (its disk or folder is not here).\n\n"
    "intact and metadata-edited are said with --whole only, of files that were scanned with --whole. What is found is "
    "kept in the catalogue as events (kmhash log); the records stay as they are until the next scan.",
    declare,
    "Exit status 1 when a file is media-changed, rotten, missing, unreadable or absent.",
    "kmhash verify\n"
    "kmhash verify --whole --quiet ~/Pictures"};

}  // namespace cli
