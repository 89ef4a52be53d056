#include "commandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>

#include "format.h"

namespace cli {
namespace {

constexpr size_t kHelpColumn = 26;

// What the parser left over: operands, in their order, and options that it does not know. The operands are not declared
// to it because it would take a path in square brackets for a list.
std::vector<std::string> operandsOf(const std::vector<std::string>& leftOver) {
  std::vector<std::string> operands;
  bool onlyOperands = false;
  for (const std::string& argument : leftOver) {
    if (!onlyOperands && argument == "--") {
      onlyOperands = true;
    } else if (!onlyOperands && argument.size() > 1 && argument[0] == '-') {
      throw UsageError(text::format("{}: no such option (a file of this name goes after --)", argument));
    } else {
      operands.push_back(argument);
    }
  }
  return operands;
}

Option optionWith(const char* names, std::string_view placeholder, const char* help) {
  const Option::Value value = placeholder == "FILE"  ? Option::Value::file
                              : placeholder == "DIR" ? Option::Value::folder
                                                     : Option::Value::text;
  return {names, value, std::string(placeholder), {}, help};
}

std::string mismatchOf(const Option& option) {
  return usageOf(option) + (option.value == Option::Value::none ? ": takes no value" : ": the value is missing");
}

// The parser would take the next argument for the value of "--name=".
void refuseEmptyValues(const std::vector<std::string>& arguments, const std::vector<Option>& options) {
  for (const std::string& argument : arguments) {
    if (argument == "--") return;
    if (!argument.starts_with("--") || !argument.ends_with('=')) continue;
    for (const Option& option : options) {
      if (namesOf(option).back() + '=' == argument) throw UsageError(mismatchOf(option));
    }
  }
}

}  // namespace

struct CommandLine::Parser {
  CLI::App app;
  std::vector<Option> options;

  template <class Value>
  CLI::Option* add(Option option, Value* value) {
    CLI::Option* added = app.add_option(option.names, *value)->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    options.push_back(std::move(option));
    return added;
  }

  // The parser's own words speak of its types.
  std::string wordsFor(const CLI::ArgumentMismatch& error) const {
    std::string what = error.what();
    const std::string name = what.substr(0, what.find_first_of(": "));
    for (const Option& option : options) {
      if (option.names.ends_with(name)) return mismatchOf(option);
    }
    return what;
  }
};

CommandLine::CommandLine() : parser_(std::make_unique<Parser>()) {
  parser_->app.set_help_flag("-h,--help");
  parser_->app.allow_extras();
}

CommandLine::~CommandLine() = default;

void CommandLine::flag(const char* names, bool* value, const char* help) {
  parser_->app.add_flag(names, *value)->disable_flag_override();
  parser_->options.push_back({names, Option::Value::none, "", {}, help});
}

void CommandLine::text(const char* names, const char* placeholder, std::string* value, const char* help) {
  parser_->add(optionWith(names, placeholder, help), value);
}

void CommandLine::number(const char* names, unsigned* value, unsigned lowest, unsigned highest, const char* help) {
  parser_->add(optionWith(names, "N", help), value)->check([lowest, highest](const std::string& given) {
    unsigned number = 0;
    const bool isNumber = CLI::detail::lexical_cast(given, number);
    if (isNumber && number >= lowest && number <= highest) return std::string();
    return text::format("a number from {} to {} is needed, not {}", lowest, highest, given);
  });
}

void CommandLine::choice(const char* names, const char* placeholder, std::string* value,
                         const std::vector<std::string>& choices, const char* help) {
  parser_->add({names, Option::Value::choice, placeholder, choices, help}, value)
      ->check([choices](const std::string& given) {
        const bool isOne = std::find(choices.begin(), choices.end(), given) != choices.end();
        return isOne ? std::string() : text::format("{} is needed, not {}", fmt::join(choices, " or "), given);
      });
}

void CommandLine::list(const char* names, const char* placeholder, std::vector<std::string>* values, const char* help) {
  parser_->app.add_option(names, *values)->allow_extra_args(false);
  parser_->options.push_back(optionWith(names, placeholder, help));
}

std::vector<Option> CommandLine::options() const {
  std::vector<Option> all = parser_->options;
  all.push_back({"-h,--help", Option::Value::none, "", {}, "Show this text."});
  return all;
}

std::vector<std::string> CommandLine::read(std::vector<std::string> arguments) {
  refuseEmptyValues(arguments, parser_->options);
  std::reverse(arguments.begin(), arguments.end());  // the order that the parser takes them in
  try {
    parser_->app.parse(std::move(arguments));
  } catch (const CLI::CallForHelp&) {
    throw HelpWanted();
  } catch (const CLI::ArgumentMismatch& error) {
    throw UsageError(parser_->wordsFor(error));
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
  return operandsOf(parser_->app.remaining());
}

std::vector<std::string> namesOf(const Option& option) {
  const size_t comma = option.names.find(',');
  if (comma == std::string::npos) return {option.names};
  return {option.names.substr(0, comma), option.names.substr(comma + 1)};
}

std::string usageOf(const Option& option) {
  return text::format("{}{}{}", fmt::join(namesOf(option), ", "), option.placeholder.empty() ? "" : " ",
                      option.placeholder);
}

std::string helpLines(const Option& option) {
  std::string text = text::format("  {}", usageOf(option));
  for (const std::string& line : wrapped(option.help, kHelpWidth - kHelpColumn)) {
    if (text.size() - (text.rfind('\n') + 1) >= kHelpColumn - 1) text += '\n';
    text += std::string(kHelpColumn - (text.size() - (text.rfind('\n') + 1)), ' ') + line + '\n';
  }
  return text;
}

std::vector<std::string> wrapped(std::string_view words, size_t width) {
  std::vector<std::string> lines(1);
  while (!words.empty()) {
    const size_t length = std::min(words.find_first_of(" \n"), words.size());
    std::string& line = lines.back();
    if (!line.empty() && line.size() + 1 + length > width) {
      lines.emplace_back(words.substr(0, length));
    } else {
      line += (line.empty() ? "" : " ") + std::string(words.substr(0, length));
    }
    const bool ends = length < words.size() && words[length] == '\n';
    if (ends) lines.emplace_back();
    words.remove_prefix(std::min(length + 1, words.size()));
  }
  return lines;
}

std::vector<Option> optionsOf(const Command& command) {
  CommandLine line;
  command.declare(line);
  return line.options();
}

std::string helpOf(const Command& command) {
  std::string text = text::format("Usage: kmhash {} [OPTION]... {}\n{}.\n\nOptions:\n", command.name, command.operands,
                                  command.summary);
  for (const Option& option : optionsOf(command)) text += helpLines(option);
  for (const char* paragraphs : {command.notes, command.exitStatus}) {
    if (*paragraphs == '\0') continue;
    text += '\n';
    for (const std::string& line : wrapped(paragraphs, kHelpWidth)) text += line + '\n';
  }
  return text;
}

}  // namespace cli
