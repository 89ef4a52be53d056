// The public interface: arguments, results, hash texts, comparison, slices, threads.
#include <cstring>
#include <fstream>
#include <regex>
#include <thread>

#include "hashCreate.h"
#include "jpegBytes.h"
#include "openStream.h"

using namespace support;

namespace {

constexpr char kHash[] =
    "00030000"
    "50484F544F"
    "0123456789ABCDEF0123456789ABCDEF01234567"
    "89ABCDEF0123456789ABCDEF0123456789ABCDEF"
    "4A50454700000000"
    "01"
    "000000000000";

std::string changedAt(size_t index, char to = 'F') {
  std::string text = kHash;
  text[index] = to;
  return text;
}

TEST(Interface, QuickHashOfSizeAndBytes) {
  const Bytes small = Bytes().pattern(300);
  for (const Bytes& file : {Bytes{'x'}, small, Bytes().pattern(100'003)}) {
    const std::string digests = sha1Hex(sampled(file)) + sha1Hex(Bytes().u64be(file.size()));
    EXPECT_EQ(hashOf(file, KMHASH_MODE_QUICK).text,
              "00030000554E4B574E" + digests + "515549434B000000FF000000000000");
  }
  MemoryFile file(small);
  hashOf(file, KMHASH_MODE_QUICK);
  const Call calls[] = {{"open"}, {"size"}, {"read", 200}, {"read", 100}, {"close"}};
  EXPECT_EQ(file.calls, std::vector<Call>(std::begin(calls), std::end(calls)));
}

TEST(Interface, ArgumentsAndSourcesThatFail) {
  char out[KMHASH_TEXT_SIZE] = "untouched";
  MemoryFile file(Bytes().pattern(50));
  EXPECT_EQ(createQuickFileHash(file.path(), out, 128, callbacks()), HASHCREATE_INVALID_PARAM);
  EXPECT_EQ(createQuickFileHash(nullptr, out, 129, callbacks()), HASHCREATE_INVALID_PARAM);
  EXPECT_EQ(createQuickFileHash(file.path(), nullptr, 129, callbacks()), HASHCREATE_INVALID_PARAM);
  for (size_t missing = 0; missing < sizeof(KmhashFileCallbacks); missing += sizeof(void*)) {
    KmhashFileCallbacks incomplete = *callbacks();
    std::memset(reinterpret_cast<char*>(&incomplete) + missing, 0, sizeof(void*));
    EXPECT_EQ(createQuickFileHash(file.path(), out, 129, &incomplete), HASHCREATE_INVALID_PARAM);
  }
  EXPECT_EQ(file.calls, std::vector<Call>{});
  EXPECT_STREQ(out, "untouched");

  const auto codeOf = [](auto change) {
    MemoryFile changed(Bytes().pattern(20'000));
    change(changed);
    const int code = hashOf(changed, KMHASH_MODE_QUICK).code;
    EXPECT_EQ(changed.opened, changed.closed);
    return code;
  };
  EXPECT_EQ(codeOf([](MemoryFile& f) { f.openFails = true; }), HASHCREATE_FILE_NOTFOUND);
  EXPECT_EQ(codeOf([](MemoryFile& f) { f.statedSize = -255; }), HASHCREATE_INVALID_PARAM);
  EXPECT_EQ(codeOf([](MemoryFile& f) { f.statedSize = 0; }), HASHCREATE_NON_SUPPORTED);
  EXPECT_EQ(codeOf([](MemoryFile& f) { f.statedSize = INT64_MAX; }), HASHCREATE_READ_ERROR);
  EXPECT_EQ(codeOf([](MemoryFile& f) { f.statedSize = -1; }), HASHCREATE_READ_ERROR);

  // Who claims more than he was asked for has delivered nothing, also behind a byte that came.
  KmhashFileCallbacks boasting = *callbacks();
  for (const auto read :
       {+[](void*, uint32_t, void*) { return UINT32_MAX; },
        +[](void*, uint32_t count, void*) { return count == 50 ? 1 : count + 1; }}) {
    boasting.read = read;
    EXPECT_EQ(createQuickFileHash(file.path(), out, 129, &boasting), HASHCREATE_READ_ERROR);
  }
  MemoryFile grown(file.bytes + file.bytes);  // while it is read
  grown.statedSize = 50;
  EXPECT_EQ(hashOf(grown, KMHASH_MODE_QUICK).text, hashOf(file.bytes, KMHASH_MODE_QUICK).text);
}

TEST(Interface, OnlyPublicCodesLeave) {
  for (const int code : {6, 9, 22, 29, 75}) EXPECT_EQ(convertError(code), HASHCREATE_SEEK_ERROR);
  for (int code = -14; code <= 0; ++code) EXPECT_EQ(convertError(code), code);
  for (const int code : {1, 5, 21, 100, -15, -100, -254, -255, -256, INT32_MIN, INT32_MAX}) {
    EXPECT_EQ(convertError(code), HASHCREATE_ERROR) << code;
  }
}

TEST(Interface, FilesThatNobodyClaims) {
  const Bytes text = Bytes().text("plain text, no media");
  expectCode(HASHCREATE_NON_SUPPORTED,
             {{"text", text}, {"zeros", Bytes(1000)}, {"text behind zeros", Bytes(700) + text}});
}

TEST(Interface, CompareHashesAgainInTheModeOfTheStoredHash) {
  MemoryFile quick(Bytes().text("plain text")), normal(quick.bytes), unopened(quick.bytes);
  std::string quickHash = changedAt(114);
  quickHash[115] = 'F';
  EXPECT_EQ(compareHash(quick.path(), quickHash.c_str(), callbacks()), 1 + 2 + 4);
  EXPECT_EQ(compareHash(normal.path(), kHash, callbacks()), HASHCREATE_NON_SUPPORTED);
  EXPECT_EQ(compareHash(unopened.path(), "no hash", callbacks()), HASHCREATE_INVALID_HASH);
  EXPECT_EQ(unopened.calls, std::vector<Call>{});
}

// Camera raw files whose source gives up before the preview: all labels are set but the file type.
TEST(Interface, OwnTextsAreReadBehindTheirNuls) {
  const auto rawFile = [](uint8_t seed) {
    const Bytes tags = ifd(false, {{513, 4, 1, 400}, {514, 4, 1, 300}});
    MemoryFile file(header(false, 100).pattern(92, seed) + tags + Bytes(70));
    file.statedSize = 1000;
    return file;
  };
  MemoryFile one = rawFile(1), other = rawFile(2), again = one;
  const std::string stored = hashOf(one).text;
  EXPECT_EQ(stored.substr(0, 18), "00030000" + std::string(10, '\0'));
  one.position = 0;
  EXPECT_EQ(getAlgorithmId(one.path(), callbacks()), KMHASH_ALGORITHM_RAW);
  for (MemoryFile* file : {&other, &again}) {
    EXPECT_EQ(compareHash(file->path(), stored.c_str(), callbacks()), 1 + 2 + 4 + 16);
  }
}

TEST(HashText, ComparisonLooksAtTheseFieldsOnly) {
  const std::pair<size_t, int> rows[] = {{17, 0},   {18, 1},  {57, 1},  {58, 2},  {97, 2},
                                         {98, 4},   {105, 4}, {106, 0}, {113, 0}, {114, 16},
                                         {121, 16}, {122, 0}, {127, 0}};
  for (const auto& [index, flags] : rows) {
    EXPECT_EQ(compareBetweenHash(kHash, changedAt(index, 'E').c_str()), flags) << index;
  }
  EXPECT_EQ(compareBetweenHash(kHash, changedAt(7, '9').c_str()), KMHASH_DIFFERENT_VERSION);
  EXPECT_EQ(compareBetweenHash(kHash, changedAt(0, 'E').c_str()), HASHCREATE_INVALID_HASH);
  EXPECT_EQ(compareBetweenHash(kHash, "12345678"), 1 + 2 + 4 + 8 + 16);  // ends early
  EXPECT_EQ(compareBetweenHash("00030000", "00030000"), 0);
  EXPECT_EQ(compareBetweenHash(nullptr, kHash), HASHCREATE_INVALID_PARAM);
  EXPECT_EQ(compareBetweenHash(kHash, "0003000"), HASHCREATE_INVALID_HASH);
  EXPECT_EQ(compareBetweenHash("0003000X", kHash), HASHCREATE_INVALID_HASH);
}

TEST(HashText, FieldsRead) {
  EXPECT_EQ(getAlgorithmIdFromHash(kHash), 1);
  std::string text = changedAt(114, '0');
  text[115] = 'f';
  EXPECT_EQ(getAlgorithmIdFromHash(text.c_str()), 15);
  EXPECT_EQ(getAlgorithmIdFromHash("00030000"), 0);
  EXPECT_EQ(getAlgorithmIdFromHash("0003000X"), HASHCREATE_INVALID_HASH);
  EXPECT_EQ(getAlgorithmIdFromHash(nullptr), HASHCREATE_INVALID_PARAM);
  EXPECT_EQ(getAlgorithmMajorVersionFromHash("12345678 and more"), 1234);
  EXPECT_EQ(getAlgorithmMinorVersionFromHash("12345678 and more"), 5678);
}

TEST(HashText, DigestFedAfterItsEndHasNone) {
  for (const auto feed : {inputContentSha1, inputMetaSha1}) {
    OpenStream stream(10);
    EXPECT_EQ(resultSha1(&stream), 0);
    feed(&stream, "x", 1);
    EXPECT_EQ(resultSha1(&stream), HASHCREATE_SHA1_ERROR);
  }
}

TEST(Interface, QuickHashesHaveAVersionThatTheTableDoesNotKnow) {
  for (uint32_t id = 1; id <= 14; ++id) {
    EXPECT_EQ(getAlgorithmMajorVersion(id) * 10 + getAlgorithmMinorVersion(id), 30);
  }
  for (const uint32_t id : {0u, 15u, 255u}) {
    EXPECT_EQ(getAlgorithmMajorVersion(id), HASHCREATE_INVALID_PARAM) << id;
    EXPECT_EQ(getAlgorithmMinorVersion(id), HASHCREATE_INVALID_PARAM) << id;
  }
}

TEST(Interface, NamesAreThoseOfTheConstants) {
  std::ifstream header(KMHASH_TEST_MEDIA "/../../jni/include/kmhash.h");
  const std::regex constant(
      "  (?:KMHASH_ALGORITHM_([A-Z0-9]+)|(HASHCREATE_[A-Z0-9_]+)) = (-?[0-9]+).*");
  std::smatch found;
  int names = 0;
  for (std::string line; std::getline(header, line);) {
    if (!std::regex_match(line, found, constant)) continue;
    const int number = std::stoi(found[3]);
    const char* name = found[1].matched ? kmhashAlgorithmName(static_cast<uint32_t>(number))
                                        : kmhashResultName(number);
    ASSERT_NE(name, nullptr) << line;
    EXPECT_EQ(name, found[1].str() + found[2].str());
    ++names;
  }
  EXPECT_GE(names, 15 + 16);
  for (const uint32_t id : {0u, 31u, 254u, 256u}) EXPECT_EQ(kmhashAlgorithmName(id), nullptr) << id;
  for (const int code : {1, -15, -254, -256}) EXPECT_EQ(kmhashResultName(code), nullptr) << code;
}

// ---- Slices ----

struct SliceView {
  uint64_t size, position;
  Bytes bytes;
};
SliceView seen;

ResultCode viewSlice(Stream* stream, Labels*) {
  seen = {c_get_file_size(stream), c_ftell(stream), Bytes(300)};
  callbackRead(stream, seen.bytes.data(), 10);
  EXPECT_EQ(callbackSeek(stream, 0, kSeekAbsolute), 0);
  seen.bytes.resize(c_hybrid_read(stream, seen.bytes.data(), 300));
  return HASHCREATE_FORMAT_ERROR;
}

TEST(Slice, LooksLikeAWholeFileAndEndsAtTheRealEnd) {
  struct Slice {
    size_t file = 1000;
    uint64_t base = 0, size = 250;
    bool fromOuterBuffer = false;
    int64_t lastSeek = 0;  // from where 300 bytes of the slice end; 0: none
  };
  const Slice rows[] = {{.fromOuterBuffer = true, .lastSeek = 700},
                        {.base = 150, .lastSeek = 550},
                        {.base = 700},
                        {.file = 180, .base = 50, .size = 100, .fromOuterBuffer = true}};
  for (const auto& row : rows) {
    OpenStream stream(row.file);
    Labels labels = {};
    ASSERT_EQ(c_hybrid_seek(&stream, row.base, 0), 0);
    EXPECT_EQ(reentrantCallCreateHash(&stream, &labels, viewSlice, row.size),
              HASHCREATE_FORMAT_ERROR);
    EXPECT_EQ(seen.size, row.size);
    EXPECT_EQ(seen.position, 0u);
    EXPECT_EQ(seen.bytes.part(0, row.size), stream.file.bytes.part(row.base, row.size));
    EXPECT_EQ(c_get_file_size(&stream), row.file);
    EXPECT_EQ(c_ftell(&stream), row.file);
    if (row.lastSeek != 0) {
      EXPECT_EQ(stream.file.calls.back(), (Call{"seek", row.lastSeek, 1}));
    }
    // The outermost buffer lives on when the slice was served from it; storage of the slice's own
    // is gone, and only its positions are known.
    EXPECT_EQ(callbackSeek(&stream, 0, 0), row.fromOuterBuffer ? 0 : HASHCREATE_SEEK_ERROR);
    c_hybrid_seek(&stream, row.fromOuterBuffer ? 0 : row.base, 0);
    EXPECT_EQ(stream.next(10), row.fromOuterBuffer ? stream.file.bytes.part(0, 10) : Bytes());
  }
}

TEST(Slice, EndsNoFurtherThanTheFileAndForgivesTheLastSeek) {
  OpenStream stream(1000);
  Labels labels = {};
  stream.file.failingSeek = 2;
  EXPECT_EQ(callbackSeek(&stream, 400, 0), 0);
  EXPECT_EQ(reentrantCallCreateHash(&stream, &labels, viewSlice, 0), HASHCREATE_FORMAT_ERROR);
  EXPECT_EQ(c_ftell(&stream), 700u);
  const Analyzer overshoot = [](Stream* s, Labels*) { return callbackSeek(s, 450, kSeekRelative); };
  EXPECT_EQ(reentrantCallCreateHash(&stream, &labels, overshoot, 500), 0);
  EXPECT_EQ(c_ftell(&stream), 1000u);
}

int nested = 0;
ResultCode nestForever(Stream* stream, Labels* labels) {
  nested++;
  return reentrantCallCreateHash(stream, labels, nestForever, 0);
}

TEST(Slice, NestingEndsAndAnEmptyOneSucceedsUntouched) {
  OpenStream stream(1000);
  Labels labels = {};
  EXPECT_EQ(reentrantCallCreateHash(&stream, &labels, nestForever, 0), HASHCREATE_FORMAT_ERROR);
  EXPECT_EQ(nested, 32);
  seen.size = 77;
  EXPECT_EQ(reentrantCallCreateHash(&stream, &labels, viewSlice, 0), 0);  // at the end
  EXPECT_EQ(seen.size, 77u);
}

// ---- Threads ----

using Threads = InFolder;

TEST_F(Threads, EveryFunctionOnManyThreadsAtOnce) {
  const Bytes bytes = Bytes().pattern(30'000);
  const std::string path = write("file", bytes), stored = hashOf(bytes, KMHASH_MODE_QUICK).text;
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 50; ++round) {
        EXPECT_EQ(compareHash(path.c_str(), stored.c_str(), nullptr), 0);
        EXPECT_EQ(compareBetweenHash(kHash, changedAt(i % 2 == 0 ? 18 : 58).c_str()),
                  i % 2 == 0 ? 1 : 2);
        EXPECT_EQ(createHash(path.c_str(), std::string(129, 0).data(), 129, nullptr),
                  HASHCREATE_NON_SUPPORTED);
        EXPECT_EQ(getAlgorithmId(path.c_str(), nullptr), HASHCREATE_NON_SUPPORTED);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
