#include "engine/render/world_polygon.h"

#include "engine/render/sampling.h"
#include "engine/render/spherical_rectangle.h"

namespace Lumora::engine {

namespace {

/// Whether a polygon is a rectangle that fills enough of the view to be worth its solid angle.
bool looms(const WorldPolygon& p, Float3 from) {
    if (!p.parallelogram) return false;
    const Float3 d = p.origin + (p.first + p.second) * 0.5f - from;
    if (p.area < 0.3f * dot(d, d)) return false;
    const float across = dot(p.first, p.second);
    if (across * across > 1e-8f * dot(p.first, p.first) * dot(p.second, p.second)) return false;
    // From close to its own plane it is an edge, and rounding eats its angle.
    const float height = dot(d, cross(p.first, p.second));
    return height * height > 1e-4f * p.area * p.area * p.area;
}

}  // namespace

float pointDensity(const WorldPolygon& p, Float3 from, float distance2, float cosine) {
    if (looms(p, from)) {
        const float angle = SphericalRectangle(p.origin, p.first, p.second, from).solidAngle();
        return angle > 1e-5f ? 1.0f / angle : 0.0f;
    }
    const float area = p.wholeArea();
    return cosine > 0.0f && area > 0.0f ? distance2 / (cosine * area) : 0.0f;
}

PolygonPoint pointOn(const WorldPolygon& p, Float3 from, Float2 u) {
    if (looms(p, from)) u = SphericalRectangle(p.origin, p.first, p.second, from).sample(u);
    if (p.parallelogram) return {p.origin + p.first * u.x + p.second * u.y, p.first, p.second, u.x, u.y};
    const float chance = p.wholeArea() > 0.0f ? p.area / p.wholeArea() : 1.0f;
    const bool other = p.otherArea > 0.0f && u.x >= chance;
    u.x = std::min(other ? (u.x - chance) / (1.0f - chance) : u.x / chance, 0x1.fffffep-1f);
    const Float2 b = sampleTriangle(u);
    if (other) {
        return {p.otherOrigin + p.otherFirst * b.x + p.otherSecond * b.y, p.otherFirst, p.otherSecond, 1.0f - b.x,
                1.0f - b.y};
    }
    return {p.origin + p.first * b.x + p.second * b.y, p.first, p.second, b.x, b.y};
}

}  // namespace Lumora::engine
