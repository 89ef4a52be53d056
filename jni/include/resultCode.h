// Result codes inside the library: the public codes of kmhash.h, and what never leaves the dispatcher.
#pragma once

#include <cstdint>

#include "kmhash.h"

using ResultCode = int;

// An analyzer's answer to a file that is not of its format.
inline constexpr ResultCode kNotThisFormat = -100;

// Nothing was opened; HASHCREATE_FILE_NOTFOUND, which may have another reason, outside the library.
inline constexpr ResultCode kCannotOpen = -101;

// An internal code as a public one: errno values of a failing seek become HASHCREATE_SEEK_ERROR, everything else that
// is no public code HASHCREATE_ERROR.
extern "C" KMHASH_API ResultCode convertError(ResultCode code);
