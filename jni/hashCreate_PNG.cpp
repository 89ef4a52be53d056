#include "hashCreate.h"

// Not built yet: declines every file.
ResultCode createHash_PNG(Stream*, Labels*) { return kNotThisFormat; }
int getAlgorithmMajorVersion_PNG(uint32_t) { return kNotThisFormat; }
int getAlgorithmMinorVersion_PNG(uint32_t) { return kNotThisFormat; }
