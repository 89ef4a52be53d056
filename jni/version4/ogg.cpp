// Ogg (RFC 3533): pages of "OggS" 0 flags:u8 granule:u64 serial:u32le sequence:u32 crc:u32 n:u8 lacing:u8[n] body. Each
// lacing value is a length in the body; one below 255 ends a packet, which may have begun on an earlier page.
//   content: stream after stream, by first appearance, the packets behind the stream's header packets
//   meta:    for each stream, what its first packet tells of the sound or picture, and the number of these packets
// Division into pages, serial numbers and granule positions are left out: editors of the comment, which is a header
// packet, change them.
#include <algorithm>
#include <cstring>

#include "version4/rows.h"

namespace version4 {
namespace {

constexpr uint32_t kPageHeader = 27;
constexpr uint8_t kBeginsStream = 0x02;  // of a page's flags
constexpr uint8_t kGoesOn = 255;         // lacing of a packet that does not end here
constexpr uint8_t kFlacFrame = 0xFF;     // first byte of FLAC's frames, not of its metadata
constexpr size_t kMostStreams = 65536;
constexpr uint64_t kUnknown = UINT64_MAX;
constexpr std::string_view kCapture = {"OggS\0", 5};

// ---- Kinds of streams ----

struct Slice {
  uint8_t begin, end;
};

// Told by the first packet.
struct Kind {
  std::string_view magic;
  const char* name;  // of the format type; empty: none
  uint8_t headers;   // packets, and as many more as a number in the first one tells
  Slice number = {};
  ByteOrder order = ByteOrder::little;  // of the number
  bool endsAtFrame = false;             // when the number is 0: the headers end where FLAC's frames begin
  Slice meta[2] = {};                   // of the first packet
};

constexpr Kind kKinds[] = {
    {.magic = "OpusHead", .name = "Opus", .headers = 2, .meta = {{0, 16}, {18, 19}}},  // not the gain: a tag
    {.magic = "\1vorbis", .name = "Vorb", .headers = 3, .meta = {{0, 30}}},
    {.magic = "\x80theora", .name = "Theo", .headers = 3, .meta = {{0, 42}}},
    {.magic = "\x7F\x46LAC",
     .name = "FLAC",
     .headers = 1,
     .number = {7, 9},
     .order = ByteOrder::big,
     .endsAtFrame = true,
     .meta = {{0, 5}, {27, 35}}},
    {.magic = "Speex   ", .name = "Spex", .headers = 2, .number = {68, 72}, .meta = {{0, 8}, {36, 68}}},
};
constexpr Kind kOther = {.magic = "", .name = "", .headers = 1, .meta = {{0, 30}}};
constexpr std::string_view kSkeleton = {"fishead\0", 8};  // a stream that describes the others

// ---- Streams ----

// A range of a stream, and its next one: pages of streams alternate.
struct Piece {
  Range range;
  Piece* next;
};

// Streams stand in a tree by serial: the bits of a serial, the lowest first, tell which way to go from the root.
struct Stream {
  uint32_t serial = 0;
  Stream* children[2] = {};
  Stream* latest = nullptr;  // the last one of this serial

  const Kind* kind = nullptr;   // null until the first packet ends; of a skeleton for ever
  uint64_t headers = kUnknown;  // packets in front of the payload
  uint64_t packets = 0;         // that have ended
  bool isWithinPacket = false;
  uint8_t firstCount = 0;
  uint8_t first[80];  // bytes of the first packet, as far as they tell anything
  Piece* firstPiece = nullptr;
  Piece* lastPiece = nullptr;
};

struct Ogg {
  Analysis* analysis;
  Stream* root = nullptr;
  GrowingList<Stream> streams = {};  // neither moves when it grows
  GrowingList<Piece> pieces = {};
};

struct Page {
  uint8_t flags;
  uint32_t serial;
  uint32_t laces;
  uint8_t lacing[255];
  uint64_t body, end;
};

// Where the tree holds a stream of this serial, or would.
Stream** placeOf(Ogg* ogg, uint32_t serial) {
  Stream** place = &ogg->root;
  for (uint32_t bits = serial; *place != nullptr && (*place)->serial != serial; bits >>= 1) {
    place = &(*place)->children[bits & 1];
  }
  return place;
}

ResultCode findStream(Ogg* ogg, const Page& page, Stream** stream) {
  Stream** place = placeOf(ogg, page.serial);
  if (*place != nullptr && (page.flags & kBeginsStream) == 0) {
    *stream = (*place)->latest;
    return HASHCREATE_SUCCESS;
  }
  if (ogg->streams.size == kMostStreams) return HASHCREATE_FORMAT_ERROR;
  if (!append(&ogg->streams, Stream{})) return HASHCREATE_MEM_ALLOC_ERROR;
  *stream = &ogg->streams[ogg->streams.size - 1];
  (*stream)->serial = page.serial;
  if (*place == nullptr) *place = *stream;
  (*place)->latest = *stream;
  return HASHCREATE_SUCCESS;
}

ResultCode addPiece(Ogg* ogg, Stream* stream, uint64_t begin, uint64_t end) {
  if (begin == end) return HASHCREATE_SUCCESS;
  if (ogg->pieces.size == kMostRanges) return HASHCREATE_FORMAT_ERROR;
  if (!append(&ogg->pieces, Piece{{begin, end - begin}, nullptr})) return HASHCREATE_MEM_ALLOC_ERROR;
  Piece* piece = &ogg->pieces[ogg->pieces.size - 1];
  (stream->lastPiece == nullptr ? stream->firstPiece : stream->lastPiece->next) = piece;
  stream->lastPiece = piece;
  return HASHCREATE_SUCCESS;
}

// ---- Packets ----

// What is in the first packet; it may end before a slice does.
std::string_view sliceOf(const Stream& stream, const Slice& slice) {
  const uint8_t begin = std::min(slice.begin, stream.firstCount);
  const uint8_t end = std::min(slice.end, stream.firstCount);
  return {reinterpret_cast<const char*>(stream.first) + begin, static_cast<size_t>(end - begin)};
}

void nameStream(Stream* stream) {
  const std::string_view first = sliceOf(*stream, {0, sizeof(stream->first)});
  if (first.starts_with(kSkeleton)) return;
  const Kind* kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                  [first](const Kind& row) { return first.starts_with(row.magic); });
  stream->kind = kind != std::end(kKinds) ? kind : &kOther;
  const std::string_view bytes = sliceOf(*stream, stream->kind->number);
  const uint64_t number =
      valueOf(reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<uint32_t>(bytes.size()), stream->kind->order);
  if (number > 0 || !stream->kind->endsAtFrame) stream->headers = stream->kind->headers + number;
}

ResultCode collectFirst(Source* source, Stream* stream, uint64_t offset, uint32_t length) {
  const uint32_t room = static_cast<uint32_t>(sizeof(stream->first)) - stream->firstCount;
  const uint32_t count = std::min(length, room);
  if (const ResultCode rc = readBytes(source, offset, stream->first + stream->firstCount, count)) return rc;
  stream->firstCount = static_cast<uint8_t>(stream->firstCount + count);
  return HASHCREATE_SUCCESS;
}

// Whether the headers end with the packet that begins here.
ResultCode lookForFrame(Source* source, Stream* stream, uint64_t offset) {
  uint8_t first;
  if (const ResultCode rc = readBytes(source, offset, &first, 1)) return rc;
  if (first == kFlacFrame) stream->headers = stream->packets;
  return HASHCREATE_SUCCESS;
}

// One lacing value's share of a packet.
ResultCode takeSegment(Source* source, Stream* stream, uint64_t offset, uint8_t length) {
  const bool isFirst = stream->packets == 0;
  if (isFirst) {
    if (const ResultCode rc = collectFirst(source, stream, offset, length)) return rc;
  } else if (stream->headers == kUnknown && stream->kind != nullptr && !stream->isWithinPacket && length > 0) {
    if (const ResultCode rc = lookForFrame(source, stream, offset)) return rc;
  }
  stream->isWithinPacket = length == kGoesOn;
  return HASHCREATE_SUCCESS;
}

void endPacket(Stream* stream) {
  if (stream->packets == 0) nameStream(stream);
  ++stream->packets;
}

// What is behind the header packets is payload up to the page's end.
ResultCode takePage(Ogg* ogg, const Page& page) {
  Stream* stream;
  if (const ResultCode rc = findStream(ogg, page, &stream)) return rc;
  uint64_t offset = page.body;
  uint64_t payload = page.end;
  for (uint32_t i = 0; i < page.laces; ++i) {
    if (const ResultCode rc = takeSegment(ogg->analysis->source, stream, offset, page.lacing[i])) return rc;
    if (stream->packets >= stream->headers) payload = std::min(payload, offset);
    if (page.lacing[i] != kGoesOn) endPacket(stream);
    offset += page.lacing[i];
  }
  return addPiece(ogg, stream, payload, page.end);
}

// ---- Pages ----

// Goes on to the next page; *isFound is false when none follows.
ResultCode findPage(Analysis* analysis, uint64_t* position, bool* isFound) {
  *isFound = hasAt(analysis, *position, kCapture);
  uint8_t piece[512];
  while (!*isFound && analysis->source->size - *position >= kCapture.size()) {
    const uint64_t left = analysis->source->size - *position;
    const uint32_t count = static_cast<uint32_t>(std::min<uint64_t>(sizeof(piece), left));
    if (const ResultCode rc = readBytes(analysis->source, *position, piece, count)) return rc;
    const uint8_t* found = std::search(piece, piece + count, kCapture.begin(), kCapture.end());
    *isFound = found != piece + count;
    *position += *isFound ? static_cast<uint64_t>(found - piece) : count - (kCapture.size() - 1);
  }
  return HASHCREATE_SUCCESS;
}

ResultCode readPage(Source* source, uint64_t position, Page* page) {
  uint8_t header[kPageHeader];
  if (const ResultCode rc = readBytes(source, position, header, sizeof(header))) return rc;
  page->flags = header[5];
  page->serial = u32le(header + 14);
  page->laces = header[26];
  if (const ResultCode rc = readBytes(source, position + kPageHeader, page->lacing, page->laces)) return rc;
  page->body = page->end = position + kPageHeader + page->laces;
  for (uint32_t i = 0; i < page->laces; ++i) page->end += page->lacing[i];
  return page->end <= source->size ? HASHCREATE_SUCCESS : HASHCREATE_READ_ERROR;
}

ResultCode takePages(Ogg* ogg) {
  Page page;
  bool isFound;
  for (uint64_t position = 0;; position = page.end) {
    if (const ResultCode rc = findPage(ogg->analysis, &position, &isFound)) return rc;
    if (!isFound) return HASHCREATE_SUCCESS;
    if (const ResultCode rc = readPage(ogg->analysis->source, position, &page)) return rc;
    if (const ResultCode rc = takePage(ogg, page)) return rc;
  }
}

// ---- The finish ----

void finishMeta(Analysis* analysis, const Stream& stream) {
  for (const Slice& slice : stream.kind->meta) {
    const std::string_view bytes = sliceOf(stream, slice);
    inputMeta(analysis, bytes.data(), static_cast<uint32_t>(bytes.size()));
  }
  inputMetaU32(analysis, static_cast<uint32_t>(stream.packets - std::min(stream.packets, stream.headers)));
}

ResultCode finishStream(Analysis* analysis, const Stream& stream) {
  for (const Piece* piece = stream.firstPiece; piece != nullptr; piece = piece->next) {
    if (const ResultCode rc = addRange(analysis, piece->range.offset, piece->range.count)) return rc;
  }
  if (stream.kind != nullptr) finishMeta(analysis, stream);
  return HASHCREATE_SUCCESS;
}

void setFormat(Analysis* analysis, const Ogg& ogg) {
  const char* name = "";
  for (size_t i = 0; i < ogg.streams.size; ++i) {
    const char* next = ogg.streams[i].kind != nullptr ? ogg.streams[i].kind->name : "";
    const bool isVideo = std::strcmp(next, "Theo") == 0;
    if (isVideo) analysis->fileType = "VIDEO";
    if (isVideo || *name == '\0') name = next;
  }
  setFormatFamily(analysis, "OGG ");
  if (*name != '\0') setFormatDetail(analysis, name);
}

ResultCode recogniseOgg(Analysis* analysis) {
  return hasAt(analysis, 0, kCapture) ? HASHCREATE_SUCCESS : kNotThisFormat;
}

ResultCode analyseOgg(Analysis* analysis) {
  Ogg ogg = {.analysis = analysis};
  if (const ResultCode rc = takePages(&ogg)) return rc;
  for (size_t i = 0; i < ogg.streams.size; ++i) {
    if (const ResultCode rc = finishStream(analysis, ogg.streams[i])) return rc;
  }
  setFormat(analysis, ogg);
  return HASHCREATE_SUCCESS;
}

}  // namespace

const Algorithm kOgg = {0x25, "OGG", "AUDIO", recogniseOgg, analyseOgg, nullptr};

}  // namespace version4
