#include <cerrno>
#include <csignal>
#include <memory>

#include "catalogueOptions.h"
#include "commands.h"
#include "duplicateScript.h"
#include "format.h"
#include "orderedRunner.h"
#include "progress.h"
#include "reportData.h"
#include "searchOptions.h"
#include "wholeFile.h"

namespace cli {
namespace {

using catalogue::Catalogue;
using catalogue::Group;
using report::PictureWish;

struct Options {
  SearchOptions search;
  RunOptions run;
  std::string file, thumbnails = "auto";
  unsigned mebibytes = 32;
};

report::Facts factsOf(const Options& options, const std::vector<Catalogue>& catalogues) {
  report::Facts facts;
  facts.program = "kmhash " KMHASH_VERSION;
  facts.made = catalogue::now() / 1'000'000'000;
  facts.match = options.search.match;
  facts.keep = options.search.keep;
  if (facts.keep.empty()) facts.keep = {"first"};
  facts.scriptBegin = scriptBegin("{to}");
  facts.scriptEnd = scriptEnd();
  for (const Catalogue& catalogue : catalogues) facts.catalogues.push_back(catalogue.path());
  return facts;
}

struct Wished {
  size_t number = 0;
  static bool isFile() { return true; }
};

// The pictures of the first wishes, as many as make that many bytes.
std::vector<std::string> makePictures(const Options& options, const report::ThumbnailTools& tools,
                                      const std::vector<PictureWish>& wishes, uint64_t bytes, Output& output) {
  std::signal(SIGCHLD, SIG_DFL);  // where the caller of the program ignores it, nobody is told how a child ended
  std::vector<std::string> pictures;
  std::atomic<bool> isFull{false};
  size_t taken = 0;
  runInOrder<Wished, std::string>(output, options.run,
                                  {.next =
                                       [&](Wished& item) {
                                         item.number = taken++;
                                         return item.number < wishes.size() && !isFull;
                                       },
                                   .work =
                                       [&](const Wished& item) {
                                         const PictureWish& wish = wishes[item.number];
                                         return isFull ? "" : thumbnailOf(tools, wish.member->path, wish.kind);
                                       },
                                   .commit =
                                       [&](const Wished&, std::string& picture) {
                                         isFull = isFull || picture.size() > bytes;
                                         if (isFull) picture.clear();
                                         bytes -= picture.size();
                                         pictures.push_back(std::move(picture));
                                       }});
  return pictures;
}

int writePage(const Options& options, const std::string& page, Output& output) {
  if (options.file == "-") {
    output.write(page);
    return kAllWell;
  }
  if (writeWholeFile(options.file, page, output)) return kAllWell;
  output.message(options.file, std::generic_category().message(errno));
  return kSomethingFailed;
}

int makeReport(const Options& options, const report::ThumbnailTools& tools, std::vector<Catalogue>& catalogues,
               Output& output) {
  const uint64_t mostBytes = uint64_t{options.mebibytes} << 20U;
  const report::Overview overview = report::overviewOf(catalogues);
  report::GroupShelf shelf(tools.areThere() ? mostBytes / 2 : mostBytes - mostBytes / 8);
  findDuplicates(catalogues, searchFor(options.search), [&](const Group& group) { shelf.add(group); });
  const std::vector<Group> groups = shelf.take();
  const std::vector<PictureWish> wishes = report::pictureWishes(groups);
  std::vector<std::string> pictures;
  if (tools.areThere()) pictures = makePictures(options, tools, wishes, mostBytes - shelf.bytes(), output);
  const report::Facts facts = factsOf(options, catalogues);
  const std::string page = report::pageWith(reportJson(facts, overview, shelf, groups, wishes, pictures));
  const int status = writePage(options, page, output);
  if (status != kAllWell) return status;
  const auto made = pictures.size() - static_cast<size_t>(std::count(pictures.begin(), pictures.end(), ""));
  output.message("report", text::format("{} groups, {} of them on the page, with {} pictures; a page of {}",
                                        shelf.groups(), groups.size(), made, byteWords(page.size())));
  return kAllWell;
}

report::ThumbnailTools toolsFor(const Options& options) {
  if (options.thumbnails == "never") return {};
  report::ThumbnailTools tools = report::findThumbnailTools();
  if (options.thumbnails == "always" && (tools.picture.empty() || tools.video.empty())) {
    throw UsageError(text::format("--thumbnails always: {} is not installed",
                                  tools.picture.empty() ? "vipsthumbnail" : "ffmpegthumbnailer"));
  }
  return tools;
}

int run(const Options& options, const std::vector<std::string>& operands, Output& output) {
  if (!operands.empty()) throw UsageError(operands.front() + ": there are no operands; --under names a folder");
  if (options.file.empty()) throw UsageError("--output FILE is needed");
  searchFor(options.search);
  const report::ThumbnailTools tools = toolsFor(options);
  if (options.file != "-" && !canMakeFile(options.file)) {
    output.message(options.file, std::generic_category().message(errno));
    return kSomethingFailed;
  }
  return withCatalogues(
      options.search.catalogues, catalogue::Access::read, output,
      [&](std::vector<Catalogue>& catalogues) { return makeReport(options, tools, catalogues, output); });
}

Work declare(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  line.text("-o,--output", "FILE", &options->file, "The page, a single file of HTML; - is standard output.");
  addSearchOptions(line, &options->search);
  line.choice("--thumbnails", "WHEN", &options->thumbnails, {"auto", "always", "never"},
              "Put small pictures into the page, made by vipsthumbnail and ffmpegthumbnailer. WHEN is auto (with those "
              "that are installed), always (it is an error when one is not) or never.");
  line.number("--size", &options->mebibytes, 1, 1024,
              "Make the page of N MiB or so at most, by default 32: the groups that would free most come first, and "
              "what finds no room is counted.");
  options->run.jobs = std::max(1U, std::thread::hardware_concurrency());
  line.number("-j,--jobs", &options->run.jobs, 1, 1024, "Make pictures on N threads, by default one a processor.");
  addProgressOption(line, &options->run.progress);
  return
      [options](const std::vector<std::string>& operands, Output& output) { return run(*options, operands, output); };
}

}  // namespace

const Command kReportCommand{
    "report", "", "Make a page to look at the duplicates of a catalogue with",
    "The page opens in any browser, from disk; nothing in it is loaded from elsewhere but the files themselves, when "
    "one looks at them. It shows the groups with pictures, what differs in them and which file the rules of --keep "
    "would keep. What is chosen there is saved as a list of paths or as the script of kmhash duplicates --script; "
    "the page itself changes no file.",
    declare};

}  // namespace cli
