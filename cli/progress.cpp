#include "progress.h"

#include <algorithm>
#include <cmath>

#include "format.h"
#include "output.h"

namespace cli {
namespace {

using std::chrono::milliseconds;

// The first line of a terminal waits, so that short work shows none. In a log a line a second is enough.
constexpr milliseconds kOnTerminal{200}, kInLog{1000};

std::string duration(double seconds) {
  if (seconds < 9.95) return text::format("{:.1f} s", seconds);
  const auto whole = static_cast<uint64_t>(std::llround(seconds));
  if (whole < 100) return text::format("{} s", whole);
  if (whole < 6000) return text::format("{} min {:02} s", whole / 60, whole % 60);
  return text::format("{} h {:02} min", whole / 3600, whole / 60 % 60);
}

}  // namespace

std::string byteWords(uint64_t bytes) {
  static const char* const kUnits[] = {"kB", "MB", "GB", "TB", "PB", "EB"};
  if (bytes < 1000) return text::format("{} bytes", bytes);
  double number = static_cast<double>(bytes) / 1000;
  size_t unit = 0;
  for (; number >= 999.95; ++unit) number /= 1000;
  return text::format("{:.1f} {}", number, kUnits[unit]);
}

std::string progressLine(uint64_t done, uint64_t total, bool isWhole, double seconds, uint64_t bytes) {
  const double rate = seconds > 0 ? static_cast<double>(done) / seconds : 0;
  std::string line = text::format("kmhash: {} of {}{} files, {:.{}f}/s", done, isWhole ? "" : "more than ", total, rate,
                                  rate < 10 ? 1 : 0);
  if (bytes > 0) line += text::format(", {}", byteWords(bytes));
  if (bytes > 0 && seconds > 0) {
    line += text::format(", {}/s", byteWords(static_cast<uint64_t>(static_cast<double>(bytes) / seconds)));
  }
  if (done == total && isWhole) {
    line += text::format(", {} in all", duration(seconds));
  } else if (rate > 0 && isWhole) {
    line += text::format(", {} left", duration(static_cast<double>(total - done) / rate));
  }
  return line;
}

Progress::Progress(Output& output, const std::string& when) : output_(output) {
  if (when == "always" || (when == "auto" && output.showsProgressOnTerminal()))
    ticker_ = std::thread([this] { tick(); });
}

Progress::~Progress() {
  if (!isShown()) return;
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
  }
  ending_.notify_one();
  ticker_.join();
  if (output_.showsProgressOnTerminal()) {
    output_.progress("");
  } else {
    show();
  }
}

void Progress::setAllDone() {
  found_ = done_.load();
  allFound_ = true;
}

void Progress::tick() {
  const milliseconds interval = output_.showsProgressOnTerminal() ? kOnTerminal : kInLog;
  std::unique_lock lock(mutex_);
  while (!ending_.wait_for(lock, interval, [this] { return ended_; })) show();
}

void Progress::show() {
  const bool isWhole = allFound_;
  const uint64_t done = done_, found = std::max(done, found_.load());
  const std::chrono::duration<double> elapsed = Clock::now() - start_;
  output_.progress(progressLine(done, found, isWhole, elapsed.count(), bytes_));
}

}  // namespace cli
