// Warps of uniform numbers to the distributions that the renderer samples, with their densities.
#pragma once

#include "engine/render/vec.h"

namespace Lumora::engine {

/// Cosine and sine of an angle within a quarter of pi on either side of zero, to 1e-7 (polynomials through the zeros of
/// Chebyshev's). Without the library's care for large angles, and without a call.
inline Float2 smallCosSin(float angle) {
    const float z = angle * angle;
    const float c = 1.0f + z * (-0.499999996f + z * (0.0416666167f + z * (-0.0013886618f + z * 2.43798312e-05f)));
    const float s = 0.999999997f + z * (-0.166666507f + z * (0.00833203579f + z * -0.000195039043f));
    return {c, angle * s};
}

/// Cosine and sine of a whole turn's share, 0 to 1, to 1e-7.
inline Float2 turnCosSin(float turn) {
    const float quarter = std::floor(4.0f * turn + 0.5f);
    const Float2 d = smallCosSin(2.0f * kPi * (turn - 0.25f * quarter));
    const int q = static_cast<int>(quarter);
    const Float2 e = q & 1 ? Float2{-d.y, d.x} : d;
    return q & 2 ? Float2{-e.x, -e.y} : e;
}

/// Concentric map of the unit square to the unit disc (Shirley and Chiu 1997).
inline Float2 sampleDisk(Float2 u) {
    const float a = 2.0f * u.x - 1.0f, b = 2.0f * u.y - 1.0f;
    const bool wide = std::abs(a) > std::abs(b);
    const float r = select(wide, a, b), other = select(wide, b, a);
    if (r == 0.0f) return {};
    const Float2 d = smallCosSin((kPi / 4.0f) * (other / r));
    return {r * select(wide, d.x, d.y), r * select(wide, d.y, d.x)};
}

/// Direction around +z with density cos / pi (Malley).
inline Float3 sampleCosineHemisphere(Float2 u) {
    const Float2 d = sampleDisk(u);
    return {d.x, d.y, std::sqrt(std::max(0.0f, 1.0f - d.x * d.x - d.y * d.y))};
}

/// Direction of the whole sphere; density 1 / (4 pi).
inline Float3 sampleSphere(Float2 u) {
    const float z = 1.0f - 2.0f * u.x, r = std::sqrt(std::max(0.0f, 1.0f - z * z));
    const Float2 d = turnCosSin(u.y);
    return {r * d.x, r * d.y, z};
}

/// Direction inside a cone around +z, uniform in solid angle; density 1 / (2 pi (1 - cosMax)).
inline Float3 sampleCone(Float2 u, float cosMax) {
    const float z = 1.0f - u.x * (1.0f - cosMax);
    const float r = std::sqrt(std::max(0.0f, 1.0f - z * z));
    const Float2 d = turnCosSin(u.y);
    return {r * d.x, r * d.y, z};
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
