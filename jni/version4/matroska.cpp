// Matroska and WebM (RFC 9559): elements of an id, a size and a body, nested. A file is an EBML header and a Segment,
// which holds descriptions (Tracks), the media (Clusters) and indices (SeekHead, Cues).
//   content: everything from the first Cluster to the end of the last one
//   meta:    for each track its type, codec, width, height and channels
// The index leads near the last Cluster, so that a long film costs few reads; Clusters behind it are walked.
#include <algorithm>
#include <bit>

#include "version4/rows.h"
#include "version4/tableReader.h"

namespace version4 {
namespace {

constexpr uint32_t kEbml = 0x1A45DFA3, kDocType = 0x4282;
constexpr uint32_t kSegment = 0x18538067;
constexpr uint32_t kSeekHead = 0x114D9B74, kSeek = 0x4DBB, kSeekId = 0x53AB, kSeekPosition = 0x53AC;
constexpr uint32_t kTracks = 0x1654AE6B, kTrackEntry = 0xAE, kTrackType = 0x83, kCodecId = 0x86;
constexpr uint32_t kVideo = 0xE0, kPixelWidth = 0xB0, kPixelHeight = 0xBA;
constexpr uint32_t kAudio = 0xE1, kChannels = 0x9F;
constexpr uint32_t kCues = 0x1C53BB6B, kCuePoint = 0xBB, kCueTrackPositions = 0xB7, kCueClusterPosition = 0xF1;
constexpr uint32_t kCluster = 0x1F43B675;
constexpr uint32_t kClusterChildren[] = {0xE7, 0x5854, 0xA7, 0xAB, 0xA3, 0xA0, 0xAF, 0xEC, 0xBF};

constexpr uint32_t kVideoTrack = 1, kAudioTrack = 2;
constexpr uint64_t kUnknownSize = UINT64_MAX;
constexpr uint32_t kLongestId = 4, kLongestSize = 8;

struct Element {
  uint32_t id = 0;  // with its length bits; 0: there is no element
  uint64_t body = 0;
  uint64_t size = 0;  // of the body
};

struct Film {
  Analysis* analysis;
  TableReader headers;
  uint64_t begin = 0;  // of the Segment's body: positions count from it
  uint64_t end = 0;    // of the Segment, within the file
  uint64_t firstCluster = 0;
  Element cues;
  bool hasTracks = false;
  bool hasVideo = false;
};

ResultCode recogniseMatroska(Analysis* analysis) {
  return hasAt(analysis, 0, "\x1A\x45\xDF\xA3") ? HASHCREATE_SUCCESS : kNotThisFormat;
}

// ---- Elements ----

// What stands at an offset in front of end, which lies within the file; its header must lie in front of it too.
ResultCode readElement(TableReader* reader, uint64_t offset, uint64_t end, Element* element) {
  *element = {};
  if (offset >= end) return HASHCREATE_SUCCESS;
  uint8_t header[kLongestId + kLongestSize];
  const uint32_t count = static_cast<uint32_t>(std::min<uint64_t>(sizeof(header), end - offset));
  if (const ResultCode rc = readBytes(reader, offset, header, count)) return rc;

  const uint32_t idLength = static_cast<uint32_t>(std::countl_zero(header[0])) + 1;
  if (idLength > kLongestId || idLength >= count) return HASHCREATE_SUCCESS;
  const uint32_t sizeLength = static_cast<uint32_t>(std::countl_zero(header[idLength])) + 1;
  if (sizeLength > kLongestSize || sizeLength > count - idLength) return HASHCREATE_SUCCESS;
  const uint64_t marker = uint64_t{1} << (7 * sizeLength);
  const uint64_t size = valueOf(header + idLength, sizeLength, ByteOrder::big) - marker;
  element->id = static_cast<uint32_t>(valueOf(header, idLength, ByteOrder::big));
  element->body = offset + idLength + sizeLength;
  element->size = size == marker - 1 ? kUnknownSize : size;
  return HASHCREATE_SUCCESS;
}

uint64_t endOf(const Element& element) { return element.body + element.size; }

// Of unknown size it does not.
bool liesWithin(const Element& element, uint64_t end) { return element.size <= end - element.body; }

struct Children {
  TableReader* reader;
  uint64_t position;
  uint64_t end;
};

Children childrenOf(TableReader* reader, const Element& parent) { return {reader, parent.body, endOf(parent)}; }

// The next one; one of unknown size, or that does not fit, ends the list.
ResultCode nextChild(Children* children, Element* child) {
  if (const ResultCode rc = readElement(children->reader, children->position, children->end, child)) return rc;
  if (child->id == 0) return HASHCREATE_SUCCESS;
  if (liesWithin(*child, children->end)) {
    children->position = endOf(*child);
  } else {
    *child = {};
  }
  return HASHCREATE_SUCCESS;
}

ResultCode nextChildOf(uint32_t id, Children* children, Element* child) {
  do {
    if (const ResultCode rc = nextChild(children, child)) return rc;
  } while (child->id != 0 && child->id != id);
  return HASHCREATE_SUCCESS;
}

ResultCode findChild(TableReader* reader, const Element& parent, uint32_t id, Element* child) {
  Children children = childrenOf(reader, parent);
  return nextChildOf(id, &children, child);
}

// The value of the first child of an id; left as it is when there is none.
ResultCode readInteger(TableReader* reader, const Element& parent, uint32_t id, uint64_t* value) {
  Element child;
  if (const ResultCode rc = findChild(reader, parent, id, &child)) return rc;
  if (child.id == 0) return HASHCREATE_SUCCESS;
  uint8_t bytes[8];
  const uint32_t count = static_cast<uint32_t>(std::min<uint64_t>(child.size, sizeof(bytes)));
  if (const ResultCode rc = readBytes(reader, endOf(child) - count, bytes, count)) return rc;
  *value = valueOf(bytes, count, ByteOrder::big);
  return HASHCREATE_SUCCESS;
}

// Finds the first child of an id, a text, without the NULs behind it.
ResultCode findText(TableReader* reader, const Element& parent, uint32_t id, Element* text) {
  if (const ResultCode rc = findChild(reader, parent, id, text)) return rc;
  uint8_t piece[64];
  uint64_t length = 0;
  for (uint64_t done = 0; done < text->size; done += sizeof(piece)) {
    const uint32_t count = static_cast<uint32_t>(std::min<uint64_t>(sizeof(piece), text->size - done));
    if (const ResultCode rc = readBytes(reader, text->body + done, piece, count)) return rc;
    for (uint32_t i = 0; i < count; ++i) {
      if (piece[i] != 0) length = done + i + 1;
    }
  }
  text->size = length;
  return HASHCREATE_SUCCESS;
}

// Counts an element whose body is needed, all of it.
ResultCode takeTable(Analysis* analysis, const Element& element) {
  if (const ResultCode rc = countTable(analysis, element.size)) return rc;
  return liesWithin(element, analysis->source->size) ? HASHCREATE_SUCCESS : HASHCREATE_READ_ERROR;
}

// ---- Tracks ----

ResultCode takeTrack(Film* film, const Element& track) {
  TableReader* reader = &film->headers;
  Element codec, video, audio;
  uint64_t type = 0, width = 0, height = 0, channels = 1;
  if (const ResultCode rc = readInteger(reader, track, kTrackType, &type)) return rc;
  if (const ResultCode rc = findText(reader, track, kCodecId, &codec)) return rc;
  if (const ResultCode rc = findChild(reader, track, kVideo, &video)) return rc;
  if (const ResultCode rc = readInteger(reader, video, kPixelWidth, &width)) return rc;
  if (const ResultCode rc = readInteger(reader, video, kPixelHeight, &height)) return rc;
  if (const ResultCode rc = findChild(reader, track, kAudio, &audio)) return rc;
  if (const ResultCode rc = readInteger(reader, audio, kChannels, &channels)) return rc;

  const uint32_t kind = static_cast<uint32_t>(type);
  if (kind == kVideoTrack) film->hasVideo = true;
  inputMetaU32(film->analysis, kind);
  inputMetaU32(film->analysis, static_cast<uint32_t>(codec.size));
  if (const ResultCode rc = inputMetaFrom(film->analysis, codec.body, codec.size)) return rc;
  inputMetaU32(film->analysis, static_cast<uint32_t>(width));
  inputMetaU32(film->analysis, static_cast<uint32_t>(height));
  inputMetaU32(film->analysis, kind == kAudioTrack ? static_cast<uint32_t>(channels) : 0);
  return HASHCREATE_SUCCESS;
}

ResultCode takeTracks(Film* film, const Element& tracks) {
  if (film->hasTracks) return HASHCREATE_SUCCESS;
  film->hasTracks = true;
  if (const ResultCode rc = takeTable(film->analysis, tracks)) return rc;
  Children children = childrenOf(&film->headers, tracks);
  for (;;) {
    Element track;
    if (const ResultCode rc = nextChildOf(kTrackEntry, &children, &track)) return rc;
    if (track.id == 0) return HASHCREATE_SUCCESS;
    if (const ResultCode rc = takeTrack(film, track)) return rc;
  }
}

// ---- From the file's start to the first Cluster ----

ResultCode readEbmlHeader(Film* film) {
  Analysis* analysis = film->analysis;
  Element header, docType;
  if (const ResultCode rc = readElement(&film->headers, 0, analysis->source->size, &header)) return rc;
  if (header.id == 0 || header.size == kUnknownSize) return HASHCREATE_FORMAT_ERROR;
  if (const ResultCode rc = takeTable(analysis, header)) return rc;
  if (const ResultCode rc = findText(&film->headers, header, kDocType, &docType)) return rc;
  setFormatFamily(analysis, "MATR");
  setFormatDetail(analysis, docType.size == 4 && hasAt(analysis, docType.body, "webm") ? "webm" : "mkv ");
  film->begin = endOf(header);
  return HASHCREATE_SUCCESS;
}

// The element at an offset in front of end, which is needed.
ResultCode needElement(Film* film, uint64_t offset, uint64_t end, uint32_t mayBeOpen, Element* element) {
  if (const ResultCode rc = readElement(&film->headers, offset, end, element)) return rc;
  if (element->id == 0) {
    return offset >= film->analysis->source->size ? HASHCREATE_READ_ERROR : HASHCREATE_FORMAT_ERROR;
  }
  const bool isOpen = element->size == kUnknownSize;
  return isOpen && element->id != mayBeOpen ? HASHCREATE_FORMAT_ERROR : HASHCREATE_SUCCESS;
}

ResultCode findSegment(Film* film) {
  const uint64_t fileSize = film->analysis->source->size;
  Element element;
  for (uint64_t offset = film->begin;; offset = endOf(element)) {
    if (const ResultCode rc = needElement(film, offset, fileSize, kSegment, &element)) return rc;
    if (element.id == kSegment) break;
  }
  film->begin = element.body;
  film->end = liesWithin(element, fileSize) ? endOf(element) : fileSize;
  return HASHCREATE_SUCCESS;
}

ResultCode findFirstCluster(Film* film) {
  Element element;
  for (uint64_t offset = film->begin;; offset = endOf(element)) {
    if (const ResultCode rc = needElement(film, offset, film->end, kCluster, &element)) return rc;
    if (element.id == kCluster) {
      film->firstCluster = offset;
      return HASHCREATE_SUCCESS;
    }
    ResultCode rc = HASHCREATE_SUCCESS;
    if (element.id == kTracks) rc = takeTracks(film, element);
    if (element.id == kSeekHead) rc = takeTable(film->analysis, element);
    if (rc != HASHCREATE_SUCCESS) return rc;
    if (element.id == kCues && film->cues.id == 0) film->cues = element;
  }
}

// ---- The index ----

// Where a Seek of a SeekHead says that an element stands, and it does.
ResultCode findSought(Film* film, const Element& seekHead, uint32_t id, Element* found) {
  Children seeks = childrenOf(&film->headers, seekHead);
  for (;;) {
    *found = {};
    Element seek, seekId;
    uint64_t sought = 0, position = 0;
    if (const ResultCode rc = nextChildOf(kSeek, &seeks, &seek)) return rc;
    if (seek.id == 0) return HASHCREATE_SUCCESS;
    if (const ResultCode rc = findChild(&film->headers, seek, kSeekId, &seekId)) return rc;
    if (const ResultCode rc = readInteger(&film->headers, seek, kSeekId, &sought)) return rc;
    if (seekId.size != kLongestId || sought != id) continue;
    if (const ResultCode rc = readInteger(&film->headers, seek, kSeekPosition, &position)) return rc;
    if (position >= film->end - film->begin) continue;
    if (const ResultCode rc = readElement(&film->headers, film->begin + position, film->end, found)) return rc;
    if (found->id == id && liesWithin(*found, film->end)) return HASHCREATE_SUCCESS;
  }
}

// The same in all SeekHeads in front of the first Cluster.
ResultCode findSoughtInFront(Film* film, uint32_t id, Element* found) {
  Children children = {&film->headers, film->begin, film->firstCluster};
  for (;;) {
    Element seekHead;
    if (const ResultCode rc = nextChildOf(kSeekHead, &children, &seekHead)) return rc;
    if (seekHead.id == 0) return HASHCREATE_SUCCESS;
    if (const ResultCode rc = findSought(film, seekHead, id, found)) return rc;
    if (found->id != 0) return HASHCREATE_SUCCESS;
  }
}

ResultCode findCues(Film* film) {
  if (film->cues.id != 0) return HASHCREATE_SUCCESS;
  if (const ResultCode rc = findSoughtInFront(film, kCues, &film->cues)) return rc;
  if (film->cues.id != 0) return HASHCREATE_SUCCESS;
  Element another;
  if (const ResultCode rc = findSoughtInFront(film, kSeekHead, &another)) return rc;
  if (another.id == 0) return HASHCREATE_SUCCESS;
  if (const ResultCode rc = takeTable(film->analysis, another)) return rc;
  return findSought(film, another, kCues, &film->cues);
}

ResultCode raiseToPositions(TableReader* reader, const Element& cuePoint, uint64_t* largest) {
  Children children = childrenOf(reader, cuePoint);
  for (;;) {
    Element positions;
    uint64_t position = 0;
    if (const ResultCode rc = nextChildOf(kCueTrackPositions, &children, &positions)) return rc;
    if (positions.id == 0) return HASHCREATE_SUCCESS;
    if (const ResultCode rc = readInteger(reader, positions, kCueClusterPosition, &position)) return rc;
    *largest = std::max(*largest, position);
  }
}

ResultCode readLargestPosition(const Film& film, uint64_t* largest) {
  TableReader reader = readerOf(film.analysis->source, film.cues.body, endOf(film.cues));
  Children children = childrenOf(&reader, film.cues);
  for (;;) {
    Element cuePoint;
    if (const ResultCode rc = nextChildOf(kCuePoint, &children, &cuePoint)) return rc;
    if (cuePoint.id == 0) return HASHCREATE_SUCCESS;
    if (const ResultCode rc = raiseToPositions(&reader, cuePoint, largest)) return rc;
  }
}

// The last Cluster that the index knows, else the first one.
ResultCode findIndexedCluster(Film* film, uint64_t* cluster) {
  *cluster = film->firstCluster;
  if (const ResultCode rc = findCues(film)) return rc;
  if (film->cues.id == 0) return HASHCREATE_SUCCESS;
  if (const ResultCode rc = takeTable(film->analysis, film->cues)) return rc;
  uint64_t position = 0;
  if (const ResultCode rc = readLargestPosition(*film, &position)) return rc;
  if (position <= film->firstCluster - film->begin || position >= film->end - film->begin) return HASHCREATE_SUCCESS;
  Element element;
  if (const ResultCode rc = readElement(&film->headers, film->begin + position, film->end, &element)) return rc;
  if (element.id == kCluster) *cluster = film->begin + position;
  return HASHCREATE_SUCCESS;
}

// ---- Clusters ----

bool isClusterChild(uint32_t id) {
  return std::find(std::begin(kClusterChildren), std::end(kClusterChildren), id) != std::end(kClusterChildren);
}

ResultCode findClusterEnd(Film* film, const Element& cluster, uint64_t* end) {
  if (cluster.size != kUnknownSize) {
    *end = endOf(cluster);
    return liesWithin(cluster, film->end) ? HASHCREATE_SUCCESS : HASHCREATE_READ_ERROR;
  }
  Children children = {&film->headers, cluster.body, film->end};
  Element child;
  do {
    *end = children.position;
    if (const ResultCode rc = nextChild(&children, &child)) return rc;
  } while (isClusterChild(child.id));
  return HASHCREATE_SUCCESS;
}

// Walks on from a Cluster; *end is where the last one ends.
ResultCode findLastEnd(Film* film, uint64_t cluster, uint64_t* end) {
  *end = cluster;
  for (uint64_t offset = cluster;;) {
    Element element;
    if (const ResultCode rc = readElement(&film->headers, offset, film->end, &element)) return rc;
    if (element.id == 0 || element.id == kEbml || element.id == kSegment) return HASHCREATE_SUCCESS;
    if (element.id == kCluster) {
      if (const ResultCode rc = findClusterEnd(film, element, end)) return rc;
      offset = *end;
      continue;
    }
    if (!liesWithin(element, film->end)) return HASHCREATE_SUCCESS;
    // Editors that find no room in front move the description of the tracks behind the media.
    if (element.id == kTracks) {
      if (const ResultCode rc = takeTracks(film, element)) return rc;
    }
    offset = endOf(element);
  }
}

ResultCode analyseMatroska(Analysis* analysis) {
  Film film;
  film.analysis = analysis;
  film.headers = readerOf(analysis->source);
  if (const ResultCode rc = readEbmlHeader(&film)) return rc;
  if (const ResultCode rc = findSegment(&film)) return rc;
  if (const ResultCode rc = findFirstCluster(&film)) return rc;
  uint64_t cluster, end;
  if (const ResultCode rc = findIndexedCluster(&film, &cluster)) return rc;
  if (const ResultCode rc = findLastEnd(&film, cluster, &end)) return rc;
  if (!film.hasTracks) return HASHCREATE_FORMAT_ERROR;
  if (film.hasVideo) analysis->fileType = "VIDEO";
  return addRange(analysis, film.firstCluster, end - film.firstCluster);
}

}  // namespace

const Algorithm kMatroska = {0x24, "MATROSKA", "AUDIO", recogniseMatroska, analyseMatroska, nullptr};

}  // namespace version4
