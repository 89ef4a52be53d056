// Real files from ordinary encoders: recorded hashes, which are promises, and some of them derived by hand.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "support.h"

namespace {

using support::Bytes;

const std::filesystem::path kFolder = KMHASH_TEST_MEDIA;

// The hash text with a dot for each NUL, or the result code.
std::string answer(const std::string& file, int32_t mode) {
  std::string text(KMHASH_TEXT_SIZE, '?');
  const int code = createHashEx((kFolder / file).c_str(), text.data(), KMHASH_TEXT_SIZE, nullptr, mode);
  if (code != HASHCREATE_SUCCESS) return std::to_string(code);
  for (char& character : text) {
    if (character == '\0') character = '.';
  }
  return text.substr(0, KMHASH_TEXT_SIZE - 1);
}

TEST(Media, HashesAreThoseRecorded) {
  std::set<std::string> unrecorded = {};
  for (const auto& entry : std::filesystem::directory_iterator(kFolder)) unrecorded.insert(entry.path().filename());
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

TEST(Media, JpegHashesFollowFromTheListedBytes) {
  struct {
    const char* file;
    size_t frame;  // first byte after the length of SOF0; 0: has none
    size_t scan;   // first byte after the length of the first SOS
    size_t end;    // first byte of the last two
  } const rows[] = {
      {"jpeg-baseline.jpg", 162, 613, 3211},
      {"jpeg-edited.jpg", 4008, 4459, 7057},  // the baseline picture behind 3,846 bytes of metadata
      {"jpeg-progressive.jpg", 0, 236, 2971},
      {"jpeg-restart.jpg", 162, 619, 3329},
      {"jpeg-large.jpg", 162, 613, 82417},  // sampled
      {"jpeg-trailer.jpg", 93, 322, 2135},  // all of the trailer but its last two bytes
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.file);
    const Bytes file = support::media(row.file);
    ASSERT_EQ(file.size(), row.end + 2);
    const Bytes scan = file.part(row.scan, row.end - row.scan);
    const Bytes meta = row.frame == 0 ? Bytes().fill(8, 0) : file.part(row.frame, 8);
    support::expectHash(file, KMHASH_ALGORITHM_JPEG, "JPEG", "PHOTO",
                        support::sampled(scan) + Bytes().u64be(scan.size()).u64be(1), meta);
  }
}

}  // namespace
