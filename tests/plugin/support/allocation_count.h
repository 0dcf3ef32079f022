// Counts what a thread takes from the heap with operator new. For tests of paths that must not allocate.
#pragma once

#include <cstddef>

namespace lumora::test {

/// Allocations by the calling thread since it began.
std::size_t allocationCount();

}  // namespace lumora::test
