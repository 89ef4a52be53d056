#include "wholeFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace cli {
namespace {

bool writeAndClose(int descriptor, std::string_view bytes) {
  bool isWritten = true;
  while (isWritten && !bytes.empty()) {
    const ssize_t count = write(descriptor, bytes.data(), bytes.size());
    if (count > 0) bytes.remove_prefix(static_cast<size_t>(count));
    isWritten = count > 0 || errno == EINTR;
  }
  const mode_t mask = umask(0);
  umask(mask);
  isWritten = isWritten && fchmod(descriptor, 0666 & ~mask) == 0;
  const int error = errno;
  const bool isClosed = close(descriptor) == 0;
  if (!isWritten) errno = error;
  return isWritten && isClosed;
}

}  // namespace

bool canMakeFile(const std::string& path) {
  const size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  return access(folder.c_str(), W_OK | X_OK) == 0;
}

bool writeWholeFile(const std::string& path, std::string_view bytes) {
  struct stat there {};
  if (stat(path.c_str(), &there) == 0 && !S_ISREG(there.st_mode)) {  // a device or a pipe would be gone
    errno = S_ISDIR(there.st_mode) ? EISDIR : EINVAL;
    return false;
  }
  std::string part = path + ".XXXXXX";
  const int descriptor = mkstemp(part.data());
  if (descriptor < 0) return false;
  if (writeAndClose(descriptor, bytes) && rename(part.c_str(), path.c_str()) == 0) return true;
  const int error = errno;
  unlink(part.c_str());
  errno = error;
  return false;
}

}  // namespace cli
