#include <fmt/format.h>

#include <cstring>

#include "commands.h"
#include "hashText.h"
#include "kmhash.h"
#include "output.h"

namespace cli {
namespace {

constexpr uint32_t kHighestId = 255;

// The quick mode is no row of the library's table, so that its version is only to be had from a hash: this one's source
// is a file of one byte.
std::string quickHash() {
  static const KmhashFileCallbacks oneByte{
      [](const char* path) { return const_cast<void*>(static_cast<const void*>(path)); },
      [](void* buffer, uint32_t count, void*) -> uint32_t {
        std::memset(buffer, 0, count);
        return count;
      },
      [](int64_t, int, void*) { return 0; },
      [](void*) {},
      [](const char*, void*) -> int64_t { return 1; },
  };
  char text[KMHASH_TEXT_SIZE] = "";
  createQuickFileHash("", text, sizeof text, &oneByte);
  return text;
}

int run(const std::vector<std::string>& operands, Output& output) {
  if (!operands.empty()) throw UsageError("version takes no operand");
  std::string text = fmt::format("kmhash " KMHASH_VERSION "\nlibKMHashGenerator {}.{}\n", getLibraryMajorVersion(),
                                 getLibraryMinorVersion());
  const auto add = [&text](uint32_t id, int major, int minor) {
    text += fmt::format("{:3}  {:7}  {}.{}\n", id, algorithmName(static_cast<int>(id)), major, minor);
  };
  for (uint32_t id = 0; id <= kHighestId; ++id) {
    if (getAlgorithmMajorVersion(id) >= 0) add(id, getAlgorithmMajorVersion(id), getAlgorithmMinorVersion(id));
  }
  const std::string quick = quickHash();
  add(KMHASH_ALGORITHM_QUICK, getAlgorithmMajorVersionFromHash(quick.c_str()),
      getAlgorithmMinorVersionFromHash(quick.c_str()));
  output.write(text);
  return kAllWell;
}

}  // namespace

const Command kVersionCommand{"version", "", "Show the versions of command, library and each algorithm", "",
                              [](CommandLine&) -> Work { return run; }};

}  // namespace cli
