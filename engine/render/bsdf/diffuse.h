// Rough diffuse reflection that loses no energy: Oren and Nayar's model in Fujii's form, with the light that the
// facets pass on to each other given back (Portsmouth, Kutz and Hill, "EON: A Practical Energy-Preserving Rough Diffuse
// BRDF", JCGT 2025).
#pragma once

#include "engine/render/vec.h"

namespace Lumora::engine {

namespace oren_nayar {

inline constexpr float kC1 = 0.5f - 2.0f / (3.0f * kPi), kC2 = 2.0f / 3.0f - 28.0f / (15.0f * kPi);

/// Directional albedo of the single bounce for albedo one.
inline float albedo(float cosine, float roughness) {
    const float m = 1.0f - cosine;
    const float g = m * (0.0571085289f + m * (0.491881867f + m * (-0.332181442f + m * 0.0714429953f)));
    return (1.0f + roughness * g) / (1.0f + kC1 * roughness);
}

}  // namespace oren_nayar

/// Reflected radiance per irradiance. Both directions on the upper side; `roughness` from 0 (Lambert) to 1.
inline Float3 orenNayar(Float3 rho, float roughness, Float3 wo, Float3 wi) {
    using namespace oren_nayar;
    if (!(roughness > 0.0f)) return rho * kInvPi;
    const float s = dot(wo, wi) - wo.z * wi.z, st = s > 0.0f ? s / std::max(wo.z, wi.z) : s;
    const float af = 1.0f / (1.0f + kC1 * roughness), mean = af * (1.0f + kC2 * roughness);
    const Float3 single = rho * (kInvPi * af * (1.0f + roughness * st));
    const float lost = std::max(1e-7f, 1.0f - albedo(wo.z, roughness)) *
                       std::max(1e-7f, 1.0f - albedo(wi.z, roughness)) / std::max(1e-7f, 1.0f - mean);
    const auto multiple = [&](float r) { return r * r * mean / (1.0f - r * (1.0f - mean)); };
    return single + Float3{multiple(rho.x), multiple(rho.y), multiple(rho.z)} * (kInvPi * lost);
}

}  // namespace Lumora::engine
