#include "recordReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "kmhash.h"

namespace cli {

bool isRegularFile(const std::string& path) {
  struct stat status {};
  return path != "-" && stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

RecordReader::RecordReader(const std::string& path, char end)
    : end_(end), descriptor_(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)), buffer_(65536) {
  if (descriptor_ < 0) error_ = errno;
}

RecordReader::~RecordReader() {
  if (descriptor_ > STDIN_FILENO) close(descriptor_);
}

bool RecordReader::next(std::string* record) {
  record->clear();
  bool any = false;
  while (!held_.empty() || refill()) {
    any = true;
    const size_t length = std::min(held_.find(end_), held_.size());
    record->append(held_.substr(0, std::min(length, kLongest - record->size())));
    const bool complete = length < held_.size();
    held_.remove_prefix(complete ? length + 1 : length);
    if (complete) return true;
  }
  return any && error_ == 0;
}

Failure RecordReader::failure() const {
  if (error_ == 0) return {};
  return systemFailure(descriptor_ < 0 ? HASHCREATE_FILE_NOTFOUND : HASHCREATE_READ_ERROR, error_);
}

bool RecordReader::refill() {
  ssize_t count = -1;
  while (error_ == 0 && count < 0) {
    count = read(descriptor_, buffer_.data(), buffer_.size());
    if (count < 0 && errno != EINTR) error_ = errno;
  }
  if (count <= 0) return false;
  held_ = {buffer_.data(), static_cast<size_t>(count)};
  return true;
}

}  // namespace cli
