// What was linked, as readelf sees it. The symbol table of the shared library is a contract, and
// one stray symbol can clash with a host's; the rest decides what a fault in a file or a folder can
// be made into.
#include <fstream>
#include <set>
#include <sstream>

#include "support.h"

namespace {

std::string readelf(const std::string& options, const std::string& file,
                    const std::string& behind = "") {
  return support::outputOf("LC_ALL=C readelf --wide " + options + ' ' + support::quoted(file) +
                           behind);
}

long linesWith(const std::string& text, const std::string& word) {
  std::istringstream stream(text);
  long count = 0;
  for (std::string line; std::getline(stream, line);)
    count += line.find(word) != std::string::npos ? 1 : 0;
  return count;
}

// Of the lines " name@version since", which the package's builder reads too.
std::set<std::string> listedExports() {
  std::set<std::string> names;
  std::ifstream list(KMHASH_SYMBOLS);
  for (std::string line; std::getline(list, line);) {
    const std::string name = line.substr(1, line.find(' ', 1) - 1);
    const bool isBinding = name.starts_with("Java_") || name.starts_with("printException");
    if (line[0] == ' ' && (KMHASH_WITH_JNI || !isBinding)) names.insert(name);
  }
  return names;
}

TEST(Exports, AreThoseOfTheListAndNothingElse) {
  const std::set<std::string> listed = listedExports();
  // num: value size type bind vis ndx name@@version; the versions have symbols of their own names.
  std::istringstream defined(
      readelf("--dyn-syms", KMHASH_LIBRARY,
              "| awk '$1 ~ /^[0-9]+:$/ && $5 != \"LOCAL\" && $7 != \"UND\" { print ($7 == \"ABS\")"
              " ? $8 \"@\" $8 : $8 }' | sed 's/@@/@/'"));
  EXPECT_EQ(std::set<std::string>(std::istream_iterator<std::string>(defined), {}), listed);

  // The static library has the same names, without the versions; what is weak are templates that
  // a build without optimisation keeps.
  std::set<std::string> plain;
  for (const std::string& name : listed) {
    if (!name.starts_with("KMHASH_")) plain.insert(name.substr(0, name.find('@')));
  }
  std::istringstream archived(support::outputOf("nm -g --defined-only " +
                                                support::quoted(KMHASH_STATIC_LIBRARY) +
                                                " | awk 'NF == 3 && $2 !~ /[VWu]/ { print $3 }'"));
  EXPECT_EQ(std::set<std::string>(std::istream_iterator<std::string>(archived), {}), plain);
}

TEST(Exports, SonameCarriesTheMajorVersion) {
  EXPECT_EQ(linesWith(readelf("--dynamic", KMHASH_LIBRARY), "[libKMHashGenerator.so.5]"), 1);
}

#ifdef KMHASH_PROGRAM
// Else it would start slowly, and look for libraries in folders that others may write to.
TEST(Binaries, CommandHasItsLibraryAndThatOfTheLanguageWithinIt) {
  const std::string dynamic = readelf("--dynamic", KMHASH_PROGRAM);
  EXPECT_EQ(linesWith(dynamic, "[libc.so."), 1) << dynamic;
  for (const char* library : {"[libKMHash", "[libstdc++", "[libgcc_s", "(RUNPATH)", "(RPATH)"})
    EXPECT_EQ(linesWith(dynamic, library), 0) << dynamic;
}
#endif

#ifdef KMHASH_CONTROL_FLOW
TEST(Binaries, AreHardened) {
  std::vector<std::string> files = {KMHASH_LIBRARY};
#ifdef KMHASH_PROGRAM
  files.push_back(KMHASH_PROGRAM);
  EXPECT_EQ(linesWith(readelf("--file-header", KMHASH_PROGRAM), "DYN ("), 1)
      << "at a fixed address";
#endif
  for (const std::string& file : files) {
    EXPECT_EQ(linesWith(readelf("--program-headers", file), "  GNU_RELRO "), 1) << file;
    EXPECT_EQ(linesWith(readelf("--program-headers", file), "  GNU_STACK "), 1) << file;
    EXPECT_EQ(linesWith(readelf("--program-headers", file), " RWE "), 0) << file;
    EXPECT_EQ(linesWith(readelf("--dynamic", file), "BIND_NOW"), 1) << file;
    EXPECT_EQ(linesWith(readelf("--dyn-syms", file), " __stack_chk_fail"), 1) << file;
    EXPECT_GE(linesWith(readelf("--dyn-syms", file), "_chk@"), 1)
        << file << " is without _FORTIFY_SOURCE";
  }
}

// Of the objects, for the C library's own start-up code lacks it and the linker marks what all
// parts have.
TEST(Binaries, EveryObjectProtectsControlFlow) {
  const std::string feature = KMHASH_CONTROL_FLOW;
  if (feature.empty()) GTEST_SKIP() << "this processor has no such thing";
  const std::string notes = readelf("--notes", KMHASH_OBJECTS);
  EXPECT_GT(linesWith(notes, "File: "), 20);
  EXPECT_EQ(linesWith(notes, feature), linesWith(notes, "File: "));
}
#endif

}  // namespace
