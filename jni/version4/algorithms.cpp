#include "version4/algorithms.h"

#include <algorithm>
#include <cstring>

#include "hashRecord.h"
#include "version4/rows.h"

namespace version4 {
namespace {

// The order is the order of trial.
constexpr const Algorithm* kAlgorithms[] = {
    &kWebp,       // 20
    &kHeif,       // 21
    &kJpegXl,     // 22
    &kJpeg2000,   // 23
    &kTiff,       // 29
    &kRaf,        // 2C
    &kPng,        // 2D
    &kMatroska,   // 24
    &kOgg,        // 25
    &kAiff,       // 26
    &kAdts,       // 27
    &kIsoMedia,   // 28
    &kWave,       // 2B
    &kFlac,       // 2E
    &kMpegAudio,  // 2A
};

// A fresh analysis of what the last one declined; what is known of the tags in front is kept.
void begin(Analysis* analysis, Source* source, const Algorithm& row) {
  const uint64_t front = analysis->front;
  const bool isFrontKnown = analysis->isFrontKnown;
  *analysis = {};
  analysis->source = source;
  analysis->fileType = row.fileType;
  analysis->front = front;
  analysis->isFrontKnown = isFrontKnown;
  SHA1Reset(&analysis->meta);
}

ResultCode attempt(Analysis* analysis, Source* source, const Algorithm& row, const Algorithm** chosen) {
  begin(analysis, source, row);
  *chosen = &row;
  if (const ResultCode rc = row.recognise(analysis)) return rc;
  const ResultCode rc = row.analyse(analysis);
  if (rc != kNotThisFormat || row.otherwise == nullptr) return rc;
  return attempt(analysis, source, *row.otherwise, chosen);
}

}  // namespace

const Algorithm* algorithmOf(uint32_t id) {
  for (const Algorithm* row : kAlgorithms) {
    if (row->id == id) return row;
  }
  return nullptr;
}

ResultCode analyse(Analysis* analysis, Source* source, const Algorithm** chosen) {
  for (const Algorithm* row : kAlgorithms) {
    const ResultCode rc = attempt(analysis, source, *row, chosen);
    if (source->failure != HASHCREATE_SUCCESS) return source->failure;
    if (rc == kNotThisFormat) continue;
    return rc == HASHCREATE_SUCCESS ? checkLength(analysis->payload, source->size) : rc;
  }
  return HASHCREATE_NON_SUPPORTED;
}

// ---- For analyzers ----

bool hasAt(Analysis* analysis, uint64_t offset, std::string_view bytes) {
  char there[16];
  const uint32_t count = static_cast<uint32_t>(bytes.size());
  return readBytes(analysis->source, offset, there, count) == HASHCREATE_SUCCESS &&
         bytes == std::string_view(there, count);
}

ResultCode countParts(Analysis* analysis, uint64_t count) {
  if (count > kMostParts - analysis->parts) return HASHCREATE_FORMAT_ERROR;
  analysis->parts += static_cast<uint32_t>(count);
  return HASHCREATE_SUCCESS;
}

ResultCode countTable(Analysis* analysis, uint64_t bytes) {
  if (bytes > kMostTableBytes - analysis->tableBytes) return HASHCREATE_FORMAT_ERROR;
  analysis->tableBytes += bytes;
  return HASHCREATE_SUCCESS;
}

ResultCode addPictureRange(Analysis* analysis, uint64_t offset, uint64_t count) {
  if (count == 0) return HASHCREATE_SUCCESS;
  if (const ResultCode rc = addRange(analysis, offset, count)) return rc;
  return checkLength(analysis->payload, analysis->source->size);
}

ResultCode addRange(Analysis* analysis, uint64_t offset, uint64_t count) {
  return addRange(&analysis->payload, analysis->source->size, offset, count);
}

void inputMeta(Analysis* analysis, const void* bytes, uint32_t count) {
  SHA1Input(&analysis->meta, static_cast<const uint8_t*>(bytes), count);
}

void inputMetaU64(Analysis* analysis, uint64_t value) {
  uint8_t bytes[8];
  toBigEndian(value, bytes);
  inputMeta(analysis, bytes, sizeof(bytes));
}

void inputMetaU32(Analysis* analysis, uint32_t value) {
  uint8_t bytes[8];
  toBigEndian(value, bytes);
  inputMeta(analysis, bytes + 4, 4);
}

ResultCode inputMetaFrom(Analysis* analysis, uint64_t offset, uint64_t count) {
  uint8_t piece[256];
  while (count > 0) {
    const uint32_t length = static_cast<uint32_t>(std::min<uint64_t>(count, sizeof(piece)));
    if (const ResultCode rc = readBytes(analysis->source, offset, piece, length)) return rc;
    inputMeta(analysis, piece, length);
    offset += length;
    count -= length;
  }
  return HASHCREATE_SUCCESS;
}

void setFormatFamily(Analysis* analysis, const char* family) { std::memcpy(analysis->formatType, family, 4); }
void setFormatDetail(Analysis* analysis, const void* detail) { std::memcpy(analysis->formatType + 4, detail, 4); }

}  // namespace version4
