// Accumulated time of one stage.
#pragma once

#include "plugin/core/prelude.h"

namespace lumora {

/// Times in milliseconds.
struct TimingRecord {
    Float total = 0, count = 0, lastStart = 0, lastEnd = 0;

    void start() { lastStart = GeGetMilliSeconds(); }
    /// Adds the time since start() and returns it.
    Float end() {
        lastEnd = GeGetMilliSeconds();
        total += lastEnd - lastStart;
        count += 1.0;
        return lastEnd - lastStart;
    }
    Float average() const { return count > 0 ? total / count : 0; }
};

}  // namespace lumora
