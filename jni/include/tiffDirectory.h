// TIFF structure: the header, the image file directories (IFDs) and what can be asked of a directory's tags. The TIFF
// analyzer reads whole files with it, the JPEG analyzer the sound index of an APP3 segment. Nothing here feeds a
// digest.
//
// A tag table is an array of rows that names the wanted tags and ends with a row of tag kEndOfTable. It belongs to the
// caller; parsing fills its rows in place and never clears one, so several directories parsed into one table leave the
// union of their tags, later ones winning.
//
// Byte orders are those of readPrimitives.h; limits and positions are file positions. Results are 0, a HASHCREATE_*
// code or, from a read or seek, a positive errno, if nothing else is said. kNoDirectory is a result of its own.
#pragma once

#include <cstdint>

#include "readPrimitives.h"

// ---- Rows and tables ----

// What is kept of one directory entry.
struct DirEntryInfo {
  uint16_t tag;
  uint16_t type;    // kUnfilled until an entry has filled the row
  uint32_t count;   // values
  uint32_t value;   // the value-or-offset field as one 32-bit number of the file's byte order, whatever the type: an
                    // inline SHORT of a big-endian file stands in the upper half
  uint32_t length;  // bytes, the type's size times count modulo 2^32
};

inline constexpr uint16_t kEndOfTable = 0xFFFF;  // tag of a table's last row
inline constexpr uint16_t kUnfilled = 0xFFFF;    // type of a row without an entry

constexpr DirEntryInfo unfilledRow(uint16_t tag) { return {tag, kUnfilled, 0, 0, 0}; }

// Field types that are asked for by name.
inline constexpr uint16_t kTypeByte = 1;
inline constexpr uint16_t kTypeAscii = 2;
inline constexpr uint16_t kTypeShort = 3;

// Bytes in an entry, and the longest value that lies in the entry itself.
inline constexpr uint32_t kDirEntrySize = 12;
inline constexpr uint32_t kMaxInlineLength = 4;

// There is no directory to read: it would start beyond the limit, or no pointer leads to it.
// Outside the library it is HASHCREATE_FILE_NOTFOUND, by its number.
inline constexpr ResultCode kNoDirectory = -1;

// The size in bytes of one value of a field type, or -1 when the type is unknown.
int32_t getBaseSize(uint16_t type);

// 1 when an entry of a known type has filled the row, else 0; 0 also for null and for tag 0.
int isValidDirEntryInfo(const DirEntryInfo* row);

// The first row with this tag, or null; kEndOfTable is never found. A null table has no rows. isTargetTag is the same.
DirEntryInfo* getTargetTag(DirEntryInfo* table, uint16_t tag);
const DirEntryInfo* getTargetTag(const DirEntryInfo* table, uint16_t tag);
DirEntryInfo* isTargetTag(DirEntryInfo* table, uint16_t tag);

// The row when it is valid, else null.
const DirEntryInfo* getTargetTagWithCheck(const DirEntryInfo* table, uint16_t tag);

// ---- Parsing ----

// Reads the 4 header bytes at the current position. Answers kLittleEndian, kBigEndian, 0 (no TIFF header, or a file
// below 4 bytes) or a negative code when they cannot be read.
int IsTIFF(Stream* stream);

// What an entry's 12 bytes say. HASHCREATE_FORMAT_ERROR, with nothing stored, when the type is unknown.
ResultCode calcDataSize(const uint8_t* entry, uint32_t* length, uint32_t order);
ResultCode setDirEntryInfo(const uint8_t* entry, DirEntryInfo* row, uint32_t order);

// Reads the directory at the current position: fills the rows of table whose tags it holds, then reads the next
// directory's offset into *nextIfdOffset from wherever the entries ended. They end early at the limit, at a short read
// and behind a wanted tag of unknown type; the last gives HASHCREATE_FORMAT_ERROR, but only when the limit leaves no
// room for the offset, else the result is that of reading the offset. kNoDirectory when the limit leaves no room for
// the entry count. *nextIfdOffset is untouched unless it was read.
ResultCode parseIFD(Stream* stream, uint32_t order, DirEntryInfo* table, uint32_t* nextIfdOffset, uint64_t limit);

// parseIFD of the directory at a file position; a failing seek gives its code.
ResultCode parseIFDEx(Stream* stream, uint32_t order, DirEntryInfo* table, uint64_t ifdPosition,
                      uint32_t* nextIfdOffset, uint64_t limit);

// ---- Asking ----

// 1 when the row's data is still ahead: its value, as a file offset, is at or beyond the current position. Asked of
// inline values all the same. 0 for a row that is not valid.
int isAccessibleTag(const Stream* stream, const DirEntryInfo* table, uint16_t tag);

// The same with offsets relative to base, and inline values always accessible.
int isAccessibleTagEx(const Stream* stream, const DirEntryInfo* table, uint16_t tag, uint64_t base);

// Read past an ASCII value and answer 1, or 0 when there is none: the row is not ASCII, or its data cannot be read or
// ends beyond limit (0: starts beyond the file). The text itself is not kept, for no hash holds it. Data that is not
// inline moves the stream, also where it ends early. Its end is a 32-bit sum and may wrap, and a limit of 4 GiB or more
// limits nothing.
int getAsciiValueFromTiff(Stream* stream, const DirEntryInfo* row, uint64_t limit);
int getTagStringValue(Stream* stream, const DirEntryInfo* table, uint16_t tag, uint64_t limit);

// ---- The tags of image files ----

inline constexpr uint16_t TAG_IMAGE_WIDTH = 256;
inline constexpr uint16_t TAG_IMAGE_LENGTH = 257;
inline constexpr uint16_t TAG_BITS_PER_SAMPLE = 258;
inline constexpr uint16_t TAG_COMPRESSION = 259;
inline constexpr uint16_t TAG_PHOTOMETRIC_INTERPRETATION = 262;
inline constexpr uint16_t TAG_MAKE = 271;
inline constexpr uint16_t TAG_MODEL = 272;
inline constexpr uint16_t TAG_STRIP_OFFSETS = 273;
inline constexpr uint16_t TAG_ROWS_PER_STRIP = 278;
inline constexpr uint16_t TAG_STRIP_BYTES_COUNT = 279;
inline constexpr uint16_t TAG_X_RESOLUTION = 282;
inline constexpr uint16_t TAG_Y_RESOLUTION = 283;
inline constexpr uint16_t TAG_RESOLUTION_UNIT = 296;
inline constexpr uint16_t TAG_SOFTWARE = 305;
inline constexpr uint16_t TAG_COLOR_MAP = 320;
inline constexpr uint16_t TAG_JPEG_INTERCHANGE_FORMAT = 513;
inline constexpr uint16_t TAG_JPEG_INTERCHANGE_FORMAT_LENGTH = 514;
inline constexpr uint16_t TAG_EXIF_IFD = 34665;
inline constexpr uint16_t TAG_MAKER_NOTE = 37500;

// 1 when a standard TIFF must have the row's tag, else 0.
int isMandatoryTag(const DirEntryInfo* row);

// 1 when every mandatory row of the table is valid and there is one, else 0.
int isStandardTiff(const DirEntryInfo* table);

// Reads past the texts of Make, Model and Software and returns how many there are, 0 to 3.
int getMakerAndModel(Stream* stream, const DirEntryInfo* table, uint64_t limit);

// parseIFD of the Exif directory that table points to; kNoDirectory when the pointer's row is not valid.
ResultCode getExifTags(Stream* stream, uint32_t order, const DirEntryInfo* table, DirEntryInfo* exifTable,
                       uint64_t limit);
