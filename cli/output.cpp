#include "output.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <system_error>
#include <thread>

namespace cli {
namespace {

constexpr size_t kBufferSize = 65536;

// False with errno set when not everything could be written.
bool writeAll(int descriptor, std::string_view data) {
  while (!data.empty()) {
    const ssize_t written = ::write(descriptor, data.data(), data.size());
    if (written >= 0) {
      data.remove_prefix(static_cast<size_t>(written));
    } else if (errno == EAGAIN) {  // a pipe that another program made non-blocking
      pollfd ready{descriptor, POLLOUT, 0};
      poll(&ready, 1, -1);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

size_t terminalColumns() {
  winsize size{};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1 ? size.ws_col - 1U : 79U;
}

}  // namespace

std::string visible(std::string_view text) {
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) {
      out += fmt::format("\\x{:02X}", byte);
    } else {
      out += c;
    }
  }
  return out;
}

Output::Output()
    : dataIsTerminal_(isatty(STDOUT_FILENO) == 1),
      errorIsTerminal_(isatty(STDERR_FILENO) == 1),
      atOnce_(dataIsTerminal_) {}

void Output::write(std::string_view data) {
  const std::lock_guard lock(mutex_);
  buffer_ += data;
  if (atOnce_ || buffer_.size() >= kBufferSize) flush();
}

void Output::writeAtOnce() {
  const std::lock_guard lock(mutex_);
  atOnce_ = true;
}

void Output::message(std::string_view subject, std::string_view reason) {
  const std::string line = fmt::format("kmhash: {}: {}\n", subject.empty() ? "''" : visible(subject), reason);
  const std::lock_guard lock(mutex_);
  flush();
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
  flush();
  if (close(STDOUT_FILENO) != 0 && errno != EBADF) {
    failLocked("standard output", std::generic_category().message(errno));
  }
}

void Output::end(int status) {
  // A reader that stopped reading may hold up the thread that writes: its data is lost either way.
  for (int attempt = 0; attempt < 50; ++attempt) {
    if (mutex_.try_lock()) {
      flush();
      removeProgressLine();
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  _exit(status);
}

void Output::fail(std::string_view subject, std::string_view reason) {
  mutex_.lock();
  failLocked(subject, reason);
}

void Output::failLocked(std::string_view subject, std::string_view reason) {
  removeProgressLine();
  writeAll(STDERR_FILENO, fmt::format("kmhash: {}: {}\n", subject, reason));
  _exit(kSomethingFailed);
}

void Output::flush() {
  if (buffer_.empty()) return;
  if (dataIsTerminal_) removeProgressLine();
  if (!writeAll(STDOUT_FILENO, buffer_)) failLocked("standard output", std::generic_category().message(errno));
  buffer_.clear();
}

void Output::removeProgressLine() {
  if (progressColumns_ == 0) return;
  writeAll(STDERR_FILENO, '\r' + std::string(progressColumns_, ' ') + '\r');
  progressColumns_ = 0;
}

void endOnSignals(Output& output) {
  std::signal(SIGPIPE, SIG_IGN);
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
    output.end(128 + signal);
  }).detach();
}

}  // namespace cli
