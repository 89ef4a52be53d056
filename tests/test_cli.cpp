// The command kmhash: its parts, and the program as a whole.
#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "hashList.h"
#include "hashText.h"
#include "jsonLine.h"
#include "orderedRunner.h"
#include "progress.h"
#include "support.h"

namespace cli {
namespace {

using support::Bytes;
using support::sha1Hex;

const std::string kContent = "9E21C10117E233A835349868BC5C1C5A1E04DE03", kMeta(40, 'B');
const std::string kHash =
    "0003000050484F544F" + kContent + kMeta + "4A5045470000000001000000000000";
const std::string kUnsetHash =
    std::string(18, '.') + kContent + kMeta + std::string(18, '.') + "000000000000";

// ---- Parts ----

TEST(HashList, LinesOfAnyPathAreReadBackAsTheyWere) {
  const std::pair<std::string, std::string> rows[] = {
      {"a.jpg", kHash + "  a.jpg\n"},
      {" two  spaces ", kHash + "   two  spaces \n"},
      {"#*\t\xFF\xFE[x,y]", kHash + "  #*\t\xFF\xFE[x,y]\n"},
      {"n\nl", "\\" + kHash + "  n\\nl\n"},
      {"cr\r", "\\" + kHash + "  cr\\r\n"},
      {"back\\n", "\\" + kHash + "  back\\\\n\n"},
  };
  for (const auto& [path, line] : rows) {
    EXPECT_EQ(listLine(kHash, path, LineEnd::newline), line);
    EXPECT_EQ(listLine(kHash, path, LineEnd::nul), fmt::format("{}  {}{}", kHash, path, '\0'));
    for (const LineEnd end : {LineEnd::newline, LineEnd::nul}) {
      std::string text = listLine(kUnsetHash, path, end);
      text.pop_back();
      const ListLine read = parseListLine(text, end);
      EXPECT_EQ(read.kind, ListLine::Kind::entry) << text;
      EXPECT_EQ(read.hash, kUnsetHash);
      EXPECT_EQ(read.path, path);
    }
  }
  EXPECT_EQ(parseListLine(kHash + "  a\r", LineEnd::newline).path, "a");
  EXPECT_EQ(parseListLine(kHash + "  a\r", LineEnd::nul).path, "a\r");
}

TEST(HashList, TellsWhatIsWrongWithALine) {
  const std::pair<std::string, const char*> rows[] = {
      {"hello", "5 characters instead of 128"},
      {kHash, "not followed by two spaces"},
      {kHash + " a", "not followed by two spaces"},
      {kHash + "  ", "no path"},
      {kHash + "  a" + '\0', "a NUL in the line"},
      {"\\" + kHash + "  a\\t", "escapes nothing"},
      {"\\" + kHash + "  a\\", "escapes nothing"},
      {"00O30000" + kHash.substr(8) + "  a", "characters 0 to 7 are no version"},
      {kHash.substr(0, 57) + '.' + kHash.substr(58) + "  a",
       "characters 18 to 57 are no content digest"},
      {kHash.substr(0, 98) + '.' + kHash.substr(99) + "  a",
       "characters 98 to 113 are no format type"},
  };
  for (const auto& [line, reason] : rows) {
    const ListLine read = parseListLine(line, LineEnd::newline);
    EXPECT_EQ(read.kind, ListLine::Kind::malformed) << line;
    EXPECT_NE(read.reason.find(reason), std::string::npos) << read.reason;
  }
  EXPECT_EQ(parseListLine("\\" + kHash + "  a", LineEnd::nul).kind, ListLine::Kind::malformed);
  EXPECT_EQ(parseListLine("# " + kHash, LineEnd::newline).kind, ListLine::Kind::passedOver);
  EXPECT_EQ(parseListLine("\r", LineEnd::newline).kind, ListLine::Kind::passedOver);
}

TEST(HashText, HasLowerCaseEveryByteInLabelsAndUnsetFields) {
  std::string text = kHash, reason;
  text.replace(98, 16, "1b41005c20000000");
  EXPECT_EQ(fieldsOf(readHashText(text, &reason).value()).formatType, "\\x1BA\\x00\\ ");
  EXPECT_EQ(differenceNames(differenceFlags(kUnsetHash, kHash)), "format, algorithm, version");
}

TEST(JsonLine, KeepsAPathThatIsNotUtf8) {
  HashAnswer failed;
  failed.failure = {HASHCREATE_READ_ERROR, "cut"};
  EXPECT_EQ(jsonLine("n\n\xC3\xBC\xFF", failed),
            "{\"path\":\"n\\n\xC3\xBC\xEF\xBF\xBD\",\"status\":\"HASHCREATE_READ_ERROR\","
            "\"reason\":\"cut\","
            "\"path_hex\":\"6e0ac3bcff\"}\n");
}

TEST(ProgressLine, SaysWhatIsKnown) {
  EXPECT_EQ(progressLine(0, 10, false, 0.2), "kmhash: 0 of more than 10 files, 0.0/s");
  EXPECT_EQ(progressLine(50, 200, true, 10), "kmhash: 50 of 200 files, 5.0/s, 30 s left");
  EXPECT_EQ(progressLine(100, 1000000, true, 1),
            "kmhash: 100 of 1000000 files, 100/s, 2 h 46 min left");
  EXPECT_EQ(progressLine(7, 7, true, 150), "kmhash: 7 of 7 files, 0.0/s, 2 min 30 s in all");
}

// The first item is held up until the others have filled the window.
TEST(OrderedRunner, CommitsInOrderWhateverFinishesFirst) {
  using Runner = OrderedRunner<uint64_t, uint64_t>;
  constexpr uint64_t kItems = 3 * Runner::kWindow;
  for (const unsigned jobs : {1U, 2U, 7U}) {
    Output output;
    uint64_t handedOut = 0, committed = 0;
    std::atomic<uint64_t> done{0};
    Runner runner(output, {.next = [&](uint64_t& item) { return (item = handedOut++) < kItems; },
                           .work =
                               [&](const uint64_t& item) {
                                 while (item == 0 && jobs > 1 && done < Runner::kWindow - 1)
                                   std::this_thread::yield();
                                 ++done;
                                 return item * 3;
                               },
                           .commit =
                               [&](const uint64_t& item, uint64_t& result) {
                                 EXPECT_EQ(item, committed++);
                                 EXPECT_EQ(result, item * 3);
                               }});
    runner.run(jobs);
    EXPECT_EQ(committed, kItems);
  }
}

// ---- The program ----

struct Finished {
  int status = -1;
  std::string out, err;
};

struct Program : support::InFolder {
  void writeText(const std::string& name, const std::string& text) const {
    write(name, Bytes().text(text));
  }

  std::string read(const std::string& name) const {
    std::ifstream file(folder / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // Runs in the test's folder.
  Finished shell(const std::string& words) const {
    const std::string inFolder = "cd " + support::quoted(folder) + " && ";
    const std::string command =
        support::withProgram(inFolder + "{ " + words + " ; } >'.out' 2>'.err' </dev/null");
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read(".out"), read(".err")};
  }
  Finished kmhash(const std::string& arguments) const { return shell("kmhash " + arguments); }
};

Bytes photo(uint8_t seed) { return Bytes().text("anything will do: ").pattern(300, seed); }

std::string quickHash(const Bytes& bytes) {
  return "00030000554E4B574E" + sha1Hex(bytes) + sha1Hex(Bytes().u64be(bytes.size())) +
         "515549434B000000FF000000000000";
}

std::string quickLine(const std::string& path, uint8_t seed) {
  return quickHash(photo(seed)) + "  " + path + "\n";
}

TEST_F(Program, HashesInTheOrderGivenAndGoesOnAfterFailures) {
  write("b", photo(1));
  write("a", photo(2));
  write("empty", Bytes());
  write("[x,y]", photo(3));
  write("-z", photo(4));
  std::filesystem::create_directory(folder / "folder");
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  const Finished run = kmhash("hash --quick b empty nope folder pipe a '[x,y]' -- -z");
  EXPECT_EQ(run.out,
            quickLine("b", 1) + quickLine("a", 2) + quickLine("[x,y]", 3) + quickLine("-z", 4));
  EXPECT_EQ(
      run.err,
      "kmhash: empty: is empty (HASHCREATE_NON_SUPPORTED)\n"
      "kmhash: nope: No such file or directory (HASHCREATE_FILE_NOTFOUND)\n"
      "kmhash: folder: is a directory; with -r the files in it are taken "
      "(HASHCREATE_NON_SUPPORTED)\n"
      "kmhash: pipe: is a pipe; only regular files can be hashed (HASHCREATE_NON_SUPPORTED)\n");
  EXPECT_EQ(run.status, 1);
}

TEST_F(Program, WalksDirectoriesInTheOrderOfPathsOnAnyNumberOfThreads) {
  const std::string paths[] = {"d/a.b/x", "d/a/x", "d/a0",
                               "d/z"};  // '.' sorts before '/', '/' before '0'
  std::filesystem::create_directories(folder / "d/a");
  std::filesystem::create_directories(folder / "d/a.b");
  std::filesystem::create_directories(folder / "d/nothing");
  std::filesystem::create_symlink(".", folder / "d/a/loop");
  std::string lines, names;
  for (const std::string& path : paths) {
    write(path, photo(5));
    lines += quickLine(path, 5);
    names += path + '\0';
  }
  for (const char* options : {"-r d", "-rj1 d", "-r -j 8 d/", "--progress=always -r d",
                              "--files0-from=names", "--files0-from - <names"}) {
    writeText("names", names);
    const Finished run = kmhash(std::string("hash --quick ") + options);
    EXPECT_EQ(run.out, lines) << options;
    EXPECT_EQ(run.status, 0);
    const bool always = std::string(options).find("always") != std::string::npos;
    EXPECT_EQ(run.err.find("kmhash: 4 of 4 files") == 0, always) << run.err;
  }
  writeText("names", "d/a0" + std::string("\0\0", 2) + "d/z");
  const Finished broken = kmhash("hash --quick --files0-from names");
  EXPECT_EQ(broken.out, quickLine("d/a0", 5) + quickLine("d/z", 5));
  EXPECT_EQ(broken.err, "kmhash: names: an empty name in it (HASHCREATE_INVALID_PARAM)\n");
}

TEST_F(Program, CheckReadsBackWhatHashWrote) {
  const std::string media = KMHASH_TEST_MEDIA "/jpeg-baseline.jpg";
  std::filesystem::copy_file(media, folder / "new\nline");
  std::filesystem::copy_file(media, folder / "plain");
  write("tag", Bytes().text("ID3").u24be(0x030000).u32be(100).fill(
                   100, 0));  // no media behind it: no labels
  for (const std::string zero : {"", "--zero"}) {
    const Finished run =
        shell(fmt::format("for mode in '' --quick; do kmhash hash $mode {0} new* plain tag; done "
                          ">list; kmhash check {0} list",
                          zero));
    const std::string each = "\\new\\nline: OK\nplain: OK\ntag: OK\n";
    EXPECT_EQ(run.out, each + each);
    EXPECT_EQ(run.err, "kmhash: list: 6 OK\n");
    EXPECT_EQ(run.status, 0);
  }
  EXPECT_EQ(kmhash("hash tag").out, std::string(18, '.') + sha1Hex({}) + sha1Hex({}) +
                                        std::string(18, '.') + "000000000000  tag\n");
  const std::string shown = kmhash("show tag").out;
  EXPECT_NE(shown.find("\nversion      not set\nfile type    not set\n"), std::string::npos);
  EXPECT_NE(shown.find("\nformat type  not set\nalgorithm    not set\n"), std::string::npos);
  EXPECT_EQ(kmhash("show " + kHash).out.find("hash         " + kHash + "\nversion      3.0\n"), 0U);
  EXPECT_EQ(kmhash("identify plain tag").out, "  1  JPEG     plain\n");
}

TEST_F(Program, CheckReportsAsItsOptionsSay) {
  write("good", photo(1));
  write("edited", photo(2));
  const std::string lines = quickLine("good", 1) + quickLine("edited", 3) + quickLine("gone", 1);
  writeText("list", lines);
  writeText("odd", "\n# comment\n" + quickLine("good", 1) + "broken\nworse\n");
  writeText("fine", quickLine("good", 1));
  writeText("lost", quickLine("gone", 1));
  writeText("nothing", "");
  const std::string good = "good: OK\n", bad = "edited: CHANGED (content)\n",
                    gone = "gone: FAILED (No such file or directory, HASHCREATE_FILE_NOTFOUND)\n";
  const std::string sum = "kmhash: list: 1 OK, 1 changed, 1 failed\n";
  const std::string why = "no hash text: 6 characters instead of 128",
                    oddSum = "kmhash: odd: 1 OK, 2 malformed lines (line 4: " + why + ")\n";
  const struct {
    std::string arguments, out, err;
    int status;
  } rows[] = {
      {"list", good + bad + gone, sum, 1},
      {"--quiet list", bad + gone, sum, 1},
      {"--status list", "", "", 1},
      {"--ignore-missing list", good + bad, "kmhash: list: 1 OK, 1 changed, 1 missing\n", 1},
      {"fine - <list", good + good + bad + gone,
       "kmhash: fine: 1 OK\nkmhash: -: 1 OK, 1 changed, 1 failed\n", 1},
      {"fine", good, "kmhash: fine: 1 OK\n", 0},
      {"--quiet fine", "", "", 0},
      {"odd", good, oddSum, 0},
      {"--strict odd", good, oddSum, 1},
      {"--strict --status odd", "", "", 1},
      {"--warn odd", good,
       "kmhash: odd: line 4: " + why + " (HASHCREATE_INVALID_HASH)\n" +
           "kmhash: odd: line 5: no hash text: 5 characters instead of 128 "
           "(HASHCREATE_INVALID_HASH)\n" +
           oddSum,
       0},
      {"--ignore-missing lost", "", "kmhash: lost: no file was verified: 1 missing\n", 1},
      {"nothing", "", "kmhash: nothing: no file was verified\n", 1},
      {"nope fine", good,
       "kmhash: nope: No such file or directory (HASHCREATE_FILE_NOTFOUND)\nkmhash: fine: 1 OK\n",
       1},
  };
  for (const auto& row : rows) {
    const Finished run = kmhash("check " + row.arguments);
    EXPECT_EQ(run.out, row.out) << row.arguments;
    EXPECT_EQ(run.err, row.err) << row.arguments;
    EXPECT_EQ(run.status, row.status) << row.arguments;
  }
}

TEST_F(Program, ComparesFilesAndTexts) {
  write("a", photo(1));
  write("same", photo(1));
  write("b", photo(2));
  const std::string text = quickHash(photo(1));
  for (const std::string& operands :
       {std::string("--quick a same"), "a " + text, text + " a", fmt::format("{0} {0}", text)}) {
    const Finished run = kmhash("compare " + operands);
    EXPECT_EQ(run.out.substr(0, run.out.find('\n')), "The media are the same.")
        << operands << run.err;
    EXPECT_EQ(run.status, 0);
  }
  EXPECT_EQ(kmhash("compare --quick a b").status, 1);
  EXPECT_NE(kmhash("compare " + text + " " + kHash).out.find("different algorithms"),
            std::string::npos);
  const Finished noText = kmhash("compare " + text + " " + kHash.substr(1));
  EXPECT_EQ(noText.status, 1);
  EXPECT_NE(noText.err.find("no hash text (127 characters instead of 128) and no file"),
            std::string::npos);
}

TEST_F(Program, TellsWrongUsage) {
  for (const char* arguments :
       {"", "nope", "hash", "hash --nope a", "hash -j0 a", "hash --progress=some a",
        "hash --json --zero a", "hash --files0-from a b", "check", "compare a", "compare a b c",
        "identify", "show", "version 1"}) {
    const Finished run = kmhash(arguments);
    EXPECT_EQ(run.status, 2) << arguments;
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err.find("kmhash: "), 0U) << run.err;
  }
  for (const char* arguments : {"--help", "help hash", "check --help", "--version"}) {
    EXPECT_EQ(kmhash(arguments).status, 0) << arguments;
  }
}

TEST_F(Program, TellsThatItsOutputIsLost) {
  write("a", photo(1));
  EXPECT_EQ(shell("kmhash hash --quick a >/dev/full").err,
            "kmhash: standard output: No space left on device\n");
  EXPECT_EQ(shell("kmhash hash --quick a >/dev/full").status, 1);
  EXPECT_EQ(shell("(sleep 0.5; kmhash hash --quick a; echo $? >status) | true").err,
            "kmhash: standard output: Broken pipe\n");
  EXPECT_EQ(read("status"), "1\n");
}

TEST_F(Program, EndsWith130AtCtrlCAndKeepsWhatIsDone) {
  write("a", photo(1));
  ASSERT_EQ(mkfifo((folder / "names").c_str(), 0600), 0);
  const Finished run = shell(
      "{ printf 'a\\0'; until [ -s .out ]; do sleep 0.1; done; kill -INT $(cat pid); sleep 3; } "
      ">names & "
      "sh -c \"echo \\$\\$ >pid; exec kmhash hash --quick --files0-from - <names\"; status=$?; "
      "kill $!; exit $status");
  EXPECT_EQ(run.status, 130);
  EXPECT_EQ(run.out, quickLine("a", 1));
}

}  // namespace
}  // namespace cli
