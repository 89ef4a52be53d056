// The native methods of com.kelo.kmhash.Natives: the C interface with its result codes as they are. Nothing is thrown
// but what the virtual machine has thrown.

#include <jni.h>

#include <cstdint>

#include "kmhash.h"

namespace {

jstring nameOrNull(JNIEnv* env, const char* name) { return name != nullptr ? env->NewStringUTF(name) : nullptr; }

}  // namespace

extern "C" {

JNIEXPORT jstring JNICALL Java_com_kelo_kmhash_Natives_algorithmName(JNIEnv* env, jclass, jint id) {
  return nameOrNull(env, kmhashAlgorithmName(static_cast<uint32_t>(id)));
}

JNIEXPORT jstring JNICALL Java_com_kelo_kmhash_Natives_resultName(JNIEnv* env, jclass, jint code) {
  return nameOrNull(env, kmhashResultName(code));
}
}
