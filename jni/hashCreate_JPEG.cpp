#include "hashCreate.h"

// Not built yet: declines every file.
ResultCode createHash_JPEG(Stream*, Labels*) { return kNotThisFormat; }
int getAlgorithmMajorVersion_JPEG(uint32_t) { return kNotThisFormat; }
int getAlgorithmMinorVersion_JPEG(uint32_t) { return kNotThisFormat; }
