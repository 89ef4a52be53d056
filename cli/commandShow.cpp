#include <memory>

#include "commands.h"
#include "format.h"
#include "hashOperand.h"
#include "hashText.h"
#include "methodOptions.h"
#include "output.h"

namespace cli {
namespace {

std::string orNotSet(const std::string& text) { return text.empty() ? "not set" : text; }

std::string versionWords(const std::string& hash, const std::string& version) {
  return orNotSet(version) + (isNewer(hash) ? ", made by a newer kmhash" : "");
}

const char* coverageWords(const std::string& hash) {
  if (isNewer(hash)) return "not known";
  return isWhole(hash) ? "every byte" : "samples";
}

std::string shown(const std::string& hash) {
  const HashFields fields = fieldsOf(hash);
  const std::string algorithm =
      fields.algorithmId < 0 ? "" : text::format("{} {}", fields.algorithmId, algorithmName(fields.algorithmId));
  return text::format(
      "hash         {}\n"
      "version      {}\n"
      "covers       {}\n"
      "file type    {}\n"
      "content      {}\n"
      "meta         {}\n"
      "format type  {}\n"
      "algorithm    {}\n"
      "filler       {}\n",
      hash, versionWords(hash, fields.version), coverageWords(hash), orNotSet(fields.fileType), fields.content,
      fields.meta, orNotSet(fields.formatType), orNotSet(algorithm), fields.filler);
}

int run(const MethodOptions& options, const std::vector<std::string>& operands, Output& output) {
  const Method method = methodFrom(options);
  if (operands.empty()) throw UsageError("neither hash text nor file is named");
  int status = kAllWell;
  bool first = true;
  for (const std::string& operand : operands) {
    const HashOperand read = readHashOperand(operand);
    const HashAnswer answer = hashOf(read, method);
    if (answer.failure.code != 0) {
      output.message(operand, describe(answer.failure));
      status = kSomethingFailed;
      continue;
    }
    const std::string file = read.isFile() ? text::format("file         {}\n", visible(operand)) : "";
    output.write((first ? "" : "\n") + file + shown(answer.hash));
    first = false;
  }
  return status;
}

Work declare(CommandLine& line) {
  const auto options = std::make_shared<MethodOptions>();
  addMethodOptions(line, options.get());
  return
      [options](const std::vector<std::string>& operands, Output& output) { return run(*options, operands, output); };
}

}  // namespace

const Command kShowCommand{"show", "TEXT|FILE...", "Take hash texts, or the hashes of files, apart into named fields",
                           "An operand that is a hash text is taken for one; ./ before it makes it a file.", declare};

}  // namespace cli
