// Pictures in chunks and boxes: which of them are hashed by version 4, and which fault decides.
#include "version4.h"

using namespace support;

namespace {

constexpr uint64_t kMostParts = 1 << 20;
const Bytes kImage = Bytes().pattern(301);

// ---- WebP ----

Bytes le(const char* name, const Bytes& body) {
  return Bytes().text(name).u32le(static_cast<uint32_t>(body.size())) + body +
         Bytes(body.size() % 2, 0);
}
Bytes webp(const Bytes& chunks) {
  return Bytes().text("RIFF").u32le(static_cast<uint32_t>(chunks.size() + 4)).text("WEBP") + chunks;
}
const Bytes kLossy = Bytes(6, 9).u16le(0x4000 | 640).u16le(0xC000 | 480) + kImage,
            kLossless = Bytes().u8(0x2F).u32le(0xF0000000 | 479 << 14 | 639) + kImage,
            kFrameSize = {0x7F, 2, 0, 0xDF, 1, 0}, kCanvas = {0x20, 3, 0, 0x58, 2, 0},
            kExtended = le("VP8X", Bytes(4, 0x3E) + kCanvas), kMotion = Bytes().pattern(6);

TEST(Webp, ImagesAreHashedWithTheCanvas) {
  const Bytes vp8 = le("VP8 ", kLossy), vp8l = le("VP8L", kLossless), alpha = le("ALPH", {1, 2, 3});
  const Bytes anmf = le("ANMF", Bytes().pattern(41)), one = Bytes().u32be(1),
              two = Bytes().u32be(2);
  expectFormat4(webp(vp8), 0x20, "WEBPVP8 ", "PHOTO", kLossy, kFrameSize + one);
  expectFormat4(webp(vp8l), 0x20, "WEBPVP8L", "PHOTO", kLossless, kFrameSize + one);
  expectHashes4(0x20, "WEBPVP8 ", "PHOTO", kLossy, kFrameSize + one,
                {
                    {"an editor's copy", webp(le("VP8X", Bytes(4, 8) + kFrameSize) +
                                              le("ICCP", {1}) + vp8 + le("EXIF", {1, 2, 3}))},
                    {"bytes behind", webp(vp8) + vp8l},
                    {"seven more bytes", webp(vp8 + Bytes(7))},
                    {"no pad byte", webp(vp8.part(0, 8 + kLossy.size()))},
                });
  expectHash4(webp(kExtended + alpha + vp8), 0x20, "WEBPVP8 ", "PHOTO", Bytes{1, 2, 3} + kLossy,
              kCanvas + two);
  expectHash4(webp(vp8l + vp8), 0x20, "WEBPVP8L", "PHOTO", kLossless + kLossy, kFrameSize + two);
  expectFormat4(webp(kExtended + le("VP8X", {}) + le("ANIM", kMotion + kMotion) + le("ANIM", {}) +
                     anmf + anmf),
                0x20, "WEBPANIM", "PHOTO", Bytes().pattern(41).pattern(41),
                kCanvas + two + kMotion);
}

TEST(Webp, FaultsAreTheFirstRuleThatIsBroken) {
  const Bytes good = webp(le("VP8 ", kLossy));
  Bytes longer = good;
  longer[4]++;
  expectRefused({
      {"ends behind the file", longer, kCut},
      {"chunk behind the end", webp(good.part(12) + Bytes().text("EXIF").u32le(1))},
      {"chunk behind the end, in front of other bytes",
       webp(Bytes().text("VP8 ").u32le(99)) + good},
      {"no width", webp(le("VP8 ", Bytes(6).u16le(0xC000).u16le(480)))},
      {"no height", webp(le("VP8 ", Bytes(6).u16le(640).u16le(0xC000)))},
      {"short lossy image", webp(le("VP8 ", kLossy.part(0, 9)))},
      {"short lossless image", webp(le("VP8L", kLossless.part(0, 4)))},
      {"short canvas", webp(le("VP8X", Bytes(9)) + le("VP8 ", kLossy))},
      {"short animation", webp(le("ANIM", Bytes(5)) + le("VP8 ", kLossy))},
      {"no image", webp(kExtended + le("ALPH", kImage))},
      {"no size", webp(le("ANMF", kImage))},
      {"end in front of the chunks", Bytes().text("RIFF").u32le(3).text("WEBP") + good.part(12)},
      {"not WebP", Bytes().text("RIFF").u32le(4).text("WEBQ"), kUnsupported},
  });
}

// ---- PNG ----

Bytes chunk(const char* type, const Bytes& body) {
  return Bytes().u32be(static_cast<uint32_t>(body.size())).text(type) + body + Bytes(4, 0xC4);
}
const Bytes kSignature = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A},
            kHeader = Bytes().pattern(13), kEnd = chunk("IEND", {}),
            kStart = kSignature + chunk("IHDR", kHeader), kIdat = chunk("IDAT", kImage);

TEST(Png4, ImagesAreHashedWithWhatShowsThem) {
  const Bytes idat = Bytes().text("IDAT"), header = Bytes().text("IHDR") + kHeader;
  expectFormat4(kStart + kIdat + kEnd, 0x2D, "PNG ", "PHOTO", kImage, header + idat);
  expectHashes4(
      0x2D, "PNG ", "PHOTO", kImage, header + idat,
      {
          {"several chunks", kStart + chunk("gAMA", {1}) + chunk("IDAT", kImage.part(0, 99)) +
                                 chunk("IDAT", {}) + chunk("IDAT", kImage.part(99)) + kEnd},
          {"only the header of IEND", kStart + kIdat + Bytes().u32be(9).text("IEND") + kIdat},
      });
  const Bytes control = Bytes().pattern(26), number = Bytes().u32be(7);
  const Bytes palette = Bytes().text("PLTE").pattern(9), clear = Bytes().text("tRNS").pattern(3),
              frames = Bytes().text("acTL").pattern(8);
  expectFormat4(kStart + chunk("PLTE", palette.part(4)) + kIdat + chunk("tRNS", clear.part(4)) +
                    chunk("acTL", frames.part(4)) + chunk("fcTL", control) +
                    chunk("fdAT", number + kImage) + kIdat + chunk("fdAT", number) + kEnd,
                0x2D, "PNG APNG", "PHOTO", kImage + kImage + kImage,
                header + palette + idat + clear + frames + Bytes().text("fcTL") + control.part(4));
}

TEST(Png4, FaultsAreTheFirstRuleThatIsBroken) {
  expectRefused({
      {"half an end", kStart + kIdat + kEnd.part(0, 7), kCut},
      {"cut checksum", kStart + kIdat.part(0, kIdat.size() - 1), kCut},
      {"cut header of a wrong length", kSignature + Bytes().u32be(99).text("IHDR"), kCut},
      {"longest length", kStart + Bytes(4, 0xFF).text("IDAT") + kEnd, kCut},
      {"short header", kSignature + chunk("IHDR", Bytes(12)) + kIdat + kEnd},
      {"short frame control", kStart + chunk("fcTL", Bytes(25)) + kIdat + kEnd},
      {"short frame", kStart + kIdat + chunk("fdAT", Bytes(3)) + kEnd},
      {"no header", kSignature + kIdat + kEnd},
      {"no PNG", kSignature.part(0, 7), kUnsupported},
  });
}

// ---- RAF ----

TEST(Raf, TheSensorsDataAreHashedWithTheModel) {
  const Bytes model = Bytes().pattern(32), jpeg(50, 7);
  const auto raf = [&](uint32_t offset, size_t size) {
    return Bytes().text("FUJIFILMCCD-RAW ").pattern(12, 3) + model +
           Bytes(24).u32be(108).u32be(50) +
           Bytes(8).u32be(offset).u32be(static_cast<uint32_t>(size)) + jpeg + kImage;
  };
  expectFormat4(raf(158, kImage.size()), 0x2C, "RAF ", "PHOTO", kImage, model);
  expectRefused({
      {"cut", raf(158, kImage.size() + 1), kCut},
      {"behind the file", raf(0xFFFFFFFF, 0xFFFFFFFF), kCut},
      {"short header", raf(158, 1).part(0, 107), kCut},
      {"no data", raf(158, 0)},
  });
}

// ---- Boxes ----

Bytes open(const char* type, const Bytes& body) { return Bytes(4).text(type) + body; }
Bytes large(const char* type, const Bytes& body) {
  return Bytes().u32be(1).text(type).u64be(body.size() + 16) + body;
}
Bytes cut(const char* type) { return Bytes().u32be(10).text(type) + Bytes(1); }

// ---- JPEG XL ----

TEST(JpegXl, TheCodestreamIsHashedBareAndInBoxes) {
  const Bytes stream = Bytes{0xFF, 0x0A} + kImage, front = stream.part(0, 16),
              number = Bytes().u32be(1);
  const Bytes start = Bytes().u32be(12).text("JXL \r\n\x87\n");
  for (const Bytes& file :
       {stream, start + box("Exif", {1}) + box("jxlc", stream) + box("brob", {1}),
        start + open("jxlc", stream), start + large("jxlc", stream),
        start + box("jxlp", number + stream.part(0, 5)) + box("jxlp", number) + box("xml ", {1}) +
            open("jxlp", number + stream.part(5)),
        start + box("jxlc", stream) + cut("Exif"),
        start + box("jxlc", stream) + Bytes(3).u8(7).text("jxlc") + stream}) {
    expectFormat4(file, 0x22, "JXL ", "PHOTO", stream, front);
  }
  expectHash4(Bytes{0xFF, 0x0A}, 0x22, "JXL ", "PHOTO", {0xFF, 0x0A}, {0xFF, 0x0A});
  expectRefused({
      {"cut codestream", start + box("jxlc", stream) + cut("jxlc"), kCut},
      {"cut header of 64 bits", start + box("jxlc", stream) + large("jxlp", {}).part(0, 12), kCut},
      {"short piece", start + box("jxlc", stream) + box("jxlp", Bytes(3))},
      {"no codestream, cut", start + cut("Exif"), kCut},
      {"no codestream, the last box too small",
       start + box("jxlp", number) + Bytes(3).u8(7).text("Exif")},
  });
}

// ---- JPEG 2000 ----

TEST(Jpeg2000, CodestreamsAreHashedWithSizesAndPalette) {
  const Bytes siz = Bytes{0xFF, 0x4F, 0xFF, 0x51}.pattern(38), stream = siz + kImage;
  const Bytes start = Bytes().u32be(12).text("jP  \r\n\x87\n"),
              brand = box("ftyp", Bytes().text("jpx 1234"));
  const Bytes palette = Bytes().text("pclr").pattern(9), map = Bytes().text("cmap").pattern(4);
  const Bytes header = box(
      "jp2h", box("ihdr", Bytes(14)) + box("cmap", map.part(4)) + large("pclr", palette.part(4)));
  const Bytes one = siz.part(2) + Bytes().u32be(1), two = siz.part(2) + Bytes().u32be(2);
  expectFormat4(stream, 0x23, "JP2 ", "PHOTO", stream, one);
  expectFormat4(start + brand + header + box("jp2c", stream), 0x23, "JP2 jpx ", "PHOTO", stream,
                one + map + palette);
  expectHash4(start + brand + box("ftyp", Bytes(3)) + box("jp2c", stream) + cut("ftyp"), 0x23,
              "JP2 jpx ", "PHOTO", stream, one);
  expectHash4(
      start + box("jp2c", siz.part(0, 20)) + box("uuid", {1}) + open("jp2c", stream.part(20)), 0x23,
      "JP2 ", "PHOTO", stream, two);
  expectRefused({
      {"cut codestream", start + box("jp2c", stream) + cut("jp2c"), kCut},
      {"cut header box", start + box("jp2c", stream) + cut("jp2h"), kCut},
      {"cut box within the header box", start + box("jp2h", cut("pclr")) + box("jp2c", stream)},
      {"no codestream", start + header},
      {"no codestream, cut", start + header + cut("uuid"), kCut},
      {"short codestream", siz.part(0, 41)},
      {"no SIZ", start + box("jp2c", Bytes(42))},
  });
}

// ---- Bounds ----

TEST(Pictures4, NoMoreThanSoManyPartsAndBytesOfTables) {
  const Bytes lossy = Bytes().text("WEBP") + le("VP8 ", kLossy), png = kStart + kIdat;
  const auto riff = [&](uint64_t chunks) {
    const auto size = static_cast<uint32_t>(lossy.size() + 8 * chunks);
    return MemoryFile(Bytes().text("RIFF").u32le(size) + lossy, 8 * chunks);
  };
  const auto jp2h = [](uint32_t size) {
    return MemoryFile(Bytes().u32be(12).text("jP  \r\n\x87\n").u32be(size + 8).text("jp2h"), 9);
  };
  const Bytes palette = kStart + Bytes().u32be(1 << 26).text("PLTE");
  const auto expect = [](int code, MemoryFile file) { EXPECT_EQ(hash4Of(file).code, code); };
  expect(0, riff(kMostParts - 1));
  expect(kBroken, riff(kMostParts));
  expect(0, MemoryFile(png, 12 * (kMostParts - 3), kEnd));
  expect(kBroken, MemoryFile(png, 12 * (kMostParts - 2), kEnd));
  expect(kBroken, MemoryFile(palette, (1 << 26) + 4, kIdat + kEnd));
  expect(kCut, jp2h(1 << 26));
  expect(kBroken, jp2h((1 << 26) + 1));
}

}  // namespace
