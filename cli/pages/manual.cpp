#include "format.h"
#include "pages/pages.h"

namespace cli {

std::string manualProse(std::string_view words) {
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
      text += text::format("\\&{}", c);
    } else {
      text += c;
    }
  }
  return text + '\n';
}

std::string manualInLine(std::string_view words) {
  std::string text = manualProse(words);
  text.pop_back();
  return text;
}

std::string manualBold(std::string_view words) { return "\\fB" + manualInLine(words) + "\\fR"; }

std::string manualHeading(std::string_view name, int section, std::string_view summary) {
  std::string upper;
  for (const char c : name) upper += static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
  return text::format(".TH {} {} \"\" \"kmhash {}\" \"{}\"\n.SH NAME\n{} \\- {}", upper, section, KMHASH_VERSION,
                      section == 1 ? "User commands" : "Library functions", manualInLine(name), manualProse(summary));
}

std::string manualItem(std::string_view tag, std::string_view words) {
  return text::format(".TP\n{}\n{}", tag, manualProse(words));
}

namespace {

std::string exitStatuses(bool withCompare) {
  std::string text = ".SH EXIT STATUS\n";
  for (const ExitStatus& row : kExitStatuses) {
    text += manualItem(text::format("\\fB{}\\fR", row.status),
                       std::string(row.meaning) + (withCompare ? row.ofCompare : ""));
  }
  return text;
}

std::string standardPlace() {
  return ".SH ENVIRONMENT\n" + manualItem(manualBold("XDG_DATA_HOME"), "The folder taken in place of ~/.local/share.") +
         ".SH FILES\n" +
         manualItem("\\fI" + manualInLine("~/.local/share/kmhash/catalogue.db") + "\\fR",
                    "The catalogue, where --catalog names no other.");
}

std::string paragraphs(const char* words) { return *words == '\0' ? "" : ".PP\n" + manualProse(words); }

// A command whose statuses are others tells them all itself.
std::string exitStatusOf(const Command& command) {
  if (command.failureStatus != kSomethingFailed) return ".SH EXIT STATUS\n" + manualProse(command.exitStatus);
  return exitStatuses(false) + paragraphs(command.exitStatus);
}

std::string examples(const Command& command) {
  return *command.examples == '\0' ? "" : ".SH EXAMPLES\n.EX\n" + manualProse(command.examples) + ".EE\n";
}

std::string optionItem(const Option& option) {
  std::string tag;
  for (const std::string& name : namesOf(option)) tag += (tag.empty() ? "" : ", ") + manualBold(name);
  if (!option.placeholder.empty()) tag += " \\fI" + option.placeholder + "\\fR";
  return manualItem(tag, option.help);
}

std::string reference(const Command& command) { return text::format("\\fBkmhash\\-{}\\fR(1)", command.name); }

std::string seeAlso(const char* first, const Command* without) {
  std::string text = text::format(".SH SEE ALSO\n\\fBkmhash\\fR({})", first);
  for (const Command* command : allCommands()) {
    if (command != without) text += ",\n" + reference(*command);
  }
  return text + '\n';
}

}  // namespace

std::string manualOfAll() {
  std::string text = manualHeading("kmhash", 1, "identity hashes of media files");
  text += ".SH SYNOPSIS\n\\fBkmhash\\fR \\fICOMMAND\\fR [\\fIOPTION\\fR]... \\fIOPERAND\\fR...\n";
  text += ".SH DESCRIPTION\n" + manualProse(kOverview) + ".SH COMMANDS\n";
  for (const Command* command : allCommands())
    text += manualItem(reference(*command), std::string(command->summary) + '.');
  text += ".SH OPTIONS\n";
  for (const TopOption& row : topOptions()) text += optionItem(row.option);
  return text + exitStatuses(true) + standardPlace() + seeAlso("3", nullptr);
}

std::string manualOf(const Command& command) {
  const std::string name = std::string("kmhash-") + command.name;
  std::string text = manualHeading(name, 1, command.summary);
  text +=
      text::format(".SH SYNOPSIS\n\\fBkmhash {}\\fR [\\fIOPTION\\fR]... \\fI{}\\fR\n", command.name, command.operands);
  text += ".SH DESCRIPTION\n" + manualProse(command.summary + std::string(".")) + paragraphs(command.notes);
  text += ".SH OPTIONS\n";
  bool hasCatalogue = false;
  for (const Option& option : optionsOf(command)) {
    text += optionItem(option);
    if (option.names == "--catalog") hasCatalogue = true;
  }
  text += exitStatusOf(command);
  if (hasCatalogue) text += standardPlace();
  return text + examples(command) + seeAlso("1", &command);
}

}  // namespace cli
