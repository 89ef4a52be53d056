// Movie fragments: moof { traf { tfhd, trun ... } ... }, each in front of or behind the media that it describes.
//   tfhd  flags:u32 (24 bits) track:u32, and by the flags: base offset:u64, 4 bytes, 4 bytes, sample size:u32
//   trun  flags:u32 (24 bits) samples:u32, and by the flags: offset from the base:i32, 4 bytes, and for each sample its
//         duration, size, flags and time, 4 bytes each
#include <algorithm>
#include <bit>
#include <limits>

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

// ---- Tracks ----

ResultCode findTrack(IsoFilm* film, uint32_t id, IsoTrack** track) {
  GrowingList<IsoTrack>& tracks = film->tracks;
  for (size_t i = 0; i < tracks.size; ++i) {
    *track = &tracks[i];
    if (tracks[i].isHashed && tracks[i].id == id) return HASHCREATE_SUCCESS;
  }
  *track = nullptr;
  if (film->hasMovie) return HASHCREATE_SUCCESS;
  if (tracks.size == kMostTracks) return HASHCREATE_FORMAT_ERROR;
  IsoTrack fresh;
  fresh.id = id;
  fresh.isHashed = true;
  if (!append(&tracks, std::move(fresh))) return HASHCREATE_MEM_ALLOC_ERROR;
  *track = &tracks[tracks.size - 1];
  return HASHCREATE_SUCCESS;
}

void takeDefaultSize(const IsoFilm& film, uint32_t id, Fragment* fragment) {
  for (size_t i = 0; i < film.defaults.size; ++i) {
    if (film.defaults[i].trackId != id) continue;
    fragment->sampleSize = film.defaults[i].sampleSize;
    fragment->hasSampleSize = true;
  }
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
  takeDefaultSize(*film, static_cast<uint32_t>(id), fragment);
  if ((flags & kHasSize) != 0) {
    uint64_t size = 0;
    if (const ResultCode rc = takeNumber(&header, 4, ByteOrder::big, &size)) return rc;
    fragment->sampleSize = static_cast<uint32_t>(size);
    fragment->hasSampleSize = true;
  }
  fragment->base = fragment->position;
  return findTrack(film, static_cast<uint32_t>(id), &fragment->track);
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

ResultCode takeFragments(IsoFilm* film) {
  for (size_t i = 0; i < film->fragments.size; ++i) {
    if (const ResultCode rc = takeMoof(film, film->fragments[i])) return rc;
  }
  return HASHCREATE_SUCCESS;
}

}  // namespace version4
