#include "hashCreate.h"

// Not built yet: declines every file.
ResultCode createHash_GIF(Stream*, Labels*) { return kNotThisFormat; }
int getAlgorithmMajorVersion_GIF(uint32_t) { return kNotThisFormat; }
int getAlgorithmMinorVersion_GIF(uint32_t) { return kNotThisFormat; }
