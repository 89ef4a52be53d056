// The file callbacks over a java.io.InputStream. A Java caller has no file, so the record of its call takes the file's
// place: the path handed to the C interface is the record's address in decimal.
//
// What read() throws stays pending until the native method ends, and then fails the call whatever its result. JNI
// forbids nearly every call meanwhile, so a stream that has thrown is asked for nothing more: reads deliver nothing,
// moves fail. Only close() must still be called; the exception is put aside for it and comes back.
#pragma once

#include <jni.h>

#include <cstddef>
#include <cstdint>

#include "kmhash.h"

// The stream's methods, in the order in which they are looked up.
enum StreamMethod { kAvailable, kRead, kSkip, kClose, kStreamMethodCount };

inline constexpr uint32_t kReadThrew = 1;
inline constexpr uint32_t kSkipThrew = 2;

// One call of a native method, on that method's stack.
struct JniInfo {
  int64_t size;      // as the Java caller states it, the stream's available() is never asked
  int64_t position;  // bytes read or skipped so far
  JNIEnv* env;
  jobject caller;
  jobject stream;
  jbyteArray transferArray;
  jmethodID methodIds[kStreamMethodCount];
  uint32_t exceptionFlags;  // kReadThrew, kSkipThrew
};

// ---- The record as a path ----

inline constexpr size_t kPathSize = 24;

// Returns what snprintf returns.
int makePointerString(long value, char* text, size_t capacity);
void* makePointer(const char* text);
JniInfo* makeJniInfoPointer(const char* text);

// ---- The stream's class ----

// 1 when object is an instance of the class, else 0.
int isValidClass(JNIEnv* env, const char* className, jobject object);

// 0, or -1 when stream is no InputStream; a failing look-up leaves its exception pending.
int inputStreamSetup(JNIEnv* env, jobject stream, jmethodID* methodIds);

// ---- The callbacks ----

void* my_open(const char* path);
uint32_t my_read(void* buffer, uint32_t size, void* handle);

// Always relative to the current position, and only forwards. 0 or -1.
int my_seek(int64_t offset, int mode, void* handle);

// Skips to the stated end unless the stream has thrown, then closes the stream. 0, or -1 when that leaves an exception.
int my_close(void* handle);
int64_t my_fsize(const char* path, void* handle);

// 1 when a read or a skip has thrown, else 0.
int isExcetpionOccured(const void* handle);

// Traces a text character by character. Returns its length.
int printCharArray(const char* text);
