#include "support.h"

using namespace support;

TEST(Bmp, EveryByteCountsAndTheSizeIsMeta) {
  for (const Bytes& file :
       {Bytes().text("BM"), Bytes().text("BM").pattern(300), Bytes().text("BM").pattern(20000)}) {
    expectFormat(file, 4, "BMP ", "PHOTO", file, Bytes().u64be(file.size()));
  }
  expectCode(HASHCREATE_NON_SUPPORTED, {{"one letter", {'B'}}});
}
