#include "fileSource.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

namespace {

int64_t readAt(void* user, uint64_t offset, void* buffer, uint32_t count) {
  if (offset > static_cast<uint64_t>(std::numeric_limits<off_t>::max())) return 0;
  const FileSource* file = static_cast<const FileSource*>(user);
  for (;;) {
    const ssize_t n = ::pread(file->descriptor, buffer, count, static_cast<off_t>(offset));
    if (n >= 0 || errno != EINTR) return n;
  }
}

bool isRegularFile(const char* path) {
  struct stat status;
  return ::stat(path, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

int openForReading(const char* path) {
  constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOCTTY;
  int descriptor;
  do {
    descriptor = ::open(path, kFlags | O_NONBLOCK);
    // The system takes the lease back.
    if (descriptor < 0 && errno == EWOULDBLOCK && isRegularFile(path)) descriptor = ::open(path, kFlags);
  } while (descriptor < 0 && errno == EINTR);
  return descriptor;
}

int64_t sizeOf(int descriptor) {
  struct stat status;
  return ::fstat(descriptor, &status) == 0 ? status.st_size : -1;
}

bool openFileSource(FileSource* file, const char* path) {
  file->descriptor = openForReading(path);
  if (file->descriptor < 0) return false;
  const int64_t size = sizeOf(file->descriptor);
  if (size < 0) {
    closeFileSource(file);
    return false;
  }
  file->source = {sizeof(KmhashSource), static_cast<uint64_t>(size), file, readAt};
  return true;
}

void closeFileSource(FileSource* file) { ::close(file->descriptor); }

int descriptorOf(const KmhashSource& source) {
  return source.readAt == readAt ? static_cast<const FileSource*>(source.user)->descriptor : -1;
}
