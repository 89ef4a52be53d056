// What the parts of the ISO media analyzer share: the film as its boxes tell it so far.
#pragma once

#include <span>

#include "version4/algorithms.h"
#include "version4/boxes.h"

namespace version4 {

struct IsoTrack {
  uint32_t id = 0;
  char handler[4] = {};
  bool isHashed = false;
  uint16_t width = 0, height = 0;
  Part sampleTable = {};  // the body of stbl, empty when there is none
  uint64_t bytes = 0;     // of chunks and runs so far
  Payload ranges;         // these, where fragments make the tracks take turns; else they are in the analysis's payload
};

// What fragments ask for by a track's id.
struct IsoId {
  uint32_t id;
  IsoTrack* track;     // the first one that is hashed; null when there is none
  bool hasSampleSize;  // the film has a default
  uint32_t sampleSize;
};

struct IsoFilm {
  Analysis* analysis = nullptr;
  char brand[4] = {'q', 't', ' ', ' '};
  bool hasMovie = false;
  Part movie = {};                  // the body of moov
  GrowingList<uint64_t> fragments;  // where each moof begins
  GrowingList<Range> media;         // the bodies of mdat, in file order; the last one may end behind the file
  GrowingList<IsoTrack> tracks;     // of moov, without one those that fragments name
  GrowingList<IsoId> ids;           // ascending
  size_t defaults = 0;              // of these
  size_t ranges = 0;                // of all tracks so far
};

inline constexpr size_t kMostTracks = 1024;

bool isHandler(const IsoTrack& track, const char* handler);

// ---- Boxes within a box: one that is none, or passes the end of the box around it, ends their list without error ----

struct WantedBox {
  const char* type;
  Part* body;  // of the first one; without a source when there is none
};
ResultCode findBoxes(Part list, std::span<const WantedBox> wanted);
ResultCode findBox(Part list, const char* type, Part* body);
ResultCode forEachBox(Part list, const char* type, IsoFilm* film, ResultCode (*takeBody)(IsoFilm*, const Part&));

// ---- Media ----

// Adds a chunk or run of a track. One of 0 bytes is nothing; HASHCREATE_READ_ERROR when it ends behind the file,
// HASHCREATE_FORMAT_ERROR when it does not lie whole in the body of one mdat: an editor forgot the offsets.
ResultCode addMedia(IsoFilm* film, IsoTrack* track, uint64_t offset, uint64_t count);

// Width and height, and what the sample tables of a track tell.
ResultCode takeSamples(IsoFilm* film, IsoTrack* track);

// The sample sizes that fragments need not state.
ResultCode takeDefaults(IsoFilm* film);

// The runs of all fragments.
ResultCode takeFragments(IsoFilm* film);

}  // namespace version4
