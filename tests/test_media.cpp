// Real files from ordinary encoders: recorded hashes, which are promises; and what a comparison
// says after a change, for each row of the tables in docs/formats.md and docs/formats-4.md.
#include <algorithm>
#include <array>
#include <fstream>
#include <set>
#include <sstream>

#include "jpegBytes.h"
#include "version4.h"

namespace {

using namespace support;

const std::filesystem::path kFolder = KMHASH_TEST_MEDIA;

// ---- Recorded hashes ----

// The hash text with a dot for each NUL, or the result code.
template <typename Work>
std::string answer(Work work) {
  std::string text(KMHASH_TEXT_SIZE, '?');
  const int code = work(text.data());
  if (code != HASHCREATE_SUCCESS) return std::to_string(code);
  std::replace(text.begin(), text.end(), '\0', '.');
  return text.substr(0, KMHASH_TEXT_SIZE - 1);
}

TEST(Media, HashesAreThoseRecorded) {
  std::set<std::string> unrecorded = {};
  for (const auto& entry : std::filesystem::directory_iterator(kFolder))
    unrecorded.insert(entry.path().filename());
  unrecorded.erase("make-media");
  unrecorded.erase("hashes.tsv");

  std::ifstream rows(kFolder / "hashes.tsv");
  std::string row, file, normal, quick, id, version4, whole;
  while (std::getline(rows, row)) {
    if (row.starts_with('#')) continue;
    std::istringstream(row) >> file >> normal >> quick >> id >> version4 >> whole;
    const std::string path = kFolder / file;
    const auto created = [&](int32_t mode) {
      return answer([&](char* text) {
        return createHashEx(path.c_str(), text, KMHASH_TEXT_SIZE, nullptr, mode);
      });
    };
    const auto preferred = [&](uint32_t flags) {
      return answer([&](char* text) {
        return kmhashHashFile(path.c_str(), KMHASH_PREFER_VERSION_4 | flags, text,
                              KMHASH_TEXT_SIZE);
      });
    };
    EXPECT_EQ(created(KMHASH_MODE_NORMAL), normal) << file;
    EXPECT_EQ(created(KMHASH_MODE_QUICK), quick) << file;
    EXPECT_EQ(std::to_string(getAlgorithmId(path.c_str(), nullptr)), id) << file;
    EXPECT_EQ(preferred(0), version4) << file;
    EXPECT_EQ(preferred(KMHASH_WHOLE), whole) << file;
    unrecorded.erase(file);
  }
  EXPECT_EQ(unrecorded, std::set<std::string>());
}

// ---- Changes: the language of changes.tsv ----

Bytes bytesOf(const std::string& word) {
  Bytes bytes;
  std::istringstream parts(word);
  for (std::string part; std::getline(parts, part, '+');) {
    const size_t digits = part.starts_with('\'') ? part.rfind('\'') + 1 : 0;
    const size_t times = std::min(part.find('x', digits), part.size());
    Bytes once;
    if (digits > 0) once.text(part.substr(1, digits - 2));
    for (size_t i = digits; i < times; i += 2) {
      once.u8(static_cast<unsigned>(std::stoul(part.substr(i, 2), nullptr, 16)));
    }
    const size_t count = times < part.size() ? std::stoul(part.substr(times + 1)) : 1;
    for (size_t i = 0; i < count; ++i) bytes.add(once);
  }
  return bytes;
}

size_t placeIn(const Bytes& file, const std::string& word) {
  const size_t plus = word.rfind('+');
  if (word == "end") return file.size();
  if (word.starts_with("end-")) return file.size() - std::stoul(word.substr(4));
  if (plus == std::string::npos) return std::stoul(word);
  const Bytes marker = bytesOf(word.substr(0, plus));
  const auto found = std::search(file.begin(), file.end(), marker.begin(), marker.end());
  return static_cast<size_t>(found - file.begin()) + std::stoul(word.substr(plus + 1));
}

Bytes edited(Bytes file, const std::string& edits) {
  std::istringstream words(edits);
  for (std::string verb, where, what; words >> verb >> where;) {
    if (verb != "take" && verb != "flip") words >> what;
    const size_t place = verb == "take" ? 0 : placeIn(file, where);
    if (verb == "take") file = media(where);
    if (verb == "flip") file.at(place) ^= 1;
    if (verb == "xor") file.at(place) ^= bytesOf(what)[0];
    if (verb == "insert") file = file.part(0, place) + bytesOf(what) + file.part(place);
    if (verb == "cut") file = file.part(0, place) + file.part(place + std::stoul(what));
  }
  return file;
}

// ---- Changes: what is documented ----

using Row = std::array<std::string, 3>;  // heading, change, what differs

std::set<Row> documented(const std::string& page) {
  std::ifstream document(kFolder / "../../docs" / page);
  std::set<Row> rows;
  std::string line, heading;
  for (bool inTable = false; std::getline(document, line);) {
    if (line.starts_with("## ")) heading = line.substr(3);
    const size_t bar = line.find(" | ");
    if (inTable && bar != std::string::npos) {
      rows.insert({heading, line.substr(2, bar - 2), line.substr(bar + 3, line.size() - bar - 5)});
    }
    inTable = line == "| Change | What differs |" || (inTable && line.starts_with('|'));
  }
  return rows;
}

std::string compared(const HashText& before, const HashText& after) {
  EXPECT_EQ(before.code, HASHCREATE_SUCCESS);
  if (after.code != HASHCREATE_SUCCESS) return "not hashed";
  const int flags = compareBetweenHash(before.text.c_str(), after.text.c_str());
  using Name = std::pair<int, const char*>;
  std::string names;
  for (const auto& [flag, name] :
       {Name(1, "content"), Name(2, "meta"), Name(4, "format type"), Name(24, "algorithm")}) {
    if (flags & flag) names += (names.empty() ? "" : ", ") + std::string(name);
  }
  if (names.empty()) names = before.text == after.text ? "nothing" : "nothing compared";
  return names;
}

struct Table {
  std::set<Row> untested;
  HashText (*hash)(const Bytes& file, const Row& row);

  void row(const Row& text, const Bytes& before, const Bytes& after) {
    EXPECT_NE(before, after) << text[1];
    EXPECT_EQ(compared(hash(before, text), hash(after, text)), text[2])
        << text[0] << ": " << text[1];
    EXPECT_EQ(untested.erase(text), 1u) << text[0] << ": " << text[1] << ": not documented";
  }

  void rows(const std::string& changes) {
    std::ifstream file(kFolder / ".." / changes);
    for (std::string line, name, edits; std::getline(file, line);) {
      if (line.starts_with('#')) continue;
      Row text;
      std::istringstream columns(line);
      for (std::string* column : {&text[0], &text[1], &text[2], &name, &edits}) {
        std::getline(columns, *column, '\t');
      }
      const Bytes before = edited({}, "take " + name);
      row(text, before, edited(before, edits));
    }
  }
};

// ---- Changes: files that no encoder here makes ----

void multiPictureRows(Table* table) {
  const Bytes comment = segment(0xFFFE, {1, 2, 3}), scan = Bytes().pattern(400),
              other = Bytes().pattern(400, 2);
  const Bytes all = album(kOther, {scan, other}), pair = album(kBaseline, {scan, other});
  const Bytes single = album(kBaseline, {scan});
  const size_t end = placeIn(all, "FFD9FFD8+0");
  const auto commented = [&](const Bytes& file) {
    return file.part(0, 2) + comment + file.part(2);
  };
  const auto flipped = [](const Bytes& file, size_t at) {
    return edited(file, "flip " + std::to_string(at));
  };
  const auto row = [table](const char* change, const char* differs, const Bytes& before,
                           const Bytes& after) {
    table->row({"Multi-picture JPEG", change, differs}, before, after);
  };
  row("All hashed: a size in a picture's header", "nothing", all, flipped(all, end + 21));
  row("All hashed: comment added to the first picture, list left as it is", "content", all,
      commented(all));
  row("Primary and another: the scan of the primary picture", "nothing", pair,
      flipped(pair, end - 9));
  row("Primary and another: a size in the other picture's header", "meta", pair,
      flipped(pair, end + 21));
  row("Primary and another: comment added to the primary picture", "nothing", pair,
      commented(pair));
  row("Primary alone: comment added, list left as it is", "content", single, commented(single));
}

// A directory in front, a description at 86, and pixels behind it.
Bytes tiffInFront(size_t description) {
  const std::vector<Numbers> tags = {{256, 4, 1, 20},
                                     {257, 4, 1, 5},
                                     {262, 4, 1, 1},
                                     {270, 2, description, 86},
                                     {273, 4, 1, 86 + description},
                                     {279, 4, 1, 100}};
  return header(false, 8) + ifd(false, tags) + Bytes(description, 'x').pattern(100);
}

void tiffRows(Table* table) {
  const auto row = [table](const char* change, const char* differs, const Bytes& before,
                           const Bytes& after) {
    table->row({"TIFF", change, differs}, before, after);
  };
  const Bytes front = tiffInFront(20), behind = media("tiff-little.tif");
  row("Directory in front: the picture", "content", front, edited(front, "flip 120"));
  row("Directory in front: a text of the same length", "nothing", front, edited(front, "flip 90"));
  row("Directory in front: a longer text, so that the picture moves", "meta", front,
      tiffInFront(21));
  row("Directory behind, one strip: directory written anew at the end", "content", behind,
      patched(behind + behind.part(28808), 4, behind.size()));
}

void fastStartRow(Table* table) {
  const Bytes mp4 = media("mp4-moov-last.mp4"), piece = Bytes().u32be(12).text("mdat").pattern(4);
  const size_t moov = placeIn(mp4, "'moov'+0") - 4;
  table->row({"MP4, MOV, M4A, 3GP", "\"Fast start\" of a file with several pieces of media data",
              "content"},
             mp4.part(0, moov) + piece + mp4.part(moov),
             mp4.part(0, 32) + mp4.part(moov) + mp4.part(32, moov - 32) + piece);
}

TEST(Media, ComparisonsSayWhatTheDocumentSays) {
  Table table = {documented("formats.md"), [](const Bytes& file, const Row& row) {
                   const bool isQuick = row[0] == "Quick mode";
                   return hashOf(file, isQuick ? KMHASH_MODE_QUICK : KMHASH_MODE_NORMAL);
                 }};
  table.rows("changes.tsv");
  for (const auto more : {multiPictureRows, tiffRows, fastStartRow}) more(&table);
  EXPECT_EQ(table.untested, std::set<Row>());
}

TEST(Media, ComparisonsOfVersion4SayWhatItsDocumentSays) {
  Table table = {documented("formats-4.md"),
                 [](const Bytes& file, const Row&) { return hash4Of(file); }};
  table.rows("changes-4.tsv");
  EXPECT_EQ(table.untested, std::set<Row>());
}

}  // namespace
