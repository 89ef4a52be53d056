// The page of duplicates but for what a browser does with it: its data, other programs' limits, the
// command. tests/page has the rest.
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "json.h"
#include "limitedProcess.h"
#include "reportData.h"
#include "support.h"

namespace report {
namespace {

using support::media;
using support::outputOf;
using support::quoted;

TEST(ReportJson, KeepsEveryByteAndEndsNoElement) {
  const std::pair<std::string_view, const char*> rows[] = {
      {"a \"b\\c/\n\x01", R"("a \u0022b\u005cc/\u000a\u0001")"},
      {"</script><!--", R"("\u003c/script>\u003c!--")"},
      {"\xC3\xBC \xE2\x82\xAC \xF0\x9F\x98\x80", "\"\xC3\xBC \xE2\x82\xAC \xF0\x9F\x98\x80\""},
      {"\xE2\x80\xA8\xE2\x80\xA9", R"("\u2028\u2029")"},
      {"\xFF\xC3", R"("\udcff\udcc3")"},
      {"\xC1\xBF \xE0\x9F\xBF", R"("\udcc1\udcbf \udce0\udc9f\udcbf")"},  // too long
      {"\xED\xA0\x80 \xF4\x90\x80\x80",
       R"("\udced\udca0\udc80 \udcf4\udc90\udc80\udc80")"},  // no characters
  };
  for (const auto& [bytes, text] : rows) EXPECT_EQ(jsonText(bytes), text);
}

TEST(GroupShelf, KeepsWhatFreesMost) {
  GroupShelf shelf(3000);
  for (uint64_t i = 0; i < 100; ++i) {
    catalogue::Group group;
    group.freeable = i * 37 % 100;
    group.members.resize(2);
    shelf.add(group);
  }
  const std::vector<catalogue::Group> kept = shelf.take();
  ASSERT_EQ(kept.size(), 7U);
  for (size_t i = 0; i < kept.size(); ++i) EXPECT_EQ(kept[i].freeable, 99 - i);
  EXPECT_EQ(shelf.groups(), 100U);
  EXPECT_EQ(shelf.freeable(), 4950U);
}

struct Report : support::InFolder {
  std::string kmhash(const std::string& words, const char* before = "") const {
    return outputOf(support::withProgram("cd " + quoted(folder.string()) + "; " + before +
                                         " kmhash " + words + " 2>&1"));
  }
};

TEST_F(Report, OtherProgramsHaveLimits) {
  const std::string input = write("input", support::Bytes().text("input"));
  const std::string made = (folder / "made").string();
  const std::pair<std::string, const char*> rows[] = {
      {"cat", "input"},
      {"cat; exit 1", ""},
      {"while :; do :; done", ""},
      {"exec >&-; sleep 60", ""},
      {"head -c 2000 /dev/zero", ""},
      {"dd if=/dev/zero of=/dev/null bs=100M count=1 && echo held", ""},
      {"echo x >" + input + " && echo written", ""},
      {"ls /proc/self/fd | wc -w", "4\n"},  // one is that of ls
      {"env | grep -c XDG", ""},
      {"{ sleep 1; : >" + made + "; } >&- & echo left", "left\n"},  // what it leaves is ended
  };
  const int elsewhere = open("/dev/null", O_RDONLY);
  for (const auto& [script, output] : rows) {
    const int file = open(input.c_str(), O_RDONLY);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(outputOfProgram("/bin/sh", {"-c", script}, file, {2, uint64_t{64} << 20U, 1000}),
              output)
        << script;
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20)) << script;
    close(file);
  }
  close(elsewhere);
  sleep(2);
  EXPECT_FALSE(std::filesystem::exists(made));
}

TEST_F(Report, IsWrittenAsAWholeOrNotAtAll) {
  std::filesystem::create_directory(folder / "p");
  for (const char* name : {"p/one</script>.jpg", "p/\xFF.jpg"}) {
    std::filesystem::create_directories((folder / name).parent_path());
    write(name, media("jpeg-baseline.jpg"));
  }
  kmhash("scan --catalog c p");
  write("page", support::Bytes().text("old"));
  const std::string noTools = "PATH=" + quoted(KMHASH_PROGRAM_FOLDER);
  EXPECT_NE(kmhash("report --catalog c").find("--output FILE is needed"), std::string::npos);
  EXPECT_NE(kmhash("report --catalog c -o no/page").find("no/page: No such file"),
            std::string::npos);
  EXPECT_NE(
      kmhash("report --catalog c --thumbnails always -o page", noTools.c_str()).find("installed"),
      std::string::npos);
  EXPECT_NE(
      kmhash("report --catalog c -o page", "trap '' XFSZ; ulimit -f 64;").find("File too large"),
      std::string::npos);
  EXPECT_EQ(outputOf("cat " + quoted((folder / "page").string())), "old");
  EXPECT_EQ(outputOf("ls " + quoted(folder.string()) + " | grep p"), "p\npage\n");

  kmhash("report --catalog c --thumbnails never -o page");
  const std::string page = outputOf("cat " + quoted((folder / "page").string()));
  EXPECT_TRUE(
      kmhash("report --catalog c --thumbnails never -o -").starts_with(page.substr(0, 400)));
  const size_t begin = page.find("id=\"data\">") + 10;
  const std::string data = page.substr(begin, page.find('<', begin) - begin);
  const size_t odd = data.find(R"(\udcff.jpg")");
  ASSERT_NE(odd, std::string::npos);
  const auto json = nlohmann::json::parse(data.substr(0, odd) + data.substr(odd + 6));
  EXPECT_EQ(json["totals"]["groups"], 1);
  EXPECT_EQ(json["groups"][0]["format"], "JPEG");
  EXPECT_EQ(json["groups"][0]["kind"], "photo");
  EXPECT_EQ(json["groups"][0]["files"][0]["bytes"], json["groups"][0]["files"][1]["bytes"]);
  EXPECT_EQ(json["groups"][0]["freeable"], media("jpeg-baseline.jpg").size());
  EXPECT_EQ(json["left"]["pictures"], 1);
}

}  // namespace
}  // namespace report
