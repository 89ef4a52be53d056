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

TEST(Primitives, FieldsThatDoNotLieInTheHeaderWholeAreZero) {
  const uint8_t bytes[8] = {1, 2, 3, 4, 5, 6, 7, 0x88};
  const Fields little = fieldsOf(bytes, kLittleEndian), big = fieldsOf(bytes, kBigEndian);
  EXPECT_EQ(little.u64(0), 0x8807060504030201u);
  EXPECT_EQ(big.u32(4), 0x05060788u);
  EXPECT_EQ(big.u16(6), 0x0788u);
  EXPECT_EQ(big.u16(7) + big.u32(5) + big.u64(1) + big.u16(9) + big.u64(0xFFFFFFFF), 0u);
}

TEST(Primitives, ZeroSkipStandsOnTheFirstOtherByte) {
  const std::tuple<Bytes, int, uint32_t> rows[] = {
      {Bytes(450).u8(0x47).u8(0), HASHCREATE_SUCCESS, 450},
      {Bytes{0x47}.fill(300, 0), HASHCREATE_SUCCESS, 0},
      {Bytes(400), HASHCREATE_REACH_EOF, 400}};
  for (const auto& [file, code, zeros] : rows) {
    OpenStream stream(file);
    BufferScope buffer(&stream);
    uint32_t skipped = 7;
    EXPECT_EQ(kmhNullSkip(&stream, buffer.storage, sizeof(buffer.storage), &skipped), code);
    EXPECT_EQ(skipped, zeros);
    EXPECT_EQ(c_ftell(&stream), zeros);
    EXPECT_EQ(stream.next(2), file.part(zeros, 2));
  }
  // A seek that fails uses the buffer up. It is kept for its positions, but delivers nothing.
  OpenStream spent(1000);
  uint8_t storage[200];
  uint32_t skipped;
  EXPECT_EQ(callbackSeek(&spent, 1201, 1), HASHCREATE_SEEK_ERROR);
  EXPECT_EQ(kmhNullSkip(&spent, storage, 200, &skipped), HASHCREATE_READ_ERROR);
}

}  // namespace
