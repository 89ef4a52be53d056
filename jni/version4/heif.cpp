// HEIF (ISO/IEC 23008-12), HEIC and AVIF among them: boxes, of which meta lists items (iinf), where their data are
// (iloc), what they are made of (iref) and their properties (iprp). Files of films are left to ISO media.
//   content: the data of the primary item, of the items that it is derived from (a grid's tiles) and of their alpha
//   meta:    these items' properties that a decoder needs, and the number of items
// Thumbnails, depth and gain maps, Exif and XMP are items of their own, which do not count.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "version4/boxes.h"
#include "version4/numberSet.h"
#include "version4/rows.h"

namespace version4 {
namespace {

constexpr uint32_t kVersionAndFlags = 4;
constexpr uint32_t kDeepest = 16;           // levels of derivation
constexpr size_t kMostProperties = 0x7FFF;  // an association has no larger number

constexpr const char* kDecodingProperties[] = {"ispe", "hvcC", "lhvC", "avcC", "av1C", "vvcC",
                                               "evcC", "jpgC", "j2kH", "cmpd", "uncC"};

constexpr std::string_view kAlpha[] = {"urn:mpeg:hevc:2015:auxid:1", "urn:mpeg:avc:2015:auxid:1",
                                       "urn:mpeg:mpegB:cicp:systems:auxiliary:alpha"};
constexpr uint32_t kLongestAlpha = 43;

struct Property {
  uint64_t body;  // offset in the file
  uint32_t size;
  char type[4];
  bool isAlpha;
  bool isTaken;  // by meta
};

// Ids that an item refers to.
struct Reference {
  uint64_t ids;  // offset in the file
  uint32_t from;
  uint16_t count;
  uint8_t idSize;
};

// The widths of an iloc's fields.
struct Widths {
  uint8_t version, offset, length, base, index;
};

struct Location {
  uint64_t entry;  // offset behind the id
  Widths widths;
};

struct Heif {
  Analysis* analysis;
  Part meta;  // its boxes
  Part idat;
  bool hasIdat, hasPrimary, hasPrimaryType;
  uint32_t primary;

  GrowingList<Reference> references;
  NumberLists derivations;            // indices of dimg references, by the id they come from
  GrowingList<uint32_t> auxiliaries;  // indices of auxl references
  GrowingList<Property> properties;
  NumberLists associations;  // properties counted from 1, by id

  NumberSet items;                    // that are hashed, in order
  GrowingList<uint32_t> locationsOf;  // of items: how many locations there were with theirs, 0: it has none
  GrowingList<Location> locations;
};

ResultCode recogniseHeif(Analysis* analysis) {
  return hasAt(analysis, 4, "ftyp") ? HASHCREATE_SUCCESS : kNotThisFormat;
}

ResultCode takeByte(Part* part, uint8_t* byte) { return take(part, byte, 1); }

ResultCode takeId(Part* part, uint32_t size, uint32_t* id) {
  uint64_t number = 0;
  const ResultCode rc = takeNumber(part, size, ByteOrder::big, &number);
  *id = static_cast<uint32_t>(number);
  return rc;
}

ResultCode takeVersion(Part* part, uint8_t* version) {
  uint8_t bytes[kVersionAndFlags];
  const ResultCode rc = take(part, bytes, sizeof(bytes));
  *version = bytes[0];
  return rc;
}

// ---- Primary item, types of items ----

ResultCode takePrimary(Heif* heif, Part body) {
  if (heif->hasPrimary) return HASHCREATE_SUCCESS;
  heif->hasPrimary = true;
  uint8_t version = 0;
  if (const ResultCode rc = takeVersion(&body, &version)) return rc;
  return takeId(&body, version > 0 ? 4 : 2, &heif->primary);
}

ResultCode takeItemInfo(Heif* heif, Part body) {
  uint8_t version = 0;
  uint32_t id = 0;
  char type[4];
  if (const ResultCode rc = takeByte(&body, &version)) return rc;
  if (version < 2) return HASHCREATE_SUCCESS;  // has no type
  if (const ResultCode rc = pass(&body, kVersionAndFlags - 1)) return rc;
  if (const ResultCode rc = takeId(&body, version > 2 ? 4 : 2, &id)) return rc;
  if (const ResultCode rc = pass(&body, 2)) return rc;  // protection
  if (const ResultCode rc = take(&body, type, sizeof(type))) return rc;
  if (id != heif->primary || heif->hasPrimaryType) return HASHCREATE_SUCCESS;
  heif->hasPrimaryType = true;
  setFormatDetail(heif->analysis, type);
  return HASHCREATE_SUCCESS;
}

ResultCode takeItemInfos(Heif* heif, Part body) {
  uint8_t version = 0;
  if (const ResultCode rc = takeVersion(&body, &version)) return rc;
  if (const ResultCode rc = pass(&body, version > 0 ? 4 : 2)) return rc;
  while (remaining(body) >= kBoxHeader) {
    Box box;
    if (const ResultCode rc = nextInnerBox(heif->analysis, &body, &box)) return rc;
    if (!isBox(box, "infe")) continue;
    if (const ResultCode rc = takeItemInfo(heif, box.body)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

// ---- References ----

ResultCode takeReference(Heif* heif, const Box& box, uint8_t idSize) {
  const bool isDerivation = isBox(box, "dimg");
  if (!isDerivation && !isBox(box, "auxl")) return HASHCREATE_SUCCESS;
  Part body = box.body;
  Reference reference = {0, 0, 0, idSize};
  uint64_t count = 0;
  if (const ResultCode rc = takeId(&body, idSize, &reference.from)) return rc;
  if (const ResultCode rc = takeNumber(&body, 2, ByteOrder::big, &count)) return rc;
  if (const ResultCode rc = countParts(heif->analysis, count)) return rc;
  if (remaining(body) < count * idSize) return HASHCREATE_FORMAT_ERROR;
  reference.ids = body.position;
  reference.count = static_cast<uint16_t>(count);

  const uint32_t index = static_cast<uint32_t>(heif->references.size);
  const bool kept =
      append(&heif->references, reference) &&
      (isDerivation ? appendTo(&heif->derivations, reference.from, index) : append(&heif->auxiliaries, index));
  return kept ? HASHCREATE_SUCCESS : HASHCREATE_MEM_ALLOC_ERROR;
}

ResultCode takeReferences(Heif* heif, Part body) {
  uint8_t version = 0;
  if (const ResultCode rc = takeVersion(&body, &version)) return rc;
  while (remaining(body) >= kBoxHeader) {
    Box box;
    if (const ResultCode rc = nextInnerBox(heif->analysis, &body, &box)) return rc;
    if (const ResultCode rc = takeReference(heif, box, version > 0 ? 4 : 2)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

ResultCode readId(const Heif& heif, const Reference& reference, uint32_t index, uint32_t* id) {
  uint8_t bytes[4];
  const uint64_t offset = reference.ids + uint64_t{index} * reference.idSize;
  const ResultCode rc = readBytes(heif.analysis->source, offset, bytes, reference.idSize);
  *id = static_cast<uint32_t>(valueOf(bytes, reference.idSize, ByteOrder::big));
  return rc;
}

// ---- Properties ----

// Whether the text of an auxC, which ends at a NUL or with the box, is one of those for alpha.
ResultCode readIsAlpha(const Box& box, bool* isAlpha) {
  char text[kLongestAlpha + 1];
  Part body = box.body;
  *isAlpha = false;
  if (!isBox(box, "auxC") || remaining(body) < kVersionAndFlags) return HASHCREATE_SUCCESS;
  body.position += kVersionAndFlags;
  const uint32_t count = static_cast<uint32_t>(std::min<uint64_t>(remaining(body), sizeof(text)));
  if (const ResultCode rc = take(&body, text, count)) return rc;
  const std::string_view name(text, static_cast<size_t>(std::find(text, text + count, '\0') - text));
  *isAlpha = std::find(std::begin(kAlpha), std::end(kAlpha), name) != std::end(kAlpha);
  return HASHCREATE_SUCCESS;
}

ResultCode takeProperties(Heif* heif, Part body) {
  if (heif->properties.size > 0) return HASHCREATE_SUCCESS;
  while (remaining(body) >= kBoxHeader) {
    Box box;
    if (const ResultCode rc = nextInnerBox(heif->analysis, &body, &box)) return rc;
    if (heif->properties.size == kMostProperties) continue;
    Property property = {box.body.position, static_cast<uint32_t>(remaining(box.body)), {}, false, false};
    std::memcpy(property.type, box.type, sizeof(property.type));
    if (const ResultCode rc = readIsAlpha(box, &property.isAlpha)) return rc;
    if (!append(&heif->properties, property)) return HASHCREATE_MEM_ALLOC_ERROR;
  }
  return HASHCREATE_SUCCESS;
}

ResultCode takeAssociation(Heif* heif, Part* body, bool isWide, uint32_t id) {
  uint64_t association = 0;
  if (const ResultCode rc = takeNumber(body, isWide ? 2 : 1, ByteOrder::big, &association)) return rc;
  // The upper bit says that the property is essential.
  const uint32_t property = static_cast<uint32_t>(association) & (isWide ? 0x7FFF : 0x7F);
  return appendTo(&heif->associations, id, property) ? HASHCREATE_SUCCESS : HASHCREATE_MEM_ALLOC_ERROR;
}

ResultCode takeAssociations(Heif* heif, Part body) {
  uint8_t header[kVersionAndFlags];
  uint64_t entries = 0;
  if (const ResultCode rc = take(&body, header, sizeof(header))) return rc;
  if (const ResultCode rc = takeNumber(&body, 4, ByteOrder::big, &entries)) return rc;
  const bool isWide = (header[3] & 1) != 0;
  for (; entries > 0; --entries) {
    uint32_t id = 0;
    uint8_t count = 0;
    if (const ResultCode rc = countParts(heif->analysis, 1)) return rc;
    if (const ResultCode rc = takeId(&body, header[0] > 0 ? 4 : 2, &id)) return rc;
    if (const ResultCode rc = takeByte(&body, &count)) return rc;
    if (const ResultCode rc = countParts(heif->analysis, count)) return rc;
    for (; count > 0; --count) {
      if (const ResultCode rc = takeAssociation(heif, &body, isWide, id)) return rc;
    }
  }
  return HASHCREATE_SUCCESS;
}

ResultCode takeItemProperties(Heif* heif, Part body) {
  while (remaining(body) >= kBoxHeader) {
    Box box;
    if (const ResultCode rc = nextInnerBox(heif->analysis, &body, &box)) return rc;
    ResultCode rc = HASHCREATE_SUCCESS;
    if (isBox(box, "ipco")) rc = takeProperties(heif, box.body);
    if (isBox(box, "ipma")) rc = takeAssociations(heif, box.body);
    if (rc != HASHCREATE_SUCCESS) return rc;
  }
  return HASHCREATE_SUCCESS;
}

// The property at a link of an item's associations, null when there is none of its number.
Property* propertyAt(const Heif& heif, uint32_t link) {
  const uint32_t number = heif.associations.links[link].value;
  return number == 0 || number > heif.properties.size ? nullptr : &heif.properties[number - 1];
}

// ---- The items that are hashed ----

// Where the walk stands in an item's derivations.
struct Level {
  uint32_t link;
  uint32_t taken;  // ids of the reference at the link
};

ResultCode enter(Heif* heif, uint32_t id, Level* levels, uint32_t* depth) {
  const size_t before = sizeOf(heif->items);
  uint32_t index = 0;
  if (!addNumber(&heif->items, id, &index)) return HASHCREATE_MEM_ALLOC_ERROR;
  if (sizeOf(heif->items) == before) return HASHCREATE_SUCCESS;
  if (*depth == kDeepest) return HASHCREATE_FORMAT_ERROR;
  if (!append(&heif->locationsOf, 0U)) return HASHCREATE_MEM_ALLOC_ERROR;
  levels[(*depth)++] = {firstLink(heif->derivations, id), 0};
  return HASHCREATE_SUCCESS;
}

// Adds an item, then what it is derived from, each with what that is derived from in turn.
ResultCode visit(Heif* heif, uint32_t id) {
  Level levels[kDeepest];
  uint32_t depth = 0;
  if (const ResultCode rc = enter(heif, id, levels, &depth)) return rc;
  while (depth > 0) {
    Level* level = &levels[depth - 1];
    if (level->link == kNoLink) {
      --depth;
      continue;
    }
    const Link& link = heif->derivations.links[level->link];
    const Reference& reference = heif->references[link.value];
    if (level->taken == reference.count) {
      *level = {link.next, 0};
      continue;
    }
    uint32_t derivedFrom = 0;
    if (const ResultCode rc = readId(*heif, reference, level->taken++, &derivedFrom)) return rc;
    if (const ResultCode rc = enter(heif, derivedFrom, levels, &depth)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

bool isAlpha(const Heif& heif, uint32_t id) {
  for (uint32_t link = firstLink(heif.associations, id); link != kNoLink; link = heif.associations.links[link].next) {
    const Property* property = propertyAt(heif, link);
    if (property != nullptr && property->isAlpha) return true;
  }
  return false;
}

// Whether a reference leads to one of the first items.
ResultCode leadsTo(const Heif& heif, const Reference& reference, size_t firstItems, bool* leads) {
  *leads = false;
  for (uint32_t i = 0; i < reference.count && !*leads; ++i) {
    uint32_t id = 0, index = 0;
    if (const ResultCode rc = readId(heif, reference, i, &id)) return rc;
    *leads = findNumber(heif.items, id, &index) && index < firstItems;
  }
  return HASHCREATE_SUCCESS;
}

// Adds the auxiliary images that are alpha of items found so far.
ResultCode visitAlpha(Heif* heif) {
  const size_t fromPrimary = sizeOf(heif->items);
  NumberSet tested;
  for (size_t i = 0; i < heif->auxiliaries.size; ++i) {
    const Reference& reference = heif->references[heif->auxiliaries[i]];
    bool leads = false;
    if (const ResultCode rc = leadsTo(*heif, reference, fromPrimary, &leads)) return rc;
    if (!leads) continue;
    const size_t before = sizeOf(tested);
    uint32_t index = 0;
    if (!addNumber(&tested, reference.from, &index)) return HASHCREATE_MEM_ALLOC_ERROR;
    if (sizeOf(tested) == before || !isAlpha(*heif, reference.from)) continue;
    if (const ResultCode rc = visit(heif, reference.from)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

// ---- Where the items' data are ----

bool isWidth(uint8_t width) { return width == 0 || width == 4 || width == 8; }

ResultCode takeWidths(Part* body, Widths* widths) {
  uint8_t halves[2];
  if (const ResultCode rc = takeVersion(body, &widths->version)) return rc;
  if (widths->version > 2) return HASHCREATE_FORMAT_ERROR;
  if (const ResultCode rc = take(body, halves, sizeof(halves))) return rc;
  widths->offset = halves[0] >> 4;
  widths->length = halves[0] & 0x0F;
  widths->base = halves[1] >> 4;
  widths->index = widths->version == 0 ? 0 : halves[1] & 0x0F;
  const bool areGood =
      isWidth(widths->offset) && isWidth(widths->length) && isWidth(widths->base) && isWidth(widths->index);
  return areGood ? HASHCREATE_SUCCESS : HASHCREATE_FORMAT_ERROR;
}

// What an entry has behind its id and in front of its extents.
struct Entry {
  uint32_t method;
  uint64_t base;
  uint64_t extents;
};

ResultCode takeEntry(Part* body, const Widths& widths, Entry* entry) {
  uint64_t method = 0;
  if (const ResultCode rc = takeNumber(body, widths.version == 0 ? 0 : 2, ByteOrder::big, &method)) return rc;
  entry->method = method & 0x0F;
  if (const ResultCode rc = pass(body, 2)) return rc;  // whose file it is
  if (const ResultCode rc = takeNumber(body, widths.base, ByteOrder::big, &entry->base)) return rc;
  return takeNumber(body, 2, ByteOrder::big, &entry->extents);
}

ResultCode takeLocation(Heif* heif, Part* body, const Widths& widths) {
  uint32_t id = 0, index = 0;
  if (const ResultCode rc = countParts(heif->analysis, 1)) return rc;
  if (const ResultCode rc = takeId(body, widths.version == 2 ? 4 : 2, &id)) return rc;
  if (findNumber(heif->items, id, &index) && heif->locationsOf[index] == 0) {
    if (!append(&heif->locations, {body->position, widths})) return HASHCREATE_MEM_ALLOC_ERROR;
    heif->locationsOf[index] = static_cast<uint32_t>(heif->locations.size);
  }
  Entry entry;
  if (const ResultCode rc = takeEntry(body, widths, &entry)) return rc;
  if (const ResultCode rc = countParts(heif->analysis, entry.extents)) return rc;
  return pass(body, entry.extents * (uint32_t{widths.index} + widths.offset + widths.length));
}

ResultCode takeLocations(Heif* heif, Part body) {
  Widths widths;
  uint64_t entries = 0;
  if (const ResultCode rc = takeWidths(&body, &widths)) return rc;
  if (const ResultCode rc = takeNumber(&body, widths.version == 2 ? 4 : 2, ByteOrder::big, &entries)) return rc;
  for (; entries > 0; --entries) {
    if (const ResultCode rc = takeLocation(heif, &body, widths)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

// ---- Payload ----

// A length of 0 stands for all that is left of the file or of idat.
ResultCode addExtent(Heif* heif, uint32_t method, uint64_t place, uint64_t length) {
  const Part file = {heif->analysis->source, 0, heif->analysis->source->size};
  const Part& holder = method == 0 ? file : heif->idat;
  const uint64_t size = remaining(holder);
  if (length == 0) length = size - std::min(size, place);
  if (method == 0) return addPictureRange(heif->analysis, place, length);
  if (length > 0 && (place > size || length > size - place)) return HASHCREATE_FORMAT_ERROR;
  return addPictureRange(heif->analysis, holder.position + place, length);
}

ResultCode addItem(Heif* heif, const Location& location) {
  const Widths& widths = location.widths;
  Part body = {heif->analysis->source, location.entry, heif->analysis->source->size};
  Entry entry;
  if (const ResultCode rc = takeEntry(&body, widths, &entry)) return rc;
  if (entry.method > 1) return HASHCREATE_FORMAT_ERROR;
  for (; entry.extents > 0; --entry.extents) {
    uint64_t offset = 0, length = 0;
    if (entry.method == 1 && !heif->hasIdat) return HASHCREATE_FORMAT_ERROR;
    if (const ResultCode rc = pass(&body, widths.index)) return rc;
    if (const ResultCode rc = takeNumber(&body, widths.offset, ByteOrder::big, &offset)) return rc;
    if (const ResultCode rc = takeNumber(&body, widths.length, ByteOrder::big, &length)) return rc;
    const uint64_t place = offset + std::min(entry.base, UINT64_MAX - offset);
    if (const ResultCode rc = addExtent(heif, entry.method, place, length)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

ResultCode addItems(Heif* heif) {
  for (size_t i = 0; i < sizeOf(heif->items); ++i) {
    const uint32_t location = heif->locationsOf[i];
    if (location == 0) continue;
    if (const ResultCode rc = addItem(heif, heif->locations[location - 1])) return rc;
  }
  return HASHCREATE_SUCCESS;
}

// ---- Meta ----

bool isForDecoding(const Property& property) {
  return std::any_of(std::begin(kDecodingProperties), std::end(kDecodingProperties),
                     [&](const char* type) { return std::memcmp(property.type, type, sizeof(property.type)) == 0; });
}

ResultCode inputProperty(Heif* heif, Property* property) {
  if (property == nullptr || property->isTaken || !isForDecoding(*property)) return HASHCREATE_SUCCESS;
  property->isTaken = true;
  inputMeta(heif->analysis, property->type, sizeof(property->type));
  return inputMetaFrom(heif->analysis, property->body, property->size);
}

ResultCode inputProperties(Heif* heif) {
  const uint32_t items = static_cast<uint32_t>(sizeOf(heif->items));
  for (uint32_t i = 0; i < items; ++i) {
    uint32_t link = firstLink(heif->associations, numberAt(heif->items, i));
    for (; link != kNoLink; link = heif->associations.links[link].next) {
      if (const ResultCode rc = inputProperty(heif, propertyAt(*heif, link))) return rc;
    }
  }
  inputMetaU32(heif->analysis, items);
  return HASHCREATE_SUCCESS;
}

// ---- The whole ----

ResultCode findMeta(Heif* heif) {
  Source* source = heif->analysis->source;
  Part file = {source, 0, source->size};
  Box meta = {};
  while (remaining(file) >= kBoxHeader) {
    Box box;
    if (const ResultCode rc = nextTopBox(heif->analysis, &file, &box)) return rc;
    if (isBox(box, "moov")) return kNotThisFormat;
    if (isBox(box, "meta") && !isBox(meta, "meta")) meta = box;
  }
  if (!isBox(meta, "meta")) return kNotThisFormat;
  if (isCut(meta)) return HASHCREATE_READ_ERROR;
  heif->meta = meta.body;
  return pass(&heif->meta, kVersionAndFlags);
}

// Counts meta's boxes, and looks which there are.
ResultCode surveyMeta(Heif* heif) {
  Part list = heif->meta;
  bool isPicture = false;
  while (remaining(list) >= kBoxHeader) {
    Box box;
    if (const ResultCode rc = nextInnerBox(heif->analysis, &list, &box)) return rc;
    if (isBox(box, "pitm")) isPicture = true;
    if (!isBox(box, "idat") || heif->hasIdat) continue;
    heif->hasIdat = true;
    heif->idat = box.body;
  }
  return isPicture ? HASHCREATE_SUCCESS : kNotThisFormat;
}

// Hands over the bodies of meta's boxes of one type.
ResultCode takeEach(Heif* heif, const char* type, ResultCode (*takeBody)(Heif*, Part)) {
  Part list = heif->meta;
  while (remaining(list) >= kBoxHeader) {
    Box box;
    if (const ResultCode rc = readBox(&list, &box)) return rc;
    if (!isBox(box, type)) continue;
    if (const ResultCode rc = countTable(heif->analysis, remaining(box.body))) return rc;
    if (const ResultCode rc = takeBody(heif, box.body)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

ResultCode analyseHeif(Analysis* analysis) {
  Heif heif = {};
  heif.analysis = analysis;
  setFormatFamily(analysis, "HEIF");
  if (const ResultCode rc = findMeta(&heif)) return rc;
  if (const ResultCode rc = surveyMeta(&heif)) return rc;
  if (const ResultCode rc = takeEach(&heif, "pitm", takePrimary)) return rc;
  if (const ResultCode rc = takeEach(&heif, "iinf", takeItemInfos)) return rc;
  if (const ResultCode rc = takeEach(&heif, "iref", takeReferences)) return rc;
  if (const ResultCode rc = takeEach(&heif, "iprp", takeItemProperties)) return rc;
  if (const ResultCode rc = visit(&heif, heif.primary)) return rc;
  if (const ResultCode rc = visitAlpha(&heif)) return rc;
  // Only the hashed items' locations are kept.
  if (const ResultCode rc = takeEach(&heif, "iloc", takeLocations)) return rc;
  if (const ResultCode rc = addItems(&heif)) return rc;
  return inputProperties(&heif);
}

}  // namespace

const Algorithm kHeif = {0x21, "HEIF", "PHOTO", recogniseHeif, analyseHeif, &kIsoMedia};

}  // namespace version4
