#include "jni_inputStream.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "debugLog.h"
#include "keepErrno.h"

namespace {

constexpr jsize kTransferSize = 512;

struct MethodName {
  const char* name;
  const char* signature;
};

constexpr MethodName kMethods[kStreamMethodCount] = {
    {"available", "()I"},
    {"read", "([BII)I"},
    {"skip", "(J)J"},
    {"close", "()V"},
};

JniInfo* infoOf(void* handle) { return static_cast<JniInfo*>(handle); }

// What skip() claims and the size that a caller states are not to be trusted, so sums and differences may wrap.
void advance(JniInfo* info, int64_t count) {
  info->position = static_cast<int64_t>(static_cast<uint64_t>(info->position) + static_cast<uint64_t>(count));
}

int64_t remainingOf(const JniInfo* info) {
  return static_cast<int64_t>(static_cast<uint64_t>(info->size) - static_cast<uint64_t>(info->position));
}

// Copies count bytes out of the transfer array. false when the virtual machine has no memory for that.
bool takeTransferred(JniInfo* info, void* buffer, jint count) {
  jbyte* bytes = info->env->GetByteArrayElements(info->transferArray, nullptr);
  if (bytes == nullptr) return false;
  std::memcpy(buffer, bytes, static_cast<size_t>(count));
  info->env->ReleaseByteArrayElements(info->transferArray, bytes, 0);
  return true;
}

}  // namespace

// ---- The record as a path ----

static_assert(sizeof(long) == sizeof(void*), "a path holds an address as a long");

int makePointerString(long value, char* text, size_t capacity) { return std::snprintf(text, capacity, "%ld", value); }

void* makePointer(const char* text) { return std::bit_cast<void*>(std::atol(text)); }

JniInfo* makeJniInfoPointer(const char* text) { return static_cast<JniInfo*>(makePointer(text)); }

// ---- The stream's class ----

int isValidClass(JNIEnv* env, const char* className, jobject object) {
  if (object == nullptr) return 0;
  jclass wanted = env->FindClass(className);
  if (wanted == nullptr) return 0;
  const int result = env->IsInstanceOf(object, wanted) == JNI_TRUE ? 1 : 0;
  env->DeleteLocalRef(wanted);
  return result;
}

int inputStreamSetup(JNIEnv* env, jobject stream, jmethodID* methodIds) {
  if (isValidClass(env, "java/io/InputStream", stream) == 0) return -1;
  jclass streamClass = env->GetObjectClass(stream);  // goes with the native's frame
  for (int i = 0; i < kStreamMethodCount; ++i) {
    methodIds[i] = env->GetMethodID(streamClass, kMethods[i].name, kMethods[i].signature);
    if (methodIds[i] == nullptr) return -1;
  }
  return 0;
}

// ---- The callbacks ----

void* my_open(const char* path) {
  const KeepErrno keepErrno;
  JniInfo* info = makeJniInfoPointer(path);
  if (inputStreamSetup(info->env, info->stream, info->methodIds) != 0) return nullptr;
  info->transferArray = info->env->NewByteArray(kTransferSize);
  return info->transferArray != nullptr ? info : nullptr;
}

uint32_t my_read(void* buffer, uint32_t size, void* handle) {
  const KeepErrno keepErrno;
  JniInfo* info = infoOf(handle);
  JNIEnv* env = info->env;
  if (env->ExceptionCheck()) return 0;
  const auto capacity = static_cast<uint32_t>(env->GetArrayLength(info->transferArray));
  const auto count = static_cast<jint>(std::min(size, capacity));
  const jint result = env->CallIntMethod(info->stream, info->methodIds[kRead], info->transferArray, 0, count);
  if (jthrowable thrown = env->ExceptionOccurred()) {
    env->DeleteLocalRef(thrown);
    info->exceptionFlags |= kReadThrew;
    return 0;
  }
  // A stream that claims more than it was asked for is broken, and so is what it put into the array.
  if (result <= 0 || result > count) return 0;
  if (!takeTransferred(info, buffer, result)) {
    info->exceptionFlags |= kReadThrew;
    return 0;
  }
  advance(info, result);
  return static_cast<uint32_t>(result);
}

int my_seek(int64_t offset, int /*mode*/, void* handle) {
  const KeepErrno keepErrno;
  JniInfo* info = infoOf(handle);
  JNIEnv* env = info->env;
  if (env->ExceptionCheck()) return -1;
  for (int64_t remaining = offset;;) {
    const jlong skipped = env->CallLongMethod(info->stream, info->methodIds[kSkip], jlong{remaining});
    if (jthrowable thrown = env->ExceptionOccurred()) {
      env->ExceptionClear();
      env->DeleteLocalRef(thrown);
      info->exceptionFlags |= kSkipThrew;
      return -1;
    }
    if (skipped < 1) return -1;
    advance(info, skipped);
    if (skipped == remaining) return 0;
    if (skipped > remaining) return -1;  // past the target: no further skip leads back to it
    remaining -= skipped;
  }
}

int my_close(void* handle) {
  const KeepErrno keepErrno;
  JniInfo* info = infoOf(handle);
  JNIEnv* env = info->env;
  const int64_t remaining = remainingOf(info);
  if (isExcetpionOccured(info) == 0 && remaining > 0) my_seek(remaining, 1, info);
  jthrowable earlier = env->ExceptionOccurred();
  if (earlier != nullptr) env->ExceptionClear();
  env->CallVoidMethod(info->stream, info->methodIds[kClose]);
  if (earlier != nullptr) {
    if (!env->ExceptionCheck()) env->Throw(earlier);
    env->DeleteLocalRef(earlier);
  }
  int result = 0;
  if (jthrowable thrown = env->ExceptionOccurred()) {
    env->DeleteLocalRef(thrown);
    result = -1;
  }
  env->DeleteLocalRef(info->transferArray);
  return result;
}

int64_t my_fsize(const char* /*path*/, void* handle) { return infoOf(handle)->size; }

int isExcetpionOccured(const void* handle) { return static_cast<const JniInfo*>(handle)->exceptionFlags != 0 ? 1 : 0; }

int printCharArray(const char* text) {
  int length = 0;
  for (; text[length] != '\0'; ++length) DEBUG_LOG("%s:[%d]=%c\n", __func__, length, text[length]);
  return length;
}
