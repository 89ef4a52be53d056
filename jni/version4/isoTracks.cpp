// The sample tables of a track (stbl):
//   stsc  runs of chunks with the same number of samples: first chunk, samples a chunk, and a field that is not needed
//   stco  where each chunk begins; co64 the same in 64 bits
//   stsz  the size of each sample, or of all; stz2 the same in 4, 8 or 16 bits
//   stsd  the sample entry: width and height, or how many bytes a sound's sample takes
#include <algorithm>
#include <cstring>

#include "version4/isoFilm.h"
#include "version4/tableReader.h"

namespace version4 {
namespace {

constexpr uint32_t kStscRow = 12;

// ---- The sample entry ----

// Places in it.
constexpr uint32_t kEntryType = 4, kEntryVersion = 16, kChannels = 24, kSampleBits = 26;
constexpr uint32_t kWidth = 32, kHeight = 34, kSamplesPerPacket = 36, kBytesPerFrame = 44;
constexpr uint32_t kVideoEntry = 36, kSoundEntry = 28, kSoundEntry1 = 52;

struct SampleEntry {
  uint8_t bytes[kSoundEntry1];
  uint32_t count = 0;  // as many as there are
};

ResultCode readSampleEntry(Part stsd, SampleEntry* entry) {
  if (remaining(stsd) <= 8) return HASHCREATE_SUCCESS;
  entry->count = static_cast<uint32_t>(std::min<uint64_t>(remaining(stsd) - 8, sizeof(entry->bytes)));
  return readBytes(stsd.source, stsd.position + 8, entry->bytes, entry->count);
}

// How many bytes a number of samples takes.
struct Unit {
  uint64_t bytes;
  uint64_t samples;
};

// QuickTime states the size of a sound's samples as 1 and counts them by time: what they take is told by the entry.
Unit soundUnit(const SampleEntry& entry) {
  if (entry.count < kSoundEntry) return {1, 1};
  const uint8_t* bytes = entry.bytes;
  if (u16be(bytes + kEntryVersion) == 1 && entry.count == kSoundEntry1) {
    const Unit packet = {u32be(bytes + kBytesPerFrame), u32be(bytes + kSamplesPerPacket)};
    if (packet.bytes > 0 && packet.samples > 0) return packet;
  }
  const auto isType = [=](const char* type) { return std::memcmp(bytes + kEntryType, type, 4) == 0; };
  const uint64_t channels = u16be(bytes + kChannels);
  if (isType("ima4")) return {34 * channels, 64};
  if (isType("MAC3")) return {2 * channels, 6};
  if (isType("MAC6")) return {channels, 6};
  const uint64_t bits = isType("ulaw") || isType("alaw") ? 8 : u16be(bytes + kSampleBits);
  return {std::max<uint64_t>(channels * bits / 8, 1), 1};
}

// ---- Tables ----

// A table with a reader of its own: the three are walked side by side.
struct Table {
  TableReader reader;
  uint64_t rows = 0;  // offset of the first one
  uint32_t count = 0;
};

// The rows follow their number; all of them must lie in the box.
ResultCode openTable(Analysis* analysis, Part box, uint32_t countAt, uint32_t rowBits, Table* table) {
  uint64_t count = 0;
  if (const ResultCode rc = pass(&box, countAt)) return rc;
  if (const ResultCode rc = takeNumber(&box, 4, ByteOrder::big, &count)) return rc;
  const uint64_t size = (count * rowBits + 7) / 8;
  if (size > remaining(box)) return HASHCREATE_FORMAT_ERROR;
  if (const ResultCode rc = countTable(analysis, size)) return rc;
  table->reader = readerOf(box.source, box.position, box.position + size);
  table->rows = box.position;
  table->count = static_cast<uint32_t>(count);
  return HASHCREATE_SUCCESS;
}

ResultCode readRow(Table* table, uint64_t index, uint32_t rowSize, uint8_t* row) {
  return readBytes(&table->reader, table->rows + index * rowSize, row, rowSize);
}

// ---- Sizes ----

struct Sizes {
  Table table;
  uint32_t bits = 0;  // of a row; 0: all samples take as much as the unit says
  Unit unit = {0, 1};
  uint32_t next = 0;  // sample
};

ResultCode openStsz(Analysis* analysis, Part box, const IsoTrack& track, const SampleEntry& entry, Sizes* sizes) {
  uint8_t size[4];
  Part field = box;
  if (const ResultCode rc = pass(&field, 4)) return rc;
  if (const ResultCode rc = take(&field, size, sizeof(size))) return rc;
  sizes->unit.bytes = u32be(size);
  if (sizes->unit.bytes == 0) sizes->bits = 32;
  if (sizes->unit.bytes == 1 && isHandler(track, "soun")) sizes->unit = soundUnit(entry);
  return openTable(analysis, box, 8, sizes->bits, &sizes->table);
}

ResultCode openStz2(Analysis* analysis, Part box, Sizes* sizes) {
  uint8_t bits;
  Part field = box;
  if (const ResultCode rc = pass(&field, 7)) return rc;
  if (const ResultCode rc = take(&field, &bits, 1)) return rc;
  if (bits != 4 && bits != 8 && bits != 16) return HASHCREATE_FORMAT_ERROR;
  sizes->bits = bits;
  return openTable(analysis, box, 8, bits, &sizes->table);
}

ResultCode readSize(Sizes* sizes, uint32_t index, uint64_t* size) {
  uint8_t row[4];
  if (sizes->bits == 4) {
    if (const ResultCode rc = readRow(&sizes->table, index / 2, 1, row)) return rc;
    *size = index % 2 == 0 ? row[0] >> 4 : row[0] & 0xF;
    return HASHCREATE_SUCCESS;
  }
  const uint32_t rowSize = sizes->bits / 8;
  if (const ResultCode rc = readRow(&sizes->table, index, rowSize, row)) return rc;
  *size = valueOf(row, rowSize, ByteOrder::big);
  return HASHCREATE_SUCCESS;
}

uint32_t samplesLeft(const Sizes& sizes) { return sizes.table.count - sizes.next; }

// What the next samples take together, as many as there are.
ResultCode takeSizes(Sizes* sizes, uint32_t samples, uint64_t* bytes) {
  samples = std::min(samples, samplesLeft(*sizes));
  *bytes = 0;
  if (sizes->bits == 0) {
    *bytes = samples * sizes->unit.bytes / sizes->unit.samples;
    sizes->next += samples;
    return HASHCREATE_SUCCESS;
  }
  for (; samples > 0; --samples) {
    uint64_t size = 0;
    if (const ResultCode rc = readSize(sizes, sizes->next++, &size)) return rc;
    *bytes += size;
  }
  return HASHCREATE_SUCCESS;
}

// ---- Samples a chunk ----

struct ChunkSamples {
  Table table;
  uint32_t taken = 0;      // rows
  uint32_t nextFirst = 0;  // first chunk of the row behind them
  uint32_t nextSamples = 0;
  uint32_t samples = 0;  // a chunk, as the last row taken says
};

ResultCode readNextRow(ChunkSamples* chunks) {
  if (chunks->taken == chunks->table.count) return HASHCREATE_SUCCESS;
  uint8_t row[kStscRow];
  if (const ResultCode rc = readRow(&chunks->table, chunks->taken, sizeof(row), row)) return rc;
  chunks->nextFirst = u32be(row);
  chunks->nextSamples = u32be(row + 4);
  return HASHCREATE_SUCCESS;
}

// Takes the rows up to a chunk, counted from 1, in their order.
ResultCode goOnTo(uint32_t chunk, ChunkSamples* chunks) {
  while (chunks->taken < chunks->table.count && chunks->nextFirst <= chunk) {
    chunks->samples = chunks->nextSamples;
    ++chunks->taken;
    if (const ResultCode rc = readNextRow(chunks)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

// ---- Chunks ----

struct Boxes {
  Part stsd, stsc, stco, co64, stsz, stz2;
};

struct Tables {
  ChunkSamples chunks;
  Table offsets;
  uint32_t offsetSize = 0;
  Sizes sizes;
};

ResultCode openTables(Analysis* analysis, const Boxes& boxes, const IsoTrack& track, const SampleEntry& entry,
                      Tables* tables) {
  const bool isLarge = boxes.stco.source == nullptr;
  tables->offsetSize = isLarge ? 8 : 4;
  if (const ResultCode rc = openTable(analysis, boxes.stsc, 4, 8 * kStscRow, &tables->chunks.table)) return rc;
  const Part& offsets = isLarge ? boxes.co64 : boxes.stco;
  if (const ResultCode rc = openTable(analysis, offsets, 4, 8 * tables->offsetSize, &tables->offsets)) return rc;
  if (boxes.stsz.source == nullptr) return openStz2(analysis, boxes.stz2, &tables->sizes);
  return openStsz(analysis, boxes.stsz, track, entry, &tables->sizes);
}

ResultCode takeChunks(IsoFilm* film, IsoTrack* track, Tables* tables) {
  if (const ResultCode rc = readNextRow(&tables->chunks)) return rc;
  for (uint32_t i = 0; i < tables->offsets.count && samplesLeft(tables->sizes) > 0; ++i) {
    if (const ResultCode rc = goOnTo(i + 1, &tables->chunks)) return rc;
    uint64_t count = 0;
    if (const ResultCode rc = takeSizes(&tables->sizes, tables->chunks.samples, &count)) return rc;
    if (count == 0) continue;
    uint8_t offset[8];
    if (const ResultCode rc = readRow(&tables->offsets, i, tables->offsetSize, offset)) return rc;
    const uint64_t from = valueOf(offset, tables->offsetSize, ByteOrder::big);
    if (const ResultCode rc = addMedia(film, track, from, count)) return rc;
  }
  return HASHCREATE_SUCCESS;
}

void takeWidthAndHeight(const SampleEntry& entry, IsoTrack* track) {
  const bool isSeen = isHandler(*track, "vide") || isHandler(*track, "pict") || isHandler(*track, "auxv");
  if (!isSeen || entry.count < kVideoEntry) return;
  track->width = u16be(entry.bytes + kWidth);
  track->height = u16be(entry.bytes + kHeight);
}

}  // namespace

ResultCode takeSamples(IsoFilm* film, IsoTrack* track) {
  Boxes boxes;
  const WantedBox wanted[] = {{"stsd", &boxes.stsd}, {"stsc", &boxes.stsc}, {"stco", &boxes.stco},
                              {"co64", &boxes.co64}, {"stsz", &boxes.stsz}, {"stz2", &boxes.stz2}};
  if (const ResultCode rc = findBoxes(track->sampleTable, wanted)) return rc;
  SampleEntry entry;
  if (const ResultCode rc = readSampleEntry(boxes.stsd, &entry)) return rc;
  takeWidthAndHeight(entry, track);

  const bool hasOffsets = boxes.stco.source != nullptr || boxes.co64.source != nullptr;
  const bool hasSizes = boxes.stsz.source != nullptr || boxes.stz2.source != nullptr;
  if (boxes.stsc.source == nullptr || !hasOffsets || !hasSizes) return HASHCREATE_SUCCESS;
  Tables tables;
  if (const ResultCode rc = openTables(film->analysis, boxes, *track, entry, &tables)) return rc;
  return takeChunks(film, track, &tables);
}

}  // namespace version4
