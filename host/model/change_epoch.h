// A number that rises with every counted change of any node or container in the process.
//
// Sums over branches are kept with the epoch in which they were made: as long as nothing changed anywhere they stand,
// and after a change one walk makes them again for all elements of a branch. Changes of other documents only cost a
// walk that was not needed.
#pragma once

#include <atomic>

#include "host/sdk/types.h"

namespace host {

inline std::atomic<UInt64> changeEpoch{1};

inline void nextChangeEpoch() {
    changeEpoch.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace host
