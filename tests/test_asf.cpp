#include "hashCreate.h"
#include "openStream.h"

using namespace support;

namespace {

// GUIDs as stored.
const Bytes kHeader = Bytes().u64be(0x3026B2758E66CF11).u64be(0xA6D900AA0062CE6C);
const Bytes kData = Bytes().u64be(0x3626B2758E66CF11).u64be(0xA6D900AA0062CE6C);
const Bytes kFileProperties = Bytes().u64be(0xA1DCAB8C47A9CF11).u64be(0x8EE400C00C205365);
const Bytes kStreamProperties = Bytes().u64be(0x9107DCB7B7A9CF11).u64be(0x8EE600C00C205365);
const Bytes kAudio = Bytes().u64be(0x409E69F84D5BCF11).u64be(0xA8FD00805F5C442B);
const Bytes kVideo = Bytes().u64be(0xC0EF19BC4D5BCF11).u64be(0xA8FD00805F5C442B);
const Bytes kCommand = Bytes().u64be(0xC0CFDA59E659D011).u64be(0xA3AC00A0C90348F6);
const Bytes kJfif = Bytes().u64be(0x00E11BB64E5BCF11).u64be(0xA8FD00805F5C442B);
const Bytes kDegradable = Bytes().u64be(0xE07D903515E4CF11).u64be(0xA91700805F5C442B);
const Bytes kFileTransfer = Bytes().u64be(0x2C22BD911CF27A49).u64be(0x8B6D5AA86BFC0185);
const Bytes kBinary = Bytes().u64be(0xE265FB3AEF47F240).u64be(0xAC2C70A90D71D343);
const Bytes kOther = Bytes().pattern(16, 9);

Bytes sized(const Bytes& id, uint64_t size, const Bytes& payload) {
  return id + Bytes().u64le(size) + payload;
}
Bytes object(const Bytes& id, const Bytes& payload) {
  return sized(id, payload.size() + 24, payload);
}
Bytes stream(const Bytes& type, const Bytes& specific) {
  const auto size = static_cast<uint32_t>(specific.size());
  const Bytes errorCorrection = Bytes(2, 5), lengths = Bytes(24, 3).u32le(size).fill(10, 4);
  return object(kStreamProperties, type + lengths + specific + errorCorrection);
}
const Bytes kRates = Bytes().pattern(12, 6), kExtra = Bytes().pattern(250, 11);
Bytes audio(unsigned tag, const Bytes& extra = {}) {
  const Bytes format = Bytes().u16le(tag).u16le(2) + kRates;
  return stream(kAudio, format + Bytes().u16le(static_cast<unsigned>(extra.size())) + extra);
}
Bytes video(std::string_view compression, unsigned formatSize = 40, const Bytes& extra = {}) {
  const Bytes size = Bytes().u32le(40).u32le(640).u32le(0xFFFFFE20), bits = {1, 0, 24, 0};
  const Bytes bitmap = size + bits + Bytes().text(compression).fill(20, 7);
  return stream(kVideo, Bytes().u32le(1).u32le(2).u8(2).u16le(formatSize) + bitmap + extra);
}
const Bytes kVideoMeta = Bytes().u32le(640).u32le(0xFFFFFE20).u16le(24);

const Bytes kFileId = Bytes().pattern(16, 2), kMedia = Bytes().pattern(300, 12);
const Bytes kProperties = object(kFileProperties, kFileId + Bytes().pattern(64, 3));
const Bytes kEmpty = object(kOther, {});
Bytes header(const Bytes& objects) {
  return object(kHeader, Bytes().u32le(0).u16le(0x0601) + objects);
}

TEST(Asf, LabelsAndMetaComeFromTheStreams) {
  const Bytes photo = Bytes().pattern(40), jfif = stream(kJfif, photo), none;
  const Bytes degradable = stream(kDegradable, photo);
  const std::tuple<const char*, const char*, Bytes, Bytes> rows[] = {
      {"ASF ", "OTHER", stream(kOther, photo), none},
      {"WMA_0161", "AUDIO", jfif + audio(0x0161), Bytes().u16le(0x0161) + kRates},
      {"WMA_face", "AUDIO", audio(0x0161) + audio(0xFACE, kExtra), Bytes().u16le(0xFACE) + kRates},
      {"WMV3", "VIDEO", video("WMV3", 290, kExtra) + audio(0x0161, kExtra), kVideoMeta},
      {"M", "VIDEO", video("WMV3") + video({"M\0P4", 4}), kVideoMeta},
      {"JEIF", "PHOTO", jfif, none},
      {"DJPG", "PHOTO", degradable, none},
      {"DJPG", "PHOTO", degradable + jfif, none},
      {"ASF ", "OTHER", stream(kCommand, none) + jfif, none},
      {"ASF ", "OTHER", audio(0x0161) + stream(kFileTransfer, none), none},
      {"ASF ", "OTHER", video("WMV3") + stream(kBinary, photo), none},
  };
  for (const auto& [formatType, fileType, streams, meta] : rows) {
    const Bytes file =
        header(kEmpty + object(kOther, kMedia) + streams + kProperties) + object(kData, kMedia);
    expectHash(file, 9, formatType, fileType, kMedia + Bytes().u64be(300), meta + kFileId);
    EXPECT_EQ(identify(file), 9);
  }
}

TEST(Asf, ContentIsTheFirstDataObject) {
  const Bytes start = header(kProperties + object(kOther, kMedia)), data = object(kData, kMedia);
  const Bytes content = kMedia + Bytes().u64be(300), longMedia = Bytes().pattern(20000, 13);
  const Bytes tooLong = kMedia + Bytes().u64be(UINT64_MAX - 24),
              longData = object(kData, longMedia);
  const std::tuple<const char*, Bytes, Bytes> rows[] = {
      {"no data at all", start, {}},
      {"nothing behind it is read", start + data + data + sized(kOther, 0, {}), content},
      {"sampled", start + longData, sampled(longMedia) + Bytes().u64be(20000)},
      {"longer than the file", start + sized(kData, UINT64_MAX, kMedia), tooLong},
      {"behind other objects", start + object(kOther, kMedia) + header(audio(1)) + data, content},
      {"a bare header takes what follows", start + header({}) + longData + data, content},
  };
  for (const auto& [rule, file, hashed] : rows) {
    EXPECT_EQ(hashOf(file).content(), sha1Hex(hashed)) << rule;
  }
  const Bytes longStream = object(kStreamProperties, Bytes(40).u32le(1).fill(10, 0));
  expectCode(HASHCREATE_FORMAT_ERROR, {{"empty at the end", start + object(kData, {})},
                                       {"header of 23 bytes", sized(kHeader, 23, kProperties)}});
  expectCode(HASHCREATE_SEEK_ERROR, {{"object past the end", start + sized(kOther, 325, kMedia)},
                                     {"stream too long", header(longStream)}});
  expectCode(HASHCREATE_READ_ERROR, {{"extra cut", header(audio(1, kExtra)).part(0, 300)}});
  expectCode(HASHCREATE_MEM_ALLOC_ERROR, {{"no bitmap", header(video("WMV3", 39)) + data}});
}

TEST(Asf, HashesMoreThanFourGibibytes) {
  MemoryFile file(header(kProperties) + sized(kData, 5'000'000'024, {}), 5'000'000'000);
  EXPECT_EQ(hashOf(file).content(), sha1Hex(Bytes().fill(16300, 0).u64be(5'000'000'000)));
}

TEST(Asf, LabelsAreSetAlthoughTheWalkAfterTheHeaderFailed) {
  OpenStream stream(header(audio(0x0161) + kProperties) + sized(kOther, 0, {}));
  Labels labels = {};
  EXPECT_EQ(createHash_ASF(&stream, &labels), HASHCREATE_FORMAT_ERROR);
  EXPECT_STREQ(labels.formatType, "574D415F30313631");
}

TEST(Asf, FieldsAreReadOneByOne) {
  MemoryFile file(header(object(kOther, kMedia) + kProperties + audio(1, kExtra) + video("WMV3")));
  EXPECT_EQ(hashOf(file).code, 0);
  std::string sizes;
  for (const Call& call : file.calls) {
    if (call.kind == "seek" && call.amount > 2) sizes.clear();  // everything before is buffered
    if (call.kind == "read") sizes += std::to_string(call.amount) + " ";
  }
  const std::string properties = "16 8 16 8 8 8 8 8 8 4 4 4 4 ", stream = "16 8 32 8 4 4 2 4 ";
  EXPECT_EQ(sizes,
            properties + stream + "2 2 4 4 2 2 2 250 " + stream + "4 4 1 2 4 4 4 2 2 4 4 4 4 4 4 ");
}

TEST(Asf, SurvivesDamageAndFaults) {
  const Bytes file =
      header(kProperties + audio(1, kExtra) + video("WMV3", 290, kExtra)) + object(kData, kMedia);
  expectSurvives(file, false);
}

}  // namespace
