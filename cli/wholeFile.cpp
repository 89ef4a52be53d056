#include "wholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace cli {
namespace {

bool writeAndClose(int descriptor, std::string_view bytes) {
  bool isWritten = true;
  while (isWritten && !bytes.empty()) {
    const ssize_t count = write(descriptor, bytes.data(), bytes.size());
    if (count > 0) bytes.remove_prefix(static_cast<size_t>(count));
    isWritten = count > 0 || errno == EINTR;
  }
  isWritten = isWritten && fsync(descriptor) == 0;
  const int error = errno;
  const bool isClosed = close(descriptor) == 0;
  if (!isWritten) errno = error;
  return isWritten && isClosed;
}

bool writeAndRename(const std::string& part, const std::string& path, std::string_view bytes) {
  unlink(part.c_str());  // of a program with this number that was killed
  const int descriptor = open(part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (descriptor < 0) return false;
  if (writeAndClose(descriptor, bytes) && rename(part.c_str(), path.c_str()) == 0) return true;
  const int error = errno;
  unlink(part.c_str());
  errno = error;
  return false;
}

}  // namespace

bool canMakeFile(const std::string& path) {
  const size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  return access(folder.c_str(), W_OK | X_OK) == 0;
}

bool writeWholeFile(const std::string& path, std::string_view bytes, Output& output) {
  struct stat there {};
  if (stat(path.c_str(), &there) == 0 && !S_ISREG(there.st_mode)) {  // a device or a pipe would be gone
    errno = S_ISDIR(there.st_mode) ? EISDIR : EINVAL;
    return false;
  }
  const std::string part = path + '.' + std::to_string(getpid()) + ".part";
  output.callBeforeEnd([part] { unlink(part.c_str()); });
  const bool isWritten = writeAndRename(part, path, bytes);
  const int error = errno;
  output.callBeforeEnd({});
  errno = error;
  return isWritten;
}

}  // namespace cli
