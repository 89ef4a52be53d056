// What the tests of version 4 share: a MemoryFile read at any offset, hashes of version 4 alone,
// and what every format must stand.
#pragma once

#include "support.h"

namespace support {

// Reads the file; its failing read, if it has one, answers -1. The file counts the reads.
KmhashSource sourceOf(MemoryFile& file);

// Calls work with a text to fill, which a failure must leave as it was.
template <typename Work>
HashText textOf(Work work) {
  const std::string untouched(KMHASH_TEXT_SIZE, '\x7e');
  std::string out = untouched;
  HashText hash;
  hash.code = work(out.data());
  if (hash.code == HASHCREATE_SUCCESS) {
    hash.text = out.substr(0, KMHASH_TEXT_SIZE - 1);
  } else {
    EXPECT_EQ(out, untouched) << "output touched on failure " << hash.code;
  }
  return hash;
}

HashText hashSource(const KmhashSource& source, uint32_t flags);

// By version 4, without version 3 behind it: a code is the one that its analyzer answers.
HashText hash4Of(MemoryFile& file, bool isWhole = false);
HashText hash4Of(const Bytes& file, bool isWhole = false);

// What the content digest of a whole hash begins with.
const Bytes kWholeMark = Bytes().text("KMHFULL").u8(0);

// 100 samples of a payload of 16,384 bytes and more, and its length.
Bytes content4(const Bytes& payload);

// Succeeds when the hashes, sampled and whole, are of this algorithm with these labels and the
// digests of these bytes.
void expectHash4(const Bytes& file, int algorithmId, std::string_view formatType,
                 std::string_view fileType, const Bytes& payload, const Bytes& meta);

// For small files. Damage: each prefix, each byte set to 0x00, to 0xFF and inverted, sampled and
// whole: a public result code, the output untouched by a failure, reads bounded. Faults: for every
// n, the n-th read gives up, which is the answer.
void expectSurvives4(const Bytes& file);

// Both.
void expectFormat4(const Bytes& file, int algorithmId, std::string_view formatType,
                   std::string_view fileType, const Bytes& payload, const Bytes& meta);

// Succeeds when files have the same hash but for the payload, where a row names one.
struct Hashed {
  const char* what;
  Bytes file;
  Bytes payload = {};
};
void expectHashes4(int algorithmId, std::string_view formatType, std::string_view fileType,
                   const Bytes& payload, const Bytes& meta, const std::vector<Hashed>& rows);

// Files and what hash4Of answers for them.
constexpr int kBroken = HASHCREATE_FORMAT_ERROR, kCut = HASHCREATE_READ_ERROR,
              kUnsupported = HASHCREATE_NON_SUPPORTED;
struct Refused {
  const char* what;
  Bytes file;
  int code = kBroken;
};
void expectRefused(const std::vector<Refused>& rows);
void expectCode(int code, const std::vector<Bytes>& files);

// ---- Boxes of ISO media, HEIF, JPEG XL and JPEG 2000 ----

Bytes box(const char* type, const Bytes& body);
Bytes u32s(const std::vector<uint32_t>& numbers);  // big-endian

}  // namespace support
