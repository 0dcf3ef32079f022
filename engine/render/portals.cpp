#include "engine/render/portals.h"

#include <array>

#include "engine/render/sampling.h"

namespace Lumora::engine {

namespace {

using Weights = std::array<float, kMaxPortals>;

/// About the solid angle of each portal. Returns the sum.
float weigh(const std::vector<Portal>& portals, Float3 from, Weights& weights) {
    float sum = 0.0f;
    for (std::size_t i = 0; i < portals.size(); ++i) {
        const Portal& p = portals[i];
        const Float3 d = p.origin + (p.first + p.second) * (p.triangle ? 1.0f / 3.0f : 0.5f) - from;
        const float d2 = dot(d, d);
        // A portal that is seen from its edge keeps a little: its near corner may be closer than its middle.
        const float facing = std::abs(dot(p.normal, d)) / std::max(std::sqrt(d2), 1e-20f);
        weights[i] = p.area * (facing + 0.05f) / (d2 + p.area);
        sum += weights[i];
    }
    return sum;
}

/// Density by solid angle of a point chosen on the portal by area; zero where the direction misses it.
float densityOf(const Portal& p, Float3 from, Float3 direction) {
    const float cosine = dot(p.normal, direction);
    if (!(std::abs(cosine) > 1e-6f)) return 0.0f;
    const float t = dot(p.normal, p.origin - from) / cosine;
    if (!(t > 0.0f)) return 0.0f;
    const Float3 at = from + direction * t - p.origin;
    const Float3 n = cross(p.first, p.second);
    const float n2 = dot(n, n);
    const float a = dot(cross(at, p.second), n) / n2, b = dot(cross(p.first, at), n) / n2;
    if (a < 0.0f || b < 0.0f || (p.triangle ? a + b > 1.0f : a > 1.0f || b > 1.0f)) return 0.0f;
    return t * t / (std::abs(cosine) * p.area);
}

float density(const std::vector<Portal>& portals, const Weights& weights, float sum, Float3 from, Float3 direction) {
    float pdf = 0.0f;
    for (std::size_t i = 0; i < portals.size(); ++i) pdf += weights[i] * densityOf(portals[i], from, direction);
    return pdf / sum;
}

}  // namespace

Float3 samplePortals(const Lights& lights, Float3 from, float pick, Float2 u, float& pdf) {
    Weights weights;
    const float sum = weigh(lights.portals, from, weights);
    pdf = 0.0f;
    if (!(sum > 0.0f)) return {};
    float rest = pick * sum;
    std::size_t chosen = 0;
    while (chosen + 1 < lights.portals.size() && rest >= weights[chosen]) rest -= weights[chosen++];
    const Portal& p = lights.portals[chosen];
    const Float2 b = p.triangle ? sampleTriangle(u) : u;
    const Float3 direction = normalize(p.origin + p.first * b.x + p.second * b.y - from);
    if (direction != Float3{}) pdf = density(lights.portals, weights, sum, from, direction);
    return direction;
}

float portalPdf(const Lights& lights, Float3 from, Float3 direction) {
    Weights weights;
    const float sum = weigh(lights.portals, from, weights);
    return sum > 0.0f ? density(lights.portals, weights, sum, from, direction) : 0.0f;
}

}  // namespace Lumora::engine
