// MPEG audio of layers I to III, between tags: frames of a header of four bytes and data, as long as the header tells.
//   content: the frames, everything from the first one up to the tags behind
//   meta:    version, layer, rate and mode as the first header tells them
// A first frame that only informs ("Xing", "Info", "VBRI") is left out: tools add and mend it. Frames are not walked: a
// cut file has another hash.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "version4/rows.h"
#include "version4/soundTags.h"

namespace version4 {
namespace {

constexpr uint32_t kHeader = 4;
constexpr uint8_t kSync = 0xFF, kSync2 = 0xE0;  // eleven bits
constexpr uint64_t kSearched = 262'144;         // bytes behind the front in which frames may begin
constexpr int kEnoughAtFront = 3;               // frames in a row: anything may look like one or two
constexpr int kEnoughBehind = 10;
constexpr int kFewestBehind = 3;   // where the last of them reaches the end
constexpr uint32_t kInforms = 64;  // bytes of a frame in which it says so
constexpr uint32_t kVbriPlace = 36;

// Of the header's fields, as they stand in it.
constexpr uint8_t kVersion25 = 0, kReservedVersion = 1, kVersion1 = 3;
constexpr uint8_t kReservedLayer = 0, kLayer3 = 1, kLayer1 = 3;
constexpr uint8_t kReservedRate = 3;
constexpr uint8_t kFreeFormat = 0, kReservedBitRate = 15;
constexpr uint8_t kMono = 3;

struct Frame {
  uint8_t version, layer, rate, mode;
  bool hasChecksum;
  uint32_t length;
};

// ---- Frames ----

enum Scale { version1Layer1, version1Layer2, version1Layer3, laterLayer1, laterLayers23 };

// Kilobits a second, by scale and bit rate index from 1 on.
constexpr uint16_t kBitRates[][14] = {
    {32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
    {32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
    {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
    {32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
    {8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
};
constexpr uint32_t kHertz[] = {44100, 48000, 32000};  // of version 1

Scale scaleOf(const Frame& frame) {
  if (frame.version != kVersion1) return frame.layer == kLayer1 ? laterLayer1 : laterLayers23;
  if (frame.layer == kLayer1) return version1Layer1;
  return frame.layer == kLayer3 ? version1Layer3 : version1Layer2;
}

uint32_t hertzOf(const Frame& frame) {
  if (frame.version == kVersion1) return kHertz[frame.rate];
  return kHertz[frame.rate] / (frame.version == kVersion25 ? 4 : 2);
}

uint32_t lengthOf(const Frame& frame, uint8_t bitRate, uint32_t pad) {
  const uint32_t bits = 1000U * kBitRates[scaleOf(frame)][bitRate - 1];
  if (frame.layer == kLayer1) return (12 * bits / hertzOf(frame) + pad) * 4;
  const bool isHalf = frame.layer == kLayer3 && frame.version != kVersion1;
  return (isHalf ? 72 : 144) * bits / hertzOf(frame) + pad;
}

// False when no frame stands there.
bool readFrame(Analysis* analysis, uint64_t position, Frame* frame) {
  uint8_t header[kHeader];
  if (readBytes(analysis->source, position, header, sizeof(header)) != HASHCREATE_SUCCESS) return false;
  if (header[0] != kSync || (header[1] & kSync2) != kSync2) return false;
  frame->version = header[1] >> 3 & 3;
  frame->layer = header[1] >> 1 & 3;
  frame->hasChecksum = (header[1] & 1) == 0;
  frame->rate = header[2] >> 2 & 3;
  frame->mode = header[3] >> 6;
  const uint8_t bitRate = header[2] >> 4;
  if (frame->version == kReservedVersion || frame->layer == kReservedLayer || frame->rate == kReservedRate)
    return false;
  if (bitRate == kFreeFormat || bitRate == kReservedBitRate) return false;
  frame->length = lengthOf(*frame, bitRate, header[2] >> 1 & 1);
  return true;
}

bool isAlike(const Frame& a, const Frame& b) {
  return a.version == b.version && a.layer == b.layer && a.rate == b.rate;
}

// ---- The first frame ----

// Whether enough frames follow one another from position on. Their headers may lie in the tags behind end.
bool isRow(Analysis* analysis, uint64_t position, uint64_t end) {
  const bool isAtFront = position == analysis->front;
  const int enough = isAtFront ? kEnoughAtFront : kEnoughBehind;
  Frame first = {};
  for (int frames = 1; frames <= enough; ++frames) {
    Frame frame;
    if (!readFrame(analysis, position, &frame)) return false;
    if (frames == 1) first = frame;
    if (!isAlike(frame, first)) return false;
    position += frame.length;
    if (isAtFront ? position == end : frames >= kFewestBehind && position >= end) return true;
  }
  return true;
}

// Files that may hold such frames and are something else.
bool isOther(Analysis* analysis) {
  if (hasAt(analysis, 0, "RIFF")) return !hasAt(analysis, 8, "RMP3");
  constexpr std::string_view kOthers[] = {"\xFF\xD8\xFF", {"\0\0\1", 3}, "\x30\x26\xB2\x75"};
  return std::any_of(std::begin(kOthers), std::end(kOthers),
                     [analysis](std::string_view magic) { return hasAt(analysis, 0, magic); });
}

// Sets where the first frame begins, or kNotThisFormat.
ResultCode findFirst(Analysis* analysis, uint64_t end, uint64_t* first) {
  uint8_t piece[512];
  const uint64_t searched = isOther(analysis) ? 1 : kSearched + 1;
  const uint64_t stop = std::min(end, analysis->front + searched);
  for (uint64_t position = analysis->front; position < stop; position += sizeof(piece)) {
    const uint32_t count = static_cast<uint32_t>(std::min<uint64_t>(sizeof(piece), stop - position));
    if (const ResultCode rc = readBytes(analysis->source, position, piece, count)) return rc;
    for (uint32_t i = 0; i < count; ++i) {
      *first = position + i;
      if (piece[i] == kSync && isRow(analysis, *first, end)) return HASHCREATE_SUCCESS;
    }
  }
  return kNotThisFormat;
}

// Whether the frame at position holds no sound but tells of the file.
ResultCode informs(Analysis* analysis, uint64_t position, const Frame& frame, bool* does) {
  uint8_t bytes[kInforms] = {};
  const uint64_t left = analysis->source->size - position;
  const uint32_t count = static_cast<uint32_t>(std::min<uint64_t>({sizeof(bytes), frame.length, left}));
  if (const ResultCode rc = readBytes(analysis->source, position, bytes, count)) return rc;
  const auto stands = [&bytes](uint32_t place, const char* name) { return std::memcmp(bytes + place, name, 4) == 0; };
  const bool isMono = frame.mode == kMono;
  const uint32_t side = frame.version == kVersion1 ? (isMono ? 17 : 32) : (isMono ? 9 : 17);
  const uint32_t plain = kHeader + side;
  const uint32_t checked = plain + 2;
  *does = stands(plain, "Xing") || stands(plain, "Info") || stands(kVbriPlace, "VBRI") ||
          (frame.hasChecksum && (stands(checked, "Xing") || stands(checked, "Info")));
  return HASHCREATE_SUCCESS;
}

// Goes on behind a frame that only informs.
ResultCode passInforming(Analysis* analysis, uint64_t* position, Frame* frame) {
  bool does = false;
  if (frame->layer != kLayer3) return HASHCREATE_SUCCESS;
  if (const ResultCode rc = informs(analysis, *position, *frame, &does)) return rc;
  if (!does) return HASHCREATE_SUCCESS;
  *position += frame->length;
  return readFrame(analysis, *position, frame) ? HASHCREATE_SUCCESS : HASHCREATE_FORMAT_ERROR;
}

// ---- The analysis ----

void setFormat(Analysis* analysis, const Frame& frame) {
  const char layer = static_cast<char>('0' + 4 - frame.layer);
  char detail[5] = {frame.version == kVersion1 ? '1' : '2'};
  size_t length = 1;
  if (frame.version == kVersion25) detail[length++] = '5';
  detail[length++] = 'L';
  detail[length++] = layer;
  setFormatFamily(analysis, "MPEG");
  setFormatDetail(analysis, detail);
}

ResultCode recogniseMpegAudio(Analysis* analysis) { return findFront(analysis); }

ResultCode analyseMpegAudio(Analysis* analysis) {
  uint64_t end, first;
  Frame frame;
  if (const ResultCode rc = findEnd(analysis, analysis->front, &end)) return rc;
  if (const ResultCode rc = findFirst(analysis, end, &first)) return rc;
  if (!readFrame(analysis, first, &frame)) return kNotThisFormat;
  if (const ResultCode rc = passInforming(analysis, &first, &frame)) return rc;
  const uint8_t fields[] = {frame.version, frame.layer, frame.rate, frame.mode};
  inputMeta(analysis, fields, sizeof(fields));
  setFormat(analysis, frame);
  return first < end ? addRange(analysis, first, end - first) : HASHCREATE_SUCCESS;
}

}  // namespace

const Algorithm kMpegAudio = {0x2A, "MPEGAUDIO", "AUDIO", recogniseMpegAudio, analyseMpegAudio, nullptr};

}  // namespace version4
