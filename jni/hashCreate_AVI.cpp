#include "hashCreate.h"

// Not built yet: declines every file.
ResultCode createHash_AVI(Stream*, Labels*) { return kNotThisFormat; }
int getAlgorithmMajorVersion_AVI(uint32_t) { return kNotThisFormat; }
int getAlgorithmMinorVersion_AVI(uint32_t) { return kNotThisFormat; }
