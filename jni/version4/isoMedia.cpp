// ISO media (ISO/IEC 14496-12): MP4, QuickTime, 3GP, M4A, CR3, fragmented or not. At the top stand moov with the tracks
// and their tables, moof with fragments of tracks, and mdat with the media.
//   content: track by track what its tables and fragments name, in their order
//   meta:    for each track its handler, width, height and number of bytes
// Tracks of picture and sound count; where there are none, all do. Where in the file media, moov and moof stand does
// not count.
#include <cstring>
#include <iterator>
#include <utility>

#include "version4/isoFilm.h"
#include "version4/rows.h"

namespace version4 {
namespace {

constexpr const char* kFirstTypes[] = {"ftyp", "moov", "mdat", "free", "skip", "wide", "pnot",
                                       "uuid", "styp", "sidx", "moof", "emsg", "prft"};
constexpr const char* kHashedHandlers[] = {"vide", "soun", "pict", "auxv"};
constexpr size_t kMostBoxes = size_t{1} << 20;  // of mdat, and of moof

// What the top boxes tell besides the film.
struct Top {
  bool hasBrand = false;
  bool startsWithBrand = false;
  bool hasMeta = false;
  bool isCut = false;  // the last box passes the end of the file
};

ResultCode recogniseIsoMedia(Analysis* analysis) {
  for (const char* type : kFirstTypes) {
    if (hasAt(analysis, 4, type)) return HASHCREATE_SUCCESS;
  }
  return kNotThisFormat;
}

// ---- Top boxes ----

ResultCode takeBrand(IsoFilm* film, const Part& body, Top* top) {
  if (top->hasBrand || remaining(body) < sizeof(film->brand)) return HASHCREATE_SUCCESS;
  top->hasBrand = true;
  return readBytes(body.source, body.position, film->brand, sizeof(film->brand));
}

ResultCode takeMovie(IsoFilm* film, const Box& box) {
  if (!isWhole(box)) return HASHCREATE_READ_ERROR;
  if (!film->hasMovie) film->movie = box.body;
  film->hasMovie = true;
  return HASHCREATE_SUCCESS;
}

ResultCode takeMoof(IsoFilm* film, const Box& box) {
  if (!isWhole(box)) return HASHCREATE_READ_ERROR;
  if (film->fragments.size == kMostBoxes) return HASHCREATE_FORMAT_ERROR;
  return append(&film->fragments, box.start) ? HASHCREATE_SUCCESS : HASHCREATE_MEM_ALLOC_ERROR;
}

ResultCode takeMdat(IsoFilm* film, const Part& body) {
  if (film->media.size == kMostBoxes) return HASHCREATE_FORMAT_ERROR;
  return append(&film->media, {body.position, remaining(body)}) ? HASHCREATE_SUCCESS : HASHCREATE_MEM_ALLOC_ERROR;
}

ResultCode takeTopBox(IsoFilm* film, const Box& box, Top* top) {
  top->isCut = !isWhole(box);
  if (isBox(box, "meta")) top->hasMeta = true;
  if (isBox(box, "ftyp") && box.start == 0) top->startsWithBrand = true;
  if (isBox(box, "ftyp") || isBox(box, "styp")) return takeBrand(film, box.body, top);
  if (isBox(box, "moov")) return takeMovie(film, box);
  if (isBox(box, "moof")) return takeMoof(film, box);
  if (isBox(box, "mdat")) return takeMdat(film, box.body);
  return HASHCREATE_SUCCESS;
}

ResultCode takeTopBoxes(IsoFilm* film) {
  Source* source = film->analysis->source;
  Part file = {source, 0, source->size};
  Top top;
  for (;;) {
    Box box;
    if (const ResultCode rc = readBox(&file, &box)) return rc;
    if (!isWhole(box) && box.state != BoxState::cut) break;
    if (const ResultCode rc = takeTopBox(film, box, &top)) return rc;
  }
  if (film->hasMovie || film->fragments.size > 0) return HASHCREATE_SUCCESS;
  if (top.startsWithBrand && top.hasMeta) return kNotThisFormat;  // pictures in items
  return top.isCut ? HASHCREATE_READ_ERROR : HASHCREATE_FORMAT_ERROR;
}

// ---- Tracks ----

ResultCode readTrackId(const Part& tkhd, uint32_t* id) {
  uint8_t bytes[24];
  if (remaining(tkhd) < sizeof(bytes)) return HASHCREATE_SUCCESS;
  if (const ResultCode rc = readBytes(tkhd.source, tkhd.position, bytes, sizeof(bytes))) return rc;
  *id = u32be(bytes + (bytes[0] == 1 ? 20 : 12));
  return HASHCREATE_SUCCESS;
}

ResultCode readHandler(const Part& hdlr, char* handler) {
  if (remaining(hdlr) < 12) return HASHCREATE_SUCCESS;
  return readBytes(hdlr.source, hdlr.position + 8, handler, 4);
}

ResultCode takeTrack(IsoFilm* film, const Part& trak) {
  if (film->tracks.size == kMostTracks) return HASHCREATE_FORMAT_ERROR;
  IsoTrack track;
  Part tkhd, mdia, hdlr, minf;
  const WantedBox ofTrak[] = {{"tkhd", &tkhd}, {"mdia", &mdia}};
  const WantedBox ofMdia[] = {{"hdlr", &hdlr}, {"minf", &minf}};
  if (const ResultCode rc = findBoxes(trak, ofTrak)) return rc;
  if (const ResultCode rc = findBoxes(mdia, ofMdia)) return rc;
  if (const ResultCode rc = findBox(minf, "stbl", &track.sampleTable)) return rc;
  if (const ResultCode rc = readTrackId(tkhd, &track.id)) return rc;
  if (const ResultCode rc = readHandler(hdlr, track.handler)) return rc;
  return append(&film->tracks, std::move(track)) ? HASHCREATE_SUCCESS : HASHCREATE_MEM_ALLOC_ERROR;
}

void chooseTracks(IsoFilm* film) {
  GrowingList<IsoTrack>& tracks = film->tracks;
  bool isAny = false;
  for (size_t i = 0; i < tracks.size; ++i) {
    for (const char* handler : kHashedHandlers) tracks[i].isHashed |= isHandler(tracks[i], handler);
    isAny |= tracks[i].isHashed;
  }
  for (size_t i = 0; i < tracks.size && !isAny; ++i) tracks[i].isHashed = true;
}

ResultCode takeMovieTracks(IsoFilm* film) {
  if (const ResultCode rc = forEachBox(film->movie, "trak", film, takeTrack)) return rc;
  chooseTracks(film);
  if (const ResultCode rc = takeDefaults(film)) return rc;
  for (size_t i = 0; i < film->tracks.size; ++i) {
    if (!film->tracks[i].isHashed) continue;
    if (const ResultCode rc = takeSamples(film, &film->tracks[i])) return rc;
  }
  return HASHCREATE_SUCCESS;
}

// ---- What it comes to ----

const char* fileTypeOf(const IsoFilm& film) {
  bool hasPicture = false, hasVideo = false, isSound = true;
  for (size_t i = 0; i < film.tracks.size; ++i) {
    const IsoTrack& track = film.tracks[i];
    if (!track.isHashed) continue;
    hasPicture |= isHandler(track, "pict");
    hasVideo |= isHandler(track, "vide");
    isSound &= isHandler(track, "soun");
  }
  if (std::memcmp(film.brand, "crx ", sizeof(film.brand)) == 0 || (hasPicture && !hasVideo)) return "PHOTO";
  return isSound ? "AUDIO" : "VIDEO";
}

// Fragments make the tracks take turns: here each one's ranges come together.
ResultCode moveRanges(IsoTrack* track, Analysis* analysis) {
  for (size_t i = 0; i < rangeCount(track->ranges); ++i) {
    const Range& range = rangeAt(track->ranges, i);
    const ResultCode rc = addRangeApart(&analysis->payload, analysis->source->size, range.offset, range.count);
    if (rc != HASHCREATE_SUCCESS) return rc;
  }
  track->ranges = {};
  return HASHCREATE_SUCCESS;
}

ResultCode finish(IsoFilm* film) {
  Analysis* analysis = film->analysis;
  for (size_t i = 0; i < film->tracks.size; ++i) {
    IsoTrack& track = film->tracks[i];
    if (track.bytes == 0) continue;
    const uint8_t size[] = {static_cast<uint8_t>(track.width >> 8), static_cast<uint8_t>(track.width),
                            static_cast<uint8_t>(track.height >> 8), static_cast<uint8_t>(track.height)};
    inputMeta(analysis, track.handler, sizeof(track.handler));
    inputMeta(analysis, size, sizeof(size));
    inputMetaU64(analysis, track.bytes);
    if (const ResultCode rc = moveRanges(&track, analysis)) return rc;
  }
  analysis->fileType = fileTypeOf(*film);
  setFormatFamily(analysis, "ISOM");
  setFormatDetail(analysis, film->brand);
  return HASHCREATE_SUCCESS;
}

ResultCode analyseIsoMedia(Analysis* analysis) {
  IsoFilm film;
  film.analysis = analysis;
  if (const ResultCode rc = takeTopBoxes(&film)) return rc;
  if (const ResultCode rc = takeMovieTracks(&film)) return rc;
  if (const ResultCode rc = takeFragments(&film)) return rc;
  return finish(&film);
}

}  // namespace

const Algorithm kIsoMedia = {0x28, "ISOMEDIA", "VIDEO", recogniseIsoMedia, analyseIsoMedia, nullptr};

}  // namespace version4
