// A list that grows as it is filled, a block at a time: only what a file really holds costs memory, however much it
// claims to hold, and no value is held twice while the list grows.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

template <typename Value>
struct GrowingList {
  static constexpr size_t kBlockSize = 1024 / sizeof(Value);
  using Block = std::unique_ptr<Value[]>;

  std::unique_ptr<Block[]> blocks;
  size_t capacity = 0;  // of blocks
  size_t size = 0;      // values

  Value& operator[](size_t index) const { return blocks[index / kBlockSize][index % kBlockSize]; }
};

// False when memory ends; the values are then as they were.
template <typename Value>
bool append(GrowingList<Value>* list, Value value) {
  using Block = typename GrowingList<Value>::Block;
  const size_t block = list->size / list->kBlockSize;
  if (block == list->capacity) {
    const size_t capacity = block == 0 ? 4 : 2 * block;
    std::unique_ptr<Block[]> larger(new (std::nothrow) Block[capacity]);
    if (larger == nullptr) return false;
    std::move(list->blocks.get(), list->blocks.get() + block, larger.get());
    list->blocks = std::move(larger);
    list->capacity = capacity;
  }
  if (list->size % list->kBlockSize == 0) {
    list->blocks[block].reset(new (std::nothrow) Value[list->kBlockSize]);
    if (list->blocks[block] == nullptr) return false;
  }
  (*list)[list->size++] = std::move(value);
  return true;
}
