// Reads a file or standard input record by record: lines, or names that end with NUL.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "hashFile.h"

namespace cli {

// Whether it can be read twice: no pipe, and not "-".
bool isRegularFile(const std::string& path);

class RecordReader {
 public:
  // A longer record is cut: no path that a system takes is as long, and memory has an end.
  static constexpr size_t kLongest = 65536;

  // "-" is standard input.
  RecordReader(const std::string& path, char end);
  ~RecordReader();
  RecordReader(const RecordReader&) = delete;
  RecordReader& operator=(const RecordReader&) = delete;

  // The next record without its end; false when there is none, or after a failure. The last record may lack its end.
  bool next(std::string* record);

  // Why opening or reading failed; code 0 when it did not.
  Failure failure() const;

 private:
  bool refill();

  const char end_;
  int descriptor_;
  int error_ = 0;  // errno
  std::vector<char> buffer_;
  std::string_view held_;  // what of the buffer is yet to be delivered
};

}  // namespace cli
