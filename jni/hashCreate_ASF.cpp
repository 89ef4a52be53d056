#include "hashCreate.h"

// Not built yet: declines every file.
ResultCode createHash_ASF(Stream*, Labels*) { return kNotThisFormat; }
int getAlgorithmMajorVersion_ASF(uint32_t) { return kNotThisFormat; }
int getAlgorithmMinorVersion_ASF(uint32_t) { return kNotThisFormat; }
