// What a call takes of heap and stack. Replaces the operators new and delete, so one file of a
// program includes it.
#pragma once

#include <malloc.h>
#include <pthread.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <new>

#include "support.h"

namespace support {

// ---- The heap, watched during a call of the library ----

inline thread_local struct {
  bool watched;
  size_t live, peak;
  int taken, failing;  // the failing-th block taken is refused; 0: none
} heap;

inline void* take(size_t size) {
  if (heap.watched && ++heap.taken == heap.failing) return nullptr;
  if (heap.watched) heap.peak = std::max(heap.peak, heap.live + size);
  void* block = std::malloc(size);
  if (heap.watched && block != nullptr) heap.live += malloc_usable_size(block);
  return block;
}

inline void giveBack(void* block) {
  if (block != nullptr && heap.watched) heap.live -= malloc_usable_size(block);
  std::free(block);
}

// Runs work, which must free what it takes; its failing-th block is refused.
inline void watchHeap(const std::function<void()>& work, int failing = 0) {
  heap = {true, 0, 0, 0, failing};
  work();
  heap.watched = false;
  EXPECT_EQ(heap.live, 0u) << "memory kept";
}

// ---- The stack ----

#ifndef __has_feature
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || \
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kStackIsKnown = false;
#else
constexpr bool kStackIsKnown = true;
#endif

// Runs on a stack of painted bytes and tells how many of them were touched.
inline size_t stackOf(const std::function<void()>& work) {
  constexpr uint8_t kPaint = 0xA5;
  static std::vector<uint8_t> memory(1 << 20);
  std::fill(memory.begin(), memory.end(), kPaint);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstack(&attributes, memory.data(), memory.size());
  pthread_t thread;
  const auto start = [](void* argument) -> void* {
    (*static_cast<const std::function<void()>*>(argument))();
    return nullptr;
  };
  EXPECT_EQ(pthread_create(&thread, &attributes, start, const_cast<std::function<void()>*>(&work)),
            0);
  pthread_join(thread, nullptr);
  const auto touched =
      std::find_if(memory.begin(), memory.end(), [](uint8_t byte) { return byte != kPaint; });
  return static_cast<size_t>(memory.end() - touched);
}

}  // namespace support

// A program includes this once. NOLINTBEGIN(misc-definitions-in-headers)
void* operator new(size_t size) { return support::take(size); }
void* operator new[](size_t size) { return support::take(size); }
void* operator new(size_t size, const std::nothrow_t&) noexcept { return support::take(size); }
void* operator new[](size_t size, const std::nothrow_t&) noexcept { return support::take(size); }
void operator delete(void* block) noexcept { support::giveBack(block); }
void operator delete[](void* block) noexcept { support::giveBack(block); }
void operator delete(void* block, size_t) noexcept { support::giveBack(block); }
void operator delete[](void* block, size_t) noexcept { support::giveBack(block); }
// NOLINTEND(misc-definitions-in-headers)
