#include <array>
#include <memory>

#include "commands.h"
#include "format.h"
#include "hashOperand.h"
#include "hashText.h"
#include "kmhash.h"
#include "methodOptions.h"
#include "output.h"

namespace cli {
namespace {

using Operands = std::array<HashOperand, 2>;

// The exit statuses are those of cmp.
constexpr int kSame = 0, kDifferent = 1, kCouldNotTell = 2;

struct Verdict {
  int status;
  const char* words;
};

Verdict verdictFor(const std::string& a, const std::string& b, int flags, bool madeAlike) {
  if (flags == 0) return {kSame, "The media are the same."};
  if (!madeAlike && ((flags & KMHASH_DIFFERENT_VERSION) != 0 || isQuick(a) != isQuick(b))) {
    return {kCouldNotTell, "The hashes were made in different ways: they do not tell whether the media are the same."};
  }
  if ((flags & (KMHASH_DIFFERENT_ALGORITHM | KMHASH_DIFFERENT_VERSION)) != 0)
    return {kDifferent, "The media differ: they are of different formats."};
  if ((flags & KMHASH_DIFFERENT_CONTENT) != 0) return {kDifferent, "The media differ."};
  return {kDifferent, "The content is the same, what describes it differs."};
}

// What the hash says in the place that a difference is about.
std::string valueOf(const std::string& hash, int flag) {
  const HashFields fields = fieldsOf(hash);
  const auto orNotSet = [](const std::string& text) { return text.empty() ? "not set" : text; };
  switch (flag) {
    case KMHASH_DIFFERENT_CONTENT:
      return fields.content;
    case KMHASH_DIFFERENT_META:
      return fields.meta;
    case KMHASH_DIFFERENT_FORMAT:
      return orNotSet(fields.formatType);
    case KMHASH_DIFFERENT_VERSION:
      return orNotSet(fields.version);
    default:
      return fields.algorithmId < 0 ? "not set"
                                    : text::format("{} {}", fields.algorithmId, algorithmName(fields.algorithmId));
  }
}

std::string comparison(const std::string& a, const std::string& b, int flags) {
  std::string text;
  for (const Difference& difference : kDifferences) {
    const bool differs = (flags & difference.flag) != 0;
    text +=
        text::format("  {:9}  {:8} {}\n", difference.name, differs ? "differs" : "same", valueOf(a, difference.flag));
    if (differs) text += text::format("  {:9}  {:8} {}\n", "", "", valueOf(b, difference.flag));
  }
  return text;
}

bool areFiles(const Operands& operands) { return operands[0].isFile() && operands[1].isFile(); }

// A file beside a hash text is hashed as the text was; two files as the options say.
Method methodFor(const Operands& operands, const MethodOptions& options) {
  const Method chosen = methodFrom(options);
  if (areFiles(operands)) return chosen;
  const Method made = methodOf(operands[operands[0].isFile() ? 1 : 0].hash);
  if (chosen != Method() && chosen != made) {
    throw UsageError("a file beside a hash text is hashed as the text was, and it was not made as the options say");
  }
  return made;
}

using Answers = std::array<HashAnswer, 2>;

bool haveSameVersion(const Answers& answers) {
  return (differenceFlags(answers[0].hash, answers[1].hash) & KMHASH_DIFFERENT_VERSION) == 0;
}

// Two files of which the preferred version knows only one are hashed by the other version if that knows both.
Answers hashesOf(const Operands& operands, Method method) {
  Answers answers = {hashOf(operands[0], method), hashOf(operands[1], method)};
  const bool areHashed = answers[0].failure.code == 0 && answers[1].failure.code == 0;
  if (!areHashed || !areFiles(operands) || haveSameVersion(answers)) return answers;
  method.flags ^= KMHASH_PREFER_VERSION_4;
  Answers others = {hashOf(operands[0], method), hashOf(operands[1], method)};
  return haveSameVersion(others) ? others : answers;
}

// Says of what is in the way of a comparison; false when nothing is.
bool tellFailures(const Operands& operands, const Answers& answers, Output& output) {
  bool any = false;
  for (size_t i = 0; i < operands.size(); ++i) {
    const bool asksForNewer = isNewer(operands[i].hash) && operands[1 - i].isFile();
    const Failure failure = asksForNewer ? newerHash() : answers[i].failure;
    if (failure.code != 0) output.message(operands[i].operand, describe(failure));
    any = any || failure.code != 0;
  }
  return any;
}

int run(const MethodOptions& options, const std::vector<std::string>& names, Output& output) {
  if (names.size() != 2) throw UsageError("two operands are compared, each a file or a hash text");
  const Operands operands{readHashOperand(names[0]), readHashOperand(names[1])};
  const Answers answers = hashesOf(operands, methodFor(operands, options));
  if (tellFailures(operands, answers, output)) return kCouldNotTell;
  const std::string &a = answers[0].hash, &b = answers[1].hash;
  const int flags = differenceFlags(a, b);
  const Verdict verdict = verdictFor(a, b, flags, areFiles(operands));
  output.write(text::format("{}\n{}", verdict.words, comparison(a, b, flags)));
  return verdict.status;
}

Work declare(CommandLine& line) {
  const auto options = std::make_shared<MethodOptions>();
  addMethodOptions(line, options.get());
  return
      [options](const std::vector<std::string>& operands, Output& output) { return run(*options, operands, output); };
}

}  // namespace

const Command kCompareCommand{
    "compare",
    "A B",
    "Say what agrees and what differs between two files or hash texts",
    "A file beside a hash text is hashed as the text was. An operand that is a hash text is taken for one; ./ before "
    "it makes it a file.",
    declare,
    "Exit status as that of cmp: 0 when everything agrees, 1 when something differs, 2 when it could not be told, "
    "because a file failed, the hashes were made in different ways, or what was found could not be written.",
    "kmhash compare photo.jpg edited.jpg\n"
    "kmhash compare photo.jpg \"$(kmhash hash edited.jpg | cut -c 1-128)\"",
    kCouldNotTell};

}  // namespace cli
