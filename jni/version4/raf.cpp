// RAF: a header with the camera's model and a directory of three offsets: of a JPEG, of tags, of the sensor's data.
//   content: the sensor's data
//   meta:    the model
// Metadata stand in the JPEG.
#include "version4/rows.h"

namespace version4 {
namespace {

constexpr std::string_view kSignature = "FUJIFILMCCD-RAW ";
constexpr uint32_t kModel = 28;
constexpr uint32_t kModelSize = 32;
constexpr uint32_t kSensorOffset = 100;
constexpr uint32_t kSensorSize = 104;
constexpr uint32_t kHeaderSize = 108;

ResultCode recogniseRaf(Analysis* analysis) {
  return hasAt(analysis, 0, kSignature) ? HASHCREATE_SUCCESS : kNotThisFormat;
}

ResultCode analyseRaf(Analysis* analysis) {
  uint8_t header[kHeaderSize];
  if (const ResultCode rc = readBytes(analysis->source, 0, header, sizeof(header))) return rc;
  inputMeta(analysis, header + kModel, kModelSize);
  setFormatFamily(analysis, "RAF ");
  return addPictureRange(analysis, u32be(header + kSensorOffset), u32be(header + kSensorSize));
}

}  // namespace

const Algorithm kRaf = {0x2C, "RAF", "PHOTO", recogniseRaf, analyseRaf, nullptr};

}  // namespace version4
