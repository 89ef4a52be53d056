// HEIF by version 4: which items are hashed, with which properties, and which fault decides.
#include "version4.h"

using namespace support;

namespace {

Bytes full(unsigned version, const Bytes& body, uint32_t flags = 0) {
  return Bytes().u8(version).u24be(flags) + body;
}
Bytes numbers(unsigned size, const std::vector<uint64_t>& values) {
  Bytes out;
  for (const uint64_t value : values) out.add(Bytes().u64be(value).part(8 - size));
  return out;
}

// ---- Files: a brand, the media from kMedia on, then what tells of them ----

constexpr uint32_t kMedia = 24;
const Bytes kData = Bytes().pattern(100), kBrand = box("ftyp", Bytes().text("heic1234"));
Bytes part(uint64_t from, uint64_t count) { return kData.part(from, count); }

Bytes heif(const Bytes& boxes) { return kBrand + box("mdat", kData) + box("meta", full(0, boxes)); }
Bytes pitm(unsigned id) { return box("pitm", full(0, Bytes().u16be(id))); }
Bytes infe(unsigned id, const char* type) {
  return box("infe", full(2, Bytes().u16be(id).u16be(0).text(type)));
}
Bytes iinf(const Bytes& entries) { return box("iinf", full(0, Bytes(2) + entries)); }
Bytes iref(const Bytes& references) { return box("iref", full(0, references)); }
Bytes reference(const char* type, uint64_t from, const std::vector<uint64_t>& to) {
  return box(type, numbers(2, {from, to.size()}) + numbers(2, to));
}
Bytes iprp(const Bytes& properties, const Bytes& associations) {
  return box("iprp", box("ipco", properties) + associations);
}
Bytes ipma(const std::vector<std::vector<unsigned>>& entries) {  // an id, its properties
  Bytes out = Bytes().u32be(static_cast<uint32_t>(entries.size()));
  for (const auto& entry : entries) {
    out.u16be(entry[0]).u8(static_cast<unsigned>(entry.size()) - 1);
    for (size_t i = 1; i < entry.size(); ++i) out.u8(0x80 | entry[i]);
  }
  return box("ipma", full(0, out));
}

Bytes iloc(const std::vector<uint64_t>& places,
           unsigned method = 0) {  // id, place in kData or idat, count
  Bytes out = Bytes().u8(0x44).u8(0).u16be(static_cast<unsigned>(places.size() / 3));
  for (size_t i = 0; i < places.size(); i += 3) {
    out.add(numbers(2, {places[i], method, 0, 1}));
    out.add(numbers(4, {places[i + 1] + (method == 0 ? kMedia : 0), places[i + 2]}));
  }
  return box("iloc", full(1, out));
}

const Bytes kSize = Bytes().text("ispe").pattern(12), kSetup = Bytes().text("hvcC").pattern(9),
            kIspe = box("ispe", kSize.part(4)), kHvcc = box("hvcC", kSetup.part(4)),
            kOne = Bytes().u32be(1);
Bytes auxc(const char* type, const char* behind = "") {
  return box("auxC", full(0, Bytes().text(type).u8(0).text(behind)));
}

void expectHeif(const char* what, const Bytes& boxes, const Bytes& payload, const Bytes& meta,
                const char* formatType = "HEIF") {
  SCOPED_TRACE(what);
  expectHash4(heif(boxes), 0x21, formatType, "PHOTO", payload, meta);
}

// ---- Items ----

// A grid of two tiles with alpha, a thumbnail and a depth map.
struct Grid {
  Bytes items = iinf(infe(9, "grid") + infe(1, "hvc1") + infe(9, "iden"));
  Bytes references =
      iref(reference("thmb", 5, {9}) + reference("auxl", 3, {9}) + reference("auxl", 4, {9}) +
           reference("dimg", 9, {1, 2}) + reference("auxl", 4, {1}) + reference("auxl", 6, {4}));
  Bytes properties =
      iprp(kIspe + box("pixi", {1}) + kHvcc + auxc("urn:mpeg:hevc:2015:auxid:1", "more") +
               auxc("urn:mpeg:hevc:2015:auxid:2"),
           ipma({{1, 3}, {9, 1, 2, 9}, {3, 5}, {4, 4, 1}}) + ipma({{2, 3, 1}, {6, 4}}));
  Bytes places = iloc({5, 1, 1, 1, 10, 20, 2, 40, 5}) + iloc({9, 0, 8}, 1) +
                 iloc({3, 2, 1, 4, 60, 7, 6, 3, 1, 1, 0, 1, 9, 0, 1});
  Bytes data = box("idat", Bytes(8, 0x55));
  Bytes payload = Bytes(8, 0x55) + part(10, 20) + part(40, 5) + part(60, 7);
  Bytes meta = kSize + kSetup + Bytes().u32be(4);
};

TEST(Heif, ThePrimaryItemItsPartsAndItsAlphaAreHashed) {
  const Grid grid;
  const Bytes primary = pitm(9);
  expectFormat4(
      heif(primary + grid.items + grid.places + grid.references + grid.properties + grid.data),
      0x21, "HEIFgrid", "PHOTO", grid.payload, grid.meta);
  expectHeif(
      "other order",
      grid.data + grid.properties + grid.places + grid.references + grid.items + primary + pitm(1),
      grid.payload, grid.meta, "HEIFgrid");
  expectHeif("nothing about an item", pitm(2) + grid.places, part(40, 5), kOne);
  expectHeif("parts without data", primary + grid.references + iloc({2, 0, 3}), part(0, 3),
             Bytes().u32be(3));
}

TEST(Heif, WiderIdsAndOldVersionsTellTheSame) {
  const Bytes primary = box("pitm", full(1, Bytes().u32be(70000)));
  const Bytes items =
      box("iinf", full(1, Bytes(4) + box("infe", full(1, Bytes(9))) +
                              box("infe", full(3, Bytes().u32be(70000).u16be(0).text("av01")))));
  const Bytes references =
      box("iref", full(1, box("dimg", numbers(4, {70000}) + Bytes().u16be(1).u32be(70001))));
  const Bytes entry = Bytes().u32be(70000).u8(2).u16be(0x8002).u16be(1);
  const Bytes properties = iprp(kIspe + kHvcc, box("ipma", full(1, Bytes().u32be(1) + entry, 1)));
  const Bytes wide = numbers(4, {70000}) + numbers(2, {0xFFF0, 7}) + numbers(8, {kMedia}) +
                     numbers(2, {2}) + numbers(4, {9}) + numbers(8, {5, 6}) + numbers(4, {9}) +
                     numbers(8, {50, 7});
  const Bytes places = box("iloc", full(2, Bytes().u8(0x88).u8(0x84).u32be(1) + wide));
  expectHeif("version 2", primary + items + references + properties + places,
             part(5, 6) + part(50, 7), kSetup + kSize + Bytes().u32be(2), "HEIFav01");
  const Bytes old =
      Bytes().u8(0).u8(0x4F) + numbers(2, {1, 1, 0}) + numbers(4, {kMedia + 90}) + numbers(2, {1});
  const Bytes boxes = pitm(1) + box("iloc", full(0, old));
  expectHeif("version 0, up to the end", boxes, kData.part(90) + box("meta", full(0, boxes)), kOne);
}

TEST(Heif, ExtentsGoToTheEndWithoutALength) {
  const auto idat = [](uint32_t from, uint32_t count) {
    return pitm(1) + box("idat", part(0, 10)) + box("idat", {}) +
           iloc({1, from, count, 1, 0, 1}, 1);
  };
  const Bytes sums = Bytes().u8(0x88).u8(0x80) + numbers(2, {1, 1, 0}) + numbers(8, {99}) +
                     numbers(2, {1}) + Bytes(8, 0xFF).u64be(2);
  expectHeif("of idat", idat(4, 0), part(4, 6), kOne);
  expectHeif("a part of idat", idat(4, 6), part(4, 6), kOne);
  expectRefused({
      {"behind idat", heif(idat(4, 7))},
      {"far behind idat", heif(idat(11, 1))},
      {"nothing behind idat", heif(idat(11, 0))},
      {"no idat", heif(pitm(1) + iloc({1, 0, 1}, 1))},
      {"another method", heif(pitm(1) + iloc({1, 0, 1}, 2))},
      {"behind the file", heif(pitm(1) + iloc({1, 9, 999})), kCut},
      {"at the end of numbers", heif(pitm(1) + box("iloc", full(0, sums))), kCut},
  });
}

TEST(Heif, DerivationsAreFollowedSixteenLevelsDeep) {
  const auto chain = [](unsigned levels) {
    Bytes references;
    for (unsigned i = 1; i < levels; ++i) references.add(reference("dimg", i, {i + 1, 1, i}));
    return pitm(1) + iref(references) + iloc({levels, 3, 4});
  };
  expectHeif("sixteen", chain(16), part(3, 4), Bytes().u32be(16));
  expectRefused({{"seventeen", heif(chain(17))}});
}

TEST(Heif, FaultsAreTheFirstRuleThatIsBroken) {
  const Bytes good = pitm(1) + iloc({1, 0, 9}), cutBox = Bytes().u32be(10).text("free") + Bytes(1);
  const auto meta = [](const Bytes& body) { return kBrand + box("meta", body); };
  const auto located = [](unsigned version, unsigned widths, unsigned more) {
    return heif(pitm(1) + box("iloc", full(version, Bytes().u8(widths).u8(more) + Bytes(30))));
  };
  expectRefused({
      {"cut meta", heif(good).part(0, 150), kCut},
      {"short meta", meta(Bytes(3))},
      {"cut box in meta, no picture", heif(cutBox)},
      {"short primary", heif(box("pitm", full(0, Bytes(1))))},
      {"short list of items", heif(good + box("iinf", full(1, Bytes(3))))},
      {"short item", heif(good + iinf(box("infe", full(2, Bytes(7)))))},
      {"short reference", heif(good + iref(box("dimg", Bytes(3))))},
      {"reference to more", heif(good + iref(box("auxl", numbers(2, {1, 2, 3}))))},
      {"other reference to more", heif(good + iref(box("thmb", numbers(2, {1, 2, 3})))), 0},
      {"cut property", heif(good + box("iprp", box("ipco", cutBox)))},
      {"short association",
       heif(good + box("iprp", box("ipma", full(0, numbers(4, {1}) + Bytes{0, 1, 2, 3}))))},
      {"places of version 3", located(3, 0x44, 0)},
      {"width 1", located(0, 0x14, 0)},
      {"width 9", located(0, 0x44, 0x90)},
      {"index of width 3", located(1, 0x44, 3)},
      {"a film", kBrand + box("moov", {}) + heif(good)},
      {"no meta", kBrand + box("mdat", kData)},
      {"no primary item", meta(full(0, iloc({1, 0, 9}))), kUnsupported},
  });
}

// ---- Bounds ----

// An item derived from 400,000 others, and places of so many items.
Bytes laborious(uint32_t places) {
  Bytes references;
  for (uint32_t id = 100'000'000; id > 99'600'000;) {
    Bytes derived = Bytes().u32be(1).u16be(50'000);
    for (int i = 0; i < 50'000; ++i) derived.u32be(id--);
    references.add(box("dimg", derived));
  }
  const Bytes list = Bytes().u8(0x44).u8(0).u32be(places) + numbers(4, {1}) +
                     numbers(2, {0, 0, 1}) + numbers(4, {kMedia + 3, 4}) + Bytes(10 * (places - 1));
  return heif(pitm(1) + box("iref", full(1, references)) + box("iloc", full(2, list)));
}

TEST(Heif, AMillionPartsTakeNoLongerThanTheirNumber) {
  // A part each: two boxes of the file and meta, meta's three, and eight references.
  constexpr uint32_t kOthers = 3 + 3 + 8 + 400'000 + 1;
  expectHash4(laborious((1 << 20) - kOthers), 0x21, "HEIF", "PHOTO", part(3, 4),
              Bytes().u32be(400'001));
  expectRefused({{"one part more", laborious((1 << 20) - kOthers + 1)}});
}

}  // namespace
