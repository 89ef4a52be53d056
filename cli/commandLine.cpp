#include "commandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>

namespace cli {
namespace {

class HelpFormat : public CLI::Formatter {
 public:
  explicit HelpFormat(const Command& command) : command_(command) { column_width(31); }

  std::string make_usage(const CLI::App*, std::string) const override {
    return fmt::format("Usage: kmhash {} [OPTION]... {}\n", command_.name, command_.operands);
  }

 private:
  const Command& command_;
};

// What the parser left over: operands, in their order, and options that it does not know. The operands are not declared
// to it because it would take a path in square brackets for a list.
std::vector<std::string> operandsOf(const std::vector<std::string>& leftOver) {
  std::vector<std::string> operands;
  bool onlyOperands = false;
  for (const std::string& argument : leftOver) {
    if (!onlyOperands && argument == "--") {
      onlyOperands = true;
    } else if (!onlyOperands && argument.size() > 1 && argument[0] == '-') {
      throw UsageError(fmt::format("{}: no such option (a file of this name goes after --)", argument));
    } else {
      operands.push_back(argument);
    }
  }
  return operands;
}

}  // namespace

struct CommandLine::Parser {
  CLI::App app;
  std::vector<std::string> arguments;
};

CommandLine::CommandLine(const Command& command, std::vector<std::string> arguments)
    : parser_(std::make_unique<Parser>()) {
  std::reverse(arguments.begin(), arguments.end());  // the order that the parser takes them in
  parser_->arguments = std::move(arguments);
  CLI::App& app = parser_->app;
  app.description(command.summary);
  app.footer(command.notes);
  app.formatter(std::make_shared<HelpFormat>(command));
  app.set_help_flag("-h,--help", "Show this text");
  app.allow_extras();
}

CommandLine::~CommandLine() = default;

void CommandLine::flag(const char* names, bool* value, const char* help) { parser_->app.add_flag(names, *value, help); }

void CommandLine::text(const char* names, const char* placeholder, std::string* value, const char* help) {
  parser_->app.add_option(names, *value, help)->option_text(placeholder);
}

void CommandLine::number(const char* names, unsigned* value, unsigned lowest, unsigned highest, const char* help) {
  parser_->app.add_option(names, *value, help)->option_text("N")->check(CLI::Range(lowest, highest));
}

void CommandLine::choice(const char* names, std::string* value, const std::vector<std::string>& choices,
                         const char* help) {
  parser_->app.add_option(names, *value, help)
      ->option_text(fmt::format("{}", fmt::join(choices, "|")))
      ->check(CLI::IsMember(choices));
}

std::vector<std::string> CommandLine::read() {
  try {
    parser_->app.parse(parser_->arguments);
  } catch (const CLI::CallForHelp&) {
    throw HelpWanted{parser_->app.help()};
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
  return operandsOf(parser_->app.remaining());
}

}  // namespace cli
