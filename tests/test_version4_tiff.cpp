// TIFF, BigTIFF and raw by version 4: which directories are images, what of them is hashed, and
// which fault decides.
#include "version4.h"

using namespace support;

namespace {

const Bytes kData = Bytes().pattern(120);  // at 16 in each file

Bytes part(uint64_t from, uint64_t count) { return kData.part(from, count); }

struct Field {
  unsigned tag, type;
  std::vector<uint64_t> values;
};
using Directory = std::vector<Field>;

// How a file is written: the first four bytes, its byte order and the width of places.
struct Writer {
  std::string_view signature = {"II*\0", 4};
  bool isBig = false;
  int width = 4;

  Bytes number(uint64_t value, int size) const {
    Bytes out;
    for (int i = 0; i < size; ++i) {
      out.u8(value >> 8 * (isBig ? size - 1 - i : i) & 0xFF);
    }
    return out;
  }
  // A directory at a place, and behind it the values that do not fit into it.
  Bytes directory(const Directory& fields, uint64_t place, uint64_t next) const {
    const int count = width == 4 ? 2 : 8;
    const size_t wide = static_cast<size_t>(width);
    Bytes out = number(fields.size(), count), behind;
    place += fields.size() * (4 + 2 * wide) + static_cast<size_t>(count) + wide;
    for (const Field& field : fields) {
      constexpr int kWidths[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0, 8, 8, 8};
      Bytes values;
      for (const uint64_t value : field.values) values.add(number(value, kWidths[field.type]));
      out.add(number(field.tag, 2) + number(field.type, 2) + number(field.values.size(), width));
      const bool fits = values.size() <= wide;
      out.add(fits ? values + Bytes(wide - values.size()) : number(place + behind.size(), width));
      if (!fits) behind.add(values);
    }
    return out.add(number(next, width)).add(behind);
  }
  // A file of kData and a chain of directories, the first of them at 136.
  Bytes file(const std::vector<Directory>& chain) const {
    Bytes out = Bytes().text(signature) + (width == 4 ? Bytes() : number(8, 2) + number(0, 2));
    out.add(number(136, width)).add(Bytes(16 - out.size(), 'C')).add(kData);
    for (size_t i = 0; i < chain.size(); ++i) {
      const uint64_t place = out.size(), end = place + directory(chain[i], place, 0).size();
      out.add(directory(chain[i], place, i + 1 < chain.size() ? end : 0));
    }
    return out;
  }
};
const Writer kPlain;

Bytes field(uint32_t tag, const std::vector<uint64_t>& values) {
  Bytes out = Bytes().u32be(tag).u32be(static_cast<uint32_t>(values.size()));
  for (const uint64_t value : values) out.u64be(value);
  return out;
}

// Two strips, the second in front of the first.
const Directory kStrips = {
    {256, 3, {9}}, {257, 4, {5}}, {270, 2, {'a', 'b'}}, {273, 4, {56, 16}}, {279, 3, {20, 30}}};
const Bytes kStripBytes = part(40, 20) + part(0, 30), kSize = field(256, {9}) + field(257, {5});

Directory with(Directory directory, const Directory& more) {
  directory.insert(directory.begin(), more.begin(), more.end());
  return directory;
}
Directory strip(uint64_t offset, uint64_t size) { return {{273, 4, {offset}}, {279, 4, {size}}}; }

void expectTiff(const char* what, const Bytes& file, const Bytes& payload, const Bytes& meta,
                const char* formatType = "TIFF") {
  SCOPED_TRACE(what);
  expectHash4(file, 0x29, formatType, "PHOTO", payload, meta);
}

TEST(Tiff4, ByteOrderPlacesAndWidthsDoNotCount) {
  expectFormat4(kPlain.file({kStrips}), 0x29, "TIFF", "PHOTO", kStripBytes, kSize);
  const Writer wide = {{"II+\0", 4}, false, 8}, wideAndBig = {{"MM\0+", 4}, true, 8};
  expectFormat4(wideAndBig.file({kStrips}), 0x29, "TIFFBIG ", "PHOTO", kStripBytes, kSize);
  expectTiff("64 bits", wide.file({kStrips}), kStripBytes, kSize, "TIFFBIG ");
  Bytes cr2 = kPlain.file({kStrips});
  cr2[9] = 'R';
  expectTiff("CR2", cr2, kStripBytes, kSize, "TIFFCR2 ");
  const Directory dng = with(kStrips, {{50706, 2, {1}}});
  expectTiff("DNG", wide.file({dng}), kStripBytes, kSize, "TIFFDNG ");
  expectTiff("DNG in the second directory", Writer{{"MM\0*", 4}, true}.file({kStrips, dng}),
             kStripBytes + kStripBytes, kSize + kSize);
  for (const char* signature : {"IIRO", "IIRS", "MMOR"}) {
    expectTiff(signature, Writer{signature, *signature == 'M'}.file({dng}), kStripBytes, kSize,
               "TIFFORF ");
  }
}

TEST(Tiff4, EveryFullSizeImageIsHashed) {
  const Directory first = strip(16, 10), second = strip(30, 10);
  const Directory tiles = with(first, {{325, 4, {7}}, {324, 4, {50}}});
  const Bytes a = part(0, 10), b = part(14, 10), c = part(34, 7);
  expectTiff("pages", kPlain.file({first, second}), a + b, {});
  expectTiff("tiles", kPlain.file({tiles}), c, {});
  expectTiff("half of the tiles", kPlain.file({with(first, {{324, 4, {50}}})}), a, {});
  expectTiff("reduced copy", kPlain.file({with(first, {{254, 4, {5}}}), second}), b, {});
  expectTiff("only reduced copies", kPlain.file({with(first, {{254, 4, {1}}}), {}}), a, {});
  expectTiff("the first of equal tags", kPlain.file({with(strip(1, 1), first)}), a, {});
  expectTiff("places that are no numbers",
             kPlain.file({with(strip(30, 10), {{324, 5, {1}}, {325, 4, {1}}})}), b, {});
  const Directory jpegs = {{513, 4, {20}}, {514, 4, {9}}};
  expectTiff("previews",
             kPlain.file({{{513, 4, {16}}, {514, 4, {8}}},
                          jpegs,
                          {{514, 4, {99}}},
                          {{513, 4, {40}}, {514, 4, {9}}}}),
             part(4, 9), Bytes().text("JPEG"));
  expectTiff("preview beside an image", kPlain.file({with(jpegs, second)}), b, {});
}

TEST(Tiff4, DirectoriesBelowComeBehindTheChainLevelByLevel) {
  const auto at = [](const Directory& directory, uint64_t place, uint64_t next = 0) {
    const Bytes bytes = kPlain.directory(directory, place, next);
    return bytes + Bytes(100 - bytes.size());
  };
  const uint64_t kRoot = 136, kBelow = 236, kDeeper = 336, kNext = 436, kUnnamed = 536;
  const Bytes head = kPlain.file({}).part(0, 136);
  const Bytes file =
      head +
      at(with(strip(16, 1), {{330, 13, {kBelow, 0, kRoot, kDeeper, kBelow}}}), kRoot, kNext) +
      at(with(strip(18, 1), {{330, 4, {kNext}}}), kBelow, kUnnamed) + at(strip(20, 1), kDeeper) +
      at(with(strip(22, 1), {{330, 4, {kDeeper}}}), kNext, kRoot) + at(strip(24, 1), kUnnamed);
  expectTiff("a tree with rings", file, part(0, 1) + part(6, 1) + part(2, 1) + part(4, 1), {});
}

TEST(Tiff4, FieldsEnterMetaUnlessTheyAreTheDefault) {
  const Directory fields = {{530, 3, {2, 1}}, {347, 7, {1, 2, 3}}, {338, 3, {2}},
                            {323, 3, {16}},   {320, 3, {5, 6}},    {317, 3, {2}},
                            {284, 3, {2}},    {277, 3, {3}},       {266, 3, {2}},
                            {262, 3, {0}},    {259, 3, {5}},       {258, 3, {8, 8, 8}}};
  const Bytes expected = field(258, {8}) + field(259, {5}) + field(262, {0}) + field(266, {2}) +
                         field(277, {3}) + field(284, {2}) + field(317, {2}) + field(320, {5, 6}) +
                         field(323, {16}) + field(338, {2}) + field(347, {1, 2, 3}) +
                         field(530, {2, 1});
  const Directory image = strip(16, 20);
  expectTiff("all", kPlain.file({with(image, fields)}), part(0, 20), expected);
  const Directory defaults = {
      {258, 3, {1, 1}}, {259, 3, {1}},    {266, 3, {1}},       {277, 3, {1}}, {284, 3, {1}},
      {317, 3, {1}},    {530, 3, {2, 2}}, {339, 3, {4, 4, 4}}, {274, 3, {6}}, {278, 3, {5}}};
  expectTiff("defaults", kPlain.file({with(image, defaults)}), part(0, 20), {});
  expectTiff(
      "nearly defaults",
      kPlain.file(
          {with(image, {{258, 3, {1, 8}}, {277, 3, {1, 1}}, {339, 3, {2, 2}}, {530, 3, {2}}})}),
      part(0, 20), field(258, {1, 8}) + field(277, {1, 1}) + field(339, {2}) + field(530, {2}));
  const Writer rw2 = {{"IIU\0", 4}};
  const Directory raw = {{2, 3, {9}},   {11, 3, {1}},           {12, 3, {1}},
                         {256, 3, {9}}, {273, 4, {0xFFFFFFFF}}, {280, 4, {100}}};
  const Bytes file = rw2.file({raw}), old = rw2.file({{{273, 4, {90}}}});
  expectTiff("RW2", file, file.part(100), field(2, {9}) + field(11, {1}), "TIFFRW2 ");
  expectTiff("RW2 of old", old, old.part(90), {}, "TIFFRW2 ");
}

TEST(Tiff4, FaultsAreTheFirstRuleThatIsBroken) {
  const Writer wide = {{"II+\0", 4}, false, 8}, rw2 = {{"IIU\0", 4}};
  const Bytes good = kPlain.file({kStrips});
  Bytes nine = wide.file({kStrips}), one = nine, far = good;
  nine[4]++, one[6]++, far[4] = far[5] = 0xFF;
  const std::vector<uint64_t> bytes(1 << 20, 1), more(bytes.size() + 1, 1), named(65535, 136),
      others(65536, 136);
  const Directory repeats = {{273, 4, std::vector<uint64_t>(99, 16)},
                             {279, 4, std::vector<uint64_t>(99, 120)}};
  const auto chain = [](int count) {
    Bytes out = kPlain.file({}).part(0, 136);
    for (; count > 1; --count) out.add(kPlain.directory({}, out.size(), out.size() + 6));
    return out.add(kPlain.directory(strip(16, 1), out.size(), 0));
  };
  expectRefused({
      {"first directory behind the file", far, kCut},
      {"no directory", kPlain.file({}).part(0, 4) + Bytes(12)},
      {"cut directory", good.part(0, 150), kCut},
      {"places of nine bytes", nine},
      {"a one for a zero", one},
      {"more entries than a table may have", kPlain.file({}).part(0, 136) + Bytes(2, 0xFF), kCut},
      {"more of 64 bits", wide.file({}).part(0, 136) + Bytes(8, 0xFF)},
      {"lists that differ", kPlain.file({with(kStrips, {{279, 4, {1}}})})},
      {"strip behind the file", kPlain.file({with(kStrips, strip(16, 999))}), kCut},
      {"list behind the file, in front of lists that differ",
       kPlain.file({{{273, 4, {1}}, {279, 4, {1, 2}}}}).part(0, 170), kCut},
      {"raw data behind the file", rw2.file({{{280, 4, {999}}}}), kCut},
      {"repeats", kPlain.file({repeats})},
      {"2^20 ranges", kPlain.file({{{273, 1, bytes}, {279, 1, bytes}}}), 0},
      {"one more", kPlain.file({{{273, 1, more}, {279, 1, more}}})},
      {"65,535 directories named", kPlain.file({with(strip(16, 1), {{330, 4, named}})}), 0},
      {"one more", kPlain.file({with(strip(16, 1), {{330, 4, others}})})},
      {"65,536 directories", chain(65536), 0},
      {"one more", chain(65537)},
      {"no TIFF", Bytes().text("II*A") + good.part(4), kUnsupported},
  });
}

}  // namespace
