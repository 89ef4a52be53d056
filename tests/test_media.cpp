// Real files from ordinary encoders: recorded hashes, which are promises.
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "support.h"

namespace {

const std::filesystem::path kFolder = KMHASH_TEST_MEDIA;

// The hash text with a dot for each NUL, or the result code.
std::string answer(const std::string& file, int32_t mode) {
  std::string text(KMHASH_TEXT_SIZE, '?');
  const int code =
      createHashEx((kFolder / file).c_str(), text.data(), KMHASH_TEXT_SIZE, nullptr, mode);
  if (code != HASHCREATE_SUCCESS) return std::to_string(code);
  for (char& character : text) {
    if (character == '\0') character = '.';
  }
  return text.substr(0, KMHASH_TEXT_SIZE - 1);
}

TEST(Media, HashesAreThoseRecorded) {
  std::set<std::string> unrecorded = {};
  for (const auto& entry : std::filesystem::directory_iterator(kFolder))
    unrecorded.insert(entry.path().filename());
  unrecorded.erase("make-media");
  unrecorded.erase("hashes.tsv");

  std::ifstream rows(kFolder / "hashes.tsv");
  std::string row, file, normal, quick, id;
  while (std::getline(rows, row)) {
    if (row.starts_with('#')) continue;
    std::istringstream(row) >> file >> normal >> quick >> id;
    EXPECT_EQ(answer(file, KMHASH_MODE_NORMAL), normal) << file;
    EXPECT_EQ(answer(file, KMHASH_MODE_QUICK), quick) << file;
    EXPECT_EQ(std::to_string(getAlgorithmId((kFolder / file).c_str(), nullptr)), id) << file;
    unrecorded.erase(file);
  }
  EXPECT_EQ(unrecorded, std::set<std::string>());
}

}  // namespace
