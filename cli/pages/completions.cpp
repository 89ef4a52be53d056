#include <fmt/format.h>

#include <algorithm>

#include "format.h"
#include "pages/pages.h"

namespace cli {
namespace {

// Up to its first full stop or semicolon.
std::string beginningOf(const std::string& help) {
  const size_t end = std::min(help.find(". "), help.find("; "));
  return end != std::string::npos ? help.substr(0, end) : help.substr(0, help.size() - (help.ends_with('.') ? 1 : 0));
}

// The text with a backslash before each of these characters.
std::string escaped(std::string_view text, std::string_view characters) {
  std::string out;
  for (const char c : text) {
    if (characters.find(c) != std::string_view::npos) out += '\\';
    out += c;
  }
  return out;
}

// For a shell, in single quotes.
std::string quoted(std::string_view text) {
  std::string out = "'";
  for (const char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + '\'';
}

std::string commandNames() {
  std::string names;
  for (const Command* command : allCommands()) names += std::string(command->name) + ' ';
  return names + "help";
}

// ---- bash ----

std::string bashCase(const Command& command) {
  std::string words, values;
  for (const Option& option : optionsOf(command)) {
    const std::vector<std::string> names = namesOf(option);
    words += text::format("{}{}", words.empty() ? "" : " ", fmt::join(names, " "));
    if (option.choices.empty()) continue;
    values += text::format("        {}) values='{}' ;;\n", fmt::join(names, "|"), fmt::join(option.choices, " "));
  }
  if (!values.empty()) values = "      case $previous in\n" + values + "      esac\n";
  return text::format("    {})\n      options='{}'\n{}      ;;\n", command.name, words, values);
}

// ---- zsh ----

std::string zshOption(const Option& option) {
  const bool hasValue = option.value != Option::Value::none;
  std::vector<std::string> names = namesOf(option);
  for (std::string& name : names) name += !hasValue ? "" : name.starts_with("--") ? "=" : "+";
  std::string value = hasValue ? ":" + option.placeholder + ':' : "";
  if (option.value == Option::Value::file) value += "_files";
  if (option.value == Option::Value::folder) value += "_files -/";
  if (option.value == Option::Value::choice) value += text::format("({})", fmt::join(option.choices, " "));
  const std::string help = quoted(text::format("[{}]{}", escaped(beginningOf(option.help), "[]:\\"), value));
  if (names.size() == 1) return text::format("'*'{}{}", names[0], help);
  return text::format("'*'{{{}}}{}", fmt::join(names, ","), help);
}

// ---- fish ----

// The word behind kmhash; further ones may be named as a command is.
constexpr const char* kFishCommand =
    "function __kmhash_is\n"
    "  set -l words (commandline -opc)\n"
    "  test \"$words[2]\" = $argv[1]\n"
    "end\n";

std::string fishOption(std::string_view condition, const Option& option) {
  std::string text = text::format("complete -c kmhash -n '{}'", condition);
  for (const std::string& name : namesOf(option)) {
    text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  }
  if (option.value == Option::Value::file) text += " -r -F";
  if (option.value == Option::Value::folder) text += " -x -a '(__fish_complete_directories)'";
  if (option.value == Option::Value::text) text += " -x";
  if (option.value == Option::Value::choice) text += text::format(" -x -a '{}'", fmt::join(option.choices, " "));
  return text + text::format(" -d '{}'\n", escaped(beginningOf(option.help), "'\\"));
}

}  // namespace

std::string bashCompletion() {
  std::string words = commandNames();
  for (const TopOption& row : topOptions()) words += text::format(" {}", fmt::join(namesOf(row.option), " "));
  std::string text =
      "# Completion of kmhash for bash.\n"
      "_kmhash() {\n"
      "  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} options= values=\n"
      "  COMPREPLY=()\n"
      "  if [ \"$COMP_CWORD\" = 1 ]; then\n"
      "    COMPREPLY=($(compgen -W " +
      quoted(words) +
      " -- \"$current\"))\n"
      "    return\n"
      "  fi\n"
      "  if [ \"$current\" = = ]; then\n"
      "    current=\n"
      "  elif [ \"$previous\" = = ]; then\n"
      "    previous=${COMP_WORDS[COMP_CWORD-2]}\n"
      "  fi\n"
      "  case ${COMP_WORDS[1]} in\n";
  for (const Command* command : allCommands()) text += bashCase(*command);
  text += "    help) COMPREPLY=($(compgen -W " + quoted(commandNames()) + " -- \"$current\")) ;;\n";
  return text +
         "  esac\n"
         "  if [ -n \"$values\" ]; then\n"
         "    COMPREPLY=($(compgen -W \"$values\" -- \"$current\"))\n"
         "  elif [ \"${current#-}\" != \"$current\" ]; then\n"
         "    COMPREPLY=($(compgen -W \"$options\" -- \"$current\"))\n"
         "  fi\n"
         "}\n"
         "complete -o default -F _kmhash kmhash\n";
}

std::string zshCompletion() {
  std::string rows, cases, top;
  for (const TopOption& row : topOptions()) top += ' ' + zshOption(row.option);
  for (const Command* command : allCommands()) {
    rows += "    " + quoted(command->name + std::string(":") + escaped(command->summary, ":\\")) + '\n';
    cases += text::format("    {}) _arguments -s", command->name);
    for (const Option& option : optionsOf(*command)) cases += " \\\n      " + zshOption(option);
    const std::string_view operands = command->operands;
    cases += operands.empty()              ? ""
             : operands.starts_with("DIR") ? " \\\n      '*:folder:_files -/'"
                                           : " \\\n      '*:file:_files'";
    cases += " ;;\n";
  }
  return "#compdef kmhash\n"
         "# Completion of kmhash for zsh.\n"
         "_kmhash() {\n"
         "  local -a commands\n"
         "  commands=(\n" +
         rows +
         "    'help:Show the commands, or the options of one'\n"
         "  )\n"
         "  if (( CURRENT == 2 )); then\n"
         "    if [[ $words[2] = -* ]]; then\n"
         "      _arguments -s" +
         top +
         "\n"
         "    else\n"
         "      _describe command commands\n"
         "    fi\n"
         "    return\n"
         "  fi\n"
         "  local command=$words[2]\n"
         "  shift words\n"
         "  (( CURRENT-- ))\n"
         "  case $command in\n" +
         cases +
         "    help) _describe command commands ;;\n"
         "  esac\n"
         "}\n"
         "_kmhash \"$@\"\n";
}

std::string fishCompletion() {
  std::string text = std::string("# Completion of kmhash for fish.\n") + kFishCommand;
  for (const TopOption& row : topOptions()) text += fishOption("__fish_use_subcommand", row.option);
  for (const Command* command : allCommands()) {
    text += text::format("complete -c kmhash -f -n __fish_use_subcommand -a {} -d '{}'\n", command->name,
                         escaped(command->summary, "'\\"));
    const std::string condition = "__kmhash_is " + std::string(command->name);
    for (const Option& option : optionsOf(*command)) text += fishOption(condition, option);
  }
  text += "complete -c kmhash -f -n __fish_use_subcommand -a help -d 'Show the commands, or the options of one'\n";
  return text + "complete -c kmhash -f -n '__kmhash_is help' -a '" + commandNames() + "'\n";
}

}  // namespace cli
