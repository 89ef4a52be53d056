// Movie fragments: moof { traf { tfhd, trun ... } ... }, each in front of or behind the media that it describes.
//   tfhd  flags:u32 (24 bits) track:u32, and by the flags: base offset:u64, 4 bytes, 4 bytes, sample size:u32
//   trun  flags:u32 (24 bits) samples:u32, and by the flags: offset from the base:i32, 4 bytes, and for each sample its
//         duration, size, flags and time, 4 bytes each
#include <algorithm>
#include <bit>
#include <limits>
#include <utility>

#include "version4/isoFilm.h"
#include "version4/tableReader.h"

namespace version4 {
namespace {

// Flags of tfhd.
constexpr uint64_t kHasBase = 0x1, kHasDescription = 0x2, kHasDuration = 0x8, kHasSize = 0x10, kBaseIsMoof = 0x20000;
// Flags of trun.
constexpr uint64_t kHasOffset = 0x1, kHasFirstFlags = 0x4, kHasDurations = 0x100, kHasSizes = 0x200;
constexpr uint64_t kRowFields = 0xF00;

constexpr int64_t kFarthest = std::numeric_limits<int64_t>::max();
constexpr int64_t kNearest = std::numeric_limits<int64_t>::min();

// A traf: where its runs lie and how large its samples are.
struct Fragment {
  IsoTrack* track = nullptr;  // null: its runs are followed, not hashed
  uint32_t sampleSize = 0;
  bool hasSampleSize = false;
  int64_t base = 0;
  int64_t position = 0;  // of the next run, unless it says so itself
};

// ---- Places: they may come to lie in front of the file, and stay where they are when no number holds them ----

int64_t placeOf(uint64_t offset) { return static_cast<int64_t>(std::min<uint64_t>(offset, kFarthest)); }

int64_t behind(int64_t place, uint64_t bytes) {
  const int64_t distance = placeOf(bytes);
  return place > kFarthest - distance ? kFarthest : place + distance;
}

int64_t moved(int64_t place, int32_t distance) {
  if (distance >= 0) return behind(place, static_cast<uint64_t>(distance));
  return std::max(place, kNearest - distance) + distance;
}

// ---- Tracks and their defaults, by id ----

// The index of the first one that is not below an id.
size_t indexOf(const GrowingList<IsoId>& ids, uint32_t id) {
  size_t low = 0, high = ids.size;
  while (low < high) {
    const size_t middle = low + (high - low) / 2;
    if (ids[middle].id < id) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

// The one of an id, null when there is none.
IsoId* findId(const GrowingList<IsoId>& ids, uint32_t id) {
  const size_t index = indexOf(ids, id);
  return index < ids.size && ids[index].id == id ? &ids[index] : nullptr;
}

// The same, made when there is none; null when memory ends.
IsoId* needId(GrowingList<IsoId>* ids, uint32_t id) {
  if (IsoId* row = findId(*ids, id)) return row;
  const size_t index = indexOf(*ids, id);
  if (!append(ids, IsoId{})) return nullptr;
  for (size_t i = ids->size - 1; i > index; --i) (*ids)[i] = (*ids)[i - 1];
  (*ids)[index] = {id, nullptr, false, 0};
  return &(*ids)[index];
}

ResultCode takeDefault(IsoFilm* film, const Part& trex) {
  uint8_t bytes[20];
  if (remaining(trex) < sizeof(bytes)) return HASHCREATE_SUCCESS;
  if (const ResultCode rc = readBytes(trex.source, trex.position, bytes, sizeof(bytes))) return rc;
  IsoId* row = needId(&film->ids, u32be(bytes + 4));
  if (row == nullptr) return HASHCREATE_MEM_ALLOC_ERROR;
  if (!row->hasSampleSize && ++film->defaults > kMostTracks) return HASHCREATE_FORMAT_ERROR;
  row->hasSampleSize = true;
  row->sampleSize = u32be(bytes + 16);
  return HASHCREATE_SUCCESS;
}

ResultCode nameTrack(IsoFilm* film, IsoTrack* track) {
  IsoId* row = needId(&film->ids, track->id);
  if (row == nullptr) return HASHCREATE_MEM_ALLOC_ERROR;
  if (row->track == nullptr) row->track = track;
  return HASHCREATE_SUCCESS;
}

ResultCode addTrack(IsoFilm* film, uint32_t id) {
  GrowingList<IsoTrack>& tracks = film->tracks;
  if (tracks.size == kMostTracks) return HASHCREATE_FORMAT_ERROR;
  IsoTrack track;
  track.id = id;
  track.isHashed = true;
  if (!append(&tracks, std::move(track))) return HASHCREATE_MEM_ALLOC_ERROR;
  return nameTrack(film, &tracks[tracks.size - 1]);
}

// What is known of a fragment's track; where no movie tells of the tracks, a new id is a new track.
ResultCode takeTrack(IsoFilm* film, uint32_t id, Fragment* fragment) {
  const IsoId* row = findId(film->ids, id);
  if (row == nullptr && !film->hasMovie) {
    if (const ResultCode rc = addTrack(film, id)) return rc;
    row = findId(film->ids, id);
  }
  if (row == nullptr) return HASHCREATE_SUCCESS;
  fragment->track = row->track;
  fragment->hasSampleSize = row->hasSampleSize;
  fragment->sampleSize = row->sampleSize;
  return HASHCREATE_SUCCESS;
}

// ---- Runs ----

ResultCode readSizes(Analysis* analysis, const Part& rows, uint64_t flags, uint64_t samples, uint64_t* bytes) {
  const uint32_t rowSize = 4 * static_cast<uint32_t>(std::popcount(flags & kRowFields));
  const uint32_t sizeAt = (flags & kHasDurations) != 0 ? 4 : 0;
  const uint64_t end = rows.position + samples * rowSize;
  if (const ResultCode rc = countTable(analysis, end - rows.position)) return rc;
  TableReader reader = readerOf(rows.source, rows.position, end);
  for (uint64_t row = rows.position; row < end; row += rowSize) {
    uint8_t size[4];
    if (const ResultCode rc = readBytes(&reader, row + sizeAt, size, sizeof(size))) return rc;
    *bytes += u32be(size);
  }
  return HASHCREATE_SUCCESS;
}

ResultCode readRunBytes(Analysis* analysis, const Fragment& fragment, const Part& rows, uint64_t flags,
                        uint64_t samples, uint64_t* bytes) {
  const uint64_t rowSize = 4 * static_cast<uint64_t>(std::popcount(flags & kRowFields));
  if (samples * rowSize > remaining(rows)) return HASHCREATE_FORMAT_ERROR;
  if ((flags & kHasSizes) != 0) return readSizes(analysis, rows, flags, samples, bytes);
  *bytes = samples * fragment.sampleSize;
  return fragment.hasSampleSize ? HASHCREATE_SUCCESS : HASHCREATE_FORMAT_ERROR;
}

ResultCode takeRun(IsoFilm* film, Part run, Fragment* fragment) {
  uint64_t flags = 0, samples = 0, bytes = 0;
  if (const ResultCode rc = takeNumber(&run, 4, ByteOrder::big, &flags)) return rc;
  if (const ResultCode rc = takeNumber(&run, 4, ByteOrder::big, &samples)) return rc;
  if ((flags & kHasOffset) != 0) {
    uint64_t offset = 0;
    if (const ResultCode rc = takeNumber(&run, 4, ByteOrder::big, &offset)) return rc;
    fragment->position = moved(fragment->base, static_cast<int32_t>(static_cast<uint32_t>(offset)));
  }
  if ((flags & kHasFirstFlags) != 0) {
    if (const ResultCode rc = pass(&run, 4)) return rc;
  }
  if (const ResultCode rc = readRunBytes(film->analysis, *fragment, run, flags, samples, &bytes)) return rc;

  const int64_t begin = fragment->position;
  fragment->position = behind(begin, bytes);
  if (fragment->track == nullptr || bytes == 0) return HASHCREATE_SUCCESS;
  if (begin < 0) return HASHCREATE_FORMAT_ERROR;
  return addMedia(film, fragment->track, static_cast<uint64_t>(begin), bytes);
}

// ---- Fragments ----

// *fragment begins where the last one ended.
ResultCode takeHeader(IsoFilm* film, uint64_t moof, Part header, Fragment* fragment) {
  uint64_t flags = 0, id = 0;
  if (const ResultCode rc = takeNumber(&header, 4, ByteOrder::big, &flags)) return rc;
  if (const ResultCode rc = takeNumber(&header, 4, ByteOrder::big, &id)) return rc;
  if ((flags & kBaseIsMoof) != 0) fragment->position = placeOf(moof);
  if ((flags & kHasBase) != 0) {
    uint64_t base = 0;
    if (const ResultCode rc = takeNumber(&header, 8, ByteOrder::big, &base)) return rc;
    fragment->position = placeOf(base);
  }
  for (const uint64_t field : {kHasDescription, kHasDuration}) {
    if ((flags & field) == 0) continue;
    if (const ResultCode rc = pass(&header, 4)) return rc;
  }
  if (const ResultCode rc = takeTrack(film, static_cast<uint32_t>(id), fragment)) return rc;
  if ((flags & kHasSize) != 0) {
    uint64_t size = 0;
    if (const ResultCode rc = takeNumber(&header, 4, ByteOrder::big, &size)) return rc;
    fragment->sampleSize = static_cast<uint32_t>(size);
    fragment->hasSampleSize = true;
  }
  fragment->base = fragment->position;
  return HASHCREATE_SUCCESS;
}

// *position is where the runs of the last fragment ended, and then where these do.
ResultCode takeFragment(IsoFilm* film, uint64_t moof, Part traf, int64_t* position) {
  Part header;
  if (const ResultCode rc = findBox(traf, "tfhd", &header)) return rc;
  Fragment fragment;
  fragment.position = *position;
  if (const ResultCode rc = takeHeader(film, moof, header, &fragment)) return rc;
  for (;;) {
    Box box;
    if (const ResultCode rc = readBox(&traf, &box)) return rc;
    if (!isWhole(box)) break;
    if (!isBox(box, "trun")) continue;
    if (const ResultCode rc = takeRun(film, box.body, &fragment)) return rc;
  }
  *position = fragment.position;
  return HASHCREATE_SUCCESS;
}

ResultCode takeMoof(IsoFilm* film, uint64_t moof) {
  Part file = {film->analysis->source, moof, film->analysis->source->size};
  Box box;
  if (const ResultCode rc = readBox(&file, &box)) return rc;
  int64_t position = placeOf(moof);
  for (Part list = box.body;;) {
    if (const ResultCode rc = readBox(&list, &box)) return rc;
    if (!isWhole(box)) return HASHCREATE_SUCCESS;
    if (!isBox(box, "traf")) continue;
    if (const ResultCode rc = takeFragment(film, moof, box.body, &position)) return rc;
  }
}

}  // namespace

ResultCode takeDefaults(IsoFilm* film) {
  Part mvex;
  if (const ResultCode rc = findBox(film->movie, "mvex", &mvex)) return rc;
  return forEachBox(mvex, "trex", film, takeDefault);
}

ResultCode takeFragments(IsoFilm* film) {
  for (size_t i = 0; i < film->tracks.size && film->fragments.size > 0; ++i) {
    if (!film->tracks[i].isHashed) continue;
    if (const ResultCode rc = nameTrack(film, &film->tracks[i])) return rc;
  }
  for (size_t i = 0; i < film->fragments.size; ++i) {
    if (const ResultCode rc = takeMoof(film, film->fragments[i])) return rc;
  }
  return HASHCREATE_SUCCESS;
}

}  // namespace version4
