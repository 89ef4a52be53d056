// What the documents show is what happens: every console block's commands are run and their output
// compared.
#include <filesystem>
#include <fstream>
#include <map>

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

  std::vector<fs::path> documents = {source / "README.md"};
  for (const auto& entry : fs::directory_iterator(source / "docs"))
    documents.push_back(entry.path());
  int run = 0;
  for (const fs::path& document : documents) {
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

}  // namespace
