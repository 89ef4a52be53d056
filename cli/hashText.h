// Hash texts as the command reads and writes them.
//
// The written form is the library's text of 128 characters with a dot in place of each NUL: a file that is recognised
// but holds no media (an ID3 tag with nothing behind it, say) leaves labels unset, and the library's text has NULs
// there. All functions below take the written form.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace cli {

inline constexpr size_t kHashLength = 128;

// The written form of the text that the library put into a buffer.
std::string writtenForm(const char* libraryText);

// The written form of a text that a user gives, hex digits in upper case; nothing when it is no hash text, and then
// reason says why not.
std::optional<std::string> readHashText(std::string_view text, std::string* reason);

// The difference flags that the library gives for two hashes.
int differenceFlags(const std::string& a, const std::string& b);

struct Difference {
  int flag;
  const char* name;
};
extern const Difference kDifferences[5];

// "content, meta" for the flags of these two.
std::string differenceNames(int flags);

bool isQuick(const std::string& hash);
bool isWhole(const std::string& hash);

// Whether a newer kmhash wrote it: its version, algorithm or mark is not known here.
bool isNewer(const std::string& hash);  // false for an empty text

// Whether a label was never set.
bool lacksLabels(const std::string& hash);

// A hash text taken apart. A label that was never set is empty and its algorithm id -1.
struct HashFields {
  std::string version;     // "3.0"
  std::string fileType;    // "PHOTO"; bytes that are no printable ASCII characters as \xNN
  std::string content;     // 40 hex digits
  std::string meta;        // 40 hex digits
  std::string formatType;  // "JPEG", as fileType
  int algorithmId = -1;
  std::string filler;  // with the mark of a whole hash
};
HashFields fieldsOf(const std::string& hash);

// "JPEG" for 1; "unknown" for an id that this version has no name for.
const char* algorithmName(int id);

// The version that new hashes of an algorithm carry, sampled or of every byte: "3.0"; empty when there is none.
std::string algorithmVersion(int id, bool whole);

}  // namespace cli
