#include "commands.h"
#include "format.h"
#include "hashText.h"
#include "kmhash.h"
#include "output.h"

namespace cli {
namespace {

constexpr int kHighestId = 255;

int run(const std::vector<std::string>& operands, Output& output) {
  if (!operands.empty()) throw UsageError("version takes no operand");
  std::string text = text::format("kmhash " KMHASH_VERSION "\nlibKMHashGenerator {}.{}\n", getLibraryMajorVersion(),
                                  getLibraryMinorVersion());
  for (int id = 0; id <= kHighestId; ++id) {
    const std::string version = algorithmVersion(id, false), whole = algorithmVersion(id, true);
    if (version.empty()) continue;
    text +=
        text::format("{:3}  {:10}  {}{}\n", id, algorithmName(id), version, whole.empty() ? "" : ", whole " + whole);
  }
  output.write(text);
  return kAllWell;
}

}  // namespace

const Command kVersionCommand{"version", "", "Show the versions of command, library and each algorithm", "",
                              [](CommandLine&) -> Work { return run; }};

}  // namespace cli
