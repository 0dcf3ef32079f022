// How much of the light from a direction rough surfaces reflect and transmit: what layers let through to what lies
// below, and what bounces between facets, follow from it (Kulla and Conty, "Revisiting Physically Based Shading at
// Imageworks", 2017).
#pragma once

#include <array>

#include "engine/render/material.h"

namespace Lumora::engine {

/// Table over the cosine of one roughness (and index), ready for lookups.
class AlbedoCurve {
public:
    static constexpr int kSize = 16;
    /// At a cosine in [0, 1].
    float at(float cosine) const {
        // More points where the curve bends: at grazing angles.
        const float x = std::sqrt(cosine > 0.0f ? std::min(cosine, 1.0f) : 0.0f) * (kSize - 1);
        const int i = std::min(static_cast<int>(x), kSize - 2);
        return lerp(values[static_cast<std::size_t>(i)], values[static_cast<std::size_t>(i) + 1],
                    x - static_cast<float>(i));
    }
    std::array<float, kSize> values;  ///< left as it is until it is filled: hits hold several that few need
    float mean;                       ///< over a hemisphere, weighted by the cosine
};

/// One for each model of facets, built at first use in some tens of milliseconds; never changes.
class AlbedoTables {
public:
    static const AlbedoTables& get(BrdfModel model);

    /// Facets that reflect everything, without bounces between facets. `alpha` is the width of the distribution.
    AlbedoCurve mirror(float alpha) const;
    /// Reflection of a dielectric of index `eta` relative to the side of the light.
    AlbedoCurve reflection(float alpha, float eta) const;
    /// Reflection and refraction together: what is missing to one bounces between facets.
    AlbedoCurve glass(float alpha, float eta) const;
    /// Sheen of a roughness, already scaled, and the scale.
    AlbedoCurve sheen(float roughness, float& scale) const;

private:
    static constexpr int kRough = 16, kIndex = 16;
    explicit AlbedoTables(BrdfModel model);
    using Grid = std::array<std::array<AlbedoCurve, kRough>, kIndex>;
    static AlbedoCurve interpolate(const Grid& grid, float alpha, float eta);

    std::array<AlbedoCurve, kRough> mirror_, sheen_;
    std::array<float, kRough> sheenScale_{};
    // By index: from the lighter side (eta above one) and from the denser.
    Grid reflection_[2], glass_[2];
};

}  // namespace Lumora::engine
