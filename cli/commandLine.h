// The command's arguments: each command describes itself in a row of the table, declares its options on a CommandLine
// and reads them. The help text is made from the same rows and declarations.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

class CommandLine;
class Output;

struct Command {
  const char* name;
  const char* operands;                           // as the usage line shows them
  const char* summary;                            // one line
  const char* notes;                              // below the options in the command's help
  int (*run)(CommandLine& line, Output& output);  // gives the exit status
};

struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Thrown by read() when help is asked for; carries the text.
struct HelpWanted {
  std::string text;
};

class CommandLine {
 public:
  CommandLine(const Command& command, std::vector<std::string> arguments);
  ~CommandLine();

  // Option names as "-j,--jobs"; the destination keeps its value when the option is not given.
  void flag(const char* names, bool* value, const char* help);
  void text(const char* names, const char* placeholder, std::string* value, const char* help);
  void number(const char* names, unsigned* value, unsigned lowest, unsigned highest, const char* help);
  void choice(const char* names, std::string* value, const std::vector<std::string>& choices, const char* help);

  // Sets the destinations and gives the operands in their order. Throws UsageError or HelpWanted.
  std::vector<std::string> read();

 private:
  struct Parser;
  std::unique_ptr<Parser> parser_;
};

}  // namespace cli
