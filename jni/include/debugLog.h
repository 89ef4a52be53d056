// Trace. DEBUG_LOG costs nothing unless the build defines KMHASH_TRACE, which sends it to stderr.
#pragma once

#ifdef KMHASH_TRACE
#include <cstdio>
#define DEBUG_LOG(...) static_cast<void>(std::fprintf(stderr, __VA_ARGS__))
#else
#define DEBUG_LOG(...) static_cast<void>(0)
#endif
