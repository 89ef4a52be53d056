// The format analyzers and the calls by which one runs another.
#pragma once

#include <cstdint>

#include "hashRecord.h"

// An analyzer gets the stream at offset 0. It answers kNotThisFormat for a file of another format (the stream may have
// moved), else 0 with digests fed and labels set, or the code of its failure.
using Analyzer = ResultCode (*)(Stream* stream, Labels* labels);

extern "C" {

// Offers the stream to each analyzer in turn; when all decline, skips leading zero bytes once and tries the rest.
KMHASH_API ResultCode execAlgorithm(Stream* stream, Labels* labels);

// Runs an analyzer (null: execAlgorithm) over the size bytes at the current position (0: up to the end of the file) as
// if they were a whole file, and leaves the stream at the end of the real one. An empty or unreadable slice answers 0.
// Calls nested deeper than 32 answer HASHCREATE_FORMAT_ERROR.
KMHASH_API ResultCode reentrantCallCreateHash(Stream* stream, Labels* labels, Analyzer analyzer, uint64_t size);
}

// createHashEx, sampled or whole; kCannotOpen when the open callback gives no handle.
ResultCode createHashOrWhole(const char* path, char* out, uint32_t outSize, const KmhashFileCallbacks* callbacks,
                             int32_t mode, bool isWhole);

// ---- One file each; the version getters answer kNotThisFormat for an id that is not theirs ----

ResultCode createHash_JPEG(Stream* stream, Labels* labels);
int getAlgorithmMajorVersion_JPEG(uint32_t id);
int getAlgorithmMinorVersion_JPEG(uint32_t id);

ResultCode createHash_PNG(Stream* stream, Labels* labels);
int getAlgorithmMajorVersion_PNG(uint32_t id);
int getAlgorithmMinorVersion_PNG(uint32_t id);

ResultCode createHash_BMP(Stream* stream, Labels* labels);
int getAlgorithmMajorVersion_BMP(uint32_t id);
int getAlgorithmMinorVersion_BMP(uint32_t id);

ResultCode createHash_GIF(Stream* stream, Labels* labels);
int getAlgorithmMajorVersion_GIF(uint32_t id);
int getAlgorithmMinorVersion_GIF(uint32_t id);

ResultCode createHash_TIFF(Stream* stream, Labels* labels);
int getAlgorithmMajorVersion_TIFF(uint32_t id);
int getAlgorithmMinorVersion_TIFF(uint32_t id);

ResultCode createHash_MP4(Stream* stream, Labels* labels);
int getAlgorithmMajorVersion_MP4(uint32_t id);
int getAlgorithmMinorVersion_MP4(uint32_t id);

ResultCode createHash_ASF(Stream* stream, Labels* labels);
int getAlgorithmMajorVersion_ASF(uint32_t id);
int getAlgorithmMinorVersion_ASF(uint32_t id);

ResultCode createHash_MPEG(Stream* stream, Labels* labels);
int getAlgorithmMajorVersion_MPEG(uint32_t id);
int getAlgorithmMinorVersion_MPEG(uint32_t id);

ResultCode createHash_AVI(Stream* stream, Labels* labels);
int getAlgorithmMajorVersion_AVI(uint32_t id);
int getAlgorithmMinorVersion_AVI(uint32_t id);

ResultCode createHash_MPEG2TS(Stream* stream, Labels* labels);
int getAlgorithmMajorVersion_MPEG2TS(uint32_t id);
int getAlgorithmMinorVersion_MPEG2TS(uint32_t id);

ResultCode createHash_MP3(Stream* stream, Labels* labels);
int getAlgorithmMajorVersion_MP3(uint32_t id);
int getAlgorithmMinorVersion_MP3(uint32_t id);

// Marks the format type of an MP3 that lies in RIFF. HASHCREATE_INVALID_PARAM when it is none that createHash_MP3 set.
ResultCode setFtypeRMP3(Labels* labels);

ResultCode createHash_FLAC(Stream* stream, Labels* labels);
int getAlgorithmMajorVersion_FLAC(uint32_t id);
int getAlgorithmMinorVersion_FLAC(uint32_t id);

// Hashes any file by its size and bytes; not in the algorithm table, never answers kNotThisFormat.
ResultCode createHash_QUICK(Stream* stream, Labels* labels);
