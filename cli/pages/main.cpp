// kmhash_pages FOLDER: writes the manual pages and completions into a folder that is there.
#include <cstdio>
#include <fstream>

#include "pages/pages.h"

namespace {

bool write(const std::string& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) std::fprintf(stderr, "kmhash_pages: %s: cannot be written\n", path.c_str());
  return file.good();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const std::string folder = argv[1] + std::string("/");
  bool done = write(folder + "kmhash.1", cli::manualOfAll()) && write(folder + "kmhash.bash", cli::bashCompletion()) &&
              write(folder + "_kmhash", cli::zshCompletion()) && write(folder + "kmhash.fish", cli::fishCompletion());
  for (const cli::Command* command : cli::allCommands()) {
    done = done && write(folder + "kmhash-" + command->name + ".1", cli::manualOf(*command));
  }
  return done ? 0 : 1;
}
