// The stream inside a call, for tests of what works on it.
#pragma once

#include "hashRecord.h"
#include "support.h"

namespace support {

// An open stream over a file, of pattern bytes if only a size is given, the first 200 of them
// buffered as a call does.
struct OpenStream : Stream {
  explicit OpenStream(size_t size, int32_t mode = KMHASH_MODE_NORMAL)
      : OpenStream(Bytes().pattern(size), mode) {}
  explicit OpenStream(const Bytes& bytes, int32_t mode = KMHASH_MODE_NORMAL)
      : Stream{}, file(bytes) {
    SHA1Reset(&contentSha1);
    SHA1Reset(&metaSha1);
    hashMode = mode;
    c_init_callback(this, support::callbacks());
    c_open(this, file.path());
    c_fsize(this, file.path());
    clear_read_buff(&readBuffer);
    EXPECT_EQ(c_set_buffer(this, first, sizeof(first)), 0);
    file.calls.clear();
  }
  Bytes next(uint32_t count) {
    Bytes bytes(count);
    bytes.resize(c_hybrid_read(this, bytes.data(), count));
    return bytes;
  }
  std::string content() {
    char text[41];
    SHA1Result(&contentSha1);
    getContentHashStr(this, sizeof(text), text);
    return text;
  }
  std::string meta() {
    char text[41];
    SHA1Result(&metaSha1);
    getMetaHashStr(this, sizeof(text), text);
    return text;
  }
  MemoryFile file;
  uint8_t first[kReadBufferSize] = {};
};

}  // namespace support
