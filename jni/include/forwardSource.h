// What callbacks deliver that only go forward, as a source: an offset behind the one that was reached cannot be read.
#pragma once

#include "resultCode.h"

struct ForwardSource {
  KmhashSource source;
  KmhashFileCallbacks callbacks;
  void* handle;
  uint64_t position;  // of the underlying stream
};

// 0; HASHCREATE_INVALID_PARAM for an incomplete table or a size that is not told, kCannotOpen. source.user is the
// ForwardSource, which must stay where it is.
ResultCode openForwardSource(ForwardSource* forward, const char* path, const KmhashFileCallbacks* callbacks);
void closeForwardSource(ForwardSource* forward);
