// What the documents show is what happens: every console block's commands are run and their output
// compared. Links lead to something, and the manual has all that the header declares.
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>

#include "support.h"

namespace {

namespace fs = std::filesystem;

struct Command {
  std::string line;    // without "$ "
  std::string output;  // what the document says that it prints, stderr included
};

std::vector<Command> commandsOf(const fs::path& document) {
  std::ifstream stream(document);
  std::vector<Command> commands;
  bool inside = false;
  for (std::string line; std::getline(stream, line);) {
    if (line.starts_with("```")) {
      inside = line == "```console";
    } else if (inside && line.starts_with("$ ")) {
      commands.push_back({line.substr(2), ""});
    } else if (inside && !commands.empty()) {
      commands.back().output += line + '\n';
    }
  }
  return commands;
}

std::vector<fs::path> documents() {
  const fs::path source = KMHASH_SOURCE_DIR;
  std::vector<fs::path> paths = {source / "python/README.md"};
  for (const fs::path& folder : {source, source / "docs"}) {
    for (const auto& entry : fs::directory_iterator(folder))
      if (entry.path().extension() == ".md") paths.push_back(entry.path());
  }
  return paths;
}

std::string textOf(const fs::path& path) {
  std::ifstream stream(path);
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<std::smatch> matches(const std::string& text, const std::string& pattern) {
  const std::regex regex(pattern);
  return {std::sregex_iterator(text.begin(), text.end(), regex), {}};
}

// "which-version-to-take" for a heading "Which version to take".
std::string anchorOf(const std::string& heading) {
  std::string anchor;
  for (const char c : heading) {
    if (std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_')
      anchor += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (c == ' ') anchor += '-';
  }
  return anchor;
}

bool hasHeading(const fs::path& document, const std::string& anchor) {
  const std::string text = textOf(document);
  for (const std::smatch& heading : matches(text, "\n#+ ([^\n]+)"))
    if (anchorOf(heading[1]) == anchor) return true;
  return false;
}

// The programs that a document's command may name, as they are called here; other commands, such as
// builds, are not run.
const std::map<std::string, std::string> kPrograms = {
    {"./dev run", "kmhash"},
    {"kmhash", "kmhash"},
    {"./example", support::quoted(KMHASH_EXAMPLES "/example")},
    {"./example_cpp", support::quoted(KMHASH_EXAMPLES "/example_cpp")}};

struct Documents : support::InFolder {};

TEST_F(Documents, ShowWhatTheCommandsPrint) {
  const fs::path source = KMHASH_SOURCE_DIR;
  fs::create_directories(folder / "tests");
  fs::copy(source / "tests/media", folder / "tests/media");
  fs::current_path(folder);

  int run = 0;
  for (const fs::path& document : documents()) {
    for (const Command& command : commandsOf(document)) {
      for (const auto& [words, program] : kPrograms) {
        if (!command.line.starts_with(words + ' ')) continue;
        const std::string called = program + command.line.substr(words.size());
        EXPECT_EQ(support::outputOf(support::withProgram("{ " + called + "; } 2>&1")),
                  command.output)
            << document << command.line;
        ++run;
      }
    }
  }
  EXPECT_GE(run, 4);
}

TEST(DocumentLinks, LeadToSomething) {
  for (const fs::path& document : documents()) {
    const std::string text =
        std::regex_replace(textOf(document), std::regex("\n```[^`]*\n```"), "");
    for (const std::smatch& link : matches(text, "\\]\\(([^)#:]*)#?([^):]*)\\)")) {
      const fs::path target = link[1].length() ? document.parent_path() / link[1].str() : document;
      EXPECT_TRUE(fs::exists(target)) << document << link[0];
      EXPECT_TRUE(!link[2].length() || hasHeading(target, link[2])) << document << link[0];
    }
  }
}

#ifdef KMHASH_PAGES
TEST(ManualOfTheInterface, HasAllThatTheHeaderDeclares) {
  const fs::path pages = KMHASH_PAGES;
  const std::string header = textOf(fs::path(KMHASH_SOURCE_DIR) / "jni/include/kmhash.h"),
                    manual = textOf(pages / "kmhash.3");
  const auto functions = matches(header, "\nKMHASH_API [^(]*?(\\w+)\\(");
  for (const std::smatch& function : functions)
    EXPECT_TRUE(fs::exists(pages / (function[1].str() + ".3"))) << function[0];
  EXPECT_GT(functions.size(), 20u);
  for (const std::smatch& constant : matches(header, "\\w+ = -?\\d+")) {
    const std::string row = std::regex_replace(constant.str(), std::regex("-"), "\\-");
    EXPECT_NE(manual.find(row), std::string::npos) << constant[0];
  }
  EXPECT_TRUE(matches(manual, "/\\*|\\*/|KMHASH_API").empty());
}
#endif

}  // namespace
