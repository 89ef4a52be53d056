#include "hashCreate.h"

// Not built yet: declines every file.
ResultCode createHash_BMP(Stream*, Labels*) { return kNotThisFormat; }
int getAlgorithmMajorVersion_BMP(uint32_t) { return kNotThisFormat; }
int getAlgorithmMinorVersion_BMP(uint32_t) { return kNotThisFormat; }
