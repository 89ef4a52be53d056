// The streams that the command writes to: data on standard output, messages and the progress line on standard error.
#pragma once

#include <mutex>
#include <string>
#include <string_view>

namespace cli {

// Exit statuses.
inline constexpr int kAllWell = 0, kSomethingFailed = 1, kWrongUsage = 2;

// Every member may be called on any thread. Data that cannot be written (a closed pipe, a full disk) ends the program
// with a message and status 1: there is nobody left to work for.
class Output {
 public:
  Output();

  // Data, buffered. A call's data reaches the stream whole and before that of later calls; give it whole lines.
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

  // Ends the program from any thread, with the data written so far, whole lines only.
  [[noreturn]] void end(int status);

  // Ends the program with a message and status 1.
  [[noreturn]] void fail(std::string_view subject, std::string_view reason);

 private:
  void flush();
  void removeProgressLine();
  [[noreturn]] void failLocked(std::string_view subject, std::string_view reason);

  std::mutex mutex_;
  std::string buffer_;
  size_t progressColumns_ = 0;  // of the line now on the terminal
  const bool dataIsTerminal_, errorIsTerminal_;
  bool atOnce_;
};

// Makes SIGINT, SIGTERM and SIGHUP end the program in good order, with status 128 and the signal's number: data written
// so far is kept, the progress line is removed. Call it before other threads start. A signal that the caller of the
// program ignores stays ignored. A closed pipe becomes an error of the write.
void endOnSignals(Output& output);

// The text with control characters made visible, so that a file name cannot drive a terminal.
std::string visible(std::string_view text);

}  // namespace cli
