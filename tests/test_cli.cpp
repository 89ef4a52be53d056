// The command kmhash: its parts, and the program as a whole.
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <thread>

#include "commands.h"
#include "format.h"
#include "hashList.h"
#include "hashText.h"
#include "inputPaths.h"
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
    EXPECT_EQ(listLine(kHash, path, LineEnd::nul), text::format("{}  {}{}", kHash, path, '\0'));
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
  text.replace(98, 16, "1b41005c20fa0000");
  EXPECT_EQ(fieldsOf(readHashText(text, &reason).value()).formatType, "\\x1BA\\x00\\ \\xFA");
  EXPECT_EQ(differenceNames(differenceFlags(kUnsetHash, kHash)), "format, algorithm, version");
}

TEST(JsonLine, KeepsAPathThatIsNotUtf8) {
  EXPECT_EQ(jsonOfFailure("n\n\xC3\xBC\xFF", {HASHCREATE_READ_ERROR, "cut"}),
            "{\"path\":\"n\\n\xC3\xBC\xEF\xBF\xBD\",\"status\":\"HASHCREATE_READ_ERROR\","
            "\"reason\":\"cut\",\"path_hex\":\"6e0ac3bcff\"}\n");
}

TEST(ProgressLine, SaysWhatIsKnown) {
  EXPECT_EQ(progressLine(0, 10, false, 0.2), "kmhash: 0 of more than 10 files, 0.0/s");
  const struct {
    uint64_t total;
    const char* left;
  } rows[] = {{51, "0.1 s"},
              {200, "15 s"},
              {1049, "1 min 40 s"},
              {60050, "1 h 40 min"},
              {108050, "3 h 00 min"}};
  for (const auto& row : rows) {
    EXPECT_EQ(progressLine(50, row.total, true, 5),
              text::format("kmhash: 50 of {} files, 10/s, {} left", row.total, row.left));
  }
  EXPECT_EQ(progressLine(7, 7, true, 150), "kmhash: 7 of 7 files, 0.0/s, 2 min 30 s in all");
}

TEST(Visible, LeavesNothingThatDrivesATerminal) {
  const std::pair<std::string_view, const char*> rows[] = {
      {"a\x1B[2J\n\r\t", "a\\x1B[2J\\x0A\\x0D\\x09"},
      {"\x7F \xC2\x80\xC2\x9B \xC2\xA0", "\\u007f \\u0080\\u009b \xC2\xA0"},
      {"\x9B\xC2", "\\x9B\\xC2"},
      {"\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80", "\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"\xC1\xBF \xE0\x9F\xBF", "\\xC1\\xBF \\xE0\\x9F\\xBF"},                    // too long
      {"\xED\xA0\x80 \xF4\x90\x80\x80", "\\xED\\xA0\\x80 \\xF4\\x90\\x80\\x80"},  // no characters
  };
  for (const auto& [text, shown] : rows) EXPECT_EQ(visible(text), shown);
  EXPECT_EQ(visible(std::string_view("\n\0\r", 3), std::string_view("\n\0", 2)),
            std::string("\n\0\\x0D", 6));
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

TEST(OrderedRunner, SweepsARotatingDiskOnOneThreadInTheOrderOfPlaces) {
  using Runner = OrderedRunner<uint64_t, uint64_t>;
  Output output;
  uint64_t handedOut = 0;
  std::vector<uint64_t> worked, committed, inSweeps, inOrder;
  std::set<std::thread::id> threads;
  Runner runner(output,
                {.next = [&](uint64_t& item) { return (item = handedOut++) < Runner::kSweep + 3; },
                 .work =
                     [&](const uint64_t& item) {
                       worked.push_back(item);
                       threads.insert(std::this_thread::get_id());
                       return item;
                     },
                 .commit = [&](const uint64_t& item, uint64_t&) { committed.push_back(item); },
                 .isOnRotatingDisk = [](const uint64_t& item) { return item == 0; },
                 .place = [](const uint64_t& item) { return 9999 - item / 2; }});
  runner.run(0);
  EXPECT_EQ(threads.size(), 1U);
  for (uint64_t item = 0; item < Runner::kSweep + 3; ++item) inOrder.push_back(item);
  EXPECT_EQ(committed, inOrder);
  EXPECT_EQ(worked.front(), Runner::kSweep - 2);  // of two in one place the first comes first
  EXPECT_EQ(worked[Runner::kSweep], Runner::kSweep + 2);
}

// ---- The program ----

struct Finished {
  int status = 0;  // -N: ended by signal N
  std::string out, err;
};

struct Program : support::InFolder {
  void writeText(const std::string& name, const std::string& text) const {
    write(name, Bytes().text(text));
  }

  std::string read(const std::filesystem::path& name) const {
    std::ifstream file(folder / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // Runs in the test's folder.
  Finished shell(const std::string& words) const {
    const std::string inFolder = "cd " + support::quoted(folder) + " && ";
    const std::string command =
        support::withProgram(inFolder + "{ " + words + " ; } >'.out' 2>'.err' </dev/null");
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), read(".out"),
            read(".err")};
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
      "kmhash: empty: is empty, there is nothing to hash (HASHCREATE_NON_SUPPORTED)\n"
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
  writeText("names", "d/a0" + std::string("\0\0", 2) + std::string(100000, 'a') + '\0' + "d/z");
  const Finished broken = kmhash("hash --quick --files0-from nothing --files0-from names -j1 -j2");
  EXPECT_EQ(broken.out, quickLine("d/a0", 5) + quickLine("d/z", 5));
  EXPECT_EQ(broken.err, "kmhash: names: an empty name in it (HASHCREATE_INVALID_PARAM)\nkmhash: " +
                            std::string(65536, 'a') +
                            ": File name too long (HASHCREATE_FILE_NOTFOUND)\n");
  writeText("nothing", "");
  EXPECT_EQ(kmhash("hash --files0-from nothing").err,
            "kmhash: nothing: holds no name (HASHCREATE_INVALID_PARAM)\n");
  EXPECT_EQ(kmhash("hash --files0-from d").err,
            "kmhash: d: Is a directory (HASHCREATE_READ_ERROR)\n");
}

TEST_F(Program, PassesOverWhatItIsToldTo) {
  for (const char* directory : {"d/keep/cache", "d/cache/keep"})
    std::filesystem::create_directories(folder / directory);
  for (const char* path :
       {"d/.x", "d/a.tmp", "d/cache/a", "d/cache/keep/a", "d/keep/cache/a", "d/keep/tmp"}) {
    write(path, photo(1));
  }
  const std::pair<const char*, std::vector<const char*>> rows[] = {
      {"--exclude cache", {"d/.x", "d/a.tmp", "d/keep/tmp"}},
      {"--exclude 'cache/*'", {"d/.x", "d/a.tmp", "d/keep/cache/a", "d/keep/tmp"}},
      {"--exclude tmp/ --exclude '.*'",
       {"d/a.tmp", "d/cache/a", "d/cache/keep/a", "d/keep/cache/a", "d/keep/tmp"}},
      {"--exclude '*tmp' --exclude cache/", {"d/.x"}},
  };
  for (const auto& [options, paths] : rows) {
    std::string lines;
    for (const char* path : paths) lines += quickLine(path, 1);
    EXPECT_EQ(kmhash(std::string("hash --quick -r d ") + options).out, lines) << options;
  }
  write("d/empty", Bytes());
  std::filesystem::copy_file(KMHASH_TEST_MEDIA "/jpeg-baseline.jpg", folder / "d/photo");
  const Finished run = kmhash("identify --json --skip-unsupported -r d");
  EXPECT_EQ(run.out,
            "{\"path\":\"d/photo\",\"status\":\"HASHCREATE_SUCCESS\",\"algorithm_id\":1,"
            "\"algorithm\":\"JPEG\",\"version\":\"3.0\"}\n");
  EXPECT_EQ(run.err,
            "kmhash: passed over: 6 files of unsupported formats, 1 file without content\n");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(kmhash("hash --skip-unsupported d/photo nope").status, 1);
}

// Both the walk and the opening of what was found.
TEST_F(Program, StaysInATreeWhoseDirectoriesBecomeLinks) {
  for (const char* directory : {"tree/a", "tree/b", "away"})
    std::filesystem::create_directories(folder / directory);
  for (const char* path : {"tree/a/x", "tree/b/x", "tree/y", "away/x"}) write(path, photo(1));
  InputOptions options;
  options.recursive = true;
  InputFiles files(options, {folder / "tree"});
  InputFile found, unread, last;
  ASSERT_TRUE(files.next(&found));
  EXPECT_EQ(Reached(found).failure().code, 0);
  for (const char* name : {"tree/a", "tree/b", "tree/y"}) {
    std::filesystem::rename(folder / name,
                            folder / "away" / std::filesystem::path(name).filename());
    std::filesystem::create_symlink(folder / (std::string(name) == "tree/y" ? "away/x" : "away"),
                                    folder / name);
  }
  InputFile again = found;
  again.tree = DirectoryTree::open(folder / "tree");
  EXPECT_EQ(Reached(again).failure().words, "Not a directory");
  ASSERT_TRUE(files.next(&unread) && files.next(&last));
  EXPECT_EQ(unread.failure.words, "Not a directory");
  EXPECT_EQ(Reached(last).failure().words,
            "is a symbolic link by now; only regular files can be hashed");
}

TEST_F(Program, CheckReadsBackWhatHashWrote) {
  const std::string media = KMHASH_TEST_MEDIA "/jpeg-baseline.jpg";
  std::filesystem::copy_file(media, folder / "new\nline");
  std::filesystem::copy_file(media, folder / "plain");
  write("tag", Bytes().text("ID3").u24be(0x030000).u32be(100).fill(
                   100, 0));  // no media behind it: no labels
  for (const std::string zero : {"", "--zero"}) {
    const Finished run =
        shell(text::format("for mode in '' --quick; do kmhash hash $mode {0} new* plain tag; done "
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
  EXPECT_NE(shown.find("\nversion      not set\ncovers       samples\nfile type    not set\n"),
            std::string::npos);
  EXPECT_NE(shown.find("\nformat type  not set\nalgorithm    not set\n"), std::string::npos);
  EXPECT_EQ(kmhash("show " + kHash).out.find("hash         " + kHash + "\nversion      3.0\n"), 0U);
  EXPECT_EQ(kmhash("identify plain tag").out, "  1  JPEG     plain\n");
}

TEST_F(Program, HashesAndVerifiesByVersionAndCoverage) {
  const std::pair<std::string, uint32_t> rows[] = {
      {"", 0},
      {"--prefer 4", KMHASH_PREFER_VERSION_4},
      {"--whole", KMHASH_WHOLE},
      {"--prefer=4 --whole", KMHASH_PREFER_VERSION_4 | KMHASH_WHOLE},
  };
  const std::string path = folder / "p";
  std::filesystem::copy_file(KMHASH_TEST_MEDIA "/png-large.png", path);
  std::string list, oks, texts[4];
  for (const auto& [options, flags] : rows) {
    char text[KMHASH_TEXT_SIZE] = "";
    ASSERT_EQ(kmhashHashFile(path.c_str(), flags, text, sizeof text), HASHCREATE_SUCCESS);
    EXPECT_EQ(kmhash("hash p " + options).out, text + std::string("  p\n"));
    EXPECT_EQ(kmhash("compare p " + std::string(text)).status, 0);
    const std::string hash = "hash         " + std::string(text) + '\n';
    EXPECT_NE(kmhash("show p " + options).out.find(hash), std::string::npos);
    texts[flags] = text + std::string("  p\n");
    list += texts[flags];
    oks += "p: OK\n";
  }
  EXPECT_EQ(kmhash("hash --both p").out, texts[0] + texts[2]);
  EXPECT_EQ(kmhash("identify p --prefer 4 ").out, " 45  PNG      p\n");
  const std::string newer = "0009" + list.substr(4, 124);
  writeText("list", list + newer + "  p\n");
  const Finished run = kmhash("check list");
  const std::string words = "the hash was made by a newer kmhash";
  EXPECT_EQ(run.out, oks + "p: FAILED (" + words + ", HASHCREATE_NON_SUPPORTED)\n");
  EXPECT_NE(kmhash("show " + newer)
                .out.find("version      9.0, made by a newer kmhash\ncovers       not "),
            std::string::npos);
  EXPECT_EQ(kmhash("compare p " + newer).err,
            "kmhash: " + newer + ": " + words + " (HASHCREATE_NON_SUPPORTED)\n");
}

TEST_F(Program, CheckReportsAsItsOptionsSay) {
  write("good", photo(1));
  write("edited", photo(2));
  const std::string lines = quickLine("good", 1) + quickLine("edited", 3) + quickLine("gone", 1);
  writeText("list", lines);
  writeText("odd", "\n# comment\n" + quickLine("good", 1) + "broken\nworse\n");
  writeText("fine", quickLine("good", 1));
  writeText("lost", quickLine("gone", 1));
  writeText("marked", "\xEF\xBB\xBF" + quickLine("good", 1));
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
      {"marked", good, "kmhash: marked: 1 OK\n", 0},
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
       {std::string("--quick a same"), "a " + text, text + " a", text::format("{0} {0}", text)}) {
    const Finished run = kmhash("compare " + operands);
    EXPECT_EQ(run.out.substr(0, run.out.find('\n')), "The media are the same.")
        << operands << run.err;
    EXPECT_EQ(run.status, 0);
  }
  const std::string media = support::quoted(KMHASH_TEST_MEDIA) + '/';
  const std::string jpeg = media + "jpeg-baseline.jpg", tiff = media + "tiff-",
                    notTold =
                        "The hashes were made in different ways: they do not tell whether "
                        "the media are the same.";
  const std::string jpegHash = kmhash("hash " + jpeg).out.substr(0, kHashLength);
  const struct {
    std::string operands, verdict;
    int status;
    const char* shown = "";
  } rows[] = {
      {"--quick a b", "The media differ.", 1},
      {jpeg + " " + jpegHash, "The media are the same.", 0},
      {tiff + "little.tif " + tiff + "little.tif", "The media are the same.", 0, "same     3.0"},
      {tiff + "little.tif " + tiff + "tiles.tif", "The media differ.", 1, "same     4.0"},
      {jpeg + " " + tiff + "tiles.tif", "The media differ: they are of different formats.", 1},
      {jpeg + " " + tiff + "little.tif", "The media differ: they are of different formats.", 1},
      {text + " " + kHash, notTold, 2},
      {kHash.substr(0, 3) + "4" + kHash.substr(4) + " " + kHash, notTold, 2},
      {"--quick " + jpeg + " " + jpegHash, "", 2},
      {"a b", "", 2},
      {jpegHash + " .", "", 2},
  };
  for (const auto& row : rows) {
    const Finished run = kmhash("compare " + row.operands);
    EXPECT_EQ(run.out.substr(0, run.out.find('\n')), row.verdict) << row.operands;
    EXPECT_NE(run.out.find(row.shown), std::string::npos) << run.out;
    EXPECT_EQ(run.status, row.status) << row.operands;
  }
  const std::string err = kmhash("compare . " + kHash.substr(1)).err;
  EXPECT_NE(err.find("kmhash: .: is a directory (HASH"), std::string::npos) << err;
  EXPECT_NE(err.find("no hash text (127 characters instead of 128) and no file"), std::string::npos)
      << err;
}

TEST_F(Program, TellsWrongUsage) {
  const std::pair<const char*, const char*> rows[] = {
      {"", "usage: a command is needed"},
      {"nope", "nope: no such command"},
      {"hash", "no file is named"},
      {"hash --nope a", "--nope: no such option"},
      {"hash -j0 a", "--jobs: a number from 1 to 1024 is needed, not 0"},
      {"hash -j x a", "--jobs: a number from 1 to 1024 is needed, not x"},
      {"hash a -j", "-j, --jobs N: the value is missing"},
      {"hash -r --exclude= a", "--exclude GLOB: the value is missing"},
      {"hash --zero=3 a", "-z, --zero: takes no value"},
      {"hash --progress=some a", "--progress: auto or always or never is needed, not some"},
      {"hash --json --zero a", "exclude each other"},
      {"hash --quick --whole a", "--quick goes with neither"},
      {"hash --whole --both a", "--both goes with neither"},
      {"hash --exclude b a", "there is no -r"},
      {"hash --files0-from a b", "b: no file can be named beside --files0-from"},
      {"check", "no list is named"},
      {"compare a", "two operands"},
      {"compare a b c", "two operands"},
      {"show", "neither hash text nor file is named"},
      {"version 1", "version takes no operand"},
  };
  for (const auto& [arguments, words] : rows) {
    const Finished run = kmhash(arguments);
    EXPECT_EQ(run.status, 2) << arguments;
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err.find("kmhash: "), 0U) << run.err;
    EXPECT_NE(run.err.find(words), std::string::npos) << run.err;
  }
  for (const char* arguments : {"--help", "help hash", "check --help"}) {
    EXPECT_EQ(kmhash(arguments).out.find("Usage: kmhash "), 0U) << arguments;
  }
  EXPECT_EQ(kmhash("--version").out, "kmhash " KMHASH_VERSION "\n");
}

TEST_F(Program, TellsThatItsOutputIsLost) {
  write("a", photo(1));
  EXPECT_EQ(shell("kmhash hash --quick a >/dev/full").err,
            "kmhash: standard output: No space left on device\n");
  EXPECT_EQ(shell("kmhash hash --quick a >/dev/full").status, 1);
  EXPECT_EQ(shell("kmhash compare --quick a a >/dev/full").status, 2);
  EXPECT_EQ(shell("(sleep 0.5; kmhash hash --quick a; echo $? >status) | true").err, "");
  EXPECT_EQ(read("status"), "141\n");
}

TEST_F(Program, EndsByCtrlCAndKeepsWhatIsDone) {
  // Whoever started the test may ignore it, and what is ignored stays so.
  std::signal(SIGINT, SIG_DFL);
  write("a", photo(1));
  ASSERT_EQ(mkfifo((folder / "names").c_str(), 0600), 0);
  const Finished run = shell(
      "{ printf 'a\\0'; for i in $(seq 100); do [ -s .out ] || sleep 0.1; done; "
      "kill -INT $(cat pid); sleep 1; } "
      ">names & "
      "echo $$ >pid; exec kmhash hash --quick --files0-from - <names");
  EXPECT_EQ(run.status, -SIGINT);
  EXPECT_EQ(run.out, quickLine("a", 1));
}

// The pipe is full and its reader waits.
TEST_F(Program, WritesWholeLinesToAReaderThatIsSlow) {
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  std::string deep;  // two lines with such a name are more than a pipe takes at once
  for (int i = 0; i < 8; ++i) deep += std::string(240, 'd') + "/";
  std::filesystem::create_directories(folder / deep);
  for (const auto& [options, name] :
       {std::pair("--quick", std::string("a")), {"--both", deep + "a"}}) {
    write(name, support::media("png-rgb.png"));
    std::string names;
    for (int i = 0; i < 2000; ++i) names += name + '\0';
    writeText("names", names);
    shell(text::format(
        "{{ head -c 1; sleep 0.5; kill -TERM $(cat pid); sleep 1; cat; }} <pipe >lines & "
        "sh -c 'echo $$ >pid; exec kmhash hash {} --files0-from names >pipe'; wait",
        options));
    const size_t size = read("lines").size(), line = quickLine(name, 1).size();
    EXPECT_GT(size, 10 * line);
    EXPECT_EQ(size % line, 0U) << options;
  }
}

TEST_F(Program, ShowsControlCharactersOnATerminal) {
  write("\x1B[2J\xC2\x9B", photo(1));
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
  if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0) {
    GTEST_SKIP() << "no pseudo-terminals, as under an emulator";
  }
  const std::string name = ptsname(terminal);
  // What was written goes when the last one closes it.
  const int held = open(name.c_str(), O_RDWR | O_NOCTTY);
  shell("kmhash hash --quick ?* >" + name);
  char text[512] = "";
  ASSERT_GT(::read(terminal, text, sizeof text - 1), 0);
  EXPECT_EQ(std::string(text), quickHash(photo(1)) + "  \\x1B[2J\\u009b\r\n");
  EXPECT_EQ(kmhash("hash --quick ?*").out, quickLine("\x1B[2J\xC2\x9B", 1));
  close(held);
  close(terminal);
}

// The names in a help text, "-j --jobs" of "  -j, --jobs N   Use N threads".
std::string optionNames(const std::string& help) {
  std::vector<std::string> names;
  std::istringstream lines(help);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line.starts_with("  -") ? line : "");
    for (std::string word; words >> word && word[0] == '-';) {
      names.push_back(word.substr(0, word.find(',')));
      if (!word.ends_with(',')) break;
    }
  }
  return text::format("{}", fmt::join(names, " "));
}

TEST_F(Program, IsDescribedOptionByOptionInManualAndCompletions) {
  const std::filesystem::path pages = KMHASH_PAGES;
  const auto completed = [&](const std::string& words) {
    return shell(
               "bash -c '. \"$0\"; COMP_WORDS=(kmhash \"$@\"); COMP_CWORD=$#; _kmhash; "
               "echo \"${COMPREPLY[*]}\"' " +
               support::quoted(pages / "kmhash.bash") + ' ' + words)
        .out;
  };
  const std::string zsh = read(pages / "_kmhash"), fish = read(pages / "kmhash.fish");
  for (const Command* command : allCommands()) {
    const std::string name = command->name, names = optionNames(kmhash(name + " --help").out);
    EXPECT_EQ(completed(name + " -"), names + '\n');
    const std::string manual = read(pages / ("kmhash-" + name + ".1"));
    const size_t begin = zsh.find(' ' + name + ") _arguments");
    const std::string zshPart = zsh.substr(begin, zsh.find(";;", begin) - begin);
    std::istringstream words(names);
    for (std::string option; words >> option;) {
      const bool isLong = option.starts_with("--");
      const std::string fishRow = text::format("__kmhash_is {}' ", name),
                        fishName = (isLong ? "-l " : "-s ") + option.substr(isLong ? 2 : 1) + ' ';
      EXPECT_NE(manual.find("\\fB" + std::regex_replace(option, std::regex("-"), "\\-") + "\\fR"),
                std::string::npos)
          << option << manual;
      EXPECT_NE(zshPart.find(option), std::string::npos) << option << zshPart;
      EXPECT_TRUE(std::regex_search(fish, std::regex(fishRow + ".*" + fishName))) << option << fish;
    }
    for (const Option& option : optionsOf(*command)) {
      const bool isFolder = option.placeholder == "DIR";
      if (!isFolder && option.placeholder != "FILE") continue;
      const std::string last = namesOf(option).back();
      const char *inZsh = isFolder ? ":DIR:_files -/'" : ":FILE:_files'",
                 *inFish = isFolder ? ".* -x -a '.__fish_complete_directories" : ".* -r -F";
      EXPECT_TRUE(std::regex_search(zshPart, std::regex(last + "=.*" + inZsh))) << zshPart;
      EXPECT_TRUE(std::regex_search(fish, std::regex(name + "' .*-l " + last.substr(2) + inFish)))
          << last << fish;
    }
    EXPECT_LT(manual.find(".SH EXIT STATUS"), manual.find("\nExit status ")) << manual;
    EXPECT_EQ(manual.find("could not be told") != std::string::npos, name == "compare");
    EXPECT_NE(read(pages / "kmhash.1").find(",\n\\fBkmhash\\-" + name), std::string::npos);
  }
  EXPECT_EQ(completed("-"), optionNames(kmhash("--help").out) + '\n');
  EXPECT_EQ(completed("ch"), "check\n");
  EXPECT_EQ(completed("hash --progress ''"), "auto always never\n");
  EXPECT_EQ(completed("hash --progress = al"), "always\n");
}

TEST_F(Program, DoesWhatItsManualShows) {
  shell("set -e; here=$PWD; mkdir Pictures; cd " + support::quoted(KMHASH_TEST_MEDIA) +
        "; cp jpeg-[be]* \"$here/Pictures\"; cp jpeg-baseline.jpg \"$here/photo.jpg\"; "
        "cp jpeg-edited.jpg \"$here/edited.jpg\"; cp mp3-tagged.mp3 \"$here/song.mp3\"");
  for (const Command* command : allCommands()) {
    const Finished run = shell(
        text::format("export HOME=\"$PWD\" XDG_DATA_HOME=; set -e; {}\n:", command->examples));
    EXPECT_EQ(run.status, 0) << command->name << run.err;
  }
  EXPECT_NE(read("move.sh").find("jpeg-edited.jpg"), std::string::npos);
}

#ifdef KMHASH_ENDING_MEMORY
TEST_F(Program, EndsWithAMessageWhenMemoryEnds) {
  write("a", photo(1));
  const Finished run = shell(
      "for n in 1 5 15 20 25 30 40 50 75 100 125 150 200 250 300 400; do "
      "{ MEMORY_ENDS=$n LD_PRELOAD=" KMHASH_ENDING_MEMORY
      " kmhash hash --quick --progress=always -r -j2 . >lines; } 2>err; "
      "status=$?; [ $status = 0 ] || { [ $status = 1 ] && grep -q '^kmhash: ' err; } || echo $n "
      "$status; done");
  EXPECT_EQ(run.out, "");
}
#endif

}  // namespace
}  // namespace cli
