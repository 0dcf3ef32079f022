#include "engine/render/world_polygon.h"

namespace Lumora::engine {

namespace {

LightShape makeShape(Float3 origin, Float3 first, Float3 second, LightShape::Kind kind, float front) {
    LightShape s{origin, first, second, cross(first, second), 0.0f, kind};
    const float area = length(s.normal);
    s.normal = area > 0.0f ? s.normal * (front / area) : Float3{};
    s.area = s.triangle() ? 0.5f * area : area;
    if (kind == LightShape::Kind::Parallelogram) {
        const float across = dot(first, second);
        if (across * across <= 1e-8f * dot(first, first) * dot(second, second)) s.kind = LightShape::Kind::Rectangle;
    }
    return s;
}

}  // namespace

WorldPolygon::WorldPolygon(const Instance& instance, const CompiledMesh& mesh, std::uint32_t polygon) {
    const std::uint32_t c = mesh.corner(polygon);
    const bool quad = mesh.corners(polygon) == 4;
    const auto vertex = [&](std::uint32_t i) {
        return (*mesh.vertices)[static_cast<std::size_t>((*mesh.vertexIndices)[c + i])];
    };
    const auto edge = [&](Float3 v) { return transformVector(instance.toWorld, v); };
    // The sign of the determinant keeps the front of a mirrored instance where the polygon's winding has it.
    const float front = determinant(instance.toWorld) < 0.0f ? -1.0f : 1.0f;
    using Kind = LightShape::Kind;
    const Float3 p0 = vertex(0), p1 = vertex(1), p2 = vertex(quad ? 3 : 2);
    const Float3 origin = transformPoint(instance.toWorld, p0), first = edge(p1 - p0), second = edge(p2 - p0);
    if (!quad) {
        parts[0] = makeShape(origin, first, second, Kind::Triangle, front);
        return;
    }
    const Float3 opposite = vertex(2);
    const Float3 gap = opposite - p1 - p2 + p0, diagonal = opposite - p0;
    if (dot(gap, gap) <= 1e-10f * dot(diagonal, diagonal)) {
        parts[0] = makeShape(origin, first, second, Kind::Parallelogram, front);
        return;
    }
    count = 2;
    parts[0] = makeShape(origin, first, second, Kind::Triangle, front);
    parts[1] = makeShape(transformPoint(instance.toWorld, opposite), edge(p2 - opposite), edge(p1 - opposite),
                         Kind::OtherHalf, front);
}

}  // namespace Lumora::engine
