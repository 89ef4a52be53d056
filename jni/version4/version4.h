// Hash texts of version 4 over a source.
#pragma once

#include "resultCode.h"

namespace version4 {

// Hashes what the source holds, in one analysis: sampled, whole or both; a null text is not asked for. Each is written
// as 129 bytes, and only when all succeed. Codes as at Algorithm::analyse, and HASHCREATE_NON_SUPPORTED.
ResultCode createHash(const KmhashSource* source, char* sampledText, char* wholeText);

// The id of the algorithm that hashes it, without reading the payload.
ResultCode identify(const KmhashSource* source);

}  // namespace version4
