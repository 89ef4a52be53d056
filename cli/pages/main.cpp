// kmhash_pages FOLDER HEADER: writes the manual pages and completions into a folder that is there.
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
  if (argc != 3) return 2;
  const std::string folder = argv[1] + std::string("/");
  bool done = write(folder + "kmhash.1", cli::manualOfAll()) && write(folder + "kmhash.bash", cli::bashCompletion()) &&
              write(folder + "_kmhash", cli::zshCompletion()) && write(folder + "kmhash.fish", cli::fishCompletion());
  for (const cli::Command* command : cli::allCommands()) {
    done = done && write(folder + "kmhash-" + command->name + ".1", cli::manualOf(*command));
  }
  std::ifstream header(argv[2]);
  const cli::Interface interface = cli::readInterface(header);
  done = done && !interface.names.empty() && write(folder + "kmhash.3", interface.manual);
  for (const std::string& name : interface.names) done = done && write(folder + name + ".3", ".so man3/kmhash.3\n");
  return done ? 0 : 1;
}
