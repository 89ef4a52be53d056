#include "hashCreate.h"

// Not built yet: declines every file.
ResultCode createHash_TIFF(Stream*, Labels*) { return kNotThisFormat; }
int getAlgorithmMajorVersion_TIFF(uint32_t) { return kNotThisFormat; }
int getAlgorithmMinorVersion_TIFF(uint32_t) { return kNotThisFormat; }
