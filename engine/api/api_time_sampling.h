// The time points of an animated attribute.
#pragma once

#include <cstddef>

#include "engine/api/ids.h"
#include "engine/api/types.h"

namespace Lumora {

/// Time points in seconds, rising. A plain value: the engine copies what it needs from it in setAnim.
/// The times array stays the caller's and must live as long as this object is used.
class ApiTimeSampling {
public:
    /// `period`: length in seconds after which a looping animation starts again; 0 derives it from the times.
    /// `endTime`: time in seconds at which the animation ends, or endTimeAuto() for the last time point.
    ApiTimeSampling(const float* times, std::size_t count, float period, float endTime, AnimationType type)
        : times(times), count(count), period(period), endTime(endTime), type(type) {}

    /// The value of `endTime` that means "the last time point".
    LUMORA_API static float endTimeAuto();

    const float* times;
    std::size_t count;
    float period;
    float endTime;
    AnimationType type;
};

}  // namespace Lumora
