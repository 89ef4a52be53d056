// Lists of hashes: the lines that `kmhash hash` writes and `kmhash check` reads.
//
//   list  = { line end }
//   line  = hash "  " path            128 characters, two spaces, the path
//         | "\" hash "  " escaped     when the path holds a backslash, newline or carriage return: \\ \n \r
//         | "#" anything | nothing    passed over
//   end   = newline, or carriage return and newline
// With NUL as the end nothing is escaped, and nothing but an empty line is passed over.
#pragma once

#include <string>
#include <string_view>

namespace cli {

enum class LineEnd : char { newline = '\n', nul = '\0' };

// The line for a file, its end included.
std::string listLine(std::string_view hash, std::string_view path, LineEnd end);

struct ListLine {
  enum class Kind { entry, passedOver, malformed };
  Kind kind = Kind::passedOver;
  std::string hash;    // of an entry: written form
  std::string path;    // of an entry
  std::string reason;  // of a malformed line, in words
};

// Takes a line apart. It has no end; any bytes may stand in it.
ListLine parseListLine(std::string_view line, LineEnd end);

// A path as it stands in a line: its start gets a backslash when something in it must be escaped.
bool needsEscape(std::string_view path);
std::string escaped(std::string_view path);

}  // namespace cli
