#include <unistd.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "catalogueOptions.h"
#include "commands.h"
#include "format.h"
#include "hashFile.h"
#include "progress.h"
#include "scan.h"

namespace cli {
namespace {

struct Options {
  std::string catalog, preferred = "4", progress = "auto";
  catalogue::ScanOptions scan;
  bool listsPassedOver = false;
};

// ---- Signals: the scan is ended in good order, then the program by the signal ----

constexpr std::chrono::milliseconds kStopWaits{5000}, kStopLooks{10};

class Stop {
 public:
  explicit Stop(Output& output) : output_(output) {
    output.callBeforeEnd([this] {
      wanted_ = true;
      for (auto waited = kStopLooks; !done_ && waited < kStopWaits; waited += kStopLooks) {
        std::this_thread::sleep_for(kStopLooks);
      }
    });
  }
  ~Stop() {
    done_ = true;
    output_.callBeforeEnd({});
  }
  Stop(const Stop&) = delete;
  Stop& operator=(const Stop&) = delete;

  bool isWanted() const { return wanted_; }

  // Lets the signal end the program.
  [[noreturn]] void giveWay() {
    done_ = true;
    for (;;) pause();
  }

 private:
  Output& output_;
  std::atomic<bool> wanted_{false}, done_{false};
};

// ---- Counting what there is, for the time left ----

class FileCounter {
 public:
  FileCounter(const std::vector<std::string>& folders, const catalogue::WalkOptions& options, Progress& progress)
      : thread_([this, folders, options, &progress] { count(folders, options, progress); }) {}
  ~FileCounter() {
    ended_ = true;
    thread_.join();
  }
  FileCounter(const FileCounter&) = delete;
  FileCounter& operator=(const FileCounter&) = delete;

 private:
  void count(const std::vector<std::string>& folders, const catalogue::WalkOptions& options, Progress& progress) const {
    for (const std::string& folder : folders) {
      auto tree = catalogue::DirectoryTree::open(folder);
      if (!tree) continue;
      catalogue::Walk walk(std::move(tree), options, {});
      for (std::string path; !ended_ && walk.nextName(&path);) progress.addFound();
    }
    progress.setAllFound();
  }

  std::atomic<bool> ended_{false};
  std::thread thread_;
};

// ---- The scan ----

std::string summary(const catalogue::ScanTotals& totals) {
  std::string text = text::format("{} file{}", totals.seen, totals.seen == 1 ? "" : "s");
  const auto add = [&text](uint64_t count, const char* words) {
    if (count > 0) text += text::format(", {} {}", count, words);
  };
  add(totals.known, "known");
  add(totals.isNew, "new");
  add(totals.changed, "changed");
  add(totals.moved, "moved");
  add(totals.back, "back");
  add(totals.again, "hashed again");
  add(totals.missing, "missing");
  add(totals.unsupported, "unsupported");
  add(totals.failed, "failed");
  add(totals.passedOver, "passed over");
  if (totals.bytes > 0) text += text::format("; {} read", byteWords(totals.bytes));
  return text;
}

std::string listHints(const catalogue::ScanTotals& totals) {
  std::string text;
  const auto add = [&text](uint64_t count, const char* words) {
    if (count > 0) text += (text.empty() ? "" : ", ") + std::string(words);
  };
  add(totals.missing, "kmhash status --list missing");
  add(totals.unsupported, "kmhash status --list unsupported");
  add(totals.failed, "kmhash status --list failed");
  add(totals.passedOver, "kmhash scan --list-passed-over");
  return text;
}

catalogue::ScanObserver observerOf(const Options& options, Output& output, Progress& progress, const Stop& stop) {
  catalogue::ScanObserver observer;
  observer.failed = [&output](const std::string& path, int result, int error) {
    output.message(path, describe(error != 0 ? systemFailure(result, error) : hashFailure(result)));
  };
  observer.unreadable = [&output](const std::string& path, const std::string& reason) { output.message(path, reason); };
  observer.absent = [&output](const std::string& path, const std::string& reason) {
    output.message(path, reason + "; what is recorded of it stays as it is");
  };
  observer.passedOver = [&output, lists = options.listsPassedOver](const std::string& path) {
    if (lists) output.write(path + '\n');
  };
  observer.done = [&progress](uint64_t bytes) {
    progress.addDone();
    progress.addBytes(bytes);
  };
  observer.isStopped = [&stop] { return stop.isWanted(); };
  return observer;
}

catalogue::ScanTotals scanFolders(const Options& options, const std::vector<std::string>& folders,
                                  catalogue::Catalogue& catalogue, Stop& stop, Output& output) {
  Progress progress(output, options.progress);
  std::optional<FileCounter> counter;
  if (progress.isShown()) counter.emplace(folders, options.scan.walk, progress);
  const catalogue::ScanTotals totals =
      catalogue::scan(catalogue, folders, options.scan, observerOf(options, output, progress, stop));
  counter.reset();
  if (!totals.stopped) progress.setAllDone();
  return totals;
}

int run(Options options, const std::vector<std::string>& folders, Output& output) {
  if (folders.empty()) throw UsageError("no folder is named");
  options.scan.wishes.version3 = options.preferred == "3";
  Stop stop(output);
  catalogue::ScanTotals totals;
  const std::string path = options.catalog.empty() ? catalogue::defaultPath() : options.catalog;
  const int status = withCatalogue(path, catalogue::Access::write, output, [&](catalogue::Catalogue& opened) {
    totals = scanFolders(options, folders, opened, stop, output);
    return totals.failed + totals.unreadable + totals.absent > 0 ? kSomethingFailed : kAllWell;
  });
  if (totals.stopped) stop.giveWay();
  if (totals.seen + totals.missing == 0 && status != kAllWell) return status;
  output.message(path, summary(totals));
  if (const std::string hints = listHints(totals); !hints.empty()) output.message("to list them", hints);
  return status;
}

Work declare(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  addCatalogueOption(line, &options->catalog);
  line.flag("--whole", &options->scan.wishes.whole,
            "Also record a digest of every byte of each file (XXH3-128) and the hash of every byte of its media.");
  line.flag("--others", &options->scan.wishes.quick,
            "Also record a hash of size and bytes (that of hash --quick) of files of unsupported formats.");
  line.choice("--prefer", "VERSION", &options->preferred, {"3", "4"},
              "4 (the default): hash by version 4, and by version 3 what it does not know. 3: record the hashes of "
              "version 3 as well.");
  line.list("--exclude", "GLOB", &options->scan.walk.excluded,
            "Pass over files and directories whose name matches GLOB, or whose path below the DIR when GLOB has a "
            "slash in it; one with a slash at its end is for directories only. May be given again and again.");
  line.list("--include", "GLOB", &options->scan.walk.included,
            "Pass over files that match no GLOB of this option. May be given again and again.");
  line.flag("--one-file-system", &options->scan.walk.oneFileSystem, "Pass over what is mounted in a DIR.");
  line.flag("--list-passed-over", &options->listsPassedOver,
            "Write the paths of what is passed over: excluded, links, devices, other file systems.");
  line.number("-j,--jobs", &options->scan.jobs, 1, 1024,
              "Use N threads; by default one a processor but 8 at least, for files that have to be waited for, and a "
              "single one for a rotating disk, which then reads files in the order of their inodes.");
  line.choice("--progress", "WHEN", &options->progress, {"auto", "always", "never"},
              "Show files done and total, bytes, rate and time left. WHEN is auto (a line on a terminal), always (also "
              "elsewhere, once a second) or never.");
  return [options](const std::vector<std::string>& folders, Output& output) { return run(*options, folders, output); };
}

}  // namespace

const Command kScanCommand{
    "scan",
    "DIR...",
    "Record the files of folders and their hashes in a catalogue",
    "A file whose size, time and inode are recorded is not opened again. One that was renamed or moved keeps its "
    "record; one that is gone is marked missing. A folder is known by its file system and its path there, wherever the "
    "disk is mounted; of one that is not here nothing is marked missing. Symbolic links are not followed.\n\n"
    "A catalogue that is not there is made. A scan that is interrupted loses nothing that it recorded, and the next "
    "one goes on.",
    declare,
    "Exit status 1 when a file could not be hashed, a folder not be read, or a disk or folder was not here.",
    "kmhash scan ~/Pictures\n"
    "kmhash scan --whole --exclude '.*' ~/Pictures"};

}  // namespace cli
