// Warps of uniform numbers to the distributions that the renderer samples, with their densities.
#pragma once

#include "engine/render/vec.h"

namespace Lumora::engine {

/// Concentric map of the unit square to the unit disc (Shirley and Chiu 1997).
inline Float2 sampleDisk(Float2 u) {
    const float a = 2.0f * u.x - 1.0f, b = 2.0f * u.y - 1.0f;
    if (a == 0.0f && b == 0.0f) return {};
    float r, phi;
    if (std::abs(a) > std::abs(b)) {
        r = a;
        phi = (kPi / 4.0f) * (b / a);
    } else {
        r = b;
        phi = kPi / 2.0f - (kPi / 4.0f) * (a / b);
    }
    return {r * std::cos(phi), r * std::sin(phi)};
}

/// Direction around +z with density cos / pi (Malley).
inline Float3 sampleCosineHemisphere(Float2 u) {
    const Float2 d = sampleDisk(u);
    return {d.x, d.y, std::sqrt(std::max(0.0f, 1.0f - d.x * d.x - d.y * d.y))};
}

/// Direction of the whole sphere; density 1 / (4 pi).
inline Float3 sampleSphere(Float2 u) {
    const float z = 1.0f - 2.0f * u.x, r = std::sqrt(std::max(0.0f, 1.0f - z * z)), phi = 2.0f * kPi * u.y;
    return {r * std::cos(phi), r * std::sin(phi), z};
}

/// Direction inside a cone around +z, uniform in solid angle; density 1 / (2 pi (1 - cosMax)).
inline Float3 sampleCone(Float2 u, float cosMax) {
    const float z = 1.0f - u.x * (1.0f - cosMax);
    const float r = std::sqrt(std::max(0.0f, 1.0f - z * z)), phi = 2.0f * kPi * u.y;
    return {r * std::cos(phi), r * std::sin(phi), z};
}

/// Barycentric weights of the second and third corner, uniform over a triangle.
inline Float2 sampleTriangle(Float2 u) {
    const float s = std::sqrt(u.x);
    return {s * (1.0f - u.y), s * u.y};
}

/// Weight of the first of two techniques (power heuristic with exponent 2, Veach 1997).
inline float powerHeuristic(float pdf, float other) {
    const float a = pdf * pdf, b = other * other;
    return a + b > 0.0f ? a / (a + b) : 0.0f;
}

}  // namespace Lumora::engine
