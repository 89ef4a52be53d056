#include <fmt/format.h>

#include <array>

#include "commands.h"
#include "hashOperand.h"
#include "hashText.h"
#include "kmhash.h"
#include "output.h"

namespace cli {
namespace {

constexpr int kIncomparable = KMHASH_DIFFERENT_ALGORITHM | KMHASH_DIFFERENT_VERSION;

const char* verdict(int flags) {
  if (flags == 0) return "The media are the same.";
  if ((flags & kIncomparable) != 0)
    return "The hashes come from different algorithms: they do not tell whether the media are the same.";
  if ((flags & KMHASH_DIFFERENT_CONTENT) != 0) return "The media differ.";
  return "The content is the same, what describes it differs.";
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
  std::string text = fmt::format("{}\n", verdict(flags));
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

int run(CommandLine& line, Output& output) {
  bool quick = false;
  line.flag("--quick", &quick, "Compare the quick hashes of two files");
  const std::vector<std::string> names = line.read();
  if (names.size() != 2) throw UsageError("two operands are compared, each a file or a hash text");
  const std::array<HashOperand, 2> operands{readHashOperand(names[0]), readHashOperand(names[1])};
  const int32_t mode = modeFor(operands, quick);
  const std::array<HashAnswer, 2> answers{hashOf(operands[0], mode), hashOf(operands[1], mode)};
  for (size_t i = 0; i < answers.size(); ++i) {
    if (answers[i].failure.code != 0) output.message(names[i], describe(answers[i].failure));
  }
  if (answers[0].failure.code != 0 || answers[1].failure.code != 0) return kSomethingFailed;
  const int flags = differenceFlags(answers[0].hash, answers[1].hash);
  output.write(comparison(answers[0].hash, answers[1].hash, flags));
  return flags == 0 ? kAllWell : kSomethingFailed;
}

}  // namespace

const Command kCompareCommand{
    "compare", "A B", "Say what agrees and what differs between two files or hash texts",
    "A file beside a quick hash text is hashed in quick mode. An operand that is a hash text is\n"
    "taken for one; ./ before it makes it a file.",
    run};

}  // namespace cli
