#include "output.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <new>
#include <system_error>
#include <thread>

#include "format.h"

namespace cli {
namespace {

// So much a pipe takes whole or not at all: whoever is ended while it waits for a slow reader leaves no half line.
constexpr size_t kBufferSize = PIPE_BUF;

// How long the end of the program waits for a reader, or for a thread that waits for one.
constexpr int kEndWaits = 500;

// False with errno set when not everything could be written, within that many milliseconds unless they are negative.
bool writeAll(int descriptor, std::string_view data, int milliseconds = -1) {
  while (!data.empty()) {
    pollfd ready{descriptor, POLLOUT, 0};
    if (milliseconds >= 0 && poll(&ready, 1, milliseconds) != 1) return false;
    const ssize_t written = ::write(descriptor, data.data(), data.size());
    if (written >= 0) {
      data.remove_prefix(static_cast<size_t>(written));
    } else if (errno == EAGAIN) {  // a pipe that another program made non-blocking
      poll(&ready, 1, -1);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

size_t terminalColumns() {
  winsize size{};
  const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
  return std::min<size_t>(isKnown ? size.ws_col - 1U : 79U, 200);
}

[[noreturn]] void endBy(int signal) {
  sigset_t it;
  sigemptyset(&it);
  sigaddset(&it, signal);
  std::signal(signal, SIG_DFL);
  pthread_sigmask(SIG_UNBLOCK, &it, nullptr);
  raise(signal);
  _exit(128 + signal);  // the first process of a container outlives its signals
}

size_t continuationBytes(std::string_view text) {
  size_t count = 1;
  while (count < text.size() && (static_cast<unsigned char>(text[count]) & 0xC0U) == 0x80) ++count;
  return count - 1;
}

// Bytes of the character of UTF-8 that the text begins with; 0 when it begins with none.
size_t characterLength(std::string_view text) {
  const auto first = static_cast<unsigned char>(text[0]);
  const unsigned second = text.size() > 1 ? static_cast<unsigned char>(text[1]) : 0;
  if (first < 0x80) return 1;
  const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  const bool isTooLong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
  const bool isNoCharacter = (first == 0xED && second >= 0xA0) || (first == 0xF4 && second >= 0x90);
  if (first < 0xC2 || first > 0xF4 || isTooLong || isNoCharacter) return 0;
  return continuationBytes(text.substr(0, length)) == length - 1 ? length : 0;
}

}  // namespace

std::string visible(std::string_view text, std::string_view kept) {
  std::string out;
  while (!text.empty()) {
    const auto first = static_cast<unsigned char>(text[0]);
    const size_t length = characterLength(text);
    const unsigned last = static_cast<unsigned char>(text[std::max<size_t>(length, 1) - 1]);
    const bool isSecondControl = first == 0x7F || (length == 2 && first == 0xC2 && last < 0xA0);
    if (isSecondControl) {
      out += text::format("\\u{:04x}", last);
    } else if (length == 0 || (first < 0x20 && kept.find(text[0]) == std::string_view::npos)) {
      out += text::format("\\x{:02X}", first);
    } else {
      out += text.substr(0, length);
    }
    text.remove_prefix(std::max<size_t>(length, 1));
  }
  return out;
}

Output::Output()
    : dataIsTerminal_(isatty(STDOUT_FILENO) == 1),
      errorIsTerminal_(isatty(STDERR_FILENO) == 1),
      atOnce_(dataIsTerminal_) {}

void Output::write(std::string_view data) {
  const std::string shown = dataIsTerminal_ ? visible(data, std::string_view("\n\0", 2)) : "";
  if (dataIsTerminal_) data = shown;
  const std::lock_guard lock(mutex_);
  while (!data.empty()) {
    const size_t size = data.size() <= kBufferSize ? data.size() : data.find(data.back()) + 1;
    if (buffer_.size() + size > kBufferSize) flushOrFail();
    buffer_ += data.substr(0, size);
    data.remove_prefix(size);
  }
  if (atOnce_) flushOrFail();
}

void Output::writeAtOnce() {
  const std::lock_guard lock(mutex_);
  atOnce_ = true;
}

void Output::message(std::string_view subject, std::string_view reason) {
  const std::string line = text::format("kmhash: {}: {}\n", subject.empty() ? "''" : visible(subject), visible(reason));
  const std::lock_guard lock(mutex_);
  flushOrFail();
  removeProgressLine();
  writeAll(STDERR_FILENO, line);
}

void Output::progress(const std::string& line) {
  const std::lock_guard lock(mutex_);
  if (!errorIsTerminal_) {
    if (!line.empty()) writeAll(STDERR_FILENO, line + '\n');
    return;
  }
  const std::string shown = line.substr(0, terminalColumns());
  if (shown.size() < progressColumns_) removeProgressLine();
  writeAll(STDERR_FILENO, '\r' + shown);
  progressColumns_ = shown.size();
}

void Output::finish() {
  const std::lock_guard lock(mutex_);
  flushOrFail();
  if (close(STDOUT_FILENO) != 0 && errno != EBADF) {
    failLocked("standard output", std::generic_category().message(errno));
  }
}

void Output::callBeforeEnd(std::function<void()> call) {
  const std::lock_guard lock(callMutex_);
  beforeEnd_ = std::move(call);
}

void Output::end(int signal) {
  {
    const std::lock_guard lock(callMutex_);
    if (beforeEnd_) beforeEnd_();
  }
  for (int waited = 0; waited < kEndWaits; waited += 10) {
    if (mutex_.try_lock()) {
      flush(kEndWaits);
      removeProgressLine();
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  endBy(signal);
}

void Output::fail(const std::exception& error) {
  mutex_.lock();
  flush(-1);
  if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) failLocked("out of memory", "the work is not done");
  const bool isSystems = dynamic_cast<const std::system_error*>(&error) != nullptr;
  failLocked(isSystems ? "cannot go on" : "internal error", error.what());
}

void Output::failLocked(std::string_view subject, std::string_view reason) {
  removeProgressLine();
  char line[512];
  const auto written = fmt::format_to_n(line, sizeof line, "kmhash: {}: {}\n", subject, reason);
  writeAll(STDERR_FILENO, {line, std::min(written.size, sizeof line)});
  _exit(failureStatus);
}

bool Output::flush(int milliseconds) {
  if (buffer_.empty()) return true;
  if (dataIsTerminal_) removeProgressLine();
  const bool done = writeAll(STDOUT_FILENO, buffer_, milliseconds);
  buffer_.clear();
  return done;
}

void Output::flushOrFail() {
  if (flush(-1)) return;
  const int error = errno;
  if (error == EPIPE && closedPipeEnds_) {
    removeProgressLine();
    endBy(SIGPIPE);
  }
  failLocked("standard output", std::generic_category().message(error));
}

void Output::removeProgressLine() {
  if (progressColumns_ == 0) return;
  char blanks[256];
  const auto written = fmt::format_to_n(blanks, sizeof blanks, "\r{:{}}\r", "", progressColumns_);
  writeAll(STDERR_FILENO, {blanks, std::min(written.size, sizeof blanks)});
  progressColumns_ = 0;
}

void endOnSignals(Output& output) {
  if (std::signal(SIGPIPE, SIG_IGN) != SIG_IGN) output.endByClosedPipe();
  sigset_t ending;
  sigemptyset(&ending);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction current {};
    sigaction(signal, nullptr, &current);
    if (current.sa_handler != SIG_IGN) sigaddset(&ending, signal);
  }
  pthread_sigmask(SIG_BLOCK, &ending, nullptr);
  std::thread([&output, ending] {
    int signal = SIGINT;
    sigwait(&ending, &signal);
    output.end(signal);
  }).detach();
}

}  // namespace cli
