// What the JPEG analyzer (hashCreate_JPEG) shares with its two variants, multi-picture files (hashCreate_MPO) and sound
// photos (hashCreate_SPF): the record of one call, the marker functions, and what one file calls in another.
//
// Results are 0, a HASHCREATE_* code or, from a read or seek, a positive errno.
#pragma once

#include <cstdint>

#include "readPrimitives.h"

// ---- The record of one call ----

// JpegHashParams::currentImage.
inline constexpr uint32_t kFirstImage = 1;
inline constexpr uint32_t kSecondImage = 2;

// JpegHashParams::mpoState.
inline constexpr uint32_t kMpoBaseline = 0;  // the walk hashes the first image, then the second in its place
inline constexpr uint32_t kMpoHashed = 1;    // every listed image is hashed by hashCreate_MPO
inline constexpr uint32_t kMpoNone = 2;      // one image, as far as hashing goes

struct SoundEntry {
  uint64_t offset;  // relative to spfBase
  uint64_t size;
  uint32_t kind;
};

// Positions are file positions unless they are said to be relative.
struct JpegHashParams {
  uint8_t sof0Info[8];  // start of the last SOF0 body: precision, lines, samples per line, components, first component
  uint32_t currentImage;
  uint32_t mpoState;
  uint32_t mpfByteOrder;
  uint32_t mpEntryCount;       // 0: none seen. Like the offset below kept from one MPF segment to the next.
  uint32_t mpEntryListOffset;  // relative to mpfBase
  uint64_t app2End;            // end of the APP2 segment at hand
  uint64_t scanDataSize;       // bytes of scan data, whether hashed whole or sampled
  uint64_t perImageThreshold;  // sampling threshold of each image of a kMpoHashed file
  uint64_t mpfBase;            // MPF header in APP2
  uint64_t firstImageOffset;
  uint64_t firstImageSize;
  uint64_t secondImageOffset;
  uint64_t secondImageSize;
  uint32_t soundCount;
  uint64_t spfBase;  // TIFF header in APP3; 0: no sound photo
  uint64_t app3End;  // end of the APP3 segment at hand
  SoundEntry firstSound;
  SoundEntry lastSound;
};

// ---- Marker segments (hashCreate_JPEG) ----

inline constexpr uint16_t kMarkerSof0 = 0xFFC0;
inline constexpr uint16_t kMarkerSos = 0xFFDA;
inline constexpr uint16_t kMarkerApp2 = 0xFFE2;
inline constexpr uint16_t kMarkerApp3 = 0xFFE3;

// A segment's length counts its own two bytes.
inline constexpr uint16_t kLengthFieldSize = 2;

// Reads the next marker, passing over what is none, and its length field, which is at least kLengthFieldSize.
ResultCode getMarkerTypeAndMarkerSize(Stream* stream, uint16_t* markerType, uint16_t* markerSize);

// Leaves a segment for what follows it. HASHCREATE_FORMAT_ERROR when its handler read past the end.
ResultCode seekToSegmentEnd(Stream* stream, uint64_t segmentEnd);

// ---- Multi-picture files (hashCreate_MPO) ----

// Reads four bytes; *flag is 1 when they identify an MPF segment, else 2.
ResultCode isMpo(Stream* stream, uint32_t* flag);

// Reads the MPF data behind the identifier, up to app2End, and sets mpoState; hashes the images of a kMpoHashed file.
ResultCode analyzeMpo(Stream* stream, JpegHashParams* params);

// True when the walk's own digests make the hash: no multi-picture file, or a baseline one.
bool isBaselineMP(const JpegHashParams* params);

// ---- Sound photos (hashCreate_SPF) ----

// Looks for a sound index in the APP3 segment that ends at app3End, and cuts the first image short at its first sound.
// A failure clears spfBase and app3End.
ResultCode getApp3Info(Stream* stream, JpegHashParams* params);

// True when a sound index was read, whether its sounds are there or not.
bool IsSPFImage(const JpegHashParams* params);

// Feeds the sound's size into the meta digest and the sound into the selected one. HASHCREATE_FORMAT_ERROR when there
// is no sound or no SD header before it; the digests then hold what was fed until then.
ResultCode addSoundMeta(Stream* stream, const JpegHashParams* params, uint32_t which);

// The minor version of a sound photo, given that of its image.
int spfMinorVerionModification(int minor);
