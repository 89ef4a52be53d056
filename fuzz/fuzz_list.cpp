// Reads the input as a list of hashes, line by line, and writes every entry again: what is read back must be the same.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "hashList.h"

namespace {

using cli::LineEnd;
using cli::ListLine;

void check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", what);
  std::abort();
}

void readLine(std::string_view line, LineEnd end) {
  const ListLine read = cli::parseListLine(line, end);
  check((read.kind == ListLine::Kind::malformed) == !read.reason.empty(), "a malformed line has a reason");
  if (read.kind != ListLine::Kind::entry) return;
  check(!read.path.empty(), "an entry has a path");

  const std::string written = cli::listLine(read.hash, read.path, end);
  check(written.back() == static_cast<char>(end), "a line is ended");
  check(written.find(static_cast<char>(end)) == written.size() - 1, "a line is one line");
  const ListLine again = cli::parseListLine(std::string_view(written).substr(0, written.size() - 1), end);
  check(again.kind == ListLine::Kind::entry && again.hash == read.hash && again.path == read.path,
        "read back the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const LineEnd end = data[0] % 2 == 0 ? LineEnd::newline : LineEnd::nul;
  std::string_view list(reinterpret_cast<const char*>(data) + 1, size - 1);
  while (!list.empty()) {
    const size_t length = list.find(static_cast<char>(end));
    readLine(list.substr(0, length), end);
    list.remove_prefix(length == std::string_view::npos ? list.size() : length + 1);
  }
  return 0;
}
