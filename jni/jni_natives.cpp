// The native methods of com.kelo.kmhash.Natives: the C interface with its result codes as they are. Nothing is thrown
// but what the virtual machine has thrown.

#include <jni.h>

#include <cstdint>

#include "kmhash.h"

namespace {

jstring nameOrNull(JNIEnv* env, const char* name) { return name != nullptr ? env->NewStringUTF(name) : nullptr; }

// A Java array with a NUL at its end as a C text; null when memory ends, which leaves an exception.
class ArrayText {
 public:
  ArrayText(JNIEnv* env, jbyteArray array)
      : env_(env), array_(array), bytes_(env->GetByteArrayElements(array, nullptr)) {}
  ArrayText(const ArrayText&) = delete;
  ArrayText& operator=(const ArrayText&) = delete;
  ~ArrayText() {
    if (bytes_ != nullptr) env_->ReleaseByteArrayElements(array_, bytes_, JNI_ABORT);
  }

  const char* get() const { return reinterpret_cast<const char*>(bytes_); }

 private:
  JNIEnv* env_;
  jbyteArray array_;
  jbyte* bytes_;
};

jint putText(JNIEnv* env, int result, const char* text, jbyteArray out) {
  if (result == HASHCREATE_SUCCESS) {
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

JNIEXPORT jint JNICALL Java_com_kelo_kmhash_Natives_createHash(JNIEnv* env, jclass, jbyteArray path, jint mode,
                                                               jbyteArray text) {
  const ArrayText name(env, path);
  char hash[KMHASH_TEXT_SIZE];
  return putText(env, createHashEx(name.get(), hash, sizeof(hash), nullptr, mode), hash, text);
}

JNIEXPORT jint JNICALL Java_com_kelo_kmhash_Natives_compareHash(JNIEnv* env, jclass, jbyteArray path, jbyteArray hash) {
  const ArrayText name(env, path);
  const ArrayText stored(env, hash);
  return compareHash(name.get(), stored.get(), nullptr);
}
}
