// What the tests of the library share: bytes built readably, a file in memory that records and
// disturbs the callbacks' calls, hash texts taken apart, and expected digests computed without the
// library.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "kmhash.h"

namespace support {

// ---- Bytes ----

class Bytes : public std::vector<uint8_t> {
 public:
  using std::vector<uint8_t>::vector;

  Bytes& text(std::string_view characters);  // the characters, no NUL
  Bytes& add(const std::vector<uint8_t>& other);
  Bytes& fill(size_t count, uint8_t value);
  Bytes& pattern(size_t count, uint8_t seed = 1);  // no two neighbouring stretches alike
  Bytes& u8(unsigned value) { return number(value, 1, true); }
  Bytes& u16be(unsigned value) { return number(value, 2, true); }
  Bytes& u16le(unsigned value) { return number(value, 2, false); }
  Bytes& u24be(uint32_t value) { return number(value, 3, true); }
  Bytes& u32be(uint32_t value) { return number(value, 4, true); }
  Bytes& u32le(uint32_t value) { return number(value, 4, false); }
  Bytes& u64be(uint64_t value) { return number(value, 8, true); }
  Bytes& u64le(uint64_t value) { return number(value, 8, false); }
  Bytes part(uint64_t offset, uint64_t count = UINT64_MAX) const;  // cut to what is there

 private:
  Bytes& number(uint64_t value, int size, bool bigEndian);
};

Bytes operator+(Bytes left, const Bytes& right);

Bytes media(const std::string& name);  // a file of tests/media

// ---- Expected digests, computed by another implementation of SHA-1 ----

std::string sha1Hex(const Bytes& bytes);  // 40 upper-case digits

// What the sampling rule takes of a range: all of it below the threshold, else threshold /
// (threshold / 100) samples of threshold / 100 bytes each.
Bytes sampled(const Bytes& range, uint64_t threshold = 16384);

// ---- A file in memory ----

struct Call {
  std::string kind;    // "open", "size", "read", "seek", "close"
  int64_t amount = 0;  // read: count asked for; seek: offset
  int whence = 0;      // seek only
  bool operator==(const Call&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Call& call);

struct MemoryFile {
  explicit MemoryFile(Bytes content, uint64_t zerosBehind = 0, Bytes bytesAtTheEnd = {})
      : bytes(std::move(content)),
        zeros(zerosBehind),
        tail(std::move(bytesAtTheEnd)),
        statedSize(size()) {}
  int64_t size() const { return static_cast<int64_t>(bytes.size() + zeros + tail.size()); }
  uint8_t at(uint64_t offset) const;

  Bytes bytes;
  uint64_t zeros;                     // that many follow the bytes
  Bytes tail;                         // follows the zeros
  int64_t statedSize;                 // what the size callback answers
  uint32_t mostPerRead = UINT32_MAX;  // bytes that one read call delivers at most
  int failingRead = 0;  // the n-th read from 1 on delivers failingReadDelivers bytes; 0: none
  uint32_t failingReadDelivers = 0;
  int failingSeek = 0;   // the n-th seek answers 1; 0: none
  int failingErrno = 0;  // errno left behind by a failing call; 0: it is not touched
  bool openFails = false;
  bool recording = true;  // false: calls stays empty, and no callback takes memory

  uint64_t position = 0;
  int opened = 0, closed = 0, reads = 0, seeks = 0;
  uint64_t delivered = 0;  // bytes, of a source
  std::vector<Call> calls;

  // The path that makes callbacks() work on this file.
  const char* path() const { return reinterpret_cast<const char*>(this); }
};
const KmhashFileCallbacks* callbacks();

// ---- Hash texts ----

struct HashText {
  int code = 0;      // result code; the fields below are empty unless it is 0
  std::string text;  // 128 characters, NULs included

  std::string version() const { return field(0, 8); }
  std::string fileType() const { return label(8, 10); }  // padding removed
  std::string content() const { return field(18, 40); }
  std::string meta() const { return field(58, 40); }
  std::string formatType() const { return label(98, 16); }
  int algorithmId() const;

 private:
  std::string field(size_t offset, size_t count) const {
    return text.size() < 128 ? "" : text.substr(offset, count);
  }
  std::string label(size_t offset, size_t count) const;
};

HashText hashOf(const Bytes& file, int32_t mode = KMHASH_MODE_NORMAL);
HashText hashOf(MemoryFile& file, int32_t mode = KMHASH_MODE_NORMAL);
int identify(const Bytes& file);  // getAlgorithmId

// Succeeds when hashing and identifying each of these files ends with this code.
struct Case {
  const char* rule;
  Bytes file;
};
void expectCode(int code, const std::vector<Case>& cases);

// Succeeds when the hash is of this algorithm with these labels and the digests of these bytes.
void expectHash(const Bytes& file, int algorithmId, std::string_view formatType,
                std::string_view fileType, const Bytes& content, const Bytes& meta);

// What every format must stand.
//
// Faults: for every n, the n-th read delivers nothing or one byte, and the n-th seek fails, with
// and without errno. The answer is the reason's public code or one that does not depend on the
// reason; a hash is that of the sound file, unless the format forgives; the file is closed. Prints
// how many faults it tried.
//
// Damage, of small files: each prefix, each byte set to 0x00, to 0xFF and inverted, all in normal
// and identify mode, and reads of 1, 2, 199, 200 and 201 bytes. The answer is a public result code,
// a failure leaves the output untouched, the file is closed, and the size of reads changes nothing.
void expectSurvives(const Bytes& file, bool forgives = true);

// expectHash, the same labels and only these bytes of content in identify mode, and expectSurvives.
void expectFormat(const Bytes& file, int algorithmId, std::string_view formatType,
                  std::string_view fileType, const Bytes& content, const Bytes& meta,
                  const Bytes& identified = {});

// ---- The system ----

std::string quoted(const std::string& word);  // for a shell
std::string withProgram(
    const std::string& words);  // for a shell, where `kmhash` is then the command as built here
std::string outputOf(const std::string& command);  // of a shell, stdout only

// A test with a folder of its own.
struct InFolder : testing::Test {
  InFolder();
  ~InFolder() override { std::filesystem::remove_all(folder); }
  std::string write(const std::string& name, const Bytes& bytes) const;  // answers the path

  std::filesystem::path folder;
};

}  // namespace support
