#include "hashRecord.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

constexpr uint32_t kTextLength = KMHASH_TEXT_SIZE - 1;
constexpr uint32_t kDigestTextSize = 41;  // 40 digits and a NUL
constexpr char kWholeMarkText[] = "F1";

// A field of the hash text.
struct Field {
  uint32_t offset;
  uint32_t length;
};
constexpr Field kMajorVersion = {0, 4};
constexpr Field kMinorVersion = {4, 4};
constexpr Field kFileType = {8, 10};
constexpr Field kContentHash = {18, 40};
constexpr Field kMetaHash = {58, 40};
constexpr Field kFormatType = {98, 16};
constexpr Field kAlgorithmId = {114, 2};
constexpr Field kMark = {116, 2};

// What a comparison holds against each other. File types are not compared; of the format type only the first four
// characters are: labels of one family are equal. Stored hashes rely on both.
struct Comparison {
  Field field;
  int flag;
};
constexpr Comparison kComparisons[] =
    {
        {{0, 8}, KMHASH_DIFFERENT_VERSION},     {kContentHash, KMHASH_DIFFERENT_CONTENT},
        {kMetaHash, KMHASH_DIFFERENT_META},     {{98, 8}, KMHASH_DIFFERENT_FORMAT},
        {{114, 8}, KMHASH_DIFFERENT_ALGORITHM},  // the id and the first six characters of the filler
};

bool isDecimalDigit(char c) { return c >= '0' && c <= '9'; }

// Writes count bytes of a label as hex digits and a NUL; a label that is shorter is padded with zero bytes.
void printLabel(char* destination, const char* label, uint32_t count) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  bool ended = false;
  for (uint32_t i = 0; i < count; ++i) {
    ended = ended || label[i] == '\0';
    const uint8_t byte = ended ? 0 : static_cast<uint8_t>(label[i]);
    *destination++ = kDigits[byte >> 4];
    *destination++ = kDigits[byte & 0x0F];
  }
  *destination = '\0';
}

void printDigest(const SHA1Context& sha1, uint32_t size, char* destination) {
  const uint32_t* words = sha1.messageDigest;
  std::snprintf(destination, size, "%08X%08X%08X%08X%08X", static_cast<unsigned>(words[0]),
                static_cast<unsigned>(words[1]), static_cast<unsigned>(words[2]), static_cast<unsigned>(words[3]),
                static_cast<unsigned>(words[4]));
}

// The text's first 128 characters, as if NULs followed its end.
struct PaddedText {
  char characters[kTextLength] = {};
  explicit PaddedText(const char* text) { std::memcpy(characters, text, strnlen(text, kTextLength)); }
};

int algorithmIdAt(const char* characters) {
  const char* digits = characters + kAlgorithmId.offset;
  return 16 * hex2int(digits[0]) + hex2int(digits[1]);
}

int compareCharacters(const char* left, const char* right) {
  int different = 0;
  for (const Comparison& row : kComparisons) {
    const uint32_t offset = row.field.offset;
    if (std::memcmp(left + offset, right + offset, row.field.length) != 0) different |= row.flag;
  }
  return different;
}

}  // namespace

// ---- Labels ----

void setAlgorithmId(Labels* labels, uint32_t id) {
  std::snprintf(labels->algorithmId, sizeof(labels->algorithmId), "%02X", static_cast<unsigned>(id));
}

void setAlgorithmVersion(Labels* labels, int major, int minor) {
  std::snprintf(labels->majorVersion, sizeof(labels->majorVersion), "%04d", major);
  std::snprintf(labels->minorVersion, sizeof(labels->minorVersion), "%04d", minor);
}

void setFileType(Labels* labels, const char* label) { printLabel(labels->fileType, label, kFileTypeSize - 1); }

void setFormatTypeBytes(Labels* labels, const uint8_t bytes[8]) {
  for (int i = 0; i < 8; ++i) std::snprintf(labels->formatType + 2 * i, 3, "%02X", static_cast<unsigned>(bytes[i]));
}

void setFormatType(Labels* labels, const char* label) { printLabel(labels->formatType, label, kFormatTypeSize - 1); }

ResultCode getFileTypeStr(const Labels* labels, char* destination, uint32_t size) {
  return hexStr2Str(labels->fileType, kFileType.length, destination, size);
}

ResultCode getFormatTypeStr(const Labels* labels, char* destination, uint32_t size) {
  return hexStr2Str(labels->formatType, kFormatType.length, destination, size);
}

// ---- Digests ----

void toBigEndian(uint64_t value, uint8_t bytes[8]) {
  for (int i = 0; i < 8; ++i) bytes[i] = static_cast<uint8_t>(value >> (56 - 8 * i));
}

void resetContentSha1(Stream* stream) {
  SHA1Reset(&stream->contentSha1);
  if (stream->isWhole) SHA1Input(&stream->contentSha1, kWholeMark, sizeof(kWholeMark));
}

void resetMetaSha1(Stream* stream) { SHA1Reset(&stream->metaSha1); }

void inputContentSha1(Stream* stream, const void* bytes, uint32_t length) {
  SHA1Input(&stream->contentSha1, static_cast<const uint8_t*>(bytes), length);
}

void inputMetaSha1(Stream* stream, const void* bytes, uint32_t length) {
  SHA1Input(&stream->metaSha1, static_cast<const uint8_t*>(bytes), length);
}

void inputLongLongContentSha1(Stream* stream, uint64_t value) {
  uint8_t bytes[8];
  toBigEndian(value, bytes);
  inputContentSha1(stream, bytes, sizeof(bytes));
}

void inputLongLongMetaSha1(Stream* stream, uint64_t value) {
  uint8_t bytes[8];
  toBigEndian(value, bytes);
  inputMetaSha1(stream, bytes, sizeof(bytes));
}

void dataInput(Stream* stream, const void* bytes, uint32_t length, uint32_t which) {
  if (which == kMetaDigest) {
    inputMetaSha1(stream, bytes, length);
  } else {
    inputContentSha1(stream, bytes, length);
  }
}

ResultCode resultSha1(Stream* stream) {
  if (SHA1Result(&stream->contentSha1) != 1) return HASHCREATE_SHA1_ERROR;
  if (SHA1Result(&stream->metaSha1) != 1) return HASHCREATE_SHA1_ERROR;
  return HASHCREATE_SUCCESS;
}

void getContentHashStr(const Stream* stream, uint32_t size, char* destination) {
  printDigest(stream->contentSha1, size, destination);
}

void getMetaHashStr(const Stream* stream, uint32_t size, char* destination) {
  printDigest(stream->metaSha1, size, destination);
}

// ---- Writing the hash text ----

void writeHashText(const Labels& labels, const SHA1Context& contentSha1, const SHA1Context& metaSha1, bool isWhole,
                   char* text) {
  std::memset(text, '0', kTextLength);
  char content[kDigestTextSize];
  char meta[kDigestTextSize];
  printDigest(contentSha1, sizeof(content), content);
  printDigest(metaSha1, sizeof(meta), meta);

  const struct {
    Field field;
    const char* characters;
  } rows[] = {
      {kMajorVersion, labels.majorVersion},
      {kMinorVersion, labels.minorVersion},
      {kFileType, labels.fileType},
      {kContentHash, content},
      {kMetaHash, meta},
      {kFormatType, labels.formatType},
      {kAlgorithmId, labels.algorithmId},
  };
  for (const auto& row : rows) std::memcpy(text + row.field.offset, row.characters, row.field.length);
  if (isWhole) std::memcpy(text + kMark.offset, kWholeMarkText, kMark.length);
  text[kTextLength] = '\0';
}

ResultCode outputHash(const Stream* stream, const Labels* labels, char* out, uint32_t outSize) {
  Labels written = *labels;
  // Labels that were never set stay so.
  if (stream->isWhole && written.minorVersion[0] != '\0') std::memcpy(written.minorVersion, "0001", 4);
  char text[KMHASH_TEXT_SIZE];
  writeHashText(written, stream->contentSha1, stream->metaSha1, stream->isWhole, text);
  std::memcpy(out, text, std::min<size_t>(outSize, sizeof(text)));
  return HASHCREATE_SUCCESS;
}

// ---- Reading a hash text ----

ResultCode isHash(const char* text) {
  const char* end = text + kMajorVersion.length + kMinorVersion.length;
  return std::all_of(text, end, isDecimalDigit) ? HASHCREATE_SUCCESS : HASHCREATE_INVALID_HASH;
}

int getVersion(const char* digits) {
  int value = 0;
  for (uint32_t i = 0; i < kMajorVersion.length; ++i) value = value * 10 + (digits[i] - '0');
  return value;
}

int getAlgorithmMajorVersionFromHashStr(const char* text) {
  if (const ResultCode rc = isHash(text)) return rc;
  return getVersion(text + kMajorVersion.offset);
}

int getAlgorithmMinorVersionFromHashStr(const char* text) {
  if (const ResultCode rc = isHash(text)) return rc;
  return getVersion(text + kMinorVersion.offset);
}

int getAlgorithmIdFromHashStr(const char* text) {
  if (const ResultCode rc = isHash(text)) return rc;
  return algorithmIdAt(PaddedText(text).characters);
}

int getAlgorithmIdFromOwnText(const char* text) {
  if (const ResultCode rc = isHash(text)) return rc;
  return algorithmIdAt(text);
}

Mark markOf(const char* text) {
  const PaddedText padded(text);
  const char* mark = padded.characters + kMark.offset;
  if (std::memcmp(mark, "00", kMark.length) == 0) return Mark::none;
  return std::memcmp(mark, kWholeMarkText, kMark.length) == 0 ? Mark::whole : Mark::unknown;
}

int compareTwoHash(const char* a, const char* b) {
  if (a == nullptr || b == nullptr) return HASHCREATE_INVALID_PARAM;
  if (const ResultCode rc = isHash(a)) return rc;
  if (const ResultCode rc = isHash(b)) return rc;
  return compareCharacters(PaddedText(a).characters, PaddedText(b).characters);
}

int compareWithOwnText(const char* text, const char* own) {
  if (const ResultCode rc = isHash(text)) return rc;
  if (const ResultCode rc = isHash(own)) return rc;
  return compareCharacters(PaddedText(text).characters, own);
}

int hex2int(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return 0;
}

ResultCode hexStr2Str(const char* source, uint32_t length, char* destination, uint32_t size) {
  if (source == nullptr || destination == nullptr || length % 2 != 0 || length / 2 >= size) {
    return HASHCREATE_INVALID_PARAM;
  }
  std::memset(destination, 0, length / 2 + 1);
  for (uint32_t i = 0; i < length; i += 2) {
    if (source[i] == '\0' || source[i + 1] == '\0') return HASHCREATE_INVALID_PARAM;
    destination[i / 2] = static_cast<char>(16 * hex2int(source[i]) + hex2int(source[i + 1]));
  }
  return HASHCREATE_SUCCESS;
}
