// JPEG XL (ISO/IEC 18181-2): a bare codestream, or boxes of which one jxlc or several jxlp hold the codestream.
//   content: the codestream
//   meta:    its first bytes, where the sizes are
// So a bare and a boxed file agree.
#include <algorithm>

#include "version4/boxes.h"
#include "version4/rows.h"

namespace version4 {
namespace {

constexpr std::string_view kCodestream = "\xFF\x0A";
constexpr std::string_view kBoxes{"\0\0\0\x0CJXL \r\n\x87\n", 12};
constexpr uint32_t kPieceNumber = 4;  // in front of the piece in a jxlp
constexpr uint32_t kFront = 16;

ResultCode recogniseJpegXl(Analysis* analysis) {
  const bool isJpegXl = hasAt(analysis, 0, kCodestream) || hasAt(analysis, 0, kBoxes);
  return isJpegXl ? HASHCREATE_SUCCESS : kNotThisFormat;
}

ResultCode takeBox(Analysis* analysis, const Box& box) {
  if (!isBox(box, "jxlc") && !isBox(box, "jxlp")) return HASHCREATE_SUCCESS;
  if (isCut(box)) return HASHCREATE_READ_ERROR;
  Part piece = box.body;
  if (isBox(box, "jxlp")) {
    if (const ResultCode rc = pass(&piece, kPieceNumber)) return rc;
  }
  return addPictureRange(analysis, piece.position, remaining(piece));
}

ResultCode takeBoxes(Analysis* analysis) {
  Part file = {analysis->source, 0, analysis->source->size};
  Box box = {};
  while (remaining(file) >= kBoxHeader) {
    if (const ResultCode rc = nextTopBox(analysis, &file, &box)) return rc;
    if (const ResultCode rc = takeBox(analysis, box)) return rc;
  }
  return analysis->payload.length == 0 && isCut(box) ? HASHCREATE_READ_ERROR : HASHCREATE_SUCCESS;
}

ResultCode analyseJpegXl(Analysis* analysis) {
  const bool isBare = hasAt(analysis, 0, kCodestream);
  const ResultCode rc = isBare ? addPictureRange(analysis, 0, analysis->source->size) : takeBoxes(analysis);
  if (rc != HASHCREATE_SUCCESS) return rc;
  uint8_t front[kFront];
  const uint32_t count = static_cast<uint32_t>(std::min<uint64_t>(analysis->payload.length, kFront));
  if (const ResultCode failure = readFront(analysis->payload, analysis->source, front, count)) return failure;
  inputMeta(analysis, front, count);
  setFormatFamily(analysis, "JXL ");
  return HASHCREATE_SUCCESS;
}

}  // namespace

const Algorithm kJpegXl = {0x22, "JXL", "PHOTO", recogniseJpegXl, analyseJpegXl, nullptr};

}  // namespace version4
