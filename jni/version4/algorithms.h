// The analyzers of version 4. Each is one file that ends in its row; algorithms.cpp lists the rows.
#pragma once

#include <cstdint>
#include <string_view>

#include "sha1.h"
#include "version4/payload.h"
#include "version4/source.h"

namespace version4 {

// What one analyzer works with and fills.
struct Analysis {
  Source* source;
  Payload payload;
  SHA1Context meta;
  const char* fileType;   // the row's at first; an analyzer that knows better sets another one
  uint8_t formatType[8];  // zeros at first; the first four are compared, the last four inform
  uint32_t parts;         // of a picture: headers, directories and table entries so far
  uint64_t tableBytes;    // of tables so far, each reading counted
  uint64_t front;         // where the sound begins behind tags, once a row has looked for it
  bool isFrontKnown;
};

struct Algorithm {
  uint32_t id;
  const char* name;
  const char* fileType;  // "PHOTO", "VIDEO" or "AUDIO"

  // Looks at the first bytes: 0, kNotThisFormat or a code. A source that gives up meanwhile need not be told of.
  ResultCode (*recognise)(Analysis* analysis);

  // Adds the ranges to the payload, feeds the meta digest, sets the format type. 0; kNotThisFormat, and then the next
  // row is tried; HASHCREATE_FORMAT_ERROR for a broken structure or a bound that was passed; HASHCREATE_READ_ERROR
  // where bytes are promised that the file has not got; HASHCREATE_MEM_ALLOC_ERROR; or the source's failure. The first
  // fault in file order decides.
  ResultCode (*analyse)(Analysis* analysis);

  const Algorithm* otherwise;  // tried at once when analyse declines; null: the next row
};

// The row of an id, null when there is none.
const Algorithm* algorithmOf(uint32_t id);

// Tries the rows; *chosen is the last one tried. HASHCREATE_NON_SUPPORTED when all decline; a payload that is empty or
// too long is HASHCREATE_FORMAT_ERROR, after all that an analyzer finds.
ResultCode analyse(Analysis* analysis, Source* source, const Algorithm** chosen);

// ---- For analyzers ----

// True when the bytes at offset are these; false also when the file has not got them.
bool hasAt(Analysis* analysis, uint64_t offset, std::string_view bytes);

inline constexpr uint32_t kMostParts = 1U << 20;
inline constexpr uint64_t kMostTableBytes = uint64_t{1} << 26;

// Count what a file makes the analyzer look at. HASHCREATE_FORMAT_ERROR when a bound is passed.
ResultCode countParts(Analysis* analysis, uint64_t count);
ResultCode countTable(Analysis* analysis, uint64_t bytes);

// addRange and checkLength over the analysis's file: a picture's ranges are held against its length one by one.
ResultCode addPictureRange(Analysis* analysis, uint64_t offset, uint64_t count);

// addRange over the analysis's file.
ResultCode addRange(Analysis* analysis, uint64_t offset, uint64_t count);

void inputMeta(Analysis* analysis, const void* bytes, uint32_t count);
void inputMetaU32(Analysis* analysis, uint32_t value);  // big-endian
void inputMetaU64(Analysis* analysis, uint64_t value);

// Feeds count bytes of the file at offset.
ResultCode inputMetaFrom(Analysis* analysis, uint64_t offset, uint64_t count);

// Four characters each, without NUL.
void setFormatFamily(Analysis* analysis, const char* family);
void setFormatDetail(Analysis* analysis, const void* detail);

}  // namespace version4
