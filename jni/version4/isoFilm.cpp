#include "version4/isoFilm.h"

#include <cstring>

namespace version4 {
namespace {

// The last one that begins at or in front of an offset, else null.
const Range* mediaAt(const IsoFilm& film, uint64_t offset) {
  size_t low = 0, high = film.media.size;
  while (low < high) {
    const size_t middle = low + (high - low) / 2;
    if (film.media[middle].offset <= offset) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low > 0 ? &film.media[low - 1] : nullptr;
}

}  // namespace

bool isHandler(const IsoTrack& track, const char* handler) {
  return std::memcmp(track.handler, handler, sizeof(track.handler)) == 0;
}

ResultCode findBoxes(Part list, std::span<const WantedBox> wanted) {
  for (const WantedBox& row : wanted) *row.body = {};
  for (;;) {
    Box box;
    if (const ResultCode rc = readBox(&list, &box)) return rc;
    if (!isWhole(box)) return HASHCREATE_SUCCESS;
    for (const WantedBox& row : wanted) {
      if (row.body->source == nullptr && isBox(box, row.type)) *row.body = box.body;
    }
  }
}

ResultCode findBox(Part list, const char* type, Part* body) {
  const WantedBox wanted[] = {{type, body}};
  return findBoxes(list, wanted);
}

ResultCode forEachBox(Part list, const char* type, IsoFilm* film, ResultCode (*takeBody)(IsoFilm*, const Part&)) {
  for (;;) {
    Box box;
    if (const ResultCode rc = readBox(&list, &box)) return rc;
    if (!isWhole(box)) return HASHCREATE_SUCCESS;
    if (!isBox(box, type)) continue;
    if (const ResultCode rc = takeBody(film, box.body)) return rc;
  }
}

ResultCode addMedia(IsoFilm* film, IsoTrack* track, uint64_t offset, uint64_t count) {
  if (count == 0) return HASHCREATE_SUCCESS;
  const uint64_t fileSize = film->analysis->source->size;
  if (offset > fileSize || count > fileSize - offset) return HASHCREATE_READ_ERROR;
  const Range* media = mediaAt(*film, offset);
  if (media == nullptr || offset - media->offset > media->count) return HASHCREATE_FORMAT_ERROR;
  if (count > media->count - (offset - media->offset)) return HASHCREATE_FORMAT_ERROR;

  Payload* ranges = film->fragments.size > 0 ? &track->ranges : &film->analysis->payload;
  const size_t before = rangeCount(*ranges);
  const bool isFirst = track->bytes == 0;
  const ResultCode rc =
      isFirst ? addRangeApart(ranges, fileSize, offset, count) : addRange(ranges, fileSize, offset, count);
  if (rc != HASHCREATE_SUCCESS) return rc;
  film->ranges += rangeCount(*ranges) - before;
  track->bytes += count;
  return film->ranges > kMostRanges ? HASHCREATE_FORMAT_ERROR : HASHCREATE_SUCCESS;
}

}  // namespace version4
