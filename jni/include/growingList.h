// A list that grows as it is filled: only what a file really holds costs memory, however much it claims to hold.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

template <typename Value>
struct GrowingList {
  std::unique_ptr<Value[]> values;
  size_t size = 0;
  size_t capacity = 0;
};

// False when memory ends; the list is then as it was.
template <typename Value>
bool append(GrowingList<Value>* list, const Value& value) {
  if (list->size == list->capacity) {
    if (list->capacity > SIZE_MAX / sizeof(Value) / 2) return false;
    const size_t capacity = list->capacity == 0 ? 16 : 2 * list->capacity;
    std::unique_ptr<Value[]> larger(new (std::nothrow) Value[capacity]);
    if (larger == nullptr) return false;
    std::copy_n(list->values.get(), list->size, larger.get());
    list->values = std::move(larger);
    list->capacity = capacity;
  }
  list->values[list->size++] = value;
  return true;
}
