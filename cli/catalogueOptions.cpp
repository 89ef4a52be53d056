#include "catalogueOptions.h"

#include <fmt/format.h>

#include <ctime>

#include "format.h"

namespace cli {

void addCatalogueOption(CommandLine& line, std::string* path) {
  line.text("--catalog", "FILE", path,
            "The catalogue, by default catalogue.db in $XDG_DATA_HOME/kmhash or ~/.local/share/kmhash.");
}

void addCataloguesOption(CommandLine& line, std::vector<std::string>* paths) {
  line.list("--catalog", "FILE", paths,
            "The catalogue, by default catalogue.db in $XDG_DATA_HOME/kmhash or ~/.local/share/kmhash. May be given "
            "again and again.");
}

int withCatalogues(std::vector<std::string> paths, catalogue::Access access, Output& output,
                   const std::function<int(std::vector<catalogue::Catalogue>&)>& work) {
  if (paths.empty()) paths.push_back(catalogue::defaultPath());
  std::string now;
  try {
    std::vector<catalogue::Catalogue> catalogues;
    for (const std::string& path : paths) {
      now = path;
      catalogues.push_back(catalogue::Catalogue::open(path, access));
    }
    if (paths.size() > 1) now = text::format("{}", fmt::join(paths, ", "));
    return work(catalogues);
  } catch (const catalogue::Error& error) {
    output.message(now, error.what());
    return kSomethingFailed;
  }
}

int withCatalogue(const std::string& path, catalogue::Access access, Output& output,
                  const std::function<int(catalogue::Catalogue&)>& work) {
  return withCatalogues(path.empty() ? std::vector<std::string>() : std::vector<std::string>{path}, access, output,
                        [&work](std::vector<catalogue::Catalogue>& catalogues) { return work(catalogues.front()); });
}

std::string localTime(int64_t time) {
  const auto seconds = static_cast<time_t>(time / 1'000'000'000);
  std::tm parts{};
  char text[32] = "";
  if (localtime_r(&seconds, &parts) != nullptr) std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
  return text;
}

}  // namespace cli
