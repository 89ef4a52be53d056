// The file stream, call by call, and the primitives over it.

#include <gtest/gtest.h>

#include <cerrno>

#include "openStream.h"
#include "readPrimitives.h"

using support::Bytes;
using support::Call;
using support::OpenStream;

namespace {

Call read(int64_t count) { return {"read", count}; }
Call seek(int64_t offset) { return {"seek", offset, 1}; }

TEST(Stream, SeeksBackInsideTheBufferAndOnlyThere) {
  OpenStream stream(1000);
  EXPECT_EQ(stream.next(10), stream.file.bytes.part(0, 10));
  EXPECT_EQ(c_hybrid_seek(&stream, 0, 0), 0);
  EXPECT_EQ(stream.next(10), stream.file.bytes.part(0, 10));
  EXPECT_EQ(stream.file.calls, std::vector<Call>{});

  EXPECT_EQ(stream.next(290), stream.file.bytes.part(10, 290));
  EXPECT_EQ(c_hybrid_seek(&stream, 250, 0), HASHCREATE_SEEK_ERROR);
  EXPECT_EQ(c_hybrid_seek(&stream, 150, 0), 0);
  EXPECT_EQ(stream.next(50), stream.file.bytes.part(150, 50));
  EXPECT_EQ(stream.file.calls, std::vector<Call>{read(100)});
  // The buffer is not checked against the underlying stream, which stands at 300.
  EXPECT_EQ(stream.next(5), stream.file.bytes.part(300, 5));
  EXPECT_EQ(c_ftell(&stream), 205u);
}

TEST(Stream, ForwardSeeksMoveByWhatTheBufferDoesNotHold) {
  OpenStream stream(1000);
  stream.next(10);
  EXPECT_EQ(c_hybrid_seek(&stream, 500, 0), 0);
  EXPECT_EQ(c_hybrid_seek(&stream, 20, 1), 0);
  EXPECT_EQ(c_ftell(&stream), 520u);
  EXPECT_EQ(stream.file.calls, (std::vector<Call>{seek(300), seek(20)}));
  EXPECT_EQ(c_hybrid_seek(&stream, 481, 1), HASHCREATE_SEEK_ERROR);
  EXPECT_EQ(c_hybrid_seek(&stream, 1001, 0), HASHCREATE_SEEK_ERROR);
  EXPECT_EQ(c_hybrid_seek(&stream, 0, 2), HASHCREATE_SEEK_ERROR);
  EXPECT_EQ(callbackSeek(&stream, -1, 1), HASHCREATE_SEEK_ERROR);
  EXPECT_EQ(c_hybrid_seek(&stream, 480, 1), 0);
  EXPECT_EQ(c_ftell(&stream), 1000u);
}

TEST(Stream, RelativeSeekMayOvershootByWhatTheBufferHeld) {
  OpenStream stream(300);
  stream.next(10);
  EXPECT_EQ(c_hybrid_seek(&stream, 480, 1), 0);  // 190 buffered, so a move of 290 from position 10
  EXPECT_EQ(c_ftell(&stream), 490u);
  stream.file.calls.clear();
  uint8_t byte;
  EXPECT_EQ(callbackRead(&stream, &byte, 1), HASHCREATE_READ_ERROR);
  EXPECT_EQ(callbackSeek(&stream, 1, 1), HASHCREATE_SEEK_ERROR);
  EXPECT_EQ(c_set_buffer(&stream, &byte, 1), HASHCREATE_INVALID_PARAM);
  EXPECT_EQ(stream.file.calls, std::vector<Call>{});
}

TEST(Stream, SeekThatFailsUsesTheBufferUp) {
  OpenStream stream(1000);
  uint8_t storage[200];
  uint32_t skipped;
  EXPECT_EQ(callbackSeek(&stream, 1201, 1), HASHCREATE_SEEK_ERROR);
  // The buffer is kept for its positions, although it delivers nothing any more.
  EXPECT_EQ(c_set_buffer(&stream, storage, 200), 0);
  EXPECT_EQ(kmhNullSkip(&stream, storage, 200, &skipped), HASHCREATE_READ_ERROR);
  EXPECT_EQ(stream.file.calls, std::vector<Call>{});
  EXPECT_EQ(stream.next(5), stream.file.bytes.part(200, 5));
}

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

TEST(Stream, LoadsTheBufferOnceAndStandsStill) {
  OpenStream stream(450);
  uint8_t storage[200];
  EXPECT_EQ(c_set_buffer(&stream, storage, 200), 0);  // buffered already
  EXPECT_EQ(stream.file.calls, std::vector<Call>{});
  stream.next(50);
  EXPECT_EQ(c_set_buffer(&stream, storage, 200), 0);  // takes what the old buffer still holds
  EXPECT_EQ(stream.file.calls, std::vector<Call>{read(50)});
  EXPECT_EQ(c_ftell(&stream), 50u);
  EXPECT_EQ(stream.next(400), stream.file.bytes.part(50, 400));
  EXPECT_EQ(c_set_buffer(&stream, storage, 200), HASHCREATE_REACH_EOF);
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

TEST(Primitives, IntegersInBothOrders) {
  const uint8_t bytes[8] = {1, 2, 3, 4, 5, 6, 7, 0x88};
  EXPECT_EQ(getUShort(bytes, 2, kLittleEndian), 0x0201u);
  EXPECT_EQ(getULong(bytes, 4, kBigEndian), 0x01020304u);
  EXPECT_EQ(getULong(bytes, 4, 7), 0x04030201u);
  EXPECT_EQ(getUShort(bytes, 1, kBigEndian) + getULong(bytes, 3, kBigEndian), 0u);
  EXPECT_EQ(getULongLong(bytes, 7, kBigEndian), 0u);
  EXPECT_EQ(getULongLong(bytes, 8, kBigEndian), 0x0102030405060788u);
  EXPECT_EQ(getULongLong(bytes, 8, kLittleEndian), 0x8807060504030201u);
}

TEST(Primitives, RangesAreSampledFromTheThresholdOn) {
  struct Row {
    size_t from, size;
    uint64_t threshold;
    uint32_t which;  // 2: meta
  };
  for (const Row& row : {Row{0, 16383, 16384, 1}, Row{0, 16384, 16384, 2}, Row{77, 1000000, 16384, 3},
                         Row{5, 5460, 5461, 2}, Row{5, 20011, 5461, 0}, Row{0, 4000, 163, 2}, Row{3, 1025, 5000, 1}}) {
    OpenStream stream(row.from + row.size + 10);
    EXPECT_EQ(callbackSeek(&stream, static_cast<int64_t>(row.from), 0), 0);
    EXPECT_EQ(inputActualDataWithSizeEx(&stream, row.size, row.threshold, row.which), 0);
    EXPECT_EQ(c_ftell(&stream), row.from + row.size);
    const Bytes range = stream.file.bytes.part(row.from, row.size);
    const std::string digest = row.which == 2 ? stream.meta() : stream.content();
    EXPECT_EQ(digest, support::sha1Hex(support::sampled(range, row.threshold))) << row.size;
  }
  OpenStream stream(1000000);
  inputActualData(&stream, UINT64_MAX);
  const std::vector<Call>& calls = stream.file.calls;
  EXPECT_EQ(calls.size(), 199u);  // the first sample was buffered
  EXPECT_EQ(calls[0], seek(9800));
  EXPECT_EQ(calls[1], read(163));
  EXPECT_EQ(calls[2], seek(9837));
  EXPECT_EQ(calls.back(), seek(9837));
}

TEST(Primitives, FeedersCutFailOrPassOver) {
  OpenStream cut(500);
  EXPECT_EQ(inputActualData(&cut, 5000), 0);
  EXPECT_EQ(cut.content(), support::sha1Hex(cut.file.bytes));
  OpenStream uncut(2000);
  EXPECT_EQ(inputSpecifiedData(&uncut, 2001), HASHCREATE_READ_ERROR);
  EXPECT_EQ(uncut.content(), support::sha1Hex(uncut.file.bytes.part(0, 1024)));  // whole pieces stay
  OpenStream tiny(20000);
  EXPECT_EQ(inputActualDataWithSize(&tiny, 500, 99), HASHCREATE_INVALID_PARAM);

  for (const int32_t mode : {2, 3}) {
    OpenStream identifying(500, mode);
    EXPECT_EQ(inputSpecifiedData(&identifying, 300), 0);
    EXPECT_EQ(identifying.file.calls, std::vector<Call>{seek(100)});
    EXPECT_EQ(inputActualData(&identifying, 5000), 0);
    EXPECT_EQ(c_ftell(&identifying), 500u);
    EXPECT_EQ(identifying.content(), support::sha1Hex({}));
  }
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
