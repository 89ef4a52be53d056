// kmhash duplicates: groups, what is kept, formats, and the script, which is run.
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "duplicates.h"
#include "support.h"

namespace {

namespace fs = std::filesystem;
using support::Bytes;
using support::media;
using support::outputOf;
using support::quoted;
using support::withProgram;

// A folder "p" that is scanned, with a catalogue beside it.
struct Duplicates : support::InFolder {
  Duplicates() { fs::create_directory(folder / "p"); }

  void put(const std::string& name, const Bytes& bytes, int seconds = 1000) const {
    fs::create_directories((folder / "p" / name).parent_path());
    write("p/" + name, bytes);
    const std::string path = quoted((folder / "p" / name).string());
    outputOf("touch -d @" + std::to_string(seconds) + " -- " + path);
  }
  std::string run(const std::string& words) const {
    return outputOf(withProgram("cd " + quoted(folder.string()) + "; kmhash " + words));
  }
  void scan(const std::string& options = "") const {
    run("scan --catalog c " + options + " p 2>&1");
  }
  // Names of the groups' files below p: those that stay before the '|', groups between ';'.
  std::string groups(const std::string& options, const char* more = "") const {
    std::istringstream lines(run("duplicates --catalog c --json " + options + " 2>/dev/null"));
    std::string text;
    for (std::string line; std::getline(lines, line);) {
      const auto object = nlohmann::json::parse(line);
      if (!object.contains("group")) continue;
      bool kept = true;
      for (const auto& file : object["files"]) {
        const bool isFirst = text.empty() || text.ends_with(';');
        text += !file["keep"] && std::exchange(kept, false) ? "|" : isFirst ? "" : " ";
        text += fs::path(file["path"].get<std::string>()).lexically_relative(folder / "p").string();
        if (*more != '\0') text.append(":").append(file[more].dump());
      }
      text.append(" =").append(object["freeable"].dump()).append(";");
    }
    return text;
  }
};

const Bytes kJpeg = media("jpeg-baseline.jpg"), kEdited = media("jpeg-edited.jpg");
const std::string kSize = std::to_string(kJpeg.size());

TEST_F(Duplicates, AgreeAsTheMatchSaysAndKeepAsTheRulesSay) {
  put("a/one.jpg", kJpeg, 3000);
  put("a/one.XMP", Bytes().fill(9000, 'x'));
  put("bb/edited.jpg", kEdited, 2000);
  put("bb/odd.bin", Bytes().fill(50, 1));
  put("ccc/odd.dat", Bytes().fill(50, 1));
  put("ccc/other.bin", Bytes().fill(50, 2));
  put("ccc/two.jpg", kJpeg, 5000);
  put("no1.mp3", Bytes().text("ID3").add({3, 0, 0, 0, 0, 0, 0}));  // no media: hashes of nothing
  put("no2.mp3", Bytes().text("ID3").add({4, 0, 0, 0, 0, 0, 0}));
  fs::create_hard_link(folder / "p/a/one.jpg", folder / "p/a/zz.jpg");
  fs::create_hard_link(folder / "p/no1.mp3", folder / "p/no1 again.mp3");
  scan("--others");
  const std::string all = "a/one.jpg", odd = "bb/odd.bin|ccc/odd.dat =50;";
  const std::pair<const char*, std::string> rows[] = {
      {"--keep smallest,newest --min-size 51", "ccc/two.jpg|a/one.jpg a/zz.jpg bb/edited.jpg ="},
      {"--keep largest --min-size 1K", "bb/edited.jpg|a/one.jpg a/zz.jpg ccc/two.jpg ="},
      {"--keep oldest --min-size 1K", "bb/edited.jpg|a/one.jpg a/zz.jpg ccc/two.jpg ="},
      {"--keep newest --min-size 1K", "ccc/two.jpg|a/one.jpg a/zz.jpg bb/edited.jpg ="},
      {"--keep shortest-path --min-size 1K", "a/zz.jpg a/one.jpg|bb/edited.jpg ccc/two.jpg ="},
      {"--keep 'path:*/[bc]*/*,newest' --min-size 1K",
       "ccc/two.jpg|a/one.jpg a/zz.jpg bb/edited.jpg ="},
      {"--keep most-metadata --min-size 1K", "a/one.jpg a/zz.jpg|bb/edited.jpg ccc/two.jpg ="},
      {"--keep first --min-size 1K", "a/one.jpg a/zz.jpg|bb/edited.jpg ccc/two.jpg ="},
      {"--reference p/ccc --keep first --min-size 1K",
       "ccc/two.jpg|a/one.jpg a/zz.jpg bb/edited.jpg ="},
      {"--reference p/bb --reference p/a --min-size 1K",
       "a/one.jpg a/zz.jpg bb/edited.jpg|ccc/two.jpg ="},
      {"--under p/ccc --reference p/a --min-size 1K", "a/one.jpg a/zz.jpg|ccc/two.jpg ="},
  };
  for (const auto& [options, expected] : rows) {
    EXPECT_TRUE(groups(options).starts_with(expected)) << options << ": " << groups(options);
  }
  // The file with two names takes its space once, and stays where one of them does.
  EXPECT_EQ(groups("--match exact --min-size 51"),
            "a/one.jpg a/zz.jpg|ccc/two.jpg =" + kSize + ";");
  EXPECT_EQ(groups("--match exact --keep newest --min-size 51"),
            "ccc/two.jpg|a/one.jpg a/zz.jpg =" + kSize + ";");
  EXPECT_EQ(
      groups("--min-size 1K", "relation"),
      "a/one.jpg:\"first\" a/zz.jpg:\"link\"|bb/edited.jpg:\"metadata\" ccc/two.jpg:\"exact\" =" +
          std::to_string(kJpeg.size() + kEdited.size()) + ";");
  EXPECT_NE(run("duplicates --catalog c --json").find("\"kind\":\"sidecar\""), std::string::npos);
  EXPECT_NE(groups("").find(odd), std::string::npos);
  EXPECT_EQ(groups("").find("no1"), std::string::npos);
}

TEST_F(Duplicates, OfTextsAgreeOnlyWhereTheyTellTheSame) {
  const auto text = [](const char* version, char meta, const char* algorithm, const char* mark) {
    return version + std::string("50484F544F") + std::string(40, '1') + std::string(40, meta) +
           "4A50454700000000" + algorithm + mark + "0000000000";
  };
  const std::string sampled = text("00030000", '2', "01", "00");
  using catalogue::Match;
  const std::tuple<std::string, bool, bool> rows[] = {
      {sampled, true, true},
      {text("00030000", '3', "01", "00"), false, true},
      {text("00040000", '2', "01", "00"), false, true},
      {text("00030000", '2', "01", "F1"), false, false},
      {text("00030000", '3', "FF", "00"), false, false},
  };
  for (const auto& [other, same, content] : rows) {
    EXPECT_EQ(agree(Match::same, sampled, other), same) << other;
    EXPECT_EQ(agree(Match::content, sampled, other), content) << other;
  }
}

TEST_F(Duplicates, OfSeveralCataloguesAreFoundTogether) {
  put("a/one.jpg", kJpeg);
  put("b/two.jpg", kJpeg);
  run("scan --catalog c p/a 2>&1; kmhash scan --catalog d --whole p/b 2>&1");
  EXPECT_EQ(groups(""), "");
  for (const char* match : {"same", "content", "exact"}) {
    EXPECT_EQ(groups(std::string("--catalog d --match ") + match),
              "a/one.jpg|b/two.jpg =" + kSize + ";");
  }
}

TEST_F(Duplicates, AreNotExactByWhatAnotherNameWasBefore) {
  put("b.jpg", kJpeg);
  run("; cd p; printf x >>b.jpg; cp b.jpg c.jpg; mkdir a; ln b.jpg a/a.jpg");
  scan("--whole");
  run("; printf y | dd bs=1 conv=notrunc of=p/b.jpg seek=" + kSize +
      " 2>&1; touch -d @2000 p/b.jpg");
  run("scan --catalog c p/a 2>&1");
  EXPECT_EQ(groups("", "relation"), "a/a.jpg:\"first\" b.jpg:\"link\"|c.jpg:\"metadata\" =" +
                                        std::to_string(kJpeg.size() + 1) + ";");
}

const char* const kNames[] = {"-n 'a\n b'.jpg", "$(x)`y`\\z\"\xFF\x81\x88.jpg", "d\n/e \t*?.jpg"};

TEST_F(Duplicates, AreMovedByTheScriptWhateverTheirNames) {
  put("a.jpg", kJpeg);
  for (const char* name : kNames) put(name, kJpeg);
  put("d\n/edited.jpg", kEdited, -5);
  scan("--whole");
  const std::string call =
      "duplicates --catalog c --keep 'path:*a.jpg' --script --to 't o' >s; dash s";
  EXPECT_EQ(run(call), "4 files are moved to " + (folder / "t o\n").string());
  for (const char* name : kNames) {
    EXPECT_FALSE(fs::exists(folder / "p" / name)) << name;
    EXPECT_TRUE(fs::exists(folder / "t o" / name)) << name;
  }
  EXPECT_TRUE(fs::exists(folder / "p/a.jpg"));
  EXPECT_EQ(run("duplicates --catalog c --fdupes 2>/dev/null >&2; echo $?"), "1\n");
}

TEST_F(Duplicates, AreNotMovedByTheScriptWhenSomethingIsNotAsItWas) {
  const std::string first = (folder / "p/a.jpg").string(), goes = (folder / "p/b.jpg").string();
  const std::pair<const char*, const char*> rows[] = {
      {"printf x >>p/b.jpg", "its size"},
      {"touch p/b.jpg", "its size or time"},
      {"touch p/a.jpg", "its size or time"},
      {"rm p/a.jpg", "is not the file"},
      {"rm p/b.jpg; ln -s a.jpg p/b.jpg", "is not the file"},
      {"printf x | dd of=p/b.jpg bs=1 seek=15 conv=notrunc 2>&1; touch -d @1000 p/b.jpg", "bytes"},
      {"printf x | dd of=p/b.jpg bs=1 seek=3000 conv=notrunc 2>&1; touch -d @1000 p/b.jpg; "
       "printf x | dd of=p/a.jpg bs=1 seek=3000 conv=notrunc 2>&1; touch -d @1000 p/a.jpg",
       "hash"},
      {"mkdir t; cp p/a.jpg t/b.jpg", "is there already"},
      {"KMHASH=/nowhere; export KMHASH", "no such command"},
  };
  for (const auto& [change, reason] : rows) {
    fs::remove_all(folder / "t");
    fs::remove(folder / "p/b.jpg");
    put("a.jpg", kJpeg);
    put("b.jpg", kJpeg);
    put("c.jpg", kJpeg);
    scan();
    const std::string said =
        run("duplicates --catalog c --script --to t >s; " + std::string(change) +
            "; dash s 2>&1 | grep -cE " + quoted(reason));
    EXPECT_EQ(said.substr(said.size() - std::min<size_t>(said.size(), 2)), "1\n") << change;
    EXPECT_TRUE(fs::exists(fs::symlink_status(folder / "p/c.jpg"))) << change;
  }
}

TEST_F(Duplicates, AreWrittenForOtherPrograms) {
  put("a.jpg", kJpeg);
  put("b \",.jpg", kJpeg);
  scan();
  const std::string at = (folder / "p/").string();
  EXPECT_EQ(run("duplicates --catalog c --fdupes"), at + "a.jpg\n" + at + "b \",.jpg\n\n");
  EXPECT_EQ(run("duplicates --catalog c --zero | tr '\\0' '%'"), at + "b \",.jpg%");
  EXPECT_NE(run("duplicates --catalog c --csv").find(",\"" + at + "b \"\",.jpg\"\n"),
            std::string::npos);
  for (const char* options : {"--json --csv", "--script", "--to x", "--keep best",
                              "--keep path:", "--min-size 1X", "--match alike", "p"}) {
    EXPECT_EQ(run(std::string("duplicates --catalog c ") + options + " 2>/dev/null; echo $?"),
              "2\n");
  }
}

}  // namespace
