#include <fmt/format.h>

#include "pages/pages.h"

namespace cli {
namespace {

// Words in backquotes are set bold, an empty line begins a paragraph.
std::string prose(std::string_view words) {
  std::string text;
  bool isBold = false;
  for (const char c : words) {
    if (c == '`') {
      text += (isBold = !isBold) ? "\\fB" : "\\fR";
    } else if (c == '\n') {
      text += text.ends_with('\n') ? ".PP\n" : "\n";
    } else if (c == '\\') {
      text += "\\e";
    } else if (c == '-') {
      text += "\\-";
    } else if ((c == '.' || c == '\'') && (text.empty() || text.ends_with('\n'))) {
      text += fmt::format("\\&{}", c);
    } else {
      text += c;
    }
  }
  return text + '\n';
}

std::string inLine(std::string_view words) {
  std::string text = prose(words);
  text.pop_back();
  return text;
}

std::string bold(std::string_view words) { return "\\fB" + inLine(words) + "\\fR"; }

std::string heading(std::string_view name, std::string_view summary) {
  std::string upper;
  for (const char c : name) upper += static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
  return fmt::format(".TH {} 1 \"\" \"kmhash {}\" \"User commands\"\n.SH NAME\n{} \\- {}", upper, KMHASH_VERSION,
                     inLine(name), prose(summary));
}

std::string item(std::string_view tag, std::string_view words) { return fmt::format(".TP\n{}\n{}", tag, prose(words)); }

std::string exitStatuses() {
  std::string text = ".SH EXIT STATUS\n";
  for (const ExitStatus& row : kExitStatuses) text += item(fmt::format("\\fB{}\\fR", row.status), row.meaning);
  return text;
}

std::string optionItem(const Option& option) {
  std::string tag;
  for (const std::string& name : namesOf(option)) tag += (tag.empty() ? "" : ", ") + bold(name);
  if (!option.placeholder.empty()) tag += " \\fI" + option.placeholder + "\\fR";
  return item(tag, option.help);
}

std::string reference(const Command& command) { return fmt::format("\\fBkmhash\\-{}\\fR(1)", command.name); }

}  // namespace

std::string manualOfAll() {
  std::string text = heading("kmhash", "identity hashes of media files");
  text += ".SH SYNOPSIS\n\\fBkmhash\\fR \\fICOMMAND\\fR [\\fIOPTION\\fR]... \\fIOPERAND\\fR...\n";
  text += ".SH DESCRIPTION\n" + prose(kOverview) + ".SH COMMANDS\n";
  for (const Command* command : allCommands()) text += item(reference(*command), std::string(command->summary) + '.');
  text += ".SH OPTIONS\n" + item(bold("-h") + ", " + bold("--help"), "Show the commands.") +
          item(bold("-V") + ", " + bold("--version"), "Show the version.");
  return text + exitStatuses();
}

std::string manualOf(const Command& command) {
  const std::string name = std::string("kmhash-") + command.name;
  std::string text = heading(name, command.summary);
  text +=
      fmt::format(".SH SYNOPSIS\n\\fBkmhash {}\\fR [\\fIOPTION\\fR]... \\fI{}\\fR\n", command.name, command.operands);
  if (*command.notes != '\0') text += ".SH DESCRIPTION\n" + prose(command.notes);
  text += ".SH OPTIONS\n";
  for (const Option& option : optionsOf(command)) text += optionItem(option);
  text += exitStatuses() + ".SH SEE ALSO\n\\fBkmhash\\fR(1)";
  for (const Command* other : allCommands()) {
    if (other != &command) text += ",\n" + reference(*other);
  }
  return text + '\n';
}

}  // namespace cli
