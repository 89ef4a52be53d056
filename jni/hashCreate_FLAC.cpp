#include "hashCreate.h"

// Not built yet: declines every file.
ResultCode createHash_FLAC(Stream*, Labels*) { return kNotThisFormat; }
int getAlgorithmMajorVersion_FLAC(uint32_t) { return kNotThisFormat; }
int getAlgorithmMinorVersion_FLAC(uint32_t) { return kNotThisFormat; }
