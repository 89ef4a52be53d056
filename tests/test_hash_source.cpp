// Hashes by version, over sources, files and callbacks: which version answers, what is whole, and
// what a stored text asks for.
#include <sys/stat.h>

#include <algorithm>
#include <functional>

#include "jpegBytes.h"
#include "version4.h"

using namespace support;

namespace {

constexpr uint32_t kPrefer4 = KMHASH_PREFER_VERSION_4, kWhole = KMHASH_WHOLE;

HashText hashFile(const std::string& path, uint32_t flags) {
  return textOf(
      [&](char* text) { return kmhashHashFile(path.c_str(), flags, text, KMHASH_TEXT_SIZE); });
}
HashText hashSource(const Bytes& bytes, uint32_t flags) {
  MemoryFile file(bytes);
  return support::hashSource(sourceOf(file), flags);
}
HashText hashCallbacks(MemoryFile& file, uint32_t flags) {
  return textOf([&](char* text) {
    return kmhashHashCallbacks(file.path(), callbacks(), flags, text, KMHASH_TEXT_SIZE);
  });
}
int verify(const Bytes& bytes, const std::string& text) {
  MemoryFile file(bytes);
  const KmhashSource source = sourceOf(file);
  return kmhashVerifySource(&source, text.c_str());
}

// ---- Which version answers ----

// A file of each kind: version 3 alone, version 4 alone, both, none.
const Bytes kGif = media("gif-87a.gif"), kMkv = media("mkv.mkv"), kWav = media("wav-8bit.wav"),
            kNone = Bytes().pattern(999);

void expectSame(const HashText& hash, const HashText& expected, const std::string& what) {
  EXPECT_EQ(hash.code, expected.code) << what;
  EXPECT_EQ(hash.text, expected.text) << what;
}

// What the preference rule makes of what the versions answer.
HashText preferred(const HashText& first, const HashText& second) {
  return first.code != HASHCREATE_SUCCESS && second.code == HASHCREATE_SUCCESS ? second : first;
}

// All functions over one file, against what each version answers by itself.
void expectAgreement(const std::string& name, const std::string& path) {
  const Bytes bytes = media(name);
  const HashText version3 =
      textOf([&](char* text) { return createHash(path.c_str(), text, KMHASH_TEXT_SIZE, nullptr); });
  for (const bool prefers4 : {false, true}) {
    const uint32_t flags = prefers4 ? kPrefer4 : 0;
    const HashText version4 = hash4Of(bytes), sampled = prefers4 ? preferred(version4, version3)
                                                                 : preferred(version3, version4);
    expectSame(hashFile(path, flags), sampled, name);
    expectSame(hashSource(bytes, flags), sampled, name);
    if (sampled.code != HASHCREATE_SUCCESS) continue;

    const HashText whole = hashFile(path, flags | kWhole);
    expectSame(hashSource(bytes, flags | kWhole), whole, name);
    std::string texts[2] = {std::string(KMHASH_TEXT_SIZE, '?'), std::string(KMHASH_TEXT_SIZE, '?')};
    EXPECT_EQ(kmhashHashFileBoth(path.c_str(), flags, texts[0].data(), texts[1].data(), 129), 0);
    EXPECT_EQ(texts[0], sampled.text + '\0') << name;
    EXPECT_EQ(texts[1], whole.text + '\0') << name;
    EXPECT_EQ(kmhashIdentifyFile(path.c_str(), flags), sampled.algorithmId()) << name;

    EXPECT_EQ(whole.version(), sampled.version().substr(0, 7) + "1") << name;
    EXPECT_NE(whole.content(), sampled.content()) << name;
    EXPECT_EQ(compareBetweenHash(whole.text.c_str(), sampled.text.c_str()) & 25, 25) << name;
    for (const HashText& hash : {sampled, whole}) {
      EXPECT_EQ(kmhashIsWhole(hash.text.c_str()), hash.text == whole.text) << name;
      EXPECT_EQ(kmhashCanVerify(hash.text.c_str()), 1) << name;
      EXPECT_EQ(kmhashVerifyFile(path.c_str(), hash.text.c_str()), 0) << name;
    }
  }
}

TEST(HashSource, EveryFileHasTheHashOfAVersionThatTakesIt) {
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(KMHASH_TEST_MEDIA)) {
    expectAgreement(entry.path().filename(), entry.path());
    ++files;
  }
  EXPECT_GT(files, 50);
}

TEST(HashSource, TheOtherVersionIsTriedUnlessItCouldDoNoBetter) {
  // The code of a refusal is that of the version that is preferred.
  const Bytes cut = kMkv.part(0, kMkv.size() / 2), cutGif = kGif.part(0, 20);
  EXPECT_EQ(hashSource(cut, kPrefer4).code, HASHCREATE_READ_ERROR);
  EXPECT_EQ(hashSource(cut, 0).code, HASHCREATE_NON_SUPPORTED);
  EXPECT_EQ(hashSource(cutGif, kPrefer4).code, HASHCREATE_NON_SUPPORTED);
  EXPECT_EQ(hashSource(cutGif, 0).code, hashOf(cutGif).code);
  EXPECT_EQ(hashSource({}, 0).code, HASHCREATE_NON_SUPPORTED);
  // A source that gives up is final: nothing is read afterwards.
  for (const auto& [bytes, flags] :
       {std::pair(&kGif, 0u), std::pair(&kGif, kWhole), std::pair(&kMkv, kPrefer4),
        std::pair(&kMkv, kPrefer4 | kWhole)}) {
    MemoryFile sound(*bytes);
    support::hashSource(sourceOf(sound), flags);
    for (int n = 1; n <= sound.reads; ++n) {
      MemoryFile file(*bytes);
      file.failingRead = n;
      EXPECT_EQ(support::hashSource(sourceOf(file), flags).code, HASHCREATE_ERROR) << n;
      EXPECT_EQ(file.reads, n);
    }
  }
}

// ---- Whole hashes of version 3 ----

TEST(HashSource, AWholeHashOfVersion3TakesEveryByteBehindAMark) {
  const Bytes scanned = Bytes().pattern(20'000), other = Bytes().pattern(30'000, 2);
  const auto counted = [](const Bytes& data, uint64_t images) {
    return Bytes(data).u64be(data.size()).u64be(images);
  };
  struct Row {
    const char* what;
    Bytes file, content, meta;
  };
  for (const auto& [what, file, content, meta] : std::vector<Row>{
           {"a scan", kSoi + kFrameSegment + scan(scanned), counted(scanned, 1), kFrameMeta},
           {"several pictures", album(kOther, {scanned, other}), counted(scanned + other, 2), {}},
           {"the second one alone, from the mark on", album(kBaseline, {scanned, other}),
            counted(other, 1), other.part(0, 8)},
           {"a short one", kSoi + kFrameSegment + scan({1, 2, 3}), counted({1, 2, 3}, 1),
            kFrameMeta},
       }) {
    const HashText hash = hashSource(file, kWhole);
    EXPECT_EQ(hash.content(), sha1Hex(kWholeMark + content)) << what;
    EXPECT_EQ(hash.meta(), sha1Hex(meta)) << what;
    EXPECT_EQ(hash.version(), "00030001") << what;
    EXPECT_EQ(hash.text.substr(116), "F10000000000") << what;
  }
}

TEST(HashSource, AWholeTextWithoutLabelsKeepsItsMark) {
  const Bytes tag = Bytes().text("ID3\3").fill(5, 0).u8(3).fill(3, 0);  // nothing behind it
  const HashText hash = hashSource(tag, kWhole);
  EXPECT_EQ(hash.code, HASHCREATE_SUCCESS);
  EXPECT_EQ(hash.version(), std::string(8, '\0'));
  EXPECT_EQ(hash.content(), sha1Hex(kWholeMark));
  EXPECT_EQ(hash.text.substr(114), std::string(2, '\0') + "F10000000000");
  EXPECT_EQ(kmhashIsWhole(hash.text.c_str()), HASHCREATE_INVALID_HASH);
}

// ---- Sources that misbehave ----

TEST(HashSource, WhatASourceAnswersIsHeldAgainstWhatWasAsked) {
  using Answer = std::function<int64_t(uint64_t offset, void* buffer, uint32_t count)>;
  struct Row {
    const char* what;
    Answer answer;
    int code;
  };
  for (const auto& [bytes, flags] : {std::pair(&kGif, 0u), std::pair(&kMkv, kPrefer4)}) {
    const auto deliver = [all = *bytes](uint64_t offset, void* buffer, uint64_t count) {
      const Bytes piece = all.part(offset, count);
      std::copy(piece.begin(), piece.end(), static_cast<uint8_t*>(buffer));
      return static_cast<int64_t>(piece.size());
    };
    const std::vector<Row> rows = {
        {"a byte at a time",
         [=](uint64_t offset, void* buffer, uint32_t) { return deliver(offset, buffer, 1); },
         HASHCREATE_SUCCESS},
        {"nothing", [](uint64_t, void*, uint32_t) { return 0; }, HASHCREATE_READ_ERROR},
        {"an end in front of the size",
         [=, end = bytes->size() / 2](uint64_t offset, void* buffer, uint32_t count) {
           return offset < end ? deliver(offset, buffer, std::min<uint64_t>(count, end - offset))
                               : 0;
         },
         HASHCREATE_READ_ERROR},
        {"more than asked for", [](uint64_t, void*, uint32_t count) { return int64_t{count} + 1; },
         HASHCREATE_READ_ERROR},
        {"no such place", [](uint64_t, void*, uint32_t) { return HASHCREATE_SEEK_ERROR; },
         HASHCREATE_SEEK_ERROR},
        {"failure", [](uint64_t, void*, uint32_t) { return HASHCREATE_READ_ERROR; },
         HASHCREATE_ERROR},
    };
    for (const auto& [what, answer, code] : rows) {
      const auto readAt = [](void* user, uint64_t offset, void* buffer, uint32_t count) {
        return (*static_cast<const Answer*>(user))(offset, buffer, count);
      };
      Answer copy = answer;
      const KmhashSource source = {sizeof(KmhashSource), bytes->size(), &copy, readAt};
      for (const uint32_t extent : {0u, kWhole}) {
        const HashText refused = {code, ""};
        expectSame(support::hashSource(source, flags | extent),
                   code == HASHCREATE_SUCCESS ? hashSource(*bytes, flags | extent) : refused, what);
      }
    }
  }
}

TEST(HashSource, BadArgumentsAreFoundBeforeAnythingIsRead) {
  MemoryFile file(kWav);
  const KmhashSource sound = sourceOf(file);
  const std::string stored = hashSource(kWav, 0).text;
  const char* path = file.path();
  char a[KMHASH_TEXT_SIZE] = {}, b[KMHASH_TEXT_SIZE] = {};
  const auto without = [&](auto change) {
    KmhashSource source = sound;
    change(source);
    return kmhashHashSource(&source, 0, a, 129);
  };
  KmhashFileCallbacks table = *callbacks();
  table.size = nullptr;
  const int answers[] = {
      kmhashHashSource(nullptr, 0, a, 129),
      kmhashHashSource(&sound, 0, nullptr, 129),
      kmhashHashSource(&sound, 0, a, 128),
      kmhashHashSource(&sound, 4, a, 129),
      kmhashHashSource(&sound, 0x80000001, a, 129),
      without([](KmhashSource& source) { source.structSize = sizeof(source) - 1; }),
      without([](KmhashSource& source) { source.readAt = nullptr; }),
      without([](KmhashSource& source) { source.size = uint64_t{1} << 63; }),
      kmhashHashFile(nullptr, 0, a, 129),
      kmhashHashFile("none", 0, nullptr, 129),
      kmhashHashFile("none", 0, a, 128),
      kmhashHashFile("none", 4, a, 129),
      kmhashHashSourceBoth(&sound, 0, nullptr, b, 129),
      kmhashHashSourceBoth(&sound, 0, a, nullptr, 129),
      kmhashHashSourceBoth(&sound, kWhole, a, b, 129),
      kmhashHashFileBoth(nullptr, 0, a, b, 129),
      kmhashHashFileBoth("none", 0, a, b, 128),
      kmhashHashFileBoth("none", kWhole, a, b, 129),
      kmhashHashCallbacks(nullptr, callbacks(), 0, a, 129),
      kmhashHashCallbacks(path, nullptr, 0, a, 129),
      kmhashHashCallbacks(path, &table, 0, a, 129),
      kmhashHashCallbacks(path, &table, kPrefer4, a, 129),
      kmhashHashCallbacks(path, callbacks(), 8, a, 129),
      kmhashIdentifySource(nullptr, 0),
      kmhashIdentifySource(&sound, kWhole),
      kmhashIdentifyFile(nullptr, 0),
      kmhashIdentifyFile("none", kWhole),
      kmhashVerifySource(nullptr, stored.c_str()),
      kmhashVerifySource(&sound, nullptr),
      kmhashVerifyFile(nullptr, stored.c_str()),
      kmhashVerifyFile("none", nullptr),
      kmhashCanVerify(nullptr),
      kmhashIsWhole(nullptr),
  };
  for (size_t i = 0; i < std::size(answers); ++i) {
    EXPECT_EQ(answers[i], HASHCREATE_INVALID_PARAM) << i;
  }
  EXPECT_EQ(file.reads + file.opened, 0);
}

// ---- Files ----

struct Files : InFolder {};

TEST_F(Files, WhatIsNoFileOfBytesIsNotHashed) {
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  for (const uint32_t flags : {0u, kPrefer4}) {
    EXPECT_EQ(hashFile(folder / "none", flags).code, HASHCREATE_FILE_NOTFOUND);
    EXPECT_EQ(hashFile(folder / "pipe", flags).code, HASHCREATE_NON_SUPPORTED);
    EXPECT_EQ(hashFile("/dev/zero", flags).code, HASHCREATE_NON_SUPPORTED);
    EXPECT_EQ(hashFile(write("empty", {}), flags).code, HASHCREATE_NON_SUPPORTED);
    EXPECT_EQ(kmhashIdentifyFile((folder / "none").c_str(), flags), HASHCREATE_FILE_NOTFOUND);
  }
  const std::string stored = hashSource(kWav, kPrefer4).text;
  EXPECT_EQ(kmhashVerifyFile((folder / "none").c_str(), stored.c_str()), HASHCREATE_FILE_NOTFOUND);
}

// ---- Callbacks that only go forward ----

TEST(HashCallbacks, WhatLiesAheadIsReachedAndAStepBackIsNot) {
  for (const char* name : {"wav-8bit.wav", "aiff.aiff", "gif-87a.gif", "webp.webp", "opus.opus"}) {
    for (const uint32_t flags : {0u, kPrefer4, kWhole, kPrefer4 | kWhole}) {
      MemoryFile file(media(name));
      file.mostPerRead = 300;
      expectSame(hashCallbacks(file, flags), hashSource(file.bytes, flags), name);
      EXPECT_EQ(file.opened, file.closed);
    }
  }
  // Chunks behind the picture are looked for first, and what follows the last known Cluster.
  MemoryFile png(media("png-large.png")), mkv(kMkv + Bytes(9));
  expectSame(hashCallbacks(png, kPrefer4), hashOf(png.bytes), "version 3 goes forward");
  EXPECT_EQ(hashCallbacks(mkv, kPrefer4).code, HASHCREATE_SEEK_ERROR);
  EXPECT_EQ(hashCallbacks(mkv, 0).code, HASHCREATE_NON_SUPPORTED);
  EXPECT_EQ(mkv.opened, 4);
  EXPECT_EQ(mkv.closed, 4);
}

TEST(HashCallbacks, FailuresKeepTheirReason) {
  for (const uint32_t flags : {0u, kPrefer4}) {
    MemoryFile closed(kWav);
    closed.openFails = true;
    EXPECT_EQ(hashCallbacks(closed, flags).code, HASHCREATE_FILE_NOTFOUND);
    EXPECT_EQ(std::count(closed.calls.begin(), closed.calls.end(), Call{"open"}), 1);
    MemoryFile sizeless(kWav);
    sizeless.statedSize = -255;
    EXPECT_EQ(hashCallbacks(sizeless, flags).code, HASHCREATE_INVALID_PARAM);
    EXPECT_EQ(sizeless.closed, 1);
  }
  const Bytes aiff = media("aiff.aiff");  // which version 3 refuses
  const Bytes far = aiff.part(0, 12).text("NAME").u32be(9000).fill(9000, 0) + aiff.part(12);
  for (const auto& [error, ofSeek, ofRead] :
       {std::tuple(0, HASHCREATE_SEEK_ERROR, HASHCREATE_READ_ERROR),
        std::tuple(EINVAL, HASHCREATE_SEEK_ERROR, HASHCREATE_SEEK_ERROR),
        std::tuple(EIO, HASHCREATE_ERROR, HASHCREATE_ERROR)}) {
    MemoryFile seeking(far), reading(far);
    seeking.failingErrno = reading.failingErrno = error;
    seeking.failingSeek = 1;
    reading.failingRead = 2;
    EXPECT_EQ(hashCallbacks(seeking, kPrefer4).code, ofSeek) << error;
    EXPECT_EQ(hashCallbacks(reading, kPrefer4).code, ofRead) << error;
  }
}

// ---- Stored texts ----

TEST(Verify, ATextIsVerifiedByWhatItSays) {
  const Bytes edited = media("wav-edited.wav");
  Bytes changed = kWav;
  changed[3000] ^= 1;
  for (const uint32_t flags : {0u, kWhole, kPrefer4, kPrefer4 | kWhole}) {
    const std::string stored = hashSource(kWav, flags).text;
    EXPECT_EQ(verify(kWav, stored), 0);
    EXPECT_EQ(verify(edited, stored) == 0, (flags & kPrefer4) != 0) << "blind to tags since 4";
    EXPECT_EQ(verify(changed, stored) & KMHASH_DIFFERENT_CONTENT, 1);
    EXPECT_EQ(verify(kGif, stored) == HASHCREATE_NON_SUPPORTED, (flags & kPrefer4) != 0);
    EXPECT_EQ(verify(kNone, stored), HASHCREATE_NON_SUPPORTED);
  }
  const HashText quick = hashOf(kNone, KMHASH_MODE_QUICK);
  EXPECT_EQ(verify(kNone, quick.text), 0);
  EXPECT_EQ(verify(kGif, quick.text), KMHASH_DIFFERENT_CONTENT | KMHASH_DIFFERENT_META);
}

TEST(Verify, ATextOfANewerLibraryIsToldFromOneThatIsNone) {
  const std::string version3 = hashSource(kGif, 0).text, version4 = hashSource(kMkv, 0).text;
  const std::string quick = hashOf(kNone, KMHASH_MODE_QUICK).text;
  const auto with = [](std::string text, size_t at, const std::string& characters) {
    return text.replace(at, characters.size(), characters);
  };
  const std::pair<const char*, std::string> newer[] = {
      {"major version", with(version4, 0, "0005")},
      {"minor version", with(version4, 4, "0002")},
      {"minor version of 3", with(version3, 4, "0002")},
      {"whole by its version alone", with(version4, 4, "0001")},
      {"whole by its mark alone", with(version4, 116, "F1")},
      {"mark", with(version4, 116, "F2")},
      {"id", with(version4, 114, "2F")},
      {"no id", with(version3, 114, "00")},
      {"id of version 3", with(version4, 114, "05")},
      {"id of version 4", with(version3, 114, "24")},
      {"quick by version 4", with(quick, 0, "0004")},
      {"quick and whole", with(with(quick, 4, "0001"), 116, "F1")},
      {"cut", version4.substr(0, 100)},
  };
  for (const auto& [what, text] : newer) {
    EXPECT_EQ(kmhashCanVerify(text.c_str()), 0) << what;
    EXPECT_EQ(verify(kMkv, text), HASHCREATE_NON_SUPPORTED) << what;
    EXPECT_EQ(kmhashVerifyFile("none", text.c_str()), HASHCREATE_NON_SUPPORTED) << what;
  }
  for (const char* text : {"", "0003000", "0004000x"}) {
    EXPECT_EQ(kmhashCanVerify(text), HASHCREATE_INVALID_HASH);
    EXPECT_EQ(kmhashIsWhole(text), HASHCREATE_INVALID_HASH);
    EXPECT_EQ(verify(kMkv, text), HASHCREATE_INVALID_HASH);
    EXPECT_EQ(kmhashVerifyFile("none", text), HASHCREATE_INVALID_HASH);
  }
  EXPECT_EQ(kmhashCanVerify(quick.c_str()), 1);
}

}  // namespace
