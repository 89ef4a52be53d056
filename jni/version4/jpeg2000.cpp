// JPEG 2000 (ISO/IEC 15444-1): a bare codestream, or boxes of which jp2c hold codestreams and jp2h describes the image.
//   content: the codestreams
//   meta:    the first codestream's SIZ segment as far as a picture of one component has it, the number of codestreams,
//            types and bodies of jp2h's pclr and cmap: a palette and what it is applied to
#include <cstring>

#include "version4/boxes.h"
#include "version4/rows.h"

namespace version4 {
namespace {

constexpr std::string_view kCodestream = "\xFF\x4F\xFF\x51";  // SOC and SIZ
constexpr std::string_view kBoxes{"\0\0\0\x0CjP  \r\n\x87\n", 12};
constexpr uint32_t kFront = 42;
constexpr uint32_t kSegment = 2;  // offset of SIZ

// A pclr or cmap of jp2h.
struct Palette {
  uint64_t body;  // offset in the file
  uint32_t count;
  char type[4];
};

struct Picture {
  uint32_t codestreams = 0;
  GrowingList<Palette> palettes;  // in file order
};

ResultCode recogniseJpeg2000(Analysis* analysis) {
  const bool isJpeg2000 = hasAt(analysis, 0, kCodestream) || hasAt(analysis, 0, kBoxes);
  return isJpeg2000 ? HASHCREATE_SUCCESS : kNotThisFormat;
}

ResultCode takeCodestream(Analysis* analysis, const Box& box, Picture* picture) {
  if (isCut(box)) return HASHCREATE_READ_ERROR;
  ++picture->codestreams;
  return addPictureRange(analysis, box.body.position, remaining(box.body));
}

ResultCode takePalette(const Box& box, Picture* picture) {
  if (!isBox(box, "pclr") && !isBox(box, "cmap")) return HASHCREATE_SUCCESS;
  Palette palette = {box.body.position, static_cast<uint32_t>(remaining(box.body)), {}};
  std::memcpy(palette.type, box.type, sizeof(palette.type));
  return append(&picture->palettes, palette) ? HASHCREATE_SUCCESS : HASHCREATE_MEM_ALLOC_ERROR;
}

ResultCode takeHeader(Analysis* analysis, const Box& box, Picture* picture) {
  if (const ResultCode rc = countTable(analysis, remaining(box.body))) return rc;
  if (isCut(box)) return HASHCREATE_READ_ERROR;
  Part body = box.body;
  while (remaining(body) >= kBoxHeader) {
    Box inner;
    if (const ResultCode rc = nextInnerBox(analysis, &body, &inner)) return rc;
    if (const ResultCode rc = takePalette(inner, picture)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

ResultCode takeBrand(Analysis* analysis, const Box& box) {
  char brand[4];
  if (!isWhole(box) || remaining(box.body) < sizeof(brand)) return HASHCREATE_SUCCESS;
  if (const ResultCode rc = readBytes(analysis->source, box.body.position, brand, sizeof(brand))) return rc;
  setFormatDetail(analysis, brand);
  return HASHCREATE_SUCCESS;
}

ResultCode takeBox(Analysis* analysis, const Box& box, Picture* picture) {
  if (isBox(box, "ftyp")) return takeBrand(analysis, box);
  if (isBox(box, "jp2h")) return takeHeader(analysis, box, picture);
  if (isBox(box, "jp2c")) return takeCodestream(analysis, box, picture);
  return HASHCREATE_SUCCESS;
}

ResultCode takeBoxes(Analysis* analysis, Picture* picture) {
  Part file = {analysis->source, 0, analysis->source->size};
  Box box = {};
  while (remaining(file) >= kBoxHeader) {
    if (const ResultCode rc = nextTopBox(analysis, &file, &box)) return rc;
    if (const ResultCode rc = takeBox(analysis, box, picture)) return rc;
  }
  if (picture->codestreams > 0) return HASHCREATE_SUCCESS;
  return isCut(box) ? HASHCREATE_READ_ERROR : HASHCREATE_FORMAT_ERROR;
}

ResultCode finish(Analysis* analysis, const Picture& picture) {
  uint8_t front[kFront];
  if (analysis->payload.length < kFront) return HASHCREATE_FORMAT_ERROR;
  if (const ResultCode rc = readFront(analysis->payload, analysis->source, front, kFront)) return rc;
  if (std::memcmp(front, kCodestream.data(), kCodestream.size()) != 0) return HASHCREATE_FORMAT_ERROR;
  inputMeta(analysis, front + kSegment, kFront - kSegment);
  inputMetaU32(analysis, picture.codestreams);
  for (size_t i = 0; i < picture.palettes.size; ++i) {
    const Palette& palette = picture.palettes[i];
    inputMeta(analysis, palette.type, sizeof(palette.type));
    if (const ResultCode rc = inputMetaFrom(analysis, palette.body, palette.count)) return rc;
  }
  setFormatFamily(analysis, "JP2 ");
  return HASHCREATE_SUCCESS;
}

ResultCode analyseJpeg2000(Analysis* analysis) {
  Picture picture;
  if (hasAt(analysis, 0, kCodestream)) {
    picture.codestreams = 1;
    if (const ResultCode rc = addPictureRange(analysis, 0, analysis->source->size)) return rc;
  } else {
    if (const ResultCode rc = takeBoxes(analysis, &picture)) return rc;
  }
  return finish(analysis, picture);
}

}  // namespace

const Algorithm kJpeg2000 = {0x23, "JP2", "PHOTO", recogniseJpeg2000, analyseJpeg2000, nullptr};

}  // namespace version4
