// What one call accumulates, two digests in the stream and four labels in the label area, and the text that it becomes.
#pragma once

#include <cstdint>

#include "fileStream.h"

// NUL-terminated hex or decimal texts, as they go into the hash text.
struct Labels {
  char algorithmId[3];
  char majorVersion[5];
  char minorVersion[5];
  char fileType[11];    // 5 bytes in hex
  char formatType[17];  // 8 bytes in hex
};
static_assert(sizeof(Labels) == 41);

inline constexpr uint32_t kFileTypeSize = 6;  // longest label and its NUL
inline constexpr uint32_t kFormatTypeSize = 9;

// ---- Labels ----

void setAlgorithmId(Labels* labels, uint32_t id);
void setAlgorithmVersion(Labels* labels, int major, int minor);

// A label ends at its NUL; at most 5 and 8 characters count.
void setFileType(Labels* labels, const char* label);
void setFormatType(Labels* labels, const char* label);

// All eight bytes, NULs too.
void setFormatTypeBytes(Labels* labels, const uint8_t bytes[8]);

// 0, or HASHCREATE_INVALID_PARAM when destination is too small (6 and 9 bytes are enough) or the label was never set.
ResultCode getFileTypeStr(const Labels* labels, char* destination, uint32_t size);
ResultCode getFormatTypeStr(const Labels* labels, char* destination, uint32_t size);

// ---- Digests ----

// Digest selectors; any value but kMetaDigest means the content digest.
inline constexpr uint32_t kContentDigest = 1;
inline constexpr uint32_t kMetaDigest = 2;

// What the content digest of a whole hash begins with: it never equals a sampled one, not even of a short payload.
inline constexpr uint8_t kWholeMark[8] = {'K', 'M', 'H', 'F', 'U', 'L', 'L', 0};

void toBigEndian(uint64_t value, uint8_t bytes[8]);

void resetContentSha1(Stream* stream);
void resetMetaSha1(Stream* stream);
void inputContentSha1(Stream* stream, const void* bytes, uint32_t length);
void inputMetaSha1(Stream* stream, const void* bytes, uint32_t length);

// Eight bytes, most significant first.
void inputLongLongContentSha1(Stream* stream, uint64_t value);
void inputLongLongMetaSha1(Stream* stream, uint64_t value);
void dataInput(Stream* stream, const void* bytes, uint32_t length, uint32_t which);

// Finishes both digests. 0 or HASHCREATE_SHA1_ERROR.
ResultCode resultSha1(Stream* stream);

// 40 upper-case hex digits and a NUL, cut to size bytes.
void getContentHashStr(const Stream* stream, uint32_t size, char* destination);
void getMetaHashStr(const Stream* stream, uint32_t size, char* destination);

// ---- Hash text ----

// Writes the text of 129 bytes from labels and finished digests; a whole hash is marked.
void writeHashText(const Labels& labels, const SHA1Context& contentSha1, const SHA1Context& metaSha1, bool isWhole,
                   char* text);

// Writes the stream's text, at most outSize bytes of it. Always 0.
ResultCode outputHash(const Stream* stream, const Labels* labels, char* out, uint32_t outSize);

// 0 when the first eight characters are decimal digits, else HASHCREATE_INVALID_HASH. text must not be null, here and
// in the three readers.
ResultCode isHash(const char* text);
int getVersion(const char* digits);
int getAlgorithmMajorVersionFromHashStr(const char* text);
int getAlgorithmMinorVersionFromHashStr(const char* text);
int getAlgorithmIdFromHashStr(const char* text);

// What stands behind the algorithm id.
enum class Mark { none, whole, unknown };
Mark markOf(const char* text);

// Difference flags, or HASHCREATE_INVALID_PARAM (a null text) or HASHCREATE_INVALID_HASH.
int compareTwoHash(const char* a, const char* b);

// The same of a text that outputHash has just written: all of its 128 characters count, where a text that was handed in
// ends at its NUL. A label that was never set leaves NULs in front of the digests.
int getAlgorithmIdFromOwnText(const char* text);
int compareWithOwnText(const char* text, const char* own);

int hex2int(char digit);  // 0 for anything but a hex digit

// Decodes length hex digits. HASHCREATE_INVALID_PARAM for a null pointer, an odd length, a destination without room
// for length / 2 bytes and a NUL, or a NUL among the digits.
ResultCode hexStr2Str(const char* source, uint32_t length, char* destination, uint32_t size);
