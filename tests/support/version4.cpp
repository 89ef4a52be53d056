#include "version4.h"

#include <algorithm>
#include <memory>

#include "version4/version4.h"

namespace support {
namespace {

int64_t readAt(void* user, uint64_t offset, void* buffer, uint32_t count) {
  MemoryFile& file = *static_cast<MemoryFile*>(user);
  if (++file.reads == file.failingRead) return -1;
  const auto size = static_cast<uint64_t>(file.size());
  EXPECT_LT(offset, size);
  const auto delivered = static_cast<uint32_t>(
      std::min<uint64_t>({count, file.mostPerRead, size - std::min(size, offset)}));
  file.delivered += delivered;
  if (offset + delivered <= file.bytes.size()) {
    std::copy_n(file.bytes.begin() + static_cast<std::ptrdiff_t>(offset), delivered,
                static_cast<uint8_t*>(buffer));
    return delivered;
  }
  for (uint32_t i = 0; i < delivered; ++i) static_cast<uint8_t*>(buffer)[i] = file.at(offset + i);
  return delivered;
}

void expectCleanEnd(const Bytes& bytes, const std::string& what) {
  for (const uint32_t flags : {uint32_t{0}, uint32_t{KMHASH_WHOLE}}) {
    MemoryFile file(bytes);
    const KmhashSource source = sourceOf(file);
    const HashText hash = hashSource(source, KMHASH_PREFER_VERSION_4 | flags);
    const bool isPublic = hash.code == HASHCREATE_ERROR || (hash.code >= -14 && hash.code <= 0);
    EXPECT_TRUE(isPublic) << what << ": " << hash.code;
    EXPECT_LE(static_cast<size_t>(file.reads), 2 * bytes.size() + 200) << what;
  }
}

}  // namespace

KmhashSource sourceOf(MemoryFile& file) {
  return {sizeof(KmhashSource), static_cast<uint64_t>(file.size()), &file, readAt};
}

HashText hashSource(const KmhashSource& source, uint32_t flags) {
  return textOf(
      [&](char* text) { return kmhashHashSource(&source, flags, text, KMHASH_TEXT_SIZE); });
}

HashText hash4Of(MemoryFile& file, bool isWhole) {
  const KmhashSource source = sourceOf(file);
  return textOf([&](char* text) {
    return version4::createHash(&source, isWhole ? nullptr : text, isWhole ? text : nullptr);
  });
}

HashText hash4Of(const Bytes& bytes, bool isWhole) {
  MemoryFile file(bytes);
  return hash4Of(file, isWhole);
}

Bytes content4(const Bytes& payload) {
  Bytes content = payload.size() < 16384 ? payload : Bytes();
  const uint64_t step = payload.size() / 100;
  for (uint64_t i = 0; i < 100 && payload.size() >= 16384; ++i) {
    const uint64_t shift = i * 2654435761 % (uint64_t{1} << 32);
    content.add(payload.part(i * step + (shift * (step - 163) >> 32), 163));
  }
  return content.u64be(payload.size());
}

void expectHash4(const Bytes& file, int algorithmId, std::string_view formatType,
                 std::string_view fileType, const Bytes& payload, const Bytes& meta) {
  const Bytes all = kWholeMark + payload + Bytes().u64be(payload.size());
  for (const bool isWhole : {false, true}) {
    const HashText hash = hash4Of(file, isWhole);
    ASSERT_EQ(hash.code, HASHCREATE_SUCCESS);
    EXPECT_EQ(hash.version(), isWhole ? "00040001" : "00040000");
    EXPECT_EQ(hash.algorithmId(), algorithmId);
    EXPECT_EQ(hash.formatType(), formatType);
    EXPECT_EQ(hash.fileType(), fileType);
    EXPECT_EQ(hash.content(), sha1Hex(isWhole ? all : content4(payload)));
    EXPECT_EQ(hash.meta(), sha1Hex(meta));
    EXPECT_EQ(hash.text.substr(116), isWhole ? "F10000000000" : "000000000000");
  }
}

void expectSurvives4(const Bytes& file) {
  for (size_t length = 0; length < file.size(); ++length) {
    expectCleanEnd(file.part(0, length), "prefix of " + std::to_string(length));
  }
  for (size_t at = 0; at < file.size(); ++at) {
    for (const int damaged : {0x00, 0xFF, ~file[at] & 0xFF}) {
      Bytes bytes = file;
      bytes[at] = static_cast<uint8_t>(damaged);
      expectCleanEnd(bytes, "byte " + std::to_string(at) + " = " + std::to_string(damaged));
    }
  }
  MemoryFile sound(file);
  hash4Of(sound);
  for (int n = 1; n <= sound.reads; ++n) {
    MemoryFile failing(file);
    failing.failingRead = n;
    EXPECT_EQ(hash4Of(failing).code, HASHCREATE_ERROR) << "read " << n;
  }
}

void expectFormat4(const Bytes& file, int algorithmId, std::string_view formatType,
                   std::string_view fileType, const Bytes& payload, const Bytes& meta) {
  expectHash4(file, algorithmId, formatType, fileType, payload, meta);
  if (file.size() <= 1600) expectSurvives4(file);
}

void expectHashes4(int algorithmId, std::string_view formatType, std::string_view fileType,
                   const Bytes& payload, const Bytes& meta, const std::vector<Hashed>& rows) {
  for (const auto& [what, file, own] : rows) {
    SCOPED_TRACE(what);
    expectHash4(file, algorithmId, formatType, fileType, own.empty() ? payload : own, meta);
  }
}

void expectRefused(const std::vector<Refused>& rows) {
  for (const auto& [what, file, code] : rows) EXPECT_EQ(hash4Of(file).code, code) << what;
}

void expectCode(int code, const std::vector<Bytes>& files) {
  for (size_t i = 0; i < files.size(); ++i) EXPECT_EQ(hash4Of(files[i]).code, code) << "row " << i;
}

Bytes box(const char* type, const Bytes& body) {
  return Bytes().u32be(static_cast<uint32_t>(body.size() + 8)).text(type) + body;
}

Bytes u32s(const std::vector<uint32_t>& numbers) {
  Bytes out;
  for (const uint32_t number : numbers) out.u32be(number);
  return out;
}

}  // namespace support
