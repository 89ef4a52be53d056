// AAC in ADTS, between tags: frames of a header of seven bytes and more, which tells the frame's length, and data.
//   content: everything between the tags
//   meta:    what the first header tells of all frames: profile, rate, channels
// Two headers in a row make the format; the frames behind them are not walked, a cut file has another hash.
#include "version4/rows.h"
#include "version4/soundTags.h"

namespace version4 {
namespace {

constexpr uint32_t kHeader = 7;
constexpr uint8_t kRates = 13;

struct Frame {
  uint8_t header[kHeader];
  uint32_t length;
};

// False when no frame stands there.
bool readFrame(Analysis* analysis, uint64_t position, Frame* frame) {
  const uint8_t* header = frame->header;
  if (readBytes(analysis->source, position, frame->header, kHeader) != HASHCREATE_SUCCESS) return false;
  frame->length = (u24be(header + 3) >> 5) & 0x1FFF;
  const bool isSync = header[0] == 0xFF && (header[1] & 0xF6) == 0xF0;
  return isSync && (header[2] >> 2 & 0xF) < kRates && frame->length >= kHeader;
}

bool isAlike(const Frame& a, const Frame& b) {
  return u24be(a.header) == u24be(b.header) && (a.header[3] & 0xF0) == (b.header[3] & 0xF0);
}

ResultCode recogniseAdts(Analysis* analysis) {
  Frame first, second;
  if (const ResultCode rc = findFront(analysis)) return rc;
  if (!readFrame(analysis, analysis->front, &first)) return kNotThisFormat;
  if (!readFrame(analysis, analysis->front + first.length, &second)) return kNotThisFormat;
  return isAlike(first, second) ? HASHCREATE_SUCCESS : kNotThisFormat;
}

ResultCode analyseAdts(Analysis* analysis) {
  uint8_t header[4];
  if (const ResultCode rc = readBytes(analysis->source, analysis->front, header, sizeof(header))) return rc;
  header[3] &= 0xC0;
  inputMeta(analysis, header, sizeof(header));
  setFormatFamily(analysis, "ADTS");
  setFormatDetail(analysis, "AAC ");
  return addUntilTags(analysis, analysis->front);
}

}  // namespace

const Algorithm kAdts = {0x27, "ADTS", "AUDIO", recogniseAdts, analyseAdts, nullptr};

}  // namespace version4
