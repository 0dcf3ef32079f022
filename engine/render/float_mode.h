// How a thread's arithmetic treats denormal numbers.
#pragma once

#if defined(__SSE3__)
#include <pmmintrin.h>
#endif

namespace Lumora::engine {

/// From here on this thread takes denormal numbers for zero: they cost a hundred times their worth.
inline void flushDenormals() {
#if defined(__SSE3__)
    _MM_SET_FLUSH_ZERO_MODE(_MM_FLUSH_ZERO_ON);
    _MM_SET_DENORMALS_ZERO_MODE(_MM_DENORMALS_ZERO_ON);
#endif
}

}  // namespace Lumora::engine
