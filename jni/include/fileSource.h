// Files of the file system as sources, and sources as what callbacks open.
#pragma once

#include "fileStream.h"

struct FileSource {
  KmhashSource source;
  int descriptor;
};

// False when the file cannot be opened or has no size. source.user is the FileSource, which must stay where it is.
bool openFileSource(FileSource* file, const char* path);
void closeFileSource(FileSource* file);

// A descriptor, or -1. A pipe without a writer does not hang; a file on which another process holds a lease is waited
// for.
int openForReading(const char* path);

// The size in bytes, 0 for what is no regular file, -1 when the system does not tell.
int64_t sizeOf(int descriptor);

// The descriptor of a source that is a FileSource, else -1.
int descriptorOf(const KmhashSource& source);

// Callbacks over a source, whose path is sourcePath(source).
extern const KmhashFileCallbacks kSourceCallbacks;
inline const char* sourcePath(const KmhashSource* source) { return reinterpret_cast<const char*>(source); }
inline const KmhashSource* sourceOf(const char* path) { return reinterpret_cast<const KmhashSource*>(path); }
