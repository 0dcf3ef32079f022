// Trigonometry for sampling, where a few millionths do not matter but time does. Polynomials fitted by weighted least
// squares.
#pragma once

#include <cmath>

#include "engine/render/vec.h"

namespace Lumora::engine {

/// The angle of a vector from the first axis, from 0 to 2 pi. Relative error below 1e-6.
inline float angleOf(float x, float y) {
    const float ax = std::abs(x), ay = std::abs(y);
    const float most = std::max(ax, ay), t = most > 0.0f ? std::min(ax, ay) / most : 0.0f, q = t * t;
    float a =
        t * (0.99999935f +
             q * (-0.33326527f +
                  q * (0.19881575f + q * (-0.13487508f + q * (0.08387646f + q * (-0.0370172f + q * 0.00786466f))))));
    a = ay > ax ? 0.5f * kPi - a : a;
    a = x < 0.0f ? kPi - a : a;
    return y < 0.0f ? 2.0f * kPi - a : a;
}

/// Sine and cosine of an angle from 0 to 2 pi. Error below 1e-6.
inline void sineCosine(float angle, float& sine, float& cosine) {
    // Of half the angle, from a quarter turn back to a quarter turn ahead of its middle.
    const float h = 0.5f * angle - 0.5f * kPi, q = h * h;
    const float s = h * (0.99999999f + q * (-0.16666657f + q * (0.00833303f + q * (-0.00019807f + q * 2.6019e-6f))));
    constexpr float kQuarter = 0.25f * kPi * kPi;
    const float c =
        (1.0f - q * (1.0f / kQuarter)) * (0.9999998f + q * (-0.0947127f + q * (0.00327495f + q * -5.6296e-5f)));
    // sin(2h + pi) and cos(2h + pi).
    sine = -2.0f * s * c;
    cosine = s * s - c * c;
}

}  // namespace Lumora::engine
