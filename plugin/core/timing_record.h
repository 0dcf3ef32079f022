// Accumulated time of one stage.
#pragma once

#include <atomic>

#include "plugin/core/prelude.h"

namespace lumora {

/// Times in milliseconds. Started and ended by one stage at a time, whichever thread that runs on; read by any.
struct TimingRecord {
    std::atomic<Float> total{0}, count{0}, lastStart{0}, lastEnd{0};

    void start() { lastStart = GeGetMilliSeconds(); }
    /// Adds the time since start() and returns it.
    Float end() {
        lastEnd = GeGetMilliSeconds();
        const Float spent = lastEnd - lastStart;
        total = total + spent;
        count = count + 1.0;
        return spent;
    }
    Float average() const { return count > 0 ? total / count : 0; }
    void reset() { total = count = lastStart = lastEnd = 0; }
};

}  // namespace lumora
