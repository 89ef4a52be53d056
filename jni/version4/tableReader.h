// Reads a table through a piece of its own, larger than the source's windows: tables that are walked side by side do
// not push each other out of the windows, and a long one does not cost a read per window.
#pragma once

#include <memory>

#include "version4/source.h"

namespace version4 {

struct TableReader {
  Source* source = nullptr;
  uint64_t end = 0;  // nothing behind it is fetched
  std::unique_ptr<uint8_t[]> piece;
  uint32_t capacity = 0;  // of the piece; 0: all reads go through the windows
  uint64_t start = 0;     // of what the piece holds
  uint32_t length = 0;
};

// For a table of the file between two offsets. A short one takes no memory, and where memory is short the windows do.
TableReader readerOf(Source* source, uint64_t begin, uint64_t end);

// For whatever stands anywhere in the file, through the windows.
TableReader readerOf(Source* source);

// As readBytes of a source.
ResultCode readBytes(TableReader* reader, uint64_t offset, void* destination, uint32_t count);

}  // namespace version4
