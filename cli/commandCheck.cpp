#include <algorithm>
#include <memory>
#include <optional>

#include "commands.h"
#include "disk.h"
#include "format.h"
#include "hashFile.h"
#include "hashList.h"
#include "hashText.h"
#include "kmhash.h"
#include "orderedRunner.h"
#include "recordReader.h"

namespace cli {
namespace {

struct Options {
  RunOptions run;
  bool quiet = false, status = false, ignoreMissing = false, strict = false, warn = false, zero = false;
};

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

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";  // as some editors put before a text

class Lists {
 public:
  Lists(std::vector<std::string> lists, LineEnd end) : lists_(std::move(lists)), end_(end) {}

  bool next(Item& item) {
    item = {};
    item.list = list_;
    if (list_ == lists_.size()) return false;
    if (!reader_) reader_.emplace(lists_[list_], static_cast<char>(end_));
    if (reader_->next(&record_)) {
      item.number = ++lines_;
      if (item.number == 1 && record_.starts_with(kByteOrderMark)) record_.erase(0, kByteOrderMark.size());
      item.line = parseListLine(record_, end_);
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

  const std::vector<std::string> lists_;
  const LineEnd end_;
  size_t list_ = 0, lines_ = 0;
  bool errorTold_ = false;
  std::optional<RecordReader> reader_;
  std::string record_;
};

VerifyAnswer answerFor(const Item& item) {
  return item.isFile() ? verifyFile(item.line.path, item.line.hash) : VerifyAnswer{};
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
    if (count > 0) text += text::format("{}{} {}", text.empty() ? "" : ", ", count, what);
  };
  add(tally.ok, "OK");
  add(tally.changed, "changed");
  add(tally.failed, "failed");
  add(tally.ignored, "missing");
  add(tally.malformed, tally.malformed == 1 ? "malformed line" : "malformed lines");
  if (tally.malformed > 0) text += text::format(" (line {}: {})", tally.firstMalformed, tally.firstReason);
  if (tally.nothingVerified()) text = "no file was verified" + (text.empty() ? "" : ": " + text);
  return text;
}

class Report {
 public:
  Report(const Options& options, const std::vector<std::string>& lists, Output& output)
      : options_(options), lists_(lists), output_(output) {}

  void take(const Item& item, const VerifyAnswer& answer) {
    const std::string& list = lists_[item.list];
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
                    text::format("line {}: {}", item.number, describe({HASHCREATE_INVALID_HASH, item.line.reason})));
  }

  void takeEntry(const std::string& path, const VerifyAnswer& answer) {
    if (answer.failure.cause == Failure::Cause::missing && options_.ignoreMissing) {
      ++tally_.ignored;
    } else if (answer.failure.code != 0) {
      ++tally_.failed;
      write(path, text::format("FAILED ({}, {})", answer.failure.words, resultName(answer.failure.code)));
    } else if (answer.flags != 0) {
      ++tally_.changed;
      write(path, text::format("CHANGED ({})", differenceNames(answer.flags)));
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
    output_.write(text::format("{}: {}\n", needsEscape(path) ? '\\' + escaped(path) : path, finding));
  }

  const Options& options_;
  const std::vector<std::string>& lists_;
  Output& output_;
  Tally tally_;  // of the list being read
  int status_ = kAllWell;
};

int run(const Options& options, const std::vector<std::string>& names, Output& output) {
  if (names.empty()) throw UsageError("no list is named; - is standard input");
  const LineEnd end = options.zero ? LineEnd::nul : LineEnd::newline;
  Lists lists(names, end);
  Report report(options, names, output);
  // Lines that come from elsewhere are answered as they come, and come once.
  const bool areFiles = std::all_of(names.begin(), names.end(), isRegularFile);
  runInOrder<Item, VerifyAnswer>(
      output, options.run,
      {.next = [&](Item& item) { return lists.next(item); },
       .work = answerFor,
       .commit = [&](const Item& item, const VerifyAnswer& answer) { report.take(item, answer); },
       .again =
           [&] {
             return areFiles ? [again = std::make_shared<Lists>(names, end)](Item& item) { return again->next(item); }
                             : std::function<bool(Item&)>();
           },
       .isOnRotatingDisk = [](const Item& item) { return catalogue::isOnRotatingDisk(item.line.path); },
       .place = areFiles ? [](const Item& item) { return catalogue::placeOnDisk(item.line.path); }
                         : std::function<uint64_t(const Item&)>()});
  return report.status();
}

Work declare(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  line.flag("--quiet", &options->quiet, "Write no line for a file that is OK, and no summary when all is well.");
  line.flag("--status", &options->status, "Write no line and no summary at all; the exit status tells.");
  line.flag("--ignore-missing", &options->ignoreMissing,
            "Pass over files that do not exist; when none is left to verify, that is a failure.");
  line.flag("--strict", &options->strict, "Exit with status 1 when a line is malformed.");
  line.flag("-w,--warn", &options->warn, "Write a message for each malformed line, with its number.");
  line.flag("-z,--zero", &options->zero, "The lists were written by hash --zero.");
  addRunOptions(line, &options->run);
  return [options](const std::vector<std::string>& lists, Output& output) { return run(*options, lists, output); };
}

}  // namespace

const Command kCheckCommand{
    "check",
    "LIST...",
    "Verify the files of lists that `kmhash hash` wrote",
    "A line for each file says OK, CHANGED and what differs (of content, meta, format, algorithm, version), or FAILED "
    "and why; a summary of each list goes to standard error. A LIST of - is standard input. Each hash is verified as "
    "it was made: quick, sampled or whole, by its version. A hash of a version or algorithm that this kmhash does not "
    "know is said to be made by a newer one. Empty lines and lines that begin with # are passed over.",
    declare,
    "Exit status 1 when a file differs or fails, when a list holds no file to verify, and, with --strict, for a "
    "malformed line.",
    "kmhash check pictures.kmhash\n"
    "kmhash check --quiet --ignore-missing pictures.kmhash"};

}  // namespace cli
