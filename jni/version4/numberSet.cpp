#include "version4/numberSet.h"

namespace version4 {
namespace {

// Goes down to the number, or to the node below which it belongs, and tells on which side.
bool search(const NumberSet& set, uint64_t number, uint32_t* index, uint32_t* side) {
  *index = 0;
  for (uint64_t bits = number;; bits >>= 1) {
    const NumberNode& node = set.nodes[*index];
    if (node.number == number) return true;
    *side = bits & 1;
    if (node.below[*side] == 0) return false;
    *index = node.below[*side];
  }
}

}  // namespace

bool findNumber(const NumberSet& set, uint64_t number, uint32_t* index) {
  uint32_t side = 0;
  return set.nodes.size > 0 && search(set, number, index, &side);
}

bool addNumber(NumberSet* set, uint64_t number, uint32_t* index) {
  const uint32_t added = static_cast<uint32_t>(set->nodes.size);
  uint32_t side = 0;
  if (added > 0 && search(*set, number, index, &side)) return true;
  if (!append(&set->nodes, {number, {0, 0}})) return false;
  if (added > 0) set->nodes[*index].below[side] = added;
  *index = added;
  return true;
}

// ---- Lists ----

uint32_t firstLink(const NumberLists& lists, uint64_t number) {
  uint32_t index = 0;
  return findNumber(lists.numbers, number, &index) ? lists.ends[index].first : kNoLink;
}

bool appendTo(NumberLists* lists, uint64_t number, uint32_t value) {
  const uint32_t link = static_cast<uint32_t>(lists->links.size);
  uint32_t index = 0;
  if (!addNumber(&lists->numbers, number, &index)) return false;
  if (!append(&lists->links, {value, kNoLink})) return false;
  if (index == lists->ends.size) return append(&lists->ends, {link, link});
  lists->links[lists->ends[index].last].next = link;
  lists->ends[index].last = link;
  return true;
}

}  // namespace version4
