#include "limitedProcess.h"

#include <fcntl.h>
#include <linux/sched.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string_view>

namespace report {
namespace {

using Clock = std::chrono::steady_clock;

// Everything that the child needs between fork and exec, where it may take no memory.
struct Start {
  std::vector<char*> arguments, environment;
  int input = -1, output = -1, nowhere = -1;
  rlimit memory{}, processor{};
};

void limit(int resource, const rlimit& most) { setrlimit(static_cast<decltype(RLIMIT_AS)>(resource), &most); }

// A process that is the first of a space of its own, where the kernel allows that: it has no network, and everything
// that it starts ends with it, whatever that does to get away. Elsewhere a plain one. As fork().
pid_t startProcess() {
#ifdef SYS_clone3
  for (const uint64_t user : {uint64_t{0}, uint64_t{CLONE_NEWUSER}}) {
    clone_args how{};
    how.flags = user | CLONE_NEWPID | CLONE_NEWNET;
    how.exit_signal = SIGCHLD;
    const auto child = static_cast<pid_t>(syscall(SYS_clone3, &how, sizeof how));
    if (child >= 0) return child;
  }
#endif
  return fork();
}

[[noreturn]] void become(const Start& start) {
  setpgid(0, 0);  // with what it starts itself it can be ended at once
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  signal(SIGPIPE, SIG_DFL);
  limit(RLIMIT_AS, start.memory);
  limit(RLIMIT_CPU, start.processor);
  limit(RLIMIT_FSIZE, {0, 0});
  limit(RLIMIT_CORE, {0, 0});
  const bool isConnected = dup2(start.input, STDIN_FILENO) == STDIN_FILENO &&
                           dup2(start.output, STDOUT_FILENO) == STDOUT_FILENO &&
                           dup2(start.nowhere, STDERR_FILENO) == STDERR_FILENO;
  close_range(STDERR_FILENO + 1, ~0U, 0);  // those of others: ours close themselves, as on kernels without this call
  if (isConnected) execve(start.arguments[0], start.arguments.data(), start.environment.data());
  _exit(127);
}

// All that comes until the end, as far as it comes before the deadline and is not too much; otherwise false.
bool readAll(int descriptor, Clock::time_point deadline, size_t most, std::string* bytes) {
  char buffer[16 * 1024];
  while (bytes->size() <= most) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd ready{descriptor, POLLIN, 0};
    const int count = left > 0 ? poll(&ready, 1, static_cast<int>(left)) : 0;
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    const ssize_t length = read(descriptor, buffer, sizeof buffer);
    if (length == 0) return true;
    if (length < 0 && errno != EINTR) return false;
    if (length > 0) bytes->append(buffer, static_cast<size_t>(length));
  }
  return false;
}

// Whether it ends before the deadline. (A program may close its output and go on.)
bool hasEnded(pid_t child, Clock::time_point deadline) {
  siginfo_t end{};
  while (waitid(P_PID, static_cast<id_t>(child), &end, WEXITED | WNOHANG | WNOWAIT) == 0 && end.si_pid != child) {
    if (Clock::now() > deadline) return false;
    usleep(1000);
  }
  return true;
}

// Ends it and what it left behind, which bears its number until it is waited for; gives its status.
int endAndForget(pid_t child) {
  kill(-child, SIGKILL);
  kill(child, SIGKILL);  // it may not have come to lead a group yet
  int status = -1;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::string outputOf(const Start& start, int reading, const ProcessLimits& limits) {
  const Clock::time_point deadline = Clock::now() + std::chrono::seconds(limits.seconds);
  const pid_t child = startProcess();
  if (child == 0) become(start);
  close(start.output);
  if (child < 0) return "";
  std::string bytes;
  const bool isInTime = readAll(reading, deadline, limits.output, &bytes) && hasEnded(child, deadline);
  const int status = endAndForget(child);
  return isInTime && status == 0 ? bytes : "";
}

}  // namespace

std::string findProgram(const std::string& name) {
  const char* path = std::getenv("PATH");
  std::string_view folders = path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin";
  while (!folders.empty()) {
    const size_t length = folders.find(':');
    std::string program = std::string(folders.substr(0, length)) + '/' + name;
    // an element that is no absolute path would lead into whatever folder one is in
    if (program[0] == '/' && program[1] != '/' && access(program.c_str(), X_OK) == 0) return program;
    if (length == std::string_view::npos) break;
    folders.remove_prefix(length + 1);
  }
  return "";
}

std::string outputOfProgram(const std::string& program, const std::vector<std::string>& arguments, int input,
                            const ProcessLimits& limits) {
  std::vector<std::string> words = {program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  // libvips: one thread, and no loader that was not made for hostile files
  std::vector<std::string> environment = {"PATH=/usr/bin:/bin", "LC_ALL=C", "HOME=/nonexistent", "VIPS_CONCURRENCY=1",
                                          "VIPS_BLOCK_UNTRUSTED=1"};
  const rlim_t processor = limits.seconds / 2;
  const auto memory = static_cast<rlim_t>(limits.memory);
  int pipes[2];
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere < 0) return "";
  std::string bytes;
  if (pipe2(pipes, O_CLOEXEC) == 0) {
    const Start start{pointersTo(words), pointersTo(environment), input, pipes[1], nowhere,
                      {memory, memory},  {processor, processor}};
    bytes = outputOf(start, pipes[0], limits);
    close(pipes[0]);
  }
  close(nowhere);
  return bytes;
}

}  // namespace report
