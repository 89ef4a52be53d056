// The streams that the command writes to: data on standard output, messages and the progress line on standard error.
#pragma once

#include <atomic>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

namespace cli {

// Exit statuses.
inline constexpr int kAllWell = 0, kSomethingFailed = 1, kWrongUsage = 2;

// Every member may be called on any thread. Data that cannot be written ends the program: silently, as a closed pipe
// ends others, or with a message and the failure status (a full disk).
class Output {
 public:
  Output();

  // Exit status of a program that cannot write its data, or whose memory ends.
  static inline std::atomic<int> failureStatus = kSomethingFailed;

  // Data, buffered: one or more whole lines, each ended by the last character of all. A pipe takes a line whole or not
  // at all if it has at most PIPE_BUF bytes. On a terminal control characters are made visible.
  void write(std::string_view data);

  // Writes each line at once from now on, for a reader that waits for it. So it is on a terminal.
  void writeAtOnce();

  // A line "kmhash: SUBJECT: reason" on standard error, after the data written so far.
  void message(std::string_view subject, std::string_view reason);

  // On a terminal: one line that the next one replaces and that makes way for data and messages; an empty one removes
  // it. Elsewhere each is a line of its own.
  void progress(const std::string& line);
  bool showsProgressOnTerminal() const { return errorIsTerminal_; }

  // Writes what is buffered and closes standard output, which is when some file systems report a full disk.
  void finish();

  // Called before a signal ends the program; nothing to call when empty. The call may take a few seconds.
  void callBeforeEnd(std::function<void()> call);

  // Ends the program by this signal from any thread, with the data written so far as far as its reader takes it soon.
  [[noreturn]] void end(int signal);

  // Ends the program with a message and the failure status. Takes no memory: there may be none.
  [[noreturn]] void fail(const std::exception& error);

  // A closed pipe ends the program by SIGPIPE. (Its caller may have asked for an error of the write instead.)
  void endByClosedPipe() { closedPipeEnds_ = true; }

 private:
  bool flush(int milliseconds);
  void flushOrFail();
  void removeProgressLine();
  [[noreturn]] void failLocked(std::string_view subject, std::string_view reason);

  std::mutex mutex_, callMutex_;
  std::function<void()> beforeEnd_;
  std::string buffer_;
  size_t progressColumns_ = 0;  // of the line now on the terminal
  const bool dataIsTerminal_, errorIsTerminal_;
  bool atOnce_, closedPipeEnds_ = false;
};

// Makes SIGINT, SIGTERM and SIGHUP end the program in good order, and by the signal, so that a shell's loop ends too:
// data written so far is kept, the progress line is removed. Call it before other threads start. A signal that the
// caller of the program ignores stays ignored.
void endOnSignals(Output& output);

// The text with control characters (of ASCII, of Latin-1, and bytes that are not UTF-8) made visible, so that a file
// name cannot drive a terminal. Characters in `kept` stay.
std::string visible(std::string_view text, std::string_view kept = "");

}  // namespace cli
