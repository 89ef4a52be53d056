// The command's arguments: each command describes itself in a row of the table and declares its options on a
// CommandLine, which parses them. Help, manual pages and completions are made from the same rows and declarations.
#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

class CommandLine;
class Output;

// Does a command's work on the operands, with the options that were read; gives the exit status.
using Work = std::function<int(const std::vector<std::string>& operands, Output& output)>;

struct Command {
  const char* name;
  const char* operands;                // as the usage line shows them
  const char* summary;                 // one line
  const char* notes;                   // below the options in the command's help, paragraphs between empty lines
  Work (*declare)(CommandLine& line);  // declares the options, touches nothing else
  const char* exitStatus = "";         // what its own statuses mean; the help's last paragraph
  const char* examples = "";           // command lines, for the manual
  int failureStatus = 1;               // of a run that cannot write its data, or whose memory ends
};

struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Thrown by read() when help is asked for.
struct HelpWanted {};

// What there is to tell of an option.
struct Option {
  enum class Value { none, text, file, folder, choice };
  std::string names;  // "-j,--jobs"
  Value value = Value::none;
  std::string placeholder;           // of the value: "N"; FILE and DIR make it a file and a folder
  std::vector<std::string> choices;  // the values that there are; empty: any
  std::string help;                  // one or more sentences, to be wrapped
};

// "-j" and "--jobs"
std::vector<std::string> namesOf(const Option& option);

// "-j, --jobs N"
std::string usageOf(const Option& option);

// Its lines in a help text.
std::string helpLines(const Option& option);

inline constexpr size_t kHelpWidth = 80;

// The words wrapped to lines of at most width columns; a newline in them ends a line.
std::vector<std::string> wrapped(std::string_view words, size_t width);

class CommandLine {
 public:
  CommandLine();
  ~CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  // Option names as "-j,--jobs"; the destination keeps its value when the option is not given and has the last one
  // when it is given more than once.
  void flag(const char* names, bool* value, const char* help);
  void text(const char* names, const char* placeholder, std::string* value, const char* help);
  void number(const char* names, unsigned* value, unsigned lowest, unsigned highest, const char* help);
  void choice(const char* names, const char* placeholder, std::string* value, const std::vector<std::string>& choices,
              const char* help);

  // One that may be given again and again: all values count.
  void list(const char* names, const char* placeholder, std::vector<std::string>* values, const char* help);

  // As declared, --help at the end.
  std::vector<Option> options() const;

  // Sets the destinations and gives the operands in their order. Throws UsageError or HelpWanted.
  std::vector<std::string> read(std::vector<std::string> arguments);

 private:
  struct Parser;
  std::unique_ptr<Parser> parser_;
};

std::vector<Option> optionsOf(const Command& command);

// The text of `kmhash COMMAND --help`.
std::string helpOf(const Command& command);

}  // namespace cli
