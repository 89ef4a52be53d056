#include <sstream>

#include "format.h"
#include "pages/pages.h"

namespace cli {
namespace {

constexpr std::string_view kSpaces = " \t";

// A comment of the header and the declarations right below it.
struct Block {
  std::vector<std::string> comment;  // lines, without stars
  std::vector<std::string> code;
};

// What stands below a line "/* ---- Title ---- */", and first of all what opens the file.
struct Section {
  std::string title;
  std::vector<Block> blocks;
};

// An entry of a list: a term and what is said of it.
struct Entry {
  std::string term, words;
};

std::string trimmed(std::string_view text) {
  const size_t begin = text.find_first_not_of(kSpaces);
  return begin == std::string_view::npos ? ""
                                         : std::string(text.substr(begin, text.find_last_not_of(kSpaces) - begin + 1));
}

size_t indentOf(const std::string& line) { return std::min(line.find_first_not_of(' '), line.size()); }

std::string replaced(std::string_view text, std::string_view from, std::string_view to) {
  std::string out;
  for (size_t at = 0; at < text.size();) {
    const size_t next = std::min(text.find(from, at), text.size());
    out += text.substr(at, next - at);
    if (next < text.size()) out += to;
    at = next + from.size();
  }
  return out;
}

void append(std::string* words, std::string_view more) {
  if (!words->empty() && !more.empty()) *words += ' ';
  *words += more;
}

// ---- Reading the header ----

// Takes the lines of a comment, from the one that opens it on; at is left at the one that closes it.
std::vector<std::string> readComment(const std::vector<std::string>& lines, size_t* at) {
  std::vector<std::string> comment;
  for (;; ++*at) {
    std::string line = lines[*at];
    const size_t star = line.find('*');
    const size_t end = line.find("*/");
    if (end != std::string::npos) line.resize(end);
    if (star == end) break;
    line = line.substr(std::min(star + 1, line.size()));
    comment.push_back(line.starts_with(' ') ? line.substr(1) : line);
    if (end != std::string::npos || *at + 1 == lines.size()) break;
  }
  return comment;
}

std::vector<Section> readHeader(std::istream& header) {
  std::vector<std::string> lines;
  for (std::string line; std::getline(header, line);) lines.push_back(line);
  std::vector<Section> sections(1);
  Block block;
  int depth = 0;
  const auto finish = [&] {
    if (!block.comment.empty()) sections.back().blocks.push_back(std::move(block));
    block = {};
  };
  for (size_t at = 0; at < lines.size(); ++at) {
    const std::string& line = lines[at];
    if (depth == 0 && line.starts_with("/* ----")) {
      finish();
      sections.push_back({trimmed(line.substr(7, line.find("--", 7) - 7)), {}});
    } else if (depth == 0 && line.starts_with("/*")) {
      finish();
      block.comment = readComment(lines, &at);
    } else if (depth == 0 && line.empty()) {
      finish();
    } else if (!block.comment.empty()) {
      block.code.push_back(line);
      for (const char c : line) depth += c == '{' ? 1 : c == '}' ? -1 : 0;
    }
  }
  return sections;
}

// ---- Comments ----

// Lines that are indented as the first one, or more, up to the next that is not: "term  words", where the words go on
// in lines that are indented further, and a term may be told on several lines.
std::vector<Entry> readList(const std::vector<std::string>& lines, size_t* at, size_t base) {
  const size_t indent = indentOf(lines[*at]);
  std::vector<Entry> entries;
  for (; *at < lines.size() && indentOf(lines[*at]) > base; ++*at) {
    const std::string line = trimmed(lines[*at]);
    const size_t gap = line.find("  ");
    const std::string term = trimmed(line.substr(0, gap));
    const std::string words = gap == std::string::npos ? "" : trimmed(line.substr(gap));
    if (indentOf(lines[*at]) > indent) {
      append(&entries.back().words, line);
    } else if (!entries.empty() && entries.back().term.ends_with(',')) {
      append(&entries.back().term, term);
      entries.back().words = words;
    } else {
      entries.push_back({term, words});
    }
  }
  return entries;
}

std::string listOf(const std::vector<Entry>& entries) {
  std::string text = ".RS\n";
  for (const Entry& entry : entries) {
    const size_t column = entry.words.find("   ");
    std::string words = entry.words;
    if (column != std::string::npos) words = words.substr(0, column) + ": " + trimmed(words.substr(column));
    text += manualItem(manualBold(entry.term), words);
  }
  return text + ".RE\n";
}

bool isNumbered(const std::string& line) { return !line.empty() && line[0] >= '1' && line[0] <= '9' && line[1] == '.'; }

// Paragraphs, lists, and numbered paragraphs with a title: "1. Title. Words".
std::string textOf(const std::vector<std::string>& lines) {
  std::string text, words;
  size_t base = 0;
  const auto finish = [&] {
    if (!words.empty()) text += manualProse(words);
    words.clear();
  };
  for (size_t at = 0; at < lines.size();) {
    const std::string& line = lines[at];
    if (isNumbered(line)) {
      finish();
      const size_t end = line.find('.', 2);
      base = indentOf(line.substr(2)) + 2;
      text += text::format(".TP\n{}\n", manualBold(line.substr(0, end + 1)));
      words = trimmed(line.substr(end + 1));
      ++at;
    } else if (indentOf(line) > base && !line.empty()) {
      finish();
      text += listOf(readList(lines, &at, base));
      text += base == 0 ? ".PP\n" : ".IP\n";
    } else {
      if (line.empty()) finish();
      if (line.empty()) text += ".PP\n";
      append(&words, trimmed(line));
      ++at;
    }
  }
  finish();
  return text;
}

// ---- Declarations ----

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) append(&text, trimmed(line));
  return replaced(replaced(text, "KMHASH_API ", ""), "* ", " *");
}

bool hasMembers(const Block& block) { return joined(block.code).find('{') != std::string::npos; }
bool isMacro(const Block& block) { return block.code[0].starts_with('#'); }
bool isFunctions(const Block& block) { return !hasMembers(block) && !isMacro(block); }

// The functions and the constant of a block.
std::vector<std::string> declarationsOf(const Block& block) {
  std::vector<std::string> declarations;
  if (!isFunctions(block)) return declarations;
  std::istringstream stream(joined(block.code));
  for (std::string part; std::getline(stream, part, ';');) {
    if (!trimmed(part).empty()) declarations.push_back(trimmed(part) + ';');
  }
  return declarations;
}

std::string nameOf(const std::string& declaration) {
  const size_t end = std::min(declaration.find('('), declaration.size() - 1);
  const size_t begin = declaration.find_last_of(" *", end - 1) + 1;
  return declaration.substr(begin, end - begin);
}

// What stands between the braces of an enumeration or a structure; comments stand above a member or beside it.
std::vector<Entry> membersOf(const Block& block) {
  std::vector<Entry> members;
  std::string above;
  for (size_t at = 1; at + 1 < block.code.size(); ++at) {
    const std::string line = trimmed(block.code[at]);
    if (line.empty()) continue;
    if (line.starts_with("/*")) {
      for (const std::string& words : readComment(block.code, &at)) append(&above, trimmed(words));
      continue;
    }
    const size_t beside = std::min(line.find("/*"), line.size());
    std::string term = trimmed(line.substr(0, beside));
    if (term.ends_with(',') || term.ends_with(';')) term.pop_back();
    std::string words = line.substr(beside);
    if (!words.empty()) words = trimmed(words.substr(2, words.find("*/") - 2));
    members.push_back({replaced(term, "* ", " *"), words.empty() ? above : words});
    above.clear();
  }
  return members;
}

std::string descriptionOf(const Block& block) {
  if (block.code.empty()) return "";
  if (hasMembers(block)) {
    const std::string head = joined({block.code[0]});
    const std::string title =
        head.starts_with("enum") ? "" : text::format(".PP\n{}\n", manualBold(replaced(head, " {", "")));
    return title + ".PP\n" + textOf(block.comment) + listOf(membersOf(block));
  }
  std::string names;
  if (isMacro(block)) names = manualBold(block.code[0].substr(sizeof("#define")));
  for (const std::string& declaration : declarationsOf(block)) {
    names += (names.empty() ? "" : ", ") + manualBold(nameOf(declaration));
  }
  return text::format(".PP\n{}\n.RS\n{}.RE\n", names, textOf(block.comment));
}

}  // namespace

Interface readInterface(std::istream& header) {
  const std::vector<Section> sections = readHeader(header);
  Interface interface;
  std::string synopsis, sectionTexts;
  for (const Section& section : sections) {
    if (!section.title.empty()) sectionTexts += text::format(".SH {}\n", manualInLine(section.title));
    for (const Block& block : section.blocks) {
      if (!section.title.empty()) sectionTexts += descriptionOf(block);
      for (const std::string& declaration : declarationsOf(block)) {
        synopsis += text::format(".HP 4\n{}\n", manualBold(declaration));
        interface.names.push_back(nameOf(declaration));
      }
    }
  }
  // The opening comment without its first lines, the title and the copyright.
  const std::vector<std::string>& opening = sections[0].blocks[0].comment;
  interface.manual = manualHeading("kmhash", 3, "identity hashes of media files") +
                     ".SH SYNOPSIS\n.nh\n.ad l\n.B #include <kmhash.h>\n.PP\n" +
                     manualBold("cc ... $(pkg-config --cflags --libs kmhash)") + '\n' + synopsis + ".SH DESCRIPTION\n" +
                     textOf({opening.begin() + 4, opening.end()}) + sectionTexts + ".SH SEE ALSO\n\\fBkmhash\\fR(1)\n";
  return interface;
}

}  // namespace cli
