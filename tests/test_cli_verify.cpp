// kmhash verify: the word for each thing that can have become of a file.
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "catalogue.h"
#include "format.h"
#include "support.h"

namespace {

namespace fs = std::filesystem;
using support::Bytes;
using support::media;
using support::outputOf;
using support::quoted;
using support::withProgram;

// Sound of 200,000 bytes from offset 44 on: samples of 163 bytes with gaps between them, the first
// at its start.
Bytes longSound() {
  return Bytes()
      .text("RIFF")
      .u32le(200036)
      .text("WAVEfmt ")
      .u32le(16)
      .u32le(0x00010001)
      .u32le(8000)
      .u32le(8000)
      .u32le(0x00080001)
      .text("data")
      .u32le(200000)
      .pattern(200000);
}

// One bit at an offset of file $f.
std::string flip(int offset) {
  return text::format(
      "b=$(od -An -tu1 -j{0} -N1 $f); printf \"\\\\$(printf %o $((b ^ 1)))\" | "
      "dd of=$f bs=1 seek={0} conv=notrunc 2>/dev/null; ",
      offset);
}
const std::string kKeepTime = "touch -d @1000 $f; ";

struct Verify : support::InFolder {
  std::string run(const std::string& words) const {
    return outputOf(withProgram("cd " + quoted(folder.string()) + "; kmhash " + words));
  }
  // The word of each file below "p".
  std::map<std::string, std::string> words(const std::string& options) const {
    std::istringstream lines(run("verify --catalog c --json " + options + " 2>/dev/null"));
    std::map<std::string, std::string> words;
    for (std::string line; std::getline(lines, line);) {
      const auto object = nlohmann::json::parse(line);
      if (object.contains("summary")) continue;
      const fs::path path(object["path"].get<std::string>());
      if (path.filename() == "other-picture") {
        EXPECT_NE(object.at("old_hash"), object.at("new_hash"));
      }
      words[path.lexically_relative(folder / "p")] =
          object["word"].get<std::string>() +
          (object.contains("reason") ? ": " + object["reason"].get<std::string>() : "");
    }
    return words;
  }
};

struct Row {
  const char* name;
  Bytes content;
  std::string edit;     // of file $f
  const char* whole;    // the word under --whole
  const char* sampled;  // and without it
};

const Bytes kJpeg = media("jpeg-baseline.jpg"), kSound = longSound();
const char *const kIntact = "intact", *const kAsSampled = "intact-as-sampled";
const char *const kChanged = "media-changed", *const kNothing = "";
const Row kRows[] = {
    {"same", kJpeg, "", kIntact, kAsSampled},
    {"touched", kJpeg, "touch $f; ", kIntact, kAsSampled},
    {"tagged", kJpeg, "cat edited >$f; ", "metadata-edited", kAsSampled},
    {"tagged-in-secret", kJpeg, flip(15) + kKeepTime, "rotten", kAsSampled},
    {"other-picture", kJpeg, "cat other >$f; ", kChanged, kChanged},
    {"cut", kJpeg, "truncate -s 1000 $f; " + kKeepTime, kChanged, kChanged},
    {"rotten-in-a-sample", kSound, flip(44 + 50) + kKeepTime, "rotten", "rotten"},
    {"rotten-between-samples", kSound, flip(44 + 3000) + kKeepTime, "rotten", kAsSampled},
    {"changed-between-samples", kSound, flip(44 + 3000), kChanged, kAsSampled},
    {"text", Bytes().text("hello"), "", kIntact, kNothing},
    {"text-changed", Bytes().text("hello"), "echo >$f; ", kChanged, kNothing},
    {"text-rotten", Bytes().text("hello"), flip(2) + kKeepTime, "rotten", kNothing},
    {"newer", kJpeg, "", kIntact, "unreadable: the hash was made by a newer kmhash"},
    {"gone", kJpeg, "rm $f; ", "missing", "missing"},
    {"renamed", Bytes(kJpeg).fill(3, 1), "mv $f $f-now; ", kNothing, kNothing},
    {"renamed-now", {}, "", "moved", "moved"},
    {"copied", Bytes(kJpeg).fill(5, 1), "cp -p $f p/a-copy; rm $f; ", kNothing, kNothing},
    {"a-copy", {}, "", "moved", "moved"},
    {"added", {}, "cp other $f; ", "new", "new"},
};

TEST_F(Verify, SaysWhatBecameOfAFile) {
  write("edited", media("jpeg-edited.jpg"));
  write("other", media("jpeg-444.jpg"));
  fs::create_directory(folder / "p");
  std::map<std::string, std::string> whole, sampled;
  for (const Row& row : kRows) {
    if (!row.content.empty()) write(std::string("p/") + row.name, row.content);
    if (row.whole != kNothing) whole[row.name] = row.whole;
    if (row.sampled != kNothing) sampled[row.name] = row.sampled;
  }
  run("--version >/dev/null; touch -d @1000 p/*; kmhash scan --catalog c --whole p 2>&1");
  EXPECT_EQ(run("verify --catalog c --whole --quiet 2>&1; echo $?"),
            "kmhash: verify: 16 intact\n0\n");
  EXPECT_EQ(run("status --catalog c | grep -A1 'last ver.*every byte' | tail -1"),
            "         16             intact\n");
  for (const Row& row : kRows)
    run("--version >/dev/null; f=p/" + std::string(row.name) + "; " + row.edit);
  const auto sql = [&](const std::string& words) {
    return catalogue::Database((folder / "c").string(), SQLITE_OPEN_READWRITE).number(words);
  };
  sql("UPDATE hashes SET text = '0009' || substr(text, 5) WHERE file = (SELECT id FROM files WHERE "
      "path = 'newer') RETURNING 1");
  EXPECT_EQ(words("--whole"), whole);
  EXPECT_EQ(sql("SELECT count(*) FROM events WHERE word = 'rotten'"), 4);
  EXPECT_EQ(sql("SELECT count(*) FROM events WHERE word = 'moved' AND old_path LIKE '%/p/copied'"),
            1);
  EXPECT_EQ(sql("SELECT count(*) FROM events WHERE word LIKE 'intact%'"), 0);
  EXPECT_EQ(words(""), sampled);
  EXPECT_EQ(run("verify --catalog c p >&2 2>/dev/null; echo $?"), "1\n");
}

TEST_F(Verify, ClaimsNothingThatIsNotRecordedOrNotHere) {
  fs::create_directories(folder / "p/below");
  write("p/a", kJpeg);
  write("p/below/b", kSound);
  write("p/below/c", kJpeg);
  run("scan --catalog c p 2>&1");
  const std::map<std::string, std::string> below = {{"below/b", kAsSampled},
                                                    {"below/c", kAsSampled}};
  std::map<std::string, std::string> all = {{"a", kAsSampled}};
  all.insert(below.begin(), below.end());
  EXPECT_EQ(run("export --csv --catalog c | sed '1s/^/\\xEF\\xBB\\xBF/' >l; kmhash import "
                "--catalog i l; kmhash verify --catalog i 2>/dev/null | wc -l"),
            "3\n");
  EXPECT_EQ(words("--whole"), all);
  EXPECT_NE(run("verify --catalog c --whole 2>&1").find("scan with --whole"), std::string::npos);
  EXPECT_EQ(words("p/below"), below);
  EXPECT_EQ(run("verify --catalog c p/below / p 2>/dev/null | wc -l; kmhash verify --catalog c "
                "other 2>&1 | "
                "grep -c 'nothing of it'"),
            "3\n1\n");
  fs::rename(folder / "p", folder / "away");
  const auto absent = [](const std::string& reason) {
    const std::string word = "absent: " + reason;
    return std::map<std::string, std::string>{{"a", word}, {"below/b", word}, {"below/c", word}};
  };
  EXPECT_EQ(words(""), absent("the folder is not there"));
  fs::create_directory(folder / "p");  // as an empty mount point
  EXPECT_EQ(words(""), absent("the folder is empty"));
}

}  // namespace
