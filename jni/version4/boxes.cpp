#include "version4/boxes.h"

#include <algorithm>
#include <cstring>

namespace version4 {
namespace {

constexpr uint64_t kToTheEnd = 0;
constexpr uint64_t kLargeSize = 1;

// Takes the header and answers the size of the whole box.
ResultCode takeHeader(Part* rest, Box* box, uint64_t* size) {
  uint8_t header[kBoxHeader];
  if (const ResultCode rc = take(rest, header, sizeof(header))) return rc;
  std::memcpy(box->type, header + 4, sizeof(box->type));
  *size = u32be(header);
  if (*size == kToTheEnd) *size = rest->end - box->start;
  if (*size != kLargeSize) return HASHCREATE_SUCCESS;
  if (remaining(*rest) < 8) {
    box->state = BoxState::cutHeader;
    return HASHCREATE_SUCCESS;
  }
  return takeNumber(rest, 8, ByteOrder::big, size);
}

}  // namespace

bool isBox(const Box& box, const char* type) { return std::memcmp(box.type, type, sizeof(box.type)) == 0; }

ResultCode readBox(Part* list, Box* box) {
  Part rest = *list;
  *box = {BoxState::whole, {}, rest.position, {list->source, list->end, list->end}};
  list->position = list->end;
  if (remaining(rest) < kBoxHeader) {
    box->state = BoxState::none;
    return HASHCREATE_SUCCESS;
  }
  uint64_t size = 0;
  if (const ResultCode rc = takeHeader(&rest, box, &size)) return rc;
  if (box->state == BoxState::cutHeader) return HASHCREATE_SUCCESS;

  const uint64_t headerSize = rest.position - box->start;
  if (size < headerSize) {
    *box = {BoxState::tooSmall, {}, box->start, box->body};
    return HASHCREATE_SUCCESS;
  }
  const uint64_t bodySize = size - headerSize;
  if (bodySize > remaining(rest)) box->state = BoxState::cut;
  box->body = {list->source, rest.position, rest.position + std::min(bodySize, UINT64_MAX - rest.position)};
  list->position = std::min(box->body.end, list->end);
  return HASHCREATE_SUCCESS;
}

ResultCode nextTopBox(Analysis* analysis, Part* file, Box* box) {
  if (const ResultCode rc = countParts(analysis, 1)) return rc;
  return readBox(file, box);
}

ResultCode nextInnerBox(Analysis* analysis, Part* list, Box* box) {
  if (const ResultCode rc = countParts(analysis, 1)) return rc;
  if (const ResultCode rc = readBox(list, box)) return rc;
  return isWhole(*box) ? HASHCREATE_SUCCESS : HASHCREATE_FORMAT_ERROR;
}

}  // namespace version4
