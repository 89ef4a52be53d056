#include "hashCreate.h"

// Not built yet: declines every file.
ResultCode createHash_MP3(Stream*, Labels*) { return kNotThisFormat; }
int getAlgorithmMajorVersion_MP3(uint32_t) { return kNotThisFormat; }
int getAlgorithmMinorVersion_MP3(uint32_t) { return kNotThisFormat; }
