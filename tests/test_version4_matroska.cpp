// Matroska and WebM: which elements are followed, where the media end, and which fault decides.
#include <bit>

#include "version4.h"

using namespace support;

namespace {

// ---- Elements ----

Bytes idOf(uint32_t id) {
  return Bytes().u32be(id).part(static_cast<uint64_t>(std::countl_zero(id) / 8));
}
Bytes el(uint32_t id, const Bytes& body) {
  return idOf(id).u32be(0x10000000 + static_cast<uint32_t>(body.size())) + body;
}
Bytes open(uint32_t id, const Bytes& body) { return idOf(id).u8(0xFF) + body; }  // of unknown size
Bytes integer(uint32_t id, uint32_t value) { return el(id, Bytes().u32be(value)); }

constexpr uint32_t kEbml = 0x1A45DFA3, kSegment = 0x18538067, kVoid = 0xEC, kTracks = 0x1654AE6B,
                   kTrack = 0xAE, kCluster = 0x1F43B675, kCues = 0x1C53BB6B, kSeekHead = 0x114D9B74;

const Bytes kHeader = el(kEbml, el(0x4282, Bytes().text("matroska")));
const size_t kBegin = kHeader.size() + 8;  // of a Segment's body

// A film: what its Segment holds in front of the media, the media, what follows.
Bytes film(const Bytes& front, const Bytes& media, const Bytes& behind = {}) {
  return kHeader + el(kSegment, front + media + behind);
}

const Bytes kCodec = el(0x86, Bytes().text("V_X"));
const Bytes kVideo =
    el(kTrack, integer(0x83, 1) + kCodec + el(0xE0, integer(0xB0, 640) + integer(0xBA, 480)));
const Bytes kVideoMeta = Bytes().u32be(1).u32be(3).text("V_X").u32be(640).u32be(480).u32be(0);
const Bytes kFront = el(kTracks, kVideo);

Bytes cluster(size_t size, uint8_t seed = 1) {
  return el(kCluster, integer(0xE7, 0) + el(0xA3, Bytes().pattern(size, seed)));
}
const Bytes kOne = cluster(200), kTwo = cluster(100, 2);
const Bytes kStop = el(kEbml, {1, 2, 3});  // ends a walk over Clusters

Bytes seek(uint32_t id, size_t position) {
  return el(0x4DBB, el(0x53AB, idOf(id)) + integer(0x53AC, static_cast<uint32_t>(position)));
}
Bytes cues(const std::vector<uint32_t>& positions) {
  Bytes points;
  for (const uint32_t position : positions) {
    points.add(el(0xBB, integer(0xB3, 7) + el(0xB7, integer(0xF7, 1) + integer(0xF1, position))));
  }
  return el(kCues, points);
}

// ---- Media ----

TEST(Matroska, EverythingFromTheFirstClusterToTheEndOfTheLastOneIsHashed) {
  const Bytes both = kOne + kTwo, blocks = el(0xA3, Bytes().pattern(300)), live = integer(0xE7, 0);
  const Bytes attached = el(0x1941A469, Bytes(50)), behind = el(0x1254C367, Bytes(9));
  expectFormat4(film(kFront, both), 0x24, "MATRmkv ", "VIDEO", both, kVideoMeta);
  expectHashes4(
      0x24, "MATRmkv ", "VIDEO", both, kVideoMeta,
      {
          {"other elements", film(attached + kFront + el(kVoid, {}), both, behind)},
          {"one in front of the Segment",
           kHeader + el(kVoid, {1}) + film(kFront, both).part(kHeader.size())},
          {"Segment of unknown size, and a file",
           kHeader + open(kSegment, kFront + both) + kHeader},
          {"another file behind", film(kFront, both) + film(kFront, kOne)},
          {"an element between", film(kFront, kOne + attached + kTwo), kOne + attached + kTwo},
          {"Tracks behind", film(el(kVoid, {}), both, kFront)},
          {"Tracks between, and again", film({}, kOne + kFront, el(kTracks, {})), kOne},
          {"cut behind",
           film(kFront, both + behind).part(0, kBegin + kFront.size() + both.size() + 3)},
          {"open element behind", film(kFront, both, open(0x1254C367, {}) + kOne)},
          {"open Clusters", film(kFront, open(kCluster, live + blocks) + open(kCluster, blocks)),
           open(kCluster, live + blocks) + open(kCluster, blocks)},
          {"open Cluster, cut", film(kFront, open(kCluster, live) + blocks.part(0, 99)),
           open(kCluster, live)},
      });
}

TEST(Matroska, TheIndexLeadsToTheLastClusterItKnows) {
  const auto size = [](const Bytes& bytes) { return static_cast<uint32_t>(bytes.size()); };
  const Bytes media = kOne + kStop + kTwo;  // behind kStop only the index leads
  const Bytes index = cues({0, 0}), heads = el(kSeekHead, seek(kCues, 0) + seek(kCues, 0));
  const auto indexed = [&](uint32_t inFront) {
    const uint32_t two = inFront + size(kFront + kOne + kStop);
    return cues({two, inFront + size(kFront)});
  };
  const auto head = [&](uint32_t id, size_t place) {
    return el(kSeekHead, seek(id, 1) + seek(id, place));
  };
  const uint32_t behind = size(heads + kFront + media), other = size(head(kCues, 0));
  const Bytes late = indexed(size(heads));
  expectHashes4(
      0x24, "MATRmkv ", "VIDEO", kOne, kVideoMeta,
      {
          {"Cues in front", film(indexed(size(index)) + kFront, media), media},
          {"the first Cues", film(indexed(size(index) * 2) + index + kFront, media), media},
          {"Cues sought", film(head(kCues, behind) + kFront, media, late), media},
          {"SeekHead sought",
           film(head(kSeekHead, behind) + kFront, media, head(kCues, behind + other) + late),
           media},
          {"nothing there", film(head(kCues, behind + 1) + kFront, media, late)},
          {"Cues cut",
           film(head(kCues, behind) + kFront, media, late).part(0, kBegin + behind + 30)},
          {"no Cluster there", film(cues({size(index) + 1}) + kFront + kOne, {})},
          {"in front of the first", film(cues({0, 1}) + kFront + kOne, {})},
          {"behind the Segment", film(cues({1 << 20, 0}) + kFront + kOne, {})},
          {"no place", film(el(kCues, el(0xBB, el(0xB7, el(0xF1, {})))) + kFront + kOne, {})},
      });
}

// ---- Tracks ----

Bytes meta(uint32_t type, std::string_view codec, const std::vector<uint32_t>& numbers) {
  Bytes out = Bytes().u32be(type).u32be(static_cast<uint32_t>(codec.size())).text(codec);
  for (const uint32_t number : numbers) out.u32be(number);
  return out;
}

TEST(Matroska, EachTrackIsDescribed) {
  const Bytes nine = el(0x83, Bytes{9, 0, 0, 0, 1, 0, 0, 0, 2}), nuls = Bytes(70);
  const Bytes tracks = el(kTrack, integer(0x83, 2) + integer(0x83, 1)) + el(kVoid, {1}) +
                       el(kTrack, nine + el(0x86, Bytes().text("A\0_") + nuls) +
                                      el(0xE1, el(0x9F, {6})) + el(0xE1, el(0x9F, {7}))) +
                       el(kTrack, el(0x86, nuls) + el(0xE1, el(0x9F, {8})) + integer(0x83, 17)) +
                       el(kTrack, integer(0x83, 2) + el(0xE1, el(0x9F, {}))) +
                       el(kTrack, integer(0x83, 3) + open(0xE0, integer(0xB0, 5)));
  const Bytes expected = meta(2, "", {0, 0, 1}) + meta(2, "A", {0, 0, 6}) +
                         meta(17, "", {0, 0, 0}) + meta(2, "", {0, 0, 0}) + meta(3, "", {0, 0, 0});
  const Bytes webm = el(kEbml, el(0x4282, Bytes().text("webm").fill(3, 0)));
  const Bytes list = el(kTracks, tracks + open(kTrack, {}) + kVideo);
  expectFormat4(webm + el(kSegment, list + kOne), 0x24, "MATRwebm", "AUDIO", kOne, expected);
  expectHash4(film(list + kFront, kOne), 0x24, "MATRmkv ", "AUDIO", kOne, expected);
}

// ---- Faults ----

TEST(Matroska, TheFirstFaultDecides) {
  const Bytes whole = film(kFront, kOne + kTwo), large = idOf(kTracks).u32be(0x18000000);
  expectRefused({
      {"header of unknown size", open(kEbml, {})},
      {"header cut", kHeader.part(0, 20), kCut},
      {"nothing behind", kHeader, kCut},
      {"no element behind", kHeader + Bytes{0, 0}},
      {"half an element behind", whole.part(0, kHeader.size() + 3)},
      {"open element behind", kHeader + open(kVoid, {})},
      {"no Cluster", film(kFront, {}), kCut},
      {"no Cluster, and more", film(kFront, {}) + kOne},
      {"open element", film(kFront + open(kVoid, {}), kOne)},
      {"Tracks cut", whole.part(0, kBegin + 20), kCut},
      {"Tracks of more than is read", film(large, kOne)},
      {"Cluster cut", whole.part(0, whole.size() - 1), kCut},
      {"Cluster behind the Segment", film(kFront, kOne.part(0, 99)) + kTwo, kCut},
      {"no Tracks", film({}, kOne)},
      {"an id of five bytes", film(kFront, Bytes{8, 0, 0, 0, 0, 0x81, 0})},
      {"another file", Bytes{0x1A, 0x45, 0xDF, 0xA4}, kUnsupported},
  });
}

}  // namespace
