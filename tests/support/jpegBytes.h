// Pieces of JPEG files, and what multi-picture and sound segments hold.
#pragma once

#include "support.h"

namespace support {

inline const Bytes kSoi = {0xFF, 0xD8};
inline Bytes segment(unsigned marker, const Bytes& body) {
  return Bytes().u16be(marker).u16be(static_cast<unsigned>(body.size() + 2)).add(body);
}

inline const Bytes kFrameMeta = {8, 0, 60,  0, 80,
                                 3, 1, 0x22};  // what the meta digest takes of a baseline frame
inline const Bytes kFrameSegment = segment(0xFFC0, kFrameMeta + Bytes({0, 2, 0x11, 1, 3, 0x11, 1}));

// A start of scan and the end of the image; data is everything behind the length field.
inline Bytes scan(const Bytes& data) {
  return Bytes().u16be(0xFFDA).u16be(12).add(data).u16be(0xFFD9);
}

// What the content digest of one image is made of.
inline Bytes scanContent(const Bytes& data) { return sampled(data).u64be(data.size()).u64be(1); }

inline Bytes u16(bool big, size_t value) {
  return big ? Bytes().u16be(value & 0xFFFF) : Bytes().u16le(value & 0xFFFF);
}
inline Bytes u32(bool big, size_t value) {
  return big ? Bytes().u32be(value & 0xFFFFFFFF) : Bytes().u32le(value & 0xFFFFFFFF);
}
using Numbers = std::vector<size_t>;

// A TIFF header, and a directory of entries {tag, type, count, value}: 6 bytes and 12 for each.
inline Bytes header(bool big, size_t firstIfd) {
  return Bytes().text(big ? "MM" : "II") + u16(big, 42) + u32(big, firstIfd);
}
inline Bytes ifd(bool big, const std::vector<Numbers>& tags, size_t next = 0) {
  Bytes out = u16(big, tags.size());
  for (const Numbers& tag : tags)
    out.add(u16(big, tag[0]) + u16(big, tag[1]) + u32(big, tag[2]) + u32(big, tag[3]));
  return out.add(u32(big, next));
}

// Both, of entries {tag, count, value}.
inline Bytes directory(bool big, const std::vector<Numbers>& tags) {
  std::vector<Numbers> entries = tags;
  for (Numbers& tag : entries) tag.insert(tag.begin() + 1, 4);
  return header(big, 8) + ifd(big, entries);
}

// A multi-picture segment of entries {attribute, size, offset}: 58 bytes and 16 for each. Offsets
// count from its byte 8.
inline Bytes mpf(bool big, size_t claimed, const std::vector<Numbers>& entries) {
  Bytes body = Bytes().text("MPF").u8(0) +
               directory(big, {{0xB001, 1, claimed}, {0xB002, 0, 50}, {0xB003, 1, 1}});
  for (const Numbers& e : entries)
    body.add(u32(big, e[0]) + u32(big, e[1]) + u32(big, e[2])).fill(4, 0);
  return segment(0xFFE2, body);
}

inline constexpr size_t kBaseline = 0xA0030000,
                        kOther = 0x40020002;  // the attributes' upper byte holds flags

// Images one behind the other, all listed in the first one, whose attribute tells the kind of file.
inline Bytes album(size_t attribute, const std::vector<Bytes>& scans, bool big = false) {
  const Bytes decoy =
      segment(0xFFE1, {0xFF, 0xDA, 0, 12});  // looks like a start of scan from its body on
  const size_t listSize = 58 + 16 * scans.size();
  std::vector<Numbers> entries;
  Bytes images;
  for (const Bytes& data : scans) {
    const Bytes image =
        kSoi + decoy + Bytes({0xFF, 0xDA, 0, 2}) + segment(0xFFC0, data.part(0, 8)) + scan(data);
    entries.push_back({kOther, image.size(), listSize + images.size() - 10});
    images.add(image);
  }
  entries[0] = {attribute, entries[0][1] + listSize, 0};
  return kSoi + mpf(big, scans.size(), entries) + images.part(2);
}

inline Bytes patched(Bytes file, size_t at, size_t value) {  // value: four bytes
  for (const uint8_t byte : u32(false, value)) file[at++] = byte;
  return file;
}

}  // namespace support
