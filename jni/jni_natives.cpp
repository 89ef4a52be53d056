// The native methods of com.kelo.kmhash.Natives: the C interface with its result codes as they are, over a path or over
// a reader in Java. Nothing is thrown but what the virtual machine or the reader has thrown.

#include <jni.h>

#include <algorithm>
#include <cstdint>

#include "fileStream.h"
#include "keepErrno.h"
#include "kmhash.h"

namespace {

constexpr uint32_t kTransferSize = 16384;

jstring nameOrNull(JNIEnv* env, const char* name) { return name != nullptr ? env->NewStringUTF(name) : nullptr; }

// A Java array with a NUL at its end as a C text; null for a null array, and when memory ends, which leaves an
// exception.
class ArrayText {
 public:
  ArrayText(JNIEnv* env, jbyteArray array) : env_(env), array_(array) {
    if (array != nullptr && !env->ExceptionCheck()) bytes_ = env->GetByteArrayElements(array, nullptr);
  }
  ArrayText(const ArrayText&) = delete;
  ArrayText& operator=(const ArrayText&) = delete;
  ~ArrayText() {
    if (bytes_ != nullptr) env_->ReleaseByteArrayElements(array_, bytes_, JNI_ABORT);
  }

  const char* get() const { return reinterpret_cast<const char*>(bytes_); }

 private:
  JNIEnv* env_;
  jbyteArray array_;
  jbyte* bytes_ = nullptr;
};

// ---- What is hashed ----

// A com.kelo.kmhash.ChannelReader, for one call.
struct Reader {
  JNIEnv* env;
  jobject object;
  jmethodID readAt;
  jbyteArray transferArray;
};

int64_t readAt(void* user, uint64_t offset, void* buffer, uint32_t count) {
  const KeepErrno keepErrno;
  const Reader* reader = static_cast<const Reader*>(user);
  JNIEnv* env = reader->env;
  if (env->ExceptionCheck()) return HASHCREATE_ERROR;
  const jint wanted = static_cast<jint>(std::min(count, kTransferSize));
  const jint n =
      env->CallIntMethod(reader->object, reader->readAt, static_cast<jlong>(offset), reader->transferArray, wanted);
  if (env->ExceptionCheck()) return HASHCREATE_ERROR;
  env->GetByteArrayRegion(reader->transferArray, 0, n, static_cast<jbyte*>(buffer));
  return n;
}

// The file of one call: a path, or else a reader. What a failing look-up leaves is pending, and then neither is there.
class Input {
 public:
  Input(JNIEnv* env, jbyteArray path, jobject reader) : path_(env, path) {
    if (reader == nullptr || env->ExceptionCheck()) return;
    jclass readerClass = env->GetObjectClass(reader);
    jfieldID size = env->GetFieldID(readerClass, "size", "J");
    if (size == nullptr) return;
    reader_ = {env, reader, env->GetMethodID(readerClass, "readAt", "(J[BI)I"), nullptr};
    if (reader_.readAt != nullptr) reader_.transferArray = env->NewByteArray(kTransferSize);
    if (reader_.transferArray == nullptr) return;
    source_ = {sizeof(source_), static_cast<uint64_t>(env->GetLongField(reader, size)), &reader_, readAt};
  }

  const char* path() const { return path_.get(); }
  const KmhashSource* source() const { return source_.readAt != nullptr ? &source_ : nullptr; }

  // The same file as the functions take it that read through callbacks.
  const char* callbackPath() const { return source() != nullptr ? sourcePath(&source_) : path(); }
  const KmhashFileCallbacks* callbacks() const { return source() != nullptr ? &kSourceCallbacks : nullptr; }

 private:
  ArrayText path_;
  Reader reader_{};
  KmhashSource source_{};
};

jint putText(JNIEnv* env, int result, const char* text, jbyteArray out) {
  if (result == HASHCREATE_SUCCESS && !env->ExceptionCheck()) {
    env->SetByteArrayRegion(out, 0, KMHASH_TEXT_SIZE - 1, reinterpret_cast<const jbyte*>(text));
  }
  return result;
}

}  // namespace

extern "C" {

JNIEXPORT jstring JNICALL Java_com_kelo_kmhash_Natives_algorithmName(JNIEnv* env, jclass, jint id) {
  return nameOrNull(env, kmhashAlgorithmName(static_cast<uint32_t>(id)));
}

JNIEXPORT jstring JNICALL Java_com_kelo_kmhash_Natives_resultName(JNIEnv* env, jclass, jint code) {
  return nameOrNull(env, kmhashResultName(code));
}

JNIEXPORT jint JNICALL Java_com_kelo_kmhash_Natives_createHash(JNIEnv* env, jclass, jbyteArray path, jobject reader,
                                                               jint mode, jbyteArray text) {
  const Input input(env, path, reader);
  char hash[KMHASH_TEXT_SIZE];
  return putText(env, createHashEx(input.callbackPath(), hash, sizeof(hash), input.callbacks(), mode), hash, text);
}

JNIEXPORT jint JNICALL Java_com_kelo_kmhash_Natives_compareHash(JNIEnv* env, jclass, jbyteArray path, jobject reader,
                                                                jbyteArray hash) {
  const Input input(env, path, reader);
  const ArrayText stored(env, hash);
  return compareHash(input.callbackPath(), stored.get(), input.callbacks());
}

JNIEXPORT jint JNICALL Java_com_kelo_kmhash_Natives_hash(JNIEnv* env, jclass, jbyteArray path, jobject reader,
                                                         jint flags, jbyteArray text) {
  const Input input(env, path, reader);
  const uint32_t bits = static_cast<uint32_t>(flags);
  char hash[KMHASH_TEXT_SIZE];
  const int result = input.source() != nullptr ? kmhashHashSource(input.source(), bits, hash, sizeof(hash))
                                               : kmhashHashFile(input.path(), bits, hash, sizeof(hash));
  return putText(env, result, hash, text);
}

JNIEXPORT jint JNICALL Java_com_kelo_kmhash_Natives_verify(JNIEnv* env, jclass, jbyteArray path, jobject reader,
                                                           jbyteArray hash) {
  const Input input(env, path, reader);
  const ArrayText stored(env, hash);
  return input.source() != nullptr ? kmhashVerifySource(input.source(), stored.get())
                                   : kmhashVerifyFile(input.path(), stored.get());
}
}
