// Boxes (ISO/IEC 14496-12): size:u32be type:u8[4] body. A size of 1 stands for 64 bits behind the type, a size of 0 for
// all that is left of the file or of the box around it.
#pragma once

#include "version4/algorithms.h"

namespace version4 {

inline constexpr uint32_t kBoxHeader = 8;

enum class BoxState {
  whole,
  cut,        // the body ends behind the list
  cutHeader,  // the list has not got the 64 bits of the size
  tooSmall,   // the size is below that of the header: no box
  none,       // fewer than eight bytes are left
};

struct Box {
  BoxState state;
  char type[4];    // zeros when there is no box
  uint64_t start;  // offset of the header
  Part body;       // of a cut box as far as it claims, of another one that is not whole empty
};

inline bool isWhole(const Box& box) { return box.state == BoxState::whole; }
inline bool isCut(const Box& box) { return box.state == BoxState::cut || box.state == BoxState::cutHeader; }
bool isBox(const Box& box, const char* type);

// Reads the header at the list's position and goes on behind a whole box; a box that is not whole is the last one.
// 0, or the source's failure.
ResultCode readBox(Part* list, Box* box);

// ---- For pictures: every header is counted, and there is one while eight bytes remain ----

// The next box of a file. One that is too small ends the boxes and has no type.
ResultCode nextTopBox(Analysis* analysis, Part* file, Box* box);

// The next box within a box. HASHCREATE_FORMAT_ERROR when it is not whole.
ResultCode nextInnerBox(Analysis* analysis, Part* list, Box* box);

}  // namespace version4
