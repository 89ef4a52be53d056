#include "support.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

namespace support {

// ---- Bytes ----

Bytes& Bytes::text(std::string_view characters) {
  insert(end(), characters.begin(), characters.end());
  return *this;
}
Bytes& Bytes::add(const std::vector<uint8_t>& other) {
  for (size_t i = 0, count = other.size(); i < count; ++i)
    push_back(other[i]);  // other may be *this
  return *this;
}
Bytes& Bytes::fill(size_t count, uint8_t value) {
  insert(end(), count, value);
  return *this;
}
Bytes& Bytes::pattern(size_t count, uint8_t seed) {
  uint32_t state = seed;
  for (size_t i = 0; i < count; ++i) {
    state = state * 1664525u + 1013904223u;
    push_back(static_cast<uint8_t>(state >> 24));
  }
  return *this;
}
Bytes& Bytes::number(uint64_t value, int size, bool bigEndian) {
  for (int i = 0; i < size; ++i) {
    const int shift = 8 * (bigEndian ? size - 1 - i : i);
    push_back(static_cast<uint8_t>(value >> shift));
  }
  return *this;
}

Bytes Bytes::part(uint64_t offset, uint64_t count) const {
  const uint64_t from = std::min<uint64_t>(offset, size());
  const uint64_t to = from + std::min(count, size() - from);
  return Bytes(begin() + static_cast<std::ptrdiff_t>(from),
               begin() + static_cast<std::ptrdiff_t>(to));
}
Bytes operator+(Bytes left, const Bytes& right) { return left.add(right); }

Bytes media(const std::string& name) {
  std::ifstream stream(KMHASH_TEST_MEDIA "/" + name, std::ios::binary);
  Bytes bytes;
  bytes.assign(std::istreambuf_iterator<char>(stream), {});
  return bytes;
}

// ---- Expected digests ----

std::string sha1Hex(const Bytes& bytes) {
  unsigned char digest[20];
  EVP_Digest(bytes.data(), bytes.size(), digest, nullptr, EVP_sha1(), nullptr);
  std::string hex;
  for (const unsigned char byte : digest) {
    char pair[3];
    std::snprintf(pair, sizeof(pair), "%02X", byte);
    hex += pair;
  }
  return hex;
}

Bytes sampled(const Bytes& range, uint64_t threshold) {
  if (range.size() < threshold) return range;
  const uint64_t chunk = threshold / 100;
  const uint64_t count = threshold / chunk;
  Bytes samples;
  for (uint64_t i = 0; i < count; ++i) samples.add(range.part(range.size() / count * i, chunk));
  return samples;
}

// ---- A file in memory ----

std::ostream& operator<<(std::ostream& out, const Call& call) {
  return out << call.kind << '(' << call.amount << ',' << call.whence << ')';
}

namespace {

MemoryFile& called(const void* handle, const Call& call) {
  MemoryFile& file = *const_cast<MemoryFile*>(static_cast<const MemoryFile*>(handle));
  if (file.recording) file.calls.push_back(call);
  return file;
}

void* openMemory(const char* path) {
  MemoryFile& file = called(path, {"open"});
  if (file.openFails) return nullptr;
  file.opened++;
  file.position = 0;
  return &file;
}

uint32_t readMemory(void* buffer, uint32_t count, void* handle) {
  MemoryFile& file = called(handle, {"read", count});
  uint64_t most = std::min(count, file.mostPerRead);
  if (++file.reads == file.failingRead) {
    if (file.failingErrno != 0) errno = file.failingErrno;
    most = std::min<uint64_t>(count, file.failingReadDelivers);
  } else if (file.failingRead != 0 && file.reads == file.failingRead + 1) {
    return 0;  // a source that gave up does not come back when asked for the rest
  }
  const auto size = static_cast<uint64_t>(file.size());
  const auto delivered =
      static_cast<uint32_t>(std::min(most, size - std::min(size, file.position)));
  for (uint32_t i = 0; i < delivered; ++i)
    static_cast<uint8_t*>(buffer)[i] = file.at(file.position++);
  return delivered;
}

int seekMemory(int64_t offset, int whence, void* handle) {
  MemoryFile& file = called(handle, {"seek", offset, whence});
  if (++file.seeks == file.failingSeek) {
    if (file.failingErrno != 0) errno = file.failingErrno;
    return 1;
  }
  file.position += static_cast<uint64_t>(offset);
  return 0;
}

void closeMemory(void* handle) { called(handle, {"close"}).closed++; }

int64_t sizeOfMemory(const char* path, void*) { return called(path, {"size"}).statedSize; }

bool isPublicCode(int code) { return code == HASHCREATE_ERROR || (code >= -14 && code <= 0); }

HashText expectCleanEnd(MemoryFile& file, int32_t mode, const std::string& what) {
  file.opened = file.closed = 0;
  HashText hash = hashOf(file, mode);
  EXPECT_TRUE(isPublicCode(hash.code)) << what << ": " << hash.code;
  EXPECT_EQ(file.opened, file.closed) << what;
  return hash;
}

}  // namespace

uint8_t MemoryFile::at(uint64_t offset) const {
  const uint64_t fromEnd = static_cast<uint64_t>(size()) - offset;
  if (offset < bytes.size()) return bytes[static_cast<size_t>(offset)];
  return fromEnd <= tail.size() ? tail[tail.size() - static_cast<size_t>(fromEnd)] : uint8_t{0};
}

const KmhashFileCallbacks* callbacks() {
  static const KmhashFileCallbacks table = {openMemory, readMemory, seekMemory, closeMemory,
                                            sizeOfMemory};
  return &table;
}

// ---- Hash texts ----

int HashText::algorithmId() const {
  const std::string digits = field(114, 2);
  return digits.empty() ? -1 : static_cast<int>(std::strtol(digits.c_str(), nullptr, 16));
}

std::string HashText::label(size_t offset, size_t count) const {
  const std::string digits = field(offset, count);
  std::string decoded;
  for (size_t i = 0; i + 1 < digits.size(); i += 2) {
    decoded += static_cast<char>(std::strtol(digits.substr(i, 2).c_str(), nullptr, 16));
  }
  return decoded.substr(0, decoded.find_last_not_of('\0') + 1);
}

HashText hashOf(MemoryFile& file, int32_t mode) {
  constexpr char kUntouched = '\x7e';
  std::string out(KMHASH_TEXT_SIZE + 3, kUntouched);
  HashText hash;
  hash.code =
      createHashEx(file.path(), out.data(), static_cast<uint32_t>(out.size()), callbacks(), mode);
  if (hash.code == HASHCREATE_SUCCESS) {
    EXPECT_EQ(out.substr(128), std::string(1, '\0') + std::string(3, kUntouched));
    hash.text = out.substr(0, 128);
  } else {
    EXPECT_EQ(out, std::string(out.size(), kUntouched))
        << "output touched on failure " << hash.code;
  }
  return hash;
}

HashText hashOf(const Bytes& bytes, int32_t mode) {
  MemoryFile file(bytes);
  return hashOf(file, mode);
}

int identify(const Bytes& bytes) {
  MemoryFile file(bytes);
  return getAlgorithmId(file.path(), callbacks());
}

void expectCode(int code, const std::vector<Case>& cases) {
  for (const Case& one : cases) {
    EXPECT_EQ(hashOf(one.file).code, code) << one.rule;
    EXPECT_EQ(identify(one.file), code) << one.rule;
  }
}

void expectHash(const Bytes& file, int algorithmId, std::string_view formatType,
                std::string_view fileType, const Bytes& content, const Bytes& meta) {
  const HashText hash = hashOf(file);
  ASSERT_EQ(hash.code, HASHCREATE_SUCCESS);
  EXPECT_EQ(hash.algorithmId(), algorithmId);
  EXPECT_EQ(hash.version(), "00030000");
  EXPECT_EQ(hash.formatType(), formatType);
  EXPECT_EQ(hash.fileType(), fileType);
  EXPECT_EQ(hash.content(), sha1Hex(content));
  EXPECT_EQ(hash.meta(), sha1Hex(meta));
}

namespace {

void expectSurvivesDamage(const Bytes& bytes) {
  const HashText whole = hashOf(bytes);
  for (const uint32_t most : {1u, 2u, 199u, 200u, 201u}) {
    MemoryFile file(bytes);
    file.mostPerRead = most;
    EXPECT_EQ(hashOf(file).text, whole.text) << most << " bytes a read";
  }
  for (const int32_t mode : {KMHASH_MODE_NORMAL, KMHASH_MODE_IDENTIFY}) {
    MemoryFile file(bytes);
    for (size_t length = 0; length < bytes.size(); ++length) {
      file = MemoryFile(bytes.part(0, length));
      expectCleanEnd(file, mode, "prefix of " + std::to_string(length));
    }
    for (size_t at = 0; at < bytes.size(); ++at) {
      for (const int damaged : {0x00, 0xFF, ~bytes[at] & 0xFF}) {
        file = MemoryFile(bytes);
        file.bytes[at] = static_cast<uint8_t>(damaged);
        expectCleanEnd(file, mode, "byte " + std::to_string(at) + " = " + std::to_string(damaged));
      }
    }
  }
}

void expectSurvivesFaults(const Bytes& bytes, bool forgives) {
  MemoryFile sound(bytes);
  const HashText whole = hashOf(sound);
  int faults = 0;
  const auto expectFaultsAnswered = [&](MemoryFile fault, int withoutErrno,
                                        const std::string& what) {
    std::vector<int> codes;
    for (const int error : {0, EPERM, EINVAL}) {
      MemoryFile file = fault;
      file.failingErrno = error;
      const HashText hash = expectCleanEnd(file, KMHASH_MODE_NORMAL, what);
      EXPECT_TRUE(forgives || hash.code != HASHCREATE_SUCCESS || hash.text == whole.text) << what;
      codes.push_back(hash.code);
      ++faults;
    }
    // Either the reason reaches the caller, or the analyzer has an answer of its own whatever the
    // reason.
    const bool same = codes[1] == codes[0] && codes[2] == codes[0];
    const std::vector<int> passedOn = {withoutErrno, HASHCREATE_ERROR, HASHCREATE_SEEK_ERROR};
    EXPECT_TRUE(same || codes == passedOn)
        << what << ": " << codes[0] << ' ' << codes[1] << ' ' << codes[2];
  };
  for (int n = 1; n <= sound.reads; ++n) {
    for (const uint32_t delivers : {0u, 1u}) {
      MemoryFile file(bytes);
      file.failingRead = n;
      file.failingReadDelivers = delivers;
      expectFaultsAnswered(file, HASHCREATE_READ_ERROR, "read " + std::to_string(n));
    }
  }
  for (int n = 1; n <= sound.seeks; ++n) {
    MemoryFile file(bytes);
    file.failingSeek = n;
    expectFaultsAnswered(file, HASHCREATE_SEEK_ERROR, "seek " + std::to_string(n));
  }
  std::printf("%s: %d faults\n", whole.formatType().c_str(), faults);
}

}  // namespace

void expectSurvives(const Bytes& file, bool forgives) {
  constexpr size_t kSmall = 1600;
  if (file.size() <= kSmall) expectSurvivesDamage(file);
  expectSurvivesFaults(file, forgives);
}

void expectFormat(const Bytes& file, int algorithmId, std::string_view formatType,
                  std::string_view fileType, const Bytes& content, const Bytes& meta,
                  const Bytes& identified) {
  expectHash(file, algorithmId, formatType, fileType, content, meta);
  const HashText hash = hashOf(file, KMHASH_MODE_IDENTIFY);
  EXPECT_EQ(std::tuple(hash.algorithmId(), hash.formatType(), hash.fileType(), hash.content()),
            std::tuple(algorithmId, formatType, fileType, sha1Hex(identified)));
  expectSurvives(file, false);
}

// ---- The system ----

std::string quoted(const std::string& word) {
  std::string quoted = "'";
  for (const char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

#ifdef KMHASH_PROGRAM_FOLDER
std::string withProgram(const std::string& words) {
  return "PATH=" + quoted(KMHASH_PROGRAM_FOLDER) + ":\"$PATH\"; " + words;
}
#endif

std::string outputOf(const std::string& command) {
  std::string output;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return "popen failed";
  for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) output += static_cast<char>(c);
  pclose(pipe);
  return output;
}

InFolder::InFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "kmhash-test-XXXXXX").string();
  folder = mkdtemp(name.data());
}

std::string InFolder::write(const std::string& name, const Bytes& bytes) const {
  const std::string path = folder / name;
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
  return path;
}

}  // namespace support
