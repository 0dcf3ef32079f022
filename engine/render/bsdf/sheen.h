// The glow of fibres at grazing angles (Estevez and Kulla, "Production Friendly Microfacet Sheen BRDF", 2017), with
// Neubelt and Pettineo's visibility.
#pragma once

#include "engine/render/vec.h"

namespace Lumora::engine {

/// Smaller roughness would put all of the light into directions along the surface.
inline constexpr float kMinSheenRoughness = 0.1f;

/// Reflected radiance per irradiance, both directions on the upper side. Not bounded by one at grazing angles: the
/// tables of albedos hold the factor that makes it so.
inline float sheenValue(float roughness, Float3 wo, Float3 wi) {
    const Float3 h = normalize(wo + wi);
    const float inverse = 1.0f / roughness, sin2 = std::max(1.0f - h.z * h.z, 1e-7f);
    const float d = (2.0f + inverse) * std::pow(sin2, 0.5f * inverse) * (0.5f * kInvPi);
    return d / std::max(4.0f * (wo.z + wi.z - wo.z * wi.z), 1e-6f);
}

}  // namespace Lumora::engine
