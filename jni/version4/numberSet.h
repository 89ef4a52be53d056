// Numbers that a file names: offsets, ids. Each is held once, in order of arrival, and no file can make a search take
// more steps than a number has bits.
#pragma once

#include <cstdint>

#include "growingList.h"

namespace version4 {

// A search tree: at each level another bit of the number looked for decides.
struct NumberNode {
  uint64_t number;
  uint32_t below[2];  // indices, 0: none
};

struct NumberSet {
  GrowingList<NumberNode> nodes;
};

inline size_t sizeOf(const NumberSet& set) { return set.nodes.size; }
inline uint64_t numberAt(const NumberSet& set, size_t index) { return set.nodes[index].number; }

// False when the set has not got it.
bool findNumber(const NumberSet& set, uint64_t number, uint32_t* index);

// Adds it unless it is there. False when memory ends.
bool addNumber(NumberSet* set, uint64_t number, uint32_t* index);

// ---- Lists of values, each under a number ----

struct Link {
  uint32_t value;
  uint32_t next;  // index in links, or kNoLink
};

inline constexpr uint32_t kNoLink = UINT32_MAX;

struct NumberLists {
  struct Ends {
    uint32_t first, last;
  };

  NumberSet numbers;
  GrowingList<Ends> ends;  // of each number's list
  GrowingList<Link> links;
};

// The first link of a number's list, kNoLink when it has none.
uint32_t firstLink(const NumberLists& lists, uint64_t number);

// False when memory ends.
bool appendTo(NumberLists* lists, uint64_t number, uint32_t value);

}  // namespace version4
