// The tags that stand around sound in files that have no place of their own for them.
#pragma once

#include "version4/algorithms.h"

namespace version4 {

// Sets where the file begins behind zero bytes, ID3v2 and APE tags, unless it is known. HASHCREATE_READ_ERROR when that
// is behind the file's end.
ResultCode findFront(Analysis* analysis);

// Sets where what begins at start ends in front of the tags at the file's end: ID3v1, APE, Lyrics3 and ID3v2. Zero
// bytes are sound: what looks like padding may be the end of a tag or of the sound.
ResultCode findEnd(Analysis* analysis, uint64_t start, uint64_t* end);

// findEnd, and the payload is what lies between: nothing when start is behind the end.
ResultCode addUntilTags(Analysis* analysis, uint64_t start);

}  // namespace version4
