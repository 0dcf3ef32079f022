// Light in steps, for drawings: what a surface sends back depends on its turn to the light by a ramp, not by a law.
#pragma once

#include <array>

#include "engine/render/vec.h"

namespace Lumora::engine {

/// Steps over [0, 1].
struct ToonRamp {
    static constexpr std::size_t kSize = 64;
    std::array<Float3, kSize> values{};

    Float3 at(float x) const {
        return values[static_cast<std::size_t>(std::min(clamp01(x) * static_cast<float>(kSize), kSize - 1.0f))];
    }
    /// Three steps of grey for the body, a hard edged spot for the highlight.
    static const ToonRamp& body();
    static const ToonRamp& highlight();
};

inline const ToonRamp& ToonRamp::body() {
    static const ToonRamp ramp = [] {
        ToonRamp r;
        for (std::size_t i = 0; i < kSize; ++i)
            r.values[i] = splat(i < kSize / 4 ? 0.2f : i < kSize * 6 / 10 ? 0.6f : 1.0f);
        return r;
    }();
    return ramp;
}

inline const ToonRamp& ToonRamp::highlight() {
    static const ToonRamp ramp = [] {
        ToonRamp r;
        for (std::size_t i = kSize / 2; i < kSize; ++i) r.values[i] = splat(1.0f);
        return r;
    }();
    return ramp;
}

/// A surface lit in steps.
struct ToonModel {
    Float3 diffuse, specular;
    const ToonRamp* body = nullptr;
    const ToonRamp* highlight = nullptr;
    float exponent = 32.0f;  ///< of the highlight

    /// Value times cosine.
    Float3 value(Float3 wo, Float3 wi) const {
        const Float3 h = normalize(wo + wi);
        const Float3 spot = specular * highlight->at(std::pow(std::max(h.z, 0.0f), exponent));
        // A highlight covers the body rather than adding to it. Half: steps reach further than a cosine does.
        return lerpEach(diffuse * body->at(wi.z), splat(1.0f), spot) * (0.5f * kInvPi);
    }
    static Float3 lerpEach(Float3 a, Float3 b, Float3 t) { return a + (b - a) * t; }
};

}  // namespace Lumora::engine
