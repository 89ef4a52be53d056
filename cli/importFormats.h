// The lines that import reads: lists of hashes, JSON objects, comma-separated values.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "hashList.h"
#include "importer.h"

namespace cli {

struct ImportLine {
  size_t number = 0;  // from 1 on
  catalogue::ImportedFile file;
  std::string reason;  // why it is none, in words; empty: it is one
};

// Which of them they are, each line tells: an object begins with {, and values follow a line of names.
class ImportReader {
 public:
  ImportReader(std::function<bool(std::string*)> nextLine, LineEnd end);

  // False at the end. Lines that say nothing are passed over.
  bool next(ImportLine* line);

 private:
  bool readLine(std::string* line);
  bool takeValues(const std::string& text, ImportLine* line);
  std::string realPath(const std::string& path);  // absolute, without symbolic links, as a scan records it

  const std::function<bool(std::string*)> nextLine_;
  const LineEnd end_;
  size_t number_ = 0;
  std::vector<std::string> columns_;           // of values; none: not met yet
  std::filesystem::path folder_, realFolder_;  // the last one, and what it stands for
};

}  // namespace cli
