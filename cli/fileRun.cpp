#include "fileRun.h"

#include "disk.h"
#include "format.h"
#include "jsonLine.h"
#include "orderedRunner.h"

namespace cli {
namespace {

using Cause = Failure::Cause;

struct PassedOver {
  uint64_t unsupported = 0, empty = 0;

  bool take(const Failure& failure) {
    if (failure.cause != Cause::unsupported && failure.cause != Cause::empty) return false;
    ++(failure.cause == Cause::empty ? empty : unsupported);
    return true;
  }
};

std::string files(uint64_t count) { return text::format("{} file{}", count, count == 1 ? "" : "s"); }

void tell(const PassedOver& passedOver, Output& output) {
  std::string text;
  if (passedOver.unsupported > 0) text = files(passedOver.unsupported) + " of unsupported formats";
  if (passedOver.empty > 0)
    text += text::format("{}{} without content", text.empty() ? "" : ", ", files(passedOver.empty));
  if (!text.empty()) output.message("passed over", text);
}

FileAnswer answerFor(const InputFile& file, const FileRunOptions& options, const FileStep& step) {
  const Reached reached(file);
  FileAnswer answer{reached.failure(), ""};
  if (answer.failure.code == 0) answer = step(reached.path(), file.path);
  if (answer.failure.cause == Cause::directory) answer.failure.words += "; with -r the files in it are taken";
  if (answer.failure.code != 0 && options.json) answer.data = jsonOfFailure(file.path, answer.failure);
  return answer;
}

uint64_t placeOf(const InputFile& file) {
  const Reached reached(file);
  return reached.failure().code == 0 ? catalogue::placeOnDisk(reached.path()) : 0;
}

// The same files once more, to be counted; nothing for a pipe of names.
std::function<bool(InputFile&)> secondLook(const InputOptions& input, const std::vector<std::string>& operands) {
  if (!input.names.empty() && !isRegularFile(input.names)) return {};
  auto files = std::make_shared<InputFiles>(input, operands);
  return [files](InputFile& file) { return files->next(&file); };
}

RunOptions limited(const FileRunOptions& options, size_t operands) {
  RunOptions run = options.run;
  const bool numberIsKnown = !options.input.recursive && options.input.names.empty();
  if (numberIsKnown) run.mostJobs = operands;
  return run;
}

}  // namespace

void addFileRunOptions(CommandLine& line, FileRunOptions* options) {
  line.flag("-z,--zero", &options->zero, "End lines with NUL and escape nothing.");
  line.flag("--json", &options->json, "Write a JSON object for each file instead of a line.");
  addInputOptions(line, &options->input);
  line.flag("--skip-unsupported", &options->skipUnsupported,
            "Pass over files of unsupported formats and empty ones: no message for each and no failure, but a sum at "
            "the end.");
  addRunOptions(line, &options->run);
}

int runOnFiles(const FileRunOptions& options, const std::vector<std::string>& operands, const FileStep& step,
               Output& output) {
  checkInputOptions(options.input, operands);
  if (options.zero && options.json) throw UsageError("--zero and --json exclude each other");
  if (options.input.names == "-") output.writeAtOnce();
  int status = kAllWell;
  PassedOver passedOver;
  InputFiles files(options.input, operands);
  const auto commit = [&](const InputFile& file, const FileAnswer& answer) {
    if (options.skipUnsupported && passedOver.take(answer.failure)) return;
    output.write(answer.data);
    if (answer.failure.code == 0) return;
    output.message(file.path, describe(answer.failure));
    status = kSomethingFailed;
  };
  OrderedRunner<InputFile, FileAnswer>::Steps steps = {
      .next = [&](InputFile& file) { return files.next(&file); },
      .work = [&](const InputFile& file) { return answerFor(file, options, step); },
      .commit = commit,
      .again = [&] { return secondLook(options.input, operands); },
      .isOnRotatingDisk = [](const InputFile& file) { return catalogue::isOnRotatingDisk(file.path); }};
  if (options.input.names != "-") steps.place = placeOf;  // no line waits for the names of other files
  runInOrder<InputFile, FileAnswer>(output, limited(options, operands.size()), std::move(steps));
  tell(passedOver, output);
  return status;
}

}  // namespace cli
