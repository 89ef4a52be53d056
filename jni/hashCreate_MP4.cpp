#include "hashCreate.h"

// Not built yet: declines every file.
ResultCode createHash_MP4(Stream*, Labels*) { return kNotThisFormat; }
int getAlgorithmMajorVersion_MP4(uint32_t) { return kNotThisFormat; }
int getAlgorithmMinorVersion_MP4(uint32_t) { return kNotThisFormat; }
