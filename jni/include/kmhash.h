/* kmhash: identity hashes of media files.
 *
 * Copyright 2026 the kmhash authors. SPDX-License-Identifier: Apache-2.0
 *
 * A hash names the media inside a file: two SHA-1 digests (FIPS 180-1), one over the payload ("content") and one
 * over chosen header fields ("meta"), and four labels. Tags, captions and covers can be edited without changing it.
 *
 * Conventions, for every function below
 *
 * 1. Results. Every function but the two that tell names returns an int: HASHCREATE_SUCCESS (0) or a value of its own
 *    that is not negative, or one of the negative HASHCREATE_* codes. No other negative value is ever returned. Each
 *    function lists its codes; the codes that come from reading a file are listed once, at createHashEx.
 * 2. Hash text. 128 ASCII characters and a NUL, so an output buffer has at least KMHASH_TEXT_SIZE (129) bytes.
 *    Positions within the text:
 *        0   8 decimal digits   algorithm version, major (4) and minor (4)
 *        8  10 hex digits       file type, 5 bytes ("PHOTO", "VIDEO", "AUDIO", "OTHER", "UNKWN")
 *       18  40 hex digits       content digest
 *       58  40 hex digits       meta digest
 *       98  16 hex digits       format type, 8 bytes, padded with zero bytes
 *      114   2 hex digits       algorithm id
 *      116   2 hex digits       mark, F1 when every byte of the payload was taken, else 00
 *      118  10 zeros            filler
 *    Hex digits are upper case. The characters of a label that was never set are NUL: of all four, version and
 *    algorithm id included, in a few degenerate files that succeed all the same (an ID3 tag with nothing after it, a
 *    TIFF without a directory); of the file type alone in a camera raw file whose preview the source did not deliver.
 *    Store all 128 bytes. A text handed in is read up to its NUL or to character 127, whichever comes first. So one
 *    without a version is HASHCREATE_INVALID_HASH, and one without a file type is nothing but its version: it differs
 *    from every whole text, also in compareHash with its own file.
 * 3. Failure. The output buffer is written on success only; on failure it is left untouched.
 * 4. Ownership. The library keeps no pointer beyond the call and frees nothing that it was given. Texts and tables
 *    passed in stay the caller's. Nothing is returned that must be freed.
 * 5. Threads. There is no shared state: every function may run on any number of threads at once. The callbacks run on
 *    the calling thread, within the call; they must return (no longjmp, no exception) and may call these functions.
 *    The calling thread's errno is changed.
 * 6. Paths. A path is handed unchanged to the open and size callbacks. With the built-in callbacks (a null table) it
 *    is a file name as the C library's fopen takes it; with callbacks of your own it is whatever they take it for. The
 *    built-in ones take a pipe or a device for an empty file.
 * 7. Limits. Payloads of 16384 bytes and more are as a rule sampled: the hash identifies media, it does not prove that
 *    every byte is intact. SHA-1 serves identity here, not security.
 */
#ifndef KMHASH_H
#define KMHASH_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define KMHASH_API __attribute__((visibility("default")))
#else
#define KMHASH_API
#endif

/* ---- Constants ---------------------------------------------------------------------------------------------- */

/* Bytes of a hash text with its NUL: the least size of an output buffer. */
#define KMHASH_TEXT_SIZE 129

/* Result codes. */
enum {
  HASHCREATE_SUCCESS = 0,
  HASHCREATE_FILE_NOTFOUND = -1,  /* the open callback gave no handle; or a directory of TIFF entries is out of place */
  HASHCREATE_BUFFER_ERROR = -2,   /* reserved, never returned */
  HASHCREATE_FORMAT_ERROR = -3,   /* recognised, but breaks its format's rules, or left out: a TIFF of tiles */
  HASHCREATE_PARAM_ERROR = -4,    /* reserved, never returned */
  HASHCREATE_READ_ERROR = -5,     /* fewer bytes than the structure promises: truncated, or the source gave up */
  HASHCREATE_SEEK_ERROR = -6,     /* a position outside the file, or behind what can be read again */
  HASHCREATE_NULLCHK_ERROR = -7,  /* reserved, never returned */
  HASHCREATE_SHA1_ERROR = -8,     /* a digest could not be finished */
  HASHCREATE_NON_SUPPORTED = -9,  /* empty, or of no supported format */
  HASHCREATE_INVALID_PARAM = -10, /* an argument is null, too small or unknown */
  HASHCREATE_INVALID_HASH = -11,  /* the text is no hash text */
  HASHCREATE_REACH_EOF = -12,     /* the file ended where its structure goes on */
  HASHCREATE_BROKEN_CONTENT = -13,  /* a later image of a multi-picture file is broken */
  HASHCREATE_MEM_ALLOC_ERROR = -14, /* out of memory, or a size field that no such object can have */
  HASHCREATE_ERROR = -255           /* any other failure, such as an I/O error that the system reported */
};

/* Difference flags of compareHash and compareBetweenHash; a result is a sum of them. */
enum {
  KMHASH_DIFFERENT_CONTENT = 1,   /* content digests */
  KMHASH_DIFFERENT_META = 2,      /* meta digests */
  KMHASH_DIFFERENT_FORMAT = 4,    /* first four characters of the format types */
  KMHASH_DIFFERENT_VERSION = 8,   /* algorithm versions */
  KMHASH_DIFFERENT_ALGORITHM = 16 /* algorithm ids */
};

/* Modes of createHashEx. Any other value works as KMHASH_MODE_NORMAL up to 0, and as KMHASH_MODE_IDENTIFY from 3. */
enum {
  KMHASH_MODE_NORMAL = 0,  /* recognise the format, hash the media */
  KMHASH_MODE_QUICK = 1,   /* hash the file's size and (sampled) bytes, whatever its format */
  KMHASH_MODE_IDENTIFY = 2 /* recognise the format and set the labels; the digests are meaningless */
};

/* Algorithm ids, as hash texts carry them. Those of version 4 begin at 32 and have no constants; kmhashAlgorithmName
 * names them. */
enum {
  KMHASH_ALGORITHM_JPEG = 1,
  KMHASH_ALGORITHM_MPO = 2,
  KMHASH_ALGORITHM_PNG = 3,
  KMHASH_ALGORITHM_BMP = 4,
  KMHASH_ALGORITHM_GIF = 5,
  KMHASH_ALGORITHM_TIFF = 6,
  KMHASH_ALGORITHM_RAW = 7, /* camera raw file built on TIFF, hashed through its JPEG preview */
  KMHASH_ALGORITHM_MP4 = 8,
  KMHASH_ALGORITHM_ASF = 9,
  KMHASH_ALGORITHM_MPEG = 10, /* MPEG program stream */
  KMHASH_ALGORITHM_RIFF = 11, /* AVI and WAVE */
  KMHASH_ALGORITHM_MPEG2TS = 12,
  KMHASH_ALGORITHM_MP3 = 13,
  KMHASH_ALGORITHM_FLAC = 14,
  KMHASH_ALGORITHM_QUICK = 255
};

/* ---- File callbacks ----------------------------------------------------------------------------------------- */

/* Where the bytes come from. All five entries must be set. A call uses them in this order: open once, size once, then
 * read and seek in any number, close once; close is called exactly when open gave a handle, also on every failure.
 * The source is only ever moved forward, so a network or pipe stream of known size will do.
 *
 * A read that ends early, or a seek that fails, as a rule fails the call with HASHCREATE_READ_ERROR or
 * HASHCREATE_SEEK_ERROR; when it left errno non-zero, with HASHCREATE_ERROR instead, or with HASHCREATE_SEEK_ERROR for
 * the values that a failing seek leaves (ENXIO, EBADF, EINVAL, ESPIPE, EOVERFLOW). What a format can do without (an
 * optional part, whatever follows a tag) is left out instead, and the call goes on. With the built-in callbacks it ends
 * with HASHCREATE_ERROR all the same once the system has reported that a read failed. */
typedef struct KmhashFileCallbacks {
  /* Opens what path designates. Returns a handle of the caller's choosing, or null on failure. */
  void* (*open)(const char* path);

  /* Reads up to count bytes at the current position into buffer and moves past them. Returns how many were read: fewer
   * than count makes the library ask again for the rest; 0 means that nothing more will come, and so does any number
   * above count. It may be called with a count of 0. */
  uint32_t (*read)(void* buffer, uint32_t count, void* handle);

  /* Moves the current position by offset bytes, 1 or more; whence is always 1 (relative). Returns 0 on success, any
   * other value on failure. */
  int (*seek)(int64_t offset, int whence, void* handle);

  /* Releases the handle. */
  void (*close)(void* handle);

  /* Returns the size in bytes of what path designates and handle holds open, or -255 on failure. Any other value is
   * taken as the size, unsigned. */
  int64_t (*size)(const char* path, void* handle);
} KmhashFileCallbacks;

/* ---- Hashing a file ----------------------------------------------------------------------------------------- */

/* Hashes one file.
 *   path       what to open (convention 6)
 *   out        receives the hash text; exactly 129 bytes are written, what follows is left as it is
 *   outSize    size of out in bytes, at least KMHASH_TEXT_SIZE
 *   callbacks  a table, or null for the built-in callbacks
 *   mode       one of KMHASH_MODE_*
 * Returns
 *   HASHCREATE_SUCCESS
 *   HASHCREATE_INVALID_PARAM    path or out is null, outSize is below 129, an entry of the table is null (all found
 *                               before anything is opened), the size callback failed, or a multi-picture file has so
 *                               many images that its data cannot be sampled
 *   HASHCREATE_FILE_NOTFOUND    the open callback failed; also, kept for the sake of stored results, a TIFF structure
 *                               whose directory lies beyond the end that it must keep to
 *   HASHCREATE_NON_SUPPORTED    the file is empty, of no supported format, or nothing but zero bytes
 *   HASHCREATE_FORMAT_ERROR, HASHCREATE_READ_ERROR, HASHCREATE_SEEK_ERROR, HASHCREATE_REACH_EOF,
 *   HASHCREATE_BROKEN_CONTENT, HASHCREATE_MEM_ALLOC_ERROR, HASHCREATE_SHA1_ERROR, HASHCREATE_ERROR
 *                               as described at the codes */
KMHASH_API int createHashEx(const char* path, char* out, uint32_t outSize, const KmhashFileCallbacks* callbacks,
                            int32_t mode);

/* createHashEx in normal mode. */
KMHASH_API int createHash(const char* path, char* out, uint32_t outSize, const KmhashFileCallbacks* callbacks);

/* createHashEx in quick mode: never looks at the format, so it has no HASHCREATE_NON_SUPPORTED but for an empty file,
 * and no HASHCREATE_FORMAT_ERROR. */
KMHASH_API int createQuickFileHash(const char* path, char* out, uint32_t outSize, const KmhashFileCallbacks* callbacks);

/* Recognises a file's format without hashing its payload. Returns the algorithm id (KMHASH_ALGORITHM_*, 1 to 14),
 * HASHCREATE_INVALID_HASH for a file that succeeds without labels (convention 2), or a failure of createHashEx. */
KMHASH_API int getAlgorithmId(const char* path, const KmhashFileCallbacks* callbacks);

/* ---- Hashing by version, from any offset --------------------------------------------------------------------- */

/* Bytes that can be read at any offset. Fill it in whole. */
typedef struct KmhashSource {
  uint32_t structSize; /* sizeof(KmhashSource) */
  uint64_t size;       /* in bytes, below 2^63 */
  void* user;          /* handed to readAt as it is */

  /* Reads up to count bytes, 1 or more, at offset, which is below size, into buffer. Returns how many were read; fewer
   * than count makes the library ask again for the rest, 0 means that nothing more will come (the call then fails with
   * HASHCREATE_READ_ERROR), HASHCREATE_SEEK_ERROR that this offset cannot be reached, any other negative value that the
   * source gave up (HASHCREATE_ERROR). */
  int64_t (*readAt)(void* user, uint64_t offset, void* buffer, uint32_t count);
} KmhashSource;

/* Flags of the functions below, to be added up; any other bit is HASHCREATE_INVALID_PARAM. */
enum {
  KMHASH_PREFER_VERSION_4 = 1, /* version 4 first, and version 3 for what it does not take; else the other way round */
  KMHASH_WHOLE = 2             /* every byte of the payload in place of samples; the text is marked (kmhashIsWhole) */
};

/* Hashes a source, or the file that path names as the C library's fopen takes it.
 *   flags    KMHASH_PREFER_VERSION_4, KMHASH_WHOLE
 *   out      receives the hash text, 129 bytes
 *   outSize  at least KMHASH_TEXT_SIZE
 * The preferred version is tried; when it fails for another reason than a file that cannot be opened, a bad argument
 * or an error that the system reported, the other one is tried; when both fail, the preferred one's code is the answer.
 * Of a file that the system failed to read the answer is HASHCREATE_ERROR, whatever a version made of it.
 * Returns HASHCREATE_SUCCESS, HASHCREATE_INVALID_PARAM (a null argument, an outSize below 129, unknown flags, a source
 * without readAt, of too large a size, or with a structSize below that of this header; all found before anything is
 * opened), HASHCREATE_FILE_NOTFOUND (the file cannot be opened), or a failure of createHashEx. */
KMHASH_API int kmhashHashSource(const KmhashSource* source, uint32_t flags, char* out, uint32_t outSize);
KMHASH_API int kmhashHashFile(const char* path, uint32_t flags, char* out, uint32_t outSize);

/* Both hashes of one version in one go: sampled and whole each receive 129 bytes and have size outSize. The flag
 * KMHASH_WHOLE is refused. Otherwise as kmhashHashSource and kmhashHashFile. */
KMHASH_API int kmhashHashSourceBoth(const KmhashSource* source, uint32_t flags, char* sampled, char* whole,
                                    uint32_t outSize);
KMHASH_API int kmhashHashFileBoth(const char* path, uint32_t flags, char* sampled, char* whole, uint32_t outSize);

/* Hashes what callbacks deliver that only go forward (see KmhashFileCallbacks). Version 3 works as in createHashEx.
 * Version 4 follows the places that a container names: where such a place lies in front of what has been read, and is
 * held no more, it answers HASHCREATE_SEEK_ERROR. The path is opened a second time when the other version is tried. */
KMHASH_API int kmhashHashCallbacks(const char* path, const KmhashFileCallbacks* callbacks, uint32_t flags, char* out,
                                   uint32_t outSize);

/* Recognises the format without hashing the payload. Returns the algorithm id of the version that flags prefer (0 or
 * KMHASH_PREFER_VERSION_4) or else of the other, or a failure as above. */
KMHASH_API int kmhashIdentifySource(const KmhashSource* source, uint32_t flags);
KMHASH_API int kmhashIdentifyFile(const char* path, uint32_t flags);

/* Hashes the source or the file again as the stored text says (version, id and mark: sampled, whole or quick) and
 * compares. Returns the difference flags (0: the same media), HASHCREATE_NON_SUPPORTED for a text of a version, id or
 * mark that this library does not know, or a file that is not of a supported format; HASHCREATE_INVALID_HASH when
 * storedHash is no hash text or the file succeeds without labels (convention 2), HASHCREATE_INVALID_PARAM, or a failure
 * of kmhashHashSource or kmhashHashFile. Only a storedHash that is known makes it open the file. Whether the text or
 * the file is not supported, kmhashCanVerify tells. */
KMHASH_API int kmhashVerifySource(const KmhashSource* source, const char* storedHash);
KMHASH_API int kmhashVerifyFile(const char* path, const char* storedHash);

/* 1 when this library knows the text's version, id and mark, 0 when a newer one wrote it; HASHCREATE_INVALID_HASH when
 * it is no hash text, HASHCREATE_INVALID_PARAM when it is null. */
KMHASH_API int kmhashCanVerify(const char* hash);

/* 1 for a text that covers every byte of the payload, 0 for one that may rest on samples; HASHCREATE_INVALID_HASH when
 * it is no hash text, HASHCREATE_INVALID_PARAM when it is null. */
KMHASH_API int kmhashIsWhole(const char* hash);

/* ---- Comparing ---------------------------------------------------------------------------------------------- */

/* Hashes the file again, in quick mode when the stored hash is a quick one and in normal mode otherwise, and compares.
 * Returns the difference flags (0: the same media), HASHCREATE_INVALID_HASH when storedHash is no hash text or the file
 * succeeds without labels (convention 2), HASHCREATE_INVALID_PARAM when storedHash is null, or a failure of
 * createHashEx. Only a storedHash that is a hash text makes it open the file. */
KMHASH_API int compareHash(const char* path, const char* storedHash, const KmhashFileCallbacks* callbacks);

/* Compares two hash texts. The file types are not compared. Returns the difference flags, HASHCREATE_INVALID_PARAM when
 * a text is null, or HASHCREATE_INVALID_HASH when one is no hash text. */
KMHASH_API int compareBetweenHash(const char* hashA, const char* hashB);

/* ---- Reading a hash text ------------------------------------------------------------------------------------- */

/* Algorithm id, 0 to 255; major version, 0 to 9999; minor version, 0 to 9999. A text is a hash when its first eight
 * characters are decimal digits; nothing else is checked, and a digit that is no hex digit counts as 0. Return
 * HASHCREATE_INVALID_HASH when the text is no hash, HASHCREATE_INVALID_PARAM when it is null. */
KMHASH_API int getAlgorithmIdFromHash(const char* hash);
KMHASH_API int getAlgorithmMajorVersionFromHash(const char* hash);
KMHASH_API int getAlgorithmMinorVersionFromHash(const char* hash);

/* ---- Names --------------------------------------------------------------------------------------------------- */

/* The name of an algorithm, its constant without the prefix ("JPEG" for KMHASH_ALGORITHM_JPEG), and of a result code,
 * its constant ("HASHCREATE_SUCCESS" for 0): static ASCII texts, or null for an id or code that has none. A later
 * library may name ids that this one does not. */
KMHASH_API const char* kmhashAlgorithmName(uint32_t algorithmId);
KMHASH_API const char* kmhashResultName(int code);

/* ---- Versions ----------------------------------------------------------------------------------------------- */

/* The version that new hashes of an algorithm carry. Return HASHCREATE_INVALID_PARAM for an id that no format analyzer
 * owns, KMHASH_ALGORITHM_QUICK included. */
KMHASH_API int getAlgorithmMajorVersion(uint32_t algorithmId);
KMHASH_API int getAlgorithmMinorVersion(uint32_t algorithmId);

/* The edition of the interface that the library keeps to: always 5 and 3, in later releases too, as stored results and
 * programs rely on it. It does not tell the release; KMHashGenerator_VERSION in CMake and pkg-config do. */
KMHASH_API int getLibraryMajorVersion(void);
KMHASH_API int getLibraryMinorVersion(void);

/* Number of format analyzers in this build. */
extern KMHASH_API const int32_t SUPPORTED_FORMAT_NUM;

#ifdef __cplusplus
}
#endif

#endif
