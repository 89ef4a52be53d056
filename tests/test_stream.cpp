// The file stream, call by call, and the primitives over it.
#include <cerrno>

#include "openStream.h"
#include "readPrimitives.h"

using namespace support;

namespace {

Call read(int64_t count) { return {"read", count}; }
Call seek(int64_t offset) { return {"seek", offset, 1}; }

TEST(Stream, CutReadAsksOnceMoreForNothing) {
  OpenStream stream(300);
  EXPECT_EQ(c_hybrid_seek(&stream, 220, 0), 0);
  EXPECT_EQ(stream.next(100).size(), 80u);
  EXPECT_EQ(stream.next(1).size(), 0u);
  EXPECT_EQ(c_ftell(&stream), 300u);
  EXPECT_EQ(stream.file.calls, (std::vector<Call>{seek(20), read(80), read(0)}));

  OpenStream dripping(300);
  dripping.file.mostPerRead = 40;
  EXPECT_EQ(dripping.next(300), dripping.file.bytes);
  EXPECT_EQ(dripping.file.calls, (std::vector<Call>{read(100), read(60), read(20)}));
}

TEST(Stream, RelativeSeekMayOvershootByWhatTheBufferHeld) {
  OpenStream stream(300);
  EXPECT_EQ(c_hybrid_seek(&stream, 490, 1), 0);  // 200 buffered, so a move of 290 from position 0
  EXPECT_EQ(c_hybrid_seek(&stream, 0, 2), HASHCREATE_SEEK_ERROR);
  uint8_t byte;
  EXPECT_EQ(callbackRead(&stream, &byte, 1), HASHCREATE_READ_ERROR);
  EXPECT_EQ(c_set_buffer(&stream, &byte, 1), HASHCREATE_INVALID_PARAM);
  EXPECT_EQ(stream.file.calls, std::vector<Call>{seek(290)});
}

TEST(Stream, ErrnoStandsForAFailedReadOrSeek) {
  for (const int error : {0, EIO}) {
    OpenStream stream(1000);
    stream.file.failingErrno = error;
    stream.file.failingRead = stream.file.reads + 1;
    stream.file.failingSeek = 1;
    uint8_t bytes[300];
    errno = ENOENT;  // what others left behind does not count
    EXPECT_EQ(callbackRead(&stream, bytes, 300), error != 0 ? error : HASHCREATE_READ_ERROR);
    errno = ENOENT;
    EXPECT_EQ(callbackSeek(&stream, 500, 1), error != 0 ? error : HASHCREATE_SEEK_ERROR);
  }
}

TEST(Primitives, IntegersOfTooFewBytesAreZero) {
  const uint8_t bytes[8] = {1, 2, 3, 4, 5, 6, 7, 0x88};
  EXPECT_EQ(getUShort(bytes, 1, kBigEndian) + getULong(bytes, 3, kBigEndian), 0u);
  EXPECT_EQ(getULongLong(bytes, 7, kBigEndian), 0u);
  EXPECT_EQ(getULongLong(bytes, 8, kLittleEndian), 0x8807060504030201u);
}

TEST(Primitives, ZeroSkipStandsOnTheFirstOtherByte) {
  const struct {
    Bytes file;
    int code;
    uint32_t skipped;
  } rows[] = {{Bytes().fill(450, 0).u8(0x47).u8(0), 0, 450},
              {Bytes().u8(0x47).fill(300, 0), 0, 0},
              {Bytes().fill(400, 0), HASHCREATE_REACH_EOF, 400}};
  for (const auto& row : rows) {
    OpenStream stream(1000);
    stream.file.bytes = row.file;
    stream.fileSize = row.file.size();
    std::copy_n(row.file.begin(), 200, stream.first);
    uint8_t storage[200];
    uint32_t skipped = 7;
    EXPECT_EQ(kmhNullSkip(&stream, storage, sizeof(storage), &skipped), row.code);
    EXPECT_EQ(skipped, row.skipped);
    EXPECT_EQ(c_ftell(&stream), row.skipped);
    EXPECT_EQ(stream.next(2), row.file.part(row.skipped, 2));
    EXPECT_EQ(kmhNullSkip(&stream, storage, 0, &skipped), HASHCREATE_INVALID_PARAM);
  }
  // A seek that fails uses the buffer up. It is kept for its positions, although it delivers
  // nothing any more.
  OpenStream spent(1000);
  uint8_t storage[200];
  uint32_t skipped;
  EXPECT_EQ(callbackSeek(&spent, 1201, 1), HASHCREATE_SEEK_ERROR);
  EXPECT_EQ(kmhNullSkip(&spent, storage, 200, &skipped), HASHCREATE_READ_ERROR);
}

TEST(Primitives, FourCharacterCodes) {
  char text[6] = "?????";
  EXPECT_EQ(fourCC2String(0x4D504F20, text, sizeof(text)), 0);
  EXPECT_STREQ(text, "MPO ");
  for (const uint32_t code : {0x66740170u, 0x6674797Fu, 0x667479FFu}) {
    EXPECT_EQ(fourCC2String(code, text, sizeof(text)), -2) << code;
  }
  EXPECT_EQ(fourCC2String(0x66747970, text, 4), -1);
  uint8_t bytes[4];
  EXPECT_EQ(string2FourCC("RIFF", 4, bytes), 0);
  EXPECT_EQ(getULong(bytes, 4, kLittleEndian), fourCC("RIFF"));
  EXPECT_EQ(string2FourCC("RIF", 3, bytes), -1);
}

}  // namespace
