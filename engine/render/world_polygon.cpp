#include "engine/render/world_polygon.h"

#include "engine/render/sampling.h"

namespace Lumora::engine {

PolygonPoint pointOn(const WorldPolygon& p, Float2 u) {
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
