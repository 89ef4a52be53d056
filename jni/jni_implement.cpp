// The native methods of com.kelo.kmhash.KeloMediaHashGenerator: the C interface over a Java stream, with every failing
// result thrown as com.kelo.kmhash.KeloMediaHashException.

#include <jni.h>

#include <cstdint>

#include "debugLog.h"
#include "jni_inputStream.h"
#include "kmhash.h"

extern "C" KMHASH_API void printException(JNIEnv* env, jthrowable throwable);

namespace {

constexpr char kExceptionClass[] = "com/kelo/kmhash/KeloMediaHashException";
constexpr uint32_t kHashBufferSize = 256;

// ---- Results as exceptions ----

// A code without a name counts as any other failure.
const char* getErrorStr(int code) {
  const char* name = kmhashResultName(code);
  return name != nullptr ? name : kmhashResultName(HASHCREATE_ERROR);
}

// Null, with an exception of the virtual machine pending, when the object cannot be made.
jthrowable newException(JNIEnv* env, jclass exceptionClass, jmethodID constructor, int code) {
  jstring message = env->NewStringUTF(getErrorStr(code));
  if (message == nullptr) return nullptr;
  jobject exception = env->NewObject(exceptionClass, constructor, jint{code}, message);
  env->DeleteLocalRef(message);
  return static_cast<jthrowable>(exception);
}

// Throws nothing, not even what the virtual machine says of it, where the class or its constructor is missing.
void fireException(JNIEnv* env, const char* className, int code) {
  jclass exceptionClass = env->FindClass(className);
  jmethodID constructor = nullptr;
  if (exceptionClass != nullptr) constructor = env->GetMethodID(exceptionClass, "<init>", "(ILjava/lang/String;)V");
  if (constructor != nullptr) {
    jthrowable exception = newException(env, exceptionClass, constructor, code);
    if (exception != nullptr) env->Throw(exception);
    env->DeleteLocalRef(exception);
  } else {
    env->ExceptionClear();
  }
  env->DeleteLocalRef(exceptionClass);
}

// How every native ends: true when it may return result to Java, false when it has failed. An exception that the stream
// left decides before the result does, so a stream that cannot be closed fails a call whose result is 0.
bool endCall(JNIEnv* env, int result) {
  if (jthrowable pending = env->ExceptionOccurred()) {
    env->ExceptionClear();
    env->DeleteLocalRef(pending);
  } else if (result >= 0) {
    return true;
  }
  fireException(env, kExceptionClass, result);
  return false;
}

jint endWithNumber(JNIEnv* env, int result) {
  endCall(env, result);
  return result;
}

// ---- Arguments of the C interface ----

void closeStream(void* handle) { my_close(handle); }

constexpr KmhashFileCallbacks kStreamCallbacks = {my_open, my_read, my_seek, closeStream, my_fsize};

// The record of one call and the path that leads to it.
class StreamCall {
 public:
  StreamCall(JNIEnv* env, jobject caller, jobject stream, jlong size) {
    info_.size = size;
    info_.env = env;
    info_.caller = caller;
    info_.stream = stream;
    makePointerString(reinterpret_cast<long>(&info_), path_, sizeof(path_));
  }
  StreamCall(const StreamCall&) = delete;
  StreamCall& operator=(const StreamCall&) = delete;

  const char* path() const { return path_; }

 private:
  JniInfo info_{};
  char path_[kPathSize];
};

// A Java string as modified UTF-8; null when memory ends, which leaves an exception.
class JavaText {
 public:
  JavaText(JNIEnv* env, jstring string) : env_(env), string_(string) {
    if (!env->ExceptionCheck()) text_ = env->GetStringUTFChars(string, nullptr);
  }
  JavaText(const JavaText&) = delete;
  JavaText& operator=(const JavaText&) = delete;
  ~JavaText() {
    if (text_ != nullptr) env_->ReleaseStringUTFChars(string_, text_);
  }

  const char* get() const { return text_; }

 private:
  JNIEnv* env_;
  jstring string_;
  const char* text_ = nullptr;
};

// ---- The calls, up to their ending ----

using HashFunction = int (*)(const char*, char*, uint32_t, const KmhashFileCallbacks*);

jstring hashStream(JNIEnv* env, jobject caller, jobject in, jlong size, HashFunction hash) {
  char text[kHashBufferSize] = {};
  int result = HASHCREATE_INVALID_PARAM;
  if (in != nullptr) {
    StreamCall call(env, caller, in, size);
    result = hash(call.path(), text, sizeof(text), &kStreamCallbacks);
  }
  return endCall(env, result) ? env->NewStringUTF(text) : nullptr;
}

int compareStream(JNIEnv* env, jobject caller, jobject in, jlong size, jstring hash) {
  if (in == nullptr || hash == nullptr) return HASHCREATE_INVALID_PARAM;
  StreamCall call(env, caller, in, size);
  const JavaText text(env, hash);
  return compareHash(call.path(), text.get(), &kStreamCallbacks);
}

int compareTexts(JNIEnv* env, jstring hash1, jstring hash2) {
  if (hash1 == nullptr || hash2 == nullptr) return HASHCREATE_INVALID_PARAM;
  const JavaText text1(env, hash1);
  const JavaText text2(env, hash2);
  return compareBetweenHash(text1.get(), text2.get());
}

int identifyStream(JNIEnv* env, jobject caller, jobject in, jlong size) {
  if (in == nullptr) return HASHCREATE_INVALID_PARAM;
  StreamCall call(env, caller, in, size);
  return getAlgorithmId(call.path(), &kStreamCallbacks);
}

jint readText(JNIEnv* env, jstring hash, int (*reader)(const char*)) {
  int result = HASHCREATE_INVALID_PARAM;
  if (hash != nullptr) {
    const JavaText text(env, hash);
    result = reader(text.get());
  }
  return endWithNumber(env, result);
}

}  // namespace

// ---- The native methods ----

extern "C" {

JNIEXPORT jstring JNICALL Java_com_kelo_kmhash_KeloMediaHashGenerator_createHash(JNIEnv* env, jobject caller,
                                                                                 jobject in, jlong size) {
  return hashStream(env, caller, in, size, createHash);
}

JNIEXPORT jstring JNICALL Java_com_kelo_kmhash_KeloMediaHashGenerator_createQuickFileHash(JNIEnv* env, jobject caller,
                                                                                          jobject in, jlong size) {
  return hashStream(env, caller, in, size, createQuickFileHash);
}

JNIEXPORT jint JNICALL Java_com_kelo_kmhash_KeloMediaHashGenerator_compareHash(JNIEnv* env, jobject caller, jobject in,
                                                                               jlong size, jstring hash) {
  return endWithNumber(env, compareStream(env, caller, in, size, hash));
}

JNIEXPORT jint JNICALL Java_com_kelo_kmhash_KeloMediaHashGenerator_compareBetweenHash(JNIEnv* env, jobject,
                                                                                      jstring hash1, jstring hash2) {
  return endWithNumber(env, compareTexts(env, hash1, hash2));
}

JNIEXPORT jint JNICALL Java_com_kelo_kmhash_KeloMediaHashGenerator_getLibraryMajorVersion(JNIEnv*, jobject) {
  return getLibraryMajorVersion();
}

JNIEXPORT jint JNICALL Java_com_kelo_kmhash_KeloMediaHashGenerator_getLibraryMinorVersion(JNIEnv*, jobject) {
  return getLibraryMinorVersion();
}

JNIEXPORT jint JNICALL Java_com_kelo_kmhash_KeloMediaHashGenerator_getAlgorithmMajorVersion(JNIEnv* env, jobject,
                                                                                            jint algorithmId) {
  return endWithNumber(env, getAlgorithmMajorVersion(static_cast<uint32_t>(algorithmId)));
}

JNIEXPORT jint JNICALL Java_com_kelo_kmhash_KeloMediaHashGenerator_getAlgorithmMinorVersion(JNIEnv* env, jobject,
                                                                                            jint algorithmId) {
  return endWithNumber(env, getAlgorithmMinorVersion(static_cast<uint32_t>(algorithmId)));
}

JNIEXPORT jint JNICALL Java_com_kelo_kmhash_KeloMediaHashGenerator_getAlgorithmMajorVersionFromHash(JNIEnv* env,
                                                                                                    jobject,
                                                                                                    jstring hash) {
  return readText(env, hash, getAlgorithmMajorVersionFromHash);
}

JNIEXPORT jint JNICALL Java_com_kelo_kmhash_KeloMediaHashGenerator_getAlgorithmMinorVersionFromHash(JNIEnv* env,
                                                                                                    jobject,
                                                                                                    jstring hash) {
  return readText(env, hash, getAlgorithmMinorVersionFromHash);
}

JNIEXPORT jint JNICALL Java_com_kelo_kmhash_KeloMediaHashGenerator_getAlgorithmId(JNIEnv* env, jobject caller,
                                                                                  jobject in, jlong size) {
  return endWithNumber(env, identifyStream(env, caller, in, size));
}

JNIEXPORT jint JNICALL Java_com_kelo_kmhash_KeloMediaHashGenerator_getAlgorithmIdFromHash(JNIEnv* env, jobject,
                                                                                          jstring hash) {
  return readText(env, hash, getAlgorithmIdFromHash);
}

// ---- Diagnosis ----

// Traces what a throwable says of itself. Nothing here calls it; no exception may be pending.
void printException(JNIEnv* env, jthrowable throwable) {
  jclass throwableClass = env->FindClass("java/lang/Throwable");
  if (throwableClass == nullptr) return;
  jmethodID toString = env->GetMethodID(throwableClass, "toString", "()Ljava/lang/String;");
  env->DeleteLocalRef(throwableClass);
  if (toString == nullptr) return;
  auto* text = static_cast<jstring>(env->CallObjectMethod(throwable, toString));
  if (env->ExceptionCheck() || text == nullptr) return;
  {
    const JavaText characters(env, text);
    if (characters.get() != nullptr) DEBUG_LOG("%s:%s\n", __func__, characters.get());
  }
  env->DeleteLocalRef(text);
}
}
