#include "forwardSource.h"

#include <cerrno>
#include <limits>

#include "resultCode.h"

namespace {

constexpr int64_t kSizeFailed = -255;

// A callback failed and left this errno.
int64_t failureOf(int error) { return error == 0 ? HASHCREATE_SEEK_ERROR : convertError(error); }

int64_t readAt(void* user, uint64_t offset, void* buffer, uint32_t count) {
  ForwardSource* forward = static_cast<ForwardSource*>(user);
  if (offset < forward->position) return HASHCREATE_SEEK_ERROR;
  errno = 0;
  if (offset > forward->position) {
    const int64_t distance = static_cast<int64_t>(offset - forward->position);
    if (forward->callbacks.seek(distance, 1, forward->handle) != 0) return failureOf(errno);
    forward->position = offset;
  }
  const uint32_t n = forward->callbacks.read(buffer, count, forward->handle);
  if (n == 0 && errno != 0) return failureOf(errno);
  if (n > count) return 0;  // it claims what it was not asked for
  forward->position += n;
  return n;
}

bool isComplete(const KmhashFileCallbacks& table) {
  return table.open && table.read && table.seek && table.close && table.size;
}

}  // namespace

ResultCode openForwardSource(ForwardSource* forward, const char* path, const KmhashFileCallbacks* callbacks) {
  if (!isComplete(*callbacks)) return HASHCREATE_INVALID_PARAM;
  forward->callbacks = *callbacks;
  forward->position = 0;
  forward->handle = callbacks->open(path);
  if (forward->handle == nullptr) return kCannotOpen;
  const int64_t size = callbacks->size(path, forward->handle);
  if (size == kSizeFailed) {
    closeForwardSource(forward);
    return HASHCREATE_INVALID_PARAM;
  }
  // Any other negative answer stands for a source of unknown length.
  const uint64_t known = static_cast<uint64_t>(size < 0 ? std::numeric_limits<int64_t>::max() : size);
  forward->source = {sizeof(KmhashSource), known, forward, readAt};
  return HASHCREATE_SUCCESS;
}

void closeForwardSource(ForwardSource* forward) { forward->callbacks.close(forward->handle); }
