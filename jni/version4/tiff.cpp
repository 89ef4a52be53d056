// TIFF 6.0, BigTIFF and the raw formats built on them: a header, and directories of entries tag:u16 type:u16 count
// field, which holds the values or their place. A directory names the next one and, by tag 330, others below it.
//   content: the strips or tiles of every full-size image, of RW2 the file from the raw data on; where all images are
//            reduced copies, theirs; where there is none, the largest JPEG that a directory names
//   meta:    of each image the values that tell how its data are read, unless they are the default
// So neither places nor byte order count, nor whether it is a BigTIFF.
#include <algorithm>
#include <iterator>

#include "version4/numberSet.h"
#include "version4/rows.h"

namespace version4 {
namespace {

struct Signature {
  std::string_view bytes;
  uint32_t countSize;  // of a directory's number of entries
  uint32_t wordSize;   // of counts and places
  const char* detail;  // of the format type; null: more is to be looked at
};

constexpr uint32_t kSignatureSize = 4;
constexpr Signature kSignatures[] = {
    {{"II*\0", kSignatureSize}, 2, 4, nullptr},
    {{"MM\0*", kSignatureSize}, 2, 4, nullptr},
    {{"II+\0", kSignatureSize}, 8, 8, nullptr},
    {{"MM\0+", kSignatureSize}, 8, 8, nullptr},
    {"IIRO", 2, 4, "ORF "},
    {"IIRS", 2, 4, "ORF "},
    {"MMOR", 2, 4, "ORF "},
    {{"IIU\0", kSignatureSize}, 2, 4, "RW2 "},
};

enum Tag : uint16_t {
  kSubfileType = 254,
  kBitsPerSample = 258,
  kCompression = 259,
  kFillOrder = 266,
  kStripOffsets = 273,
  kSamplesPerPixel = 277,
  kStripSizes = 279,
  kRawOffset = 280,  // of RW2 only
  kPlanarConfiguration = 284,
  kPredictor = 317,
  kTileOffsets = 324,
  kTileSizes = 325,
  kDirectoriesBelow = 330,
  kSampleFormat = 339,
  kJpegOffset = 513,
  kJpegSize = 514,
  kSubsampling = 530,
  kDngVersion = 50706,
};

constexpr uint32_t kReducedCopy = 1;  // bit of the subfile type

// What meta takes of an image, ascending.
constexpr uint16_t kFields[] = {256,
                                257,
                                kBitsPerSample,
                                kCompression,
                                262,
                                kFillOrder,
                                kSamplesPerPixel,
                                kPlanarConfiguration,
                                kPredictor,
                                320,
                                322,
                                323,
                                338,
                                kSampleFormat,
                                347,
                                kSubsampling};
constexpr uint16_t kRw2Fields[] = {2, 3, 4, 5, 6, 7, 8, 9, 10, 11};

// All tags that are looked at, ascending.
constexpr uint16_t kTags[] = {2,   3,   4,   5,   6,   7,   8,   9,   10,  11,  254, 256,
                              257, 258, 259, 262, 266, 273, 277, 279, 280, 284, 317, 320,
                              322, 323, 324, 325, 330, 338, 339, 347, 513, 514, 530, 50706};

constexpr size_t kMostDirectories = 65536;
constexpr uint64_t kMostBelow = 65535;

struct Entry {
  bool isThere;
  uint16_t type;
  uint64_t count;
  uint64_t field;  // its offset in the file
};

struct Directory {
  Entry entries[std::size(kTags)];
};

struct Tiff {
  Analysis* analysis;
  const Signature* signature;
  ByteOrder order;
  bool isRw2;
  NumberSet directories;         // their places, in the order in which they are looked at
  GrowingList<uint64_t> images;  // places of directories
};

const Signature* signatureOf(Analysis* analysis) {
  for (const Signature& signature : kSignatures) {
    if (hasAt(analysis, 0, signature.bytes)) return &signature;
  }
  return nullptr;
}

ResultCode recogniseTiff(Analysis* analysis) {
  return signatureOf(analysis) != nullptr ? HASHCREATE_SUCCESS : kNotThisFormat;
}

ResultCode readNumber(const Tiff& tiff, uint64_t offset, uint32_t size, uint64_t* number) {
  uint8_t bytes[8];
  if (const ResultCode rc = readBytes(tiff.analysis->source, offset, bytes, size)) return rc;
  *number = valueOf(bytes, size, tiff.order);
  return HASHCREATE_SUCCESS;
}

// ---- Values ----

struct Values {
  Part bytes;
  uint32_t width;
  ByteOrder order;
};

uint32_t widthOf(uint16_t type) {
  switch (type) {
    case 1:
    case 7:
      return 1;
    case 3:
      return 2;
    case 4:
    case 13:
      return 4;
    case 16:
    case 18:
      return 8;
    default:
      return 0;
  }
}

const Entry& entryOf(const Directory& directory, uint16_t tag) {
  return directory.entries[std::lower_bound(std::begin(kTags), std::end(kTags), tag) - kTags];
}

// An entry of no unsigned integers is as good as none.
uint64_t countOf(const Entry& entry) { return widthOf(entry.type) == 0 ? 0 : entry.count; }
bool hasValues(const Entry& entry) { return countOf(entry) > 0; }

// For values that were counted before.
ResultCode openValues(const Tiff& tiff, const Entry& entry, Values* values) {
  Source* source = tiff.analysis->source;
  *values = {{source, 0, 0}, widthOf(entry.type), tiff.order};
  if (!hasValues(entry)) return HASHCREATE_SUCCESS;
  const uint64_t size = entry.count * values->width;
  uint64_t place = entry.field;
  if (size > tiff.signature->wordSize) {
    if (const ResultCode rc = readNumber(tiff, entry.field, tiff.signature->wordSize, &place)) return rc;
  }
  if (place > source->size || size > source->size - place) return HASHCREATE_READ_ERROR;
  values->bytes = {source, place, place + size};
  return HASHCREATE_SUCCESS;
}

ResultCode countValues(const Tiff& tiff, const Entry& entry) {
  const uint64_t count = std::min(countOf(entry), kMostTableBytes + 1);
  return countTable(tiff.analysis, count * widthOf(entry.type));
}

ResultCode takeValues(const Tiff& tiff, const Entry& entry, Values* values) {
  if (const ResultCode rc = countValues(tiff, entry)) return rc;
  return openValues(tiff, entry, values);
}

ResultCode next(Values* values, uint64_t* value) {
  return takeNumber(&values->bytes, values->width, values->order, value);
}

// The value is left as it is when there is none.
ResultCode takeFirst(const Tiff& tiff, const Entry& entry, uint64_t* value) {
  Values values;
  if (const ResultCode rc = takeValues(tiff, entry, &values)) return rc;
  return remaining(values.bytes) > 0 ? next(&values, value) : HASHCREATE_SUCCESS;
}

// ---- Directories ----

uint32_t entrySizeOf(const Tiff& tiff) { return 4 + 2 * tiff.signature->wordSize; }

ResultCode takeEntry(const Tiff& tiff, Part* table, Directory* directory) {
  uint8_t bytes[20];
  if (const ResultCode rc = take(table, bytes, entrySizeOf(tiff))) return rc;
  const uint16_t tag = static_cast<uint16_t>(valueOf(bytes, 2, tiff.order));
  const uint16_t* known = std::lower_bound(std::begin(kTags), std::end(kTags), tag);
  if (known == std::end(kTags) || *known != tag) return HASHCREATE_SUCCESS;
  Entry* entry = &directory->entries[known - kTags];
  if (entry->isThere) return HASHCREATE_SUCCESS;
  const uint16_t type = static_cast<uint16_t>(valueOf(bytes + 2, 2, tiff.order));
  *entry = {true, type, valueOf(bytes + 4, tiff.signature->wordSize, tiff.order),
            table->position - tiff.signature->wordSize};
  return HASHCREATE_SUCCESS;
}

// Reads a directory that was admitted before.
ResultCode readDirectory(const Tiff& tiff, uint64_t place, Directory* directory) {
  uint64_t count = 0;
  if (const ResultCode rc = readNumber(tiff, place, tiff.signature->countSize, &count)) return rc;
  const uint64_t entries = place + tiff.signature->countSize;
  Part table = {tiff.analysis->source, entries, entries + count * entrySizeOf(tiff)};
  *directory = {};
  while (remaining(table) > 0) {
    if (const ResultCode rc = takeEntry(tiff, &table, directory)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

// Counts a directory that lies within the file, and answers the place of the next one: 0 where the file ends before it.
ResultCode admit(Tiff* tiff, uint64_t place, uint64_t* nextPlace) {
  uint64_t count = 0;
  if (const ResultCode rc = countParts(tiff->analysis, 1)) return rc;
  if (const ResultCode rc = readNumber(*tiff, place, tiff->signature->countSize, &count)) return rc;
  const uint64_t size = std::min(count, kMostTableBytes) * entrySizeOf(*tiff);
  if (const ResultCode rc = countTable(tiff->analysis, size)) return rc;

  const uint64_t entries = place + tiff->signature->countSize;
  const uint64_t left = tiff->analysis->source->size - entries;
  if (size > left) return HASHCREATE_READ_ERROR;
  *nextPlace = 0;
  return left - size < tiff->signature->wordSize
             ? HASHCREATE_SUCCESS
             : readNumber(*tiff, entries + size, tiff->signature->wordSize, nextPlace);
}

// Adds the directory at a place unless it is there already.
ResultCode visit(Tiff* tiff, uint64_t place, uint64_t* nextPlace) {
  const size_t before = sizeOf(tiff->directories);
  uint32_t index = 0;
  *nextPlace = 0;
  if (place == 0) return HASHCREATE_SUCCESS;
  if (!addNumber(&tiff->directories, place, &index)) return HASHCREATE_MEM_ALLOC_ERROR;
  if (sizeOf(tiff->directories) == before) return HASHCREATE_SUCCESS;
  if (const ResultCode rc = admit(tiff, place, nextPlace)) return rc;
  return before == kMostDirectories ? HASHCREATE_FORMAT_ERROR : HASHCREATE_SUCCESS;
}

ResultCode visitBelow(Tiff* tiff, const Directory& directory, uint64_t* namedBelow) {
  const Entry& entry = entryOf(directory, kDirectoriesBelow);
  Values places;
  if (const ResultCode rc = takeValues(*tiff, entry, &places)) return rc;
  *namedBelow += countOf(entry);
  if (*namedBelow > kMostBelow) return HASHCREATE_FORMAT_ERROR;
  while (remaining(places.bytes) > 0) {
    uint64_t place = 0, ignored = 0;
    if (const ResultCode rc = next(&places, &place)) return rc;
    if (const ResultCode rc = visit(tiff, place, &ignored)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

const char* detailOf(const Tiff& tiff, const Directory& first) {
  if (tiff.signature->detail != nullptr) return tiff.signature->detail;
  if (entryOf(first, kDngVersion).isThere) return "DNG ";
  if (tiff.signature->wordSize == 8) return "BIG ";
  return hasAt(tiff.analysis, 8, "CR") ? "CR2 " : "\0\0\0";
}

// The chain of directories first, then level by level those below them.
ResultCode findDirectories(Tiff* tiff, uint64_t first) {
  for (uint64_t place = first; place != 0;) {
    if (const ResultCode rc = visit(tiff, place, &place)) return rc;
  }
  uint64_t namedBelow = 0;
  for (size_t i = 0; i < sizeOf(tiff->directories); ++i) {
    Directory directory;
    if (const ResultCode rc = readDirectory(*tiff, numberAt(tiff->directories, i), &directory)) return rc;
    if (i == 0) setFormatDetail(tiff->analysis, detailOf(*tiff, directory));
    if (const ResultCode rc = visitBelow(tiff, directory, &namedBelow)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

// ---- Images ----

// Where an image's data are: two lists of values, or none.
struct Lists {
  Entry offsets;
  Entry sizes;
};

Lists listsOf(const Directory& directory) {
  const Lists tiles = {entryOf(directory, kTileOffsets), entryOf(directory, kTileSizes)};
  const Lists strips = {entryOf(directory, kStripOffsets), entryOf(directory, kStripSizes)};
  if (hasValues(tiles.offsets) && hasValues(tiles.sizes)) return tiles;
  if (hasValues(strips.offsets) && hasValues(strips.sizes)) return strips;
  return {};
}

const Entry& rawOffsetOf(const Directory& directory) {
  const Entry& raw = entryOf(directory, kRawOffset);
  return hasValues(raw) ? raw : entryOf(directory, kStripOffsets);
}

ResultCode checkLists(const Tiff& tiff, const Lists& lists) {
  Values offsets, sizes;
  if (const ResultCode rc = takeValues(tiff, lists.offsets, &offsets)) return rc;
  if (const ResultCode rc = takeValues(tiff, lists.sizes, &sizes)) return rc;
  return lists.offsets.count == lists.sizes.count ? HASHCREATE_SUCCESS : HASHCREATE_FORMAT_ERROR;
}

ResultCode checkRaw(const Tiff& tiff, const Entry& entry) {
  uint64_t offset = 0;
  if (const ResultCode rc = takeFirst(tiff, entry, &offset)) return rc;
  return offset < tiff.analysis->source->size ? HASHCREATE_SUCCESS : HASHCREATE_READ_ERROR;
}

// Adds a directory to the images when it has data.
ResultCode takeImage(Tiff* tiff, uint64_t place, const Directory& directory) {
  const Lists lists = listsOf(directory);
  const Entry& raw = rawOffsetOf(directory);
  if (!hasValues(tiff->isRw2 ? raw : lists.offsets)) return HASHCREATE_SUCCESS;
  if (const ResultCode rc = tiff->isRw2 ? checkRaw(*tiff, raw) : checkLists(*tiff, lists)) return rc;
  return append(&tiff->images, place) ? HASHCREATE_SUCCESS : HASHCREATE_MEM_ALLOC_ERROR;
}

ResultCode findImages(Tiff* tiff, uint32_t reduced) {
  for (size_t i = 0; i < sizeOf(tiff->directories); ++i) {
    const uint64_t place = numberAt(tiff->directories, i);
    Directory directory;
    if (const ResultCode rc = readDirectory(*tiff, place, &directory)) return rc;
    uint64_t subfileType = 0;
    if (const ResultCode rc = takeFirst(*tiff, entryOf(directory, kSubfileType), &subfileType)) return rc;
    if ((subfileType & kReducedCopy) != reduced) continue;
    if (const ResultCode rc = takeImage(tiff, place, directory)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

ResultCode addLists(const Tiff& tiff, const Lists& lists) {
  Values offsets, sizes;
  if (const ResultCode rc = openValues(tiff, lists.offsets, &offsets)) return rc;
  if (const ResultCode rc = openValues(tiff, lists.sizes, &sizes)) return rc;
  while (remaining(offsets.bytes) > 0) {
    uint64_t offset = 0, size = 0;
    if (const ResultCode rc = next(&offsets, &offset)) return rc;
    if (const ResultCode rc = next(&sizes, &size)) return rc;
    if (const ResultCode rc = addPictureRange(tiff.analysis, offset, size)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

ResultCode addRaw(const Tiff& tiff, const Entry& entry) {
  Values values;
  uint64_t offset = 0;
  if (const ResultCode rc = openValues(tiff, entry, &values)) return rc;
  if (const ResultCode rc = next(&values, &offset)) return rc;
  return addPictureRange(tiff.analysis, offset, tiff.analysis->source->size - offset);
}

// ---- Meta ----

// Libraries write one value for each sample or one for all.
ResultCode areEqual(Values values, bool* equal) {
  uint64_t first = 0, other = 0;
  if (const ResultCode rc = next(&values, &first)) return rc;
  *equal = true;
  while (*equal && remaining(values.bytes) > 0) {
    if (const ResultCode rc = next(&values, &other)) return rc;
    *equal = other == first;
  }
  return HASHCREATE_SUCCESS;
}

// Libraries add and drop defaults when they write a directory anew.
bool isDefault(uint16_t tag, uint64_t count, uint64_t first, uint64_t second) {
  switch (tag) {
    case kBitsPerSample:
    case kCompression:
    case kFillOrder:
    case kSamplesPerPixel:
    case kPlanarConfiguration:
    case kPredictor:
      return count == 1 && first == 1;
    case kSampleFormat:  // unsigned integers, or unknown
      return count == 1 && (first == 1 || first == 4);
    case kSubsampling:
      return count == 2 && first == 2 && second == 2;
    default:
      return false;
  }
}

ResultCode isDefault(Values values, uint16_t tag, uint64_t count, bool* is) {
  uint64_t first = 0, second = 0;
  if (const ResultCode rc = next(&values, &first)) return rc;
  if (count > 1) {
    if (const ResultCode rc = next(&values, &second)) return rc;
  }
  *is = isDefault(tag, count, first, second);
  return HASHCREATE_SUCCESS;
}

ResultCode inputField(const Tiff& tiff, uint16_t tag, const Entry& entry) {
  Values values;
  uint64_t count = countOf(entry);
  if (const ResultCode rc = takeValues(tiff, entry, &values)) return rc;
  if (count == 0) return HASHCREATE_SUCCESS;
  bool is = false;
  if (tag == kBitsPerSample || tag == kSampleFormat) {
    if (const ResultCode rc = areEqual(values, &is)) return rc;
    if (is) count = 1;
  }
  if (const ResultCode rc = isDefault(values, tag, count, &is)) return rc;
  if (is) return HASHCREATE_SUCCESS;

  inputMetaU32(tiff.analysis, tag);
  inputMetaU32(tiff.analysis, static_cast<uint32_t>(count));
  for (; count > 0; --count) {
    uint64_t value = 0;
    if (const ResultCode rc = next(&values, &value)) return rc;
    inputMetaU64(tiff.analysis, value);
  }
  return HASHCREATE_SUCCESS;
}

ResultCode inputFields(const Tiff& tiff, const Directory& directory) {
  const bool isRw2 = tiff.isRw2;
  const uint16_t* tags = isRw2 ? kRw2Fields : kFields;
  const size_t count = isRw2 ? std::size(kRw2Fields) : std::size(kFields);
  for (size_t i = 0; i < count; ++i) {
    if (const ResultCode rc = inputField(tiff, tags[i], entryOf(directory, tags[i]))) return rc;
  }
  return HASHCREATE_SUCCESS;
}

ResultCode hashImages(const Tiff& tiff) {
  for (size_t i = 0; i < tiff.images.size; ++i) {
    Directory directory;
    if (const ResultCode rc = readDirectory(tiff, tiff.images[i], &directory)) return rc;
    const ResultCode rc = tiff.isRw2 ? addRaw(tiff, rawOffsetOf(directory)) : addLists(tiff, listsOf(directory));
    if (rc != HASHCREATE_SUCCESS) return rc;
    if (const ResultCode failure = inputFields(tiff, directory)) return failure;
  }
  return HASHCREATE_SUCCESS;
}

// ---- A picture that is only there as a JPEG ----

ResultCode hashPreview(const Tiff& tiff) {
  Range largest = {};
  for (size_t i = 0; i < sizeOf(tiff.directories); ++i) {
    Directory directory;
    if (const ResultCode rc = readDirectory(tiff, numberAt(tiff.directories, i), &directory)) return rc;
    const Entry& offset = entryOf(directory, kJpegOffset);
    const Entry& size = entryOf(directory, kJpegSize);
    if (!hasValues(offset) || !hasValues(size)) continue;
    Range jpeg = {};
    if (const ResultCode rc = takeFirst(tiff, offset, &jpeg.offset)) return rc;
    if (const ResultCode rc = takeFirst(tiff, size, &jpeg.count)) return rc;
    if (jpeg.count > largest.count) largest = jpeg;
  }
  inputMeta(tiff.analysis, "JPEG", 4);
  return addPictureRange(tiff.analysis, largest.offset, largest.count);
}

// ---- The whole ----

ResultCode readHeader(Tiff* tiff, uint64_t* first) {
  char order = 0;
  if (const ResultCode rc = readBytes(tiff->analysis->source, 0, &order, 1)) return rc;
  tiff->order = order == 'M' ? ByteOrder::big : ByteOrder::little;
  const uint32_t wordSize = tiff->signature->wordSize;
  if (wordSize == 8) {
    uint64_t placeSize = 0, zero = 0;
    if (const ResultCode rc = readNumber(*tiff, 4, 2, &placeSize)) return rc;
    if (placeSize != 8) return HASHCREATE_FORMAT_ERROR;
    if (const ResultCode rc = readNumber(*tiff, 6, 2, &zero)) return rc;
    if (zero != 0) return HASHCREATE_FORMAT_ERROR;
  }
  return readNumber(*tiff, wordSize, wordSize, first);
}

ResultCode analyseTiff(Analysis* analysis) {
  Tiff tiff = {analysis, signatureOf(analysis), ByteOrder::little, hasAt(analysis, 0, "IIU"), {}, {}};
  if (tiff.signature == nullptr) return kNotThisFormat;
  uint64_t first = 0;
  if (const ResultCode rc = readHeader(&tiff, &first)) return rc;
  if (const ResultCode rc = findDirectories(&tiff, first)) return rc;
  for (const uint32_t reduced : {0U, kReducedCopy}) {
    if (tiff.images.size > 0) break;
    if (const ResultCode rc = findImages(&tiff, reduced)) return rc;
  }
  setFormatFamily(analysis, "TIFF");
  return tiff.images.size > 0 ? hashImages(tiff) : hashPreview(tiff);
}

}  // namespace

const Algorithm kTiff = {0x29, "TIFF", "PHOTO", recogniseTiff, analyseTiff, nullptr};

}  // namespace version4
