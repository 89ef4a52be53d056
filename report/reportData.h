// The page's data: groups of duplicates within a bound, and the JSON block that page/data.js describes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "duplicates.h"
#include "overview.h"
#include "thumbnails.h"

namespace report {

// What stands on the page besides groups and sums.
struct Facts {
  std::string program;  // with its version
  int64_t made = 0;     // seconds since 1970
  std::vector<std::string> catalogues, keep;
  std::string match;
  std::string scriptBegin, scriptEnd;
};

// Keeps the groups that free most, as many as make at most that many bytes of JSON or so.
class GroupShelf {
 public:
  explicit GroupShelf(uint64_t mostBytes) : mostBytes_(mostBytes) {}

  void add(const catalogue::Group& group);

  // What was added, those that free most first. Nothing may be added afterwards.
  std::vector<catalogue::Group> take();

  // Of everything that was added, also of what is not kept.
  uint64_t groups() const { return groups_; }
  uint64_t files() const { return files_; }
  uint64_t freeable() const { return freeable_; }

  // About as many bytes of JSON as what is kept makes.
  uint64_t bytes() const { return bytes_; }

 private:
  void shorten();

  const uint64_t mostBytes_;
  uint64_t bytes_ = 0, groups_ = 0, files_ = 0, freeable_ = 0;
  std::vector<catalogue::Group> kept_;
};

// A picture that the page would like to have: of a file, and of those of its group with the same bytes.
struct PictureWish {
  const catalogue::Member* member = nullptr;
  Kind kind = Kind::other;
};

// In the order of the groups. The groups must stay where they are.
std::vector<PictureWish> pictureWishes(const std::vector<catalogue::Group>& groups);

// The JSON block. pictures[i] is the URL of wishes[i]; empty where there is none.
std::string reportJson(const Facts& facts, const Overview& overview, const GroupShelf& shelf,
                       const std::vector<catalogue::Group>& groups, const std::vector<PictureWish>& wishes,
                       const std::vector<std::string>& pictures);

// The whole page with this block in it.
std::string pageWith(const std::string& json);

}  // namespace report
