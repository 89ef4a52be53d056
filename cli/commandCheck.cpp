#include <fmt/format.h>

#include <optional>

#include "commands.h"
#include "hashFile.h"
#include "hashList.h"
#include "hashText.h"
#include "kmhash.h"
#include "orderedRunner.h"
#include "recordReader.h"

namespace cli {
namespace {

struct Options {
  std::vector<std::string> lists;
  RunOptions run;
  bool quiet = false, status = false, ignoreMissing = false, strict = false, warn = false, zero = false;
};

Options readOptions(CommandLine& line) {
  Options options;
  line.flag("--quiet", &options.quiet, "Write no line for a file that is OK");
  line.flag("--status", &options.status, "Write nothing, the exit status tells");
  line.flag("--ignore-missing", &options.ignoreMissing, "Pass over files that do not exist");
  line.flag("--strict", &options.strict, "Exit with 1 when a line is malformed");
  line.flag("-w,--warn", &options.warn, "Say which lines are malformed, and why");
  line.flag("-z,--zero", &options.zero, "The lists were written by hash --zero");
  addRunOptions(line, &options.run);
  options.lists = line.read();
  if (options.lists.empty()) throw UsageError("no list is named; - is standard input");
  return options;
}

// A line of a list, or one of the two things that may end it.
struct Item {
  enum class Kind { line, unreadable, listEnd };
  Kind kind = Kind::line;
  size_t list = 0;    // index of the list
  size_t number = 0;  // of the line, from 1 on
  ListLine line;
  Failure failure;  // of an unreadable list

  bool isFile() const { return kind == Kind::line && line.kind == ListLine::Kind::entry; }
};

class Lists {
 public:
  explicit Lists(const Options& options) : options_(options) {}

  bool next(Item& item) {
    item = {};
    item.list = list_;
    if (list_ == options_.lists.size()) return false;
    const LineEnd end = options_.zero ? LineEnd::nul : LineEnd::newline;
    if (!reader_) reader_.emplace(options_.lists[list_], static_cast<char>(end));
    if (reader_->next(&record_)) {
      item.number = ++lines_;
      item.line = parseListLine(record_, end);
      return true;
    }
    return nextEnd(item);
  }

 private:
  bool nextEnd(Item& item) {
    item.failure = errorTold_ ? Failure{} : reader_->failure();
    if (item.failure.code != 0) {
      item.kind = Item::Kind::unreadable;
      return errorTold_ = true;
    }
    item.kind = Item::Kind::listEnd;
    reader_.reset();
    errorTold_ = false;
    lines_ = 0;
    ++list_;
    return true;
  }

  const Options& options_;
  size_t list_ = 0, lines_ = 0;
  bool errorTold_ = false;
  std::optional<RecordReader> reader_;
  std::string record_;
};

struct Answer {
  Failure failure;
  bool missing = false;
  int flags = 0;
};

Answer answerFor(const Item& item) {
  if (!item.isFile()) return {};
  const HashAnswer now = hashFile(item.line.path, isQuick(item.line.hash) ? KMHASH_MODE_QUICK : KMHASH_MODE_NORMAL);
  if (now.failure.code != 0) return {now.failure, now.missing, 0};
  return {{}, false, differenceFlags(item.line.hash, now.hash)};
}

// What became of the lines of a list.
struct Tally {
  uint64_t ok = 0, changed = 0, failed = 0, ignored = 0, malformed = 0;
  size_t firstMalformed = 0;
  std::string firstReason;
  bool unreadable = false;

  bool isBad(const Options& options) const {
    return unreadable || changed + failed > 0 || nothingVerified() || (options.strict && malformed > 0);
  }
  bool nothingVerified() const { return ok + changed + failed == 0; }
};

std::string summary(const Tally& tally) {
  std::string text;
  const auto add = [&text](uint64_t count, std::string_view what) {
    if (count > 0) text += fmt::format("{}{} {}", text.empty() ? "" : ", ", count, what);
  };
  add(tally.ok, "OK");
  add(tally.changed, "changed");
  add(tally.failed, "failed");
  add(tally.ignored, "missing");
  add(tally.malformed, tally.malformed == 1 ? "malformed line" : "malformed lines");
  if (tally.malformed > 0) text += fmt::format(" (line {}: {})", tally.firstMalformed, tally.firstReason);
  if (tally.nothingVerified()) text = "no file was verified" + (text.empty() ? "" : ": " + text);
  return text;
}

class Report {
 public:
  Report(const Options& options, Output& output) : options_(options), output_(output) {}

  void take(const Item& item, const Answer& answer) {
    const std::string& list = options_.lists[item.list];
    if (item.kind == Item::Kind::unreadable) {
      output_.message(list, describe(item.failure));
      tally_.unreadable = true;
    } else if (item.kind == Item::Kind::listEnd) {
      endList(list);
    } else if (item.line.kind == ListLine::Kind::malformed) {
      takeMalformed(list, item);
    } else if (item.line.kind == ListLine::Kind::entry) {
      takeEntry(item.line.path, answer);
    }
  }

  int status() const { return status_; }

 private:
  void takeMalformed(const std::string& list, const Item& item) {
    if (tally_.malformed++ == 0) {
      tally_.firstMalformed = item.number;
      tally_.firstReason = item.line.reason;
    }
    if (!options_.warn) return;
    output_.message(list,
                    fmt::format("line {}: {}", item.number, describe({HASHCREATE_INVALID_HASH, item.line.reason})));
  }

  void takeEntry(const std::string& path, const Answer& answer) {
    if (answer.missing && options_.ignoreMissing) {
      ++tally_.ignored;
    } else if (answer.failure.code != 0) {
      ++tally_.failed;
      write(path, fmt::format("FAILED ({}, {})", answer.failure.words, resultName(answer.failure.code)));
    } else if (answer.flags != 0) {
      ++tally_.changed;
      write(path, fmt::format("CHANGED ({})", differenceNames(answer.flags)));
    } else {
      ++tally_.ok;
      if (!options_.quiet) write(path, "OK");
    }
  }

  void endList(const std::string& list) {
    const bool bad = tally_.isBad(options_);
    const bool worthTelling = bad || tally_.malformed > 0 || !options_.quiet;
    if (worthTelling && !options_.status && !tally_.unreadable) output_.message(list, summary(tally_));
    if (bad) status_ = kSomethingFailed;
    tally_ = {};
  }

  void write(const std::string& path, const std::string& finding) {
    if (options_.status) return;
    output_.write(needsEscape(path) ? '\\' + escaped(path) : path);
    output_.write(": " + finding + '\n');
  }

  const Options& options_;
  Output& output_;
  Tally tally_;  // of the list being read
  int status_ = kAllWell;
};

int run(CommandLine& line, Output& output) {
  const Options options = readOptions(line);
  Lists lists(options);
  Report report(options, output);
  runInOrder<Item, Answer>(output, options.run,
                           {.next = [&](Item& item) { return lists.next(item); },
                            .work = answerFor,
                            .commit = [&](const Item& item, const Answer& answer) { report.take(item, answer); }});
  return report.status();
}

}  // namespace

const Command kCheckCommand{
    "check", "LIST...", "Verify the files of lists that `kmhash hash` wrote",
    "A line for each file says OK, CHANGED and what differs, or FAILED and why; a summary of\n"
    "each list goes to standard error. Lines of quick hashes are verified in quick mode. Empty\n"
    "lines and lines that begin with # are passed over. Exit status 1 when a file differs or\n"
    "fails, when a list holds no file to verify, and, with --strict, for a malformed line.",
    run};

}  // namespace cli
