#include <fmt/format.h>

#include <array>
#include <memory>

#include "commands.h"
#include "hashOperand.h"
#include "hashText.h"
#include "kmhash.h"
#include "output.h"

namespace cli {
namespace {

// The exit statuses are those of cmp.
struct Verdict {
  int status;
  const char* words;
};

Verdict verdictFor(const std::string& a, const std::string& b, int flags) {
  if (flags == 0) return {0, "The media are the same."};
  if ((flags & KMHASH_DIFFERENT_VERSION) != 0 || isQuick(a) != isQuick(b)) {
    return {2, "The hashes were made in different ways: they do not tell whether the media are the same."};
  }
  if ((flags & KMHASH_DIFFERENT_ALGORITHM) != 0) return {1, "The media differ: they are of different formats."};
  if ((flags & KMHASH_DIFFERENT_CONTENT) != 0) return {1, "The media differ."};
  return {1, "The content is the same, what describes it differs."};
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
                                    : fmt::format("{} {}", fields.algorithmId, algorithmName(fields.algorithmId));
  }
}

std::string comparison(const std::string& a, const std::string& b, int flags) {
  std::string text;
  for (const Difference& difference : kDifferences) {
    const bool differs = (flags & difference.flag) != 0;
    text +=
        fmt::format("  {:9}  {:8} {}\n", difference.name, differs ? "differs" : "same", valueOf(a, difference.flag));
    if (differs) text += fmt::format("  {:9}  {:8} {}\n", "", "", valueOf(b, difference.flag));
  }
  return text;
}

// A file beside a hash text is hashed as the text was; two files as the option says.
int32_t modeFor(const std::array<HashOperand, 2>& operands, bool quick) {
  for (const HashOperand& operand : operands) {
    if (operand.isFile()) continue;
    if (quick && !isQuick(operand.hash)) throw UsageError("--quick: a hash text is given that is no quick one");
    return isQuick(operand.hash) ? KMHASH_MODE_QUICK : KMHASH_MODE_NORMAL;
  }
  return quick ? KMHASH_MODE_QUICK : KMHASH_MODE_NORMAL;
}

int run(bool quick, const std::vector<std::string>& names, Output& output) {
  if (names.size() != 2) throw UsageError("two operands are compared, each a file or a hash text");
  const std::array<HashOperand, 2> operands{readHashOperand(names[0]), readHashOperand(names[1])};
  const int32_t mode = modeFor(operands, quick);
  const std::array<HashAnswer, 2> answers{hashOf(operands[0], mode), hashOf(operands[1], mode)};
  for (size_t i = 0; i < answers.size(); ++i) {
    if (answers[i].failure.code != 0) output.message(names[i], describe(answers[i].failure));
  }
  if (answers[0].failure.code != 0 || answers[1].failure.code != 0) return 2;
  const std::string &a = answers[0].hash, &b = answers[1].hash;
  const int flags = differenceFlags(a, b);
  const Verdict verdict = verdictFor(a, b, flags);
  output.write(fmt::format("{}\n{}", verdict.words, comparison(a, b, flags)));
  return verdict.status;
}

Work declare(CommandLine& line) {
  const auto quick = std::make_shared<bool>(false);
  line.flag("--quick", quick.get(), "Compare the quick hashes of two files.");
  return [quick](const std::vector<std::string>& operands, Output& output) { return run(*quick, operands, output); };
}

}  // namespace

const Command kCompareCommand{
    "compare", "A B", "Say what agrees and what differs between two files or hash texts",
    "A file beside a hash text is hashed as the text was. An operand that is a hash text is taken for one; ./ before "
    "it "
    "makes it a file.\n\n"
    "Exit status as that of cmp: 0 when everything agrees, 1 when something differs, 2 when it could not be told, "
    "because a file failed or the hashes were made in different ways.",
    declare};

}  // namespace cli
