// Polygons in the world, and points chosen on them.
#pragma once

#include "engine/render/surface.h"

namespace Lumora::engine {

/// A polygon of a mesh as an instance shows it. A quad that is a parallelogram is sampled as a whole.
struct WorldPolygon {
    Float3 origin, first, second;                 ///< a corner and the edges to its neighbours
    Float3 otherOrigin, otherFirst, otherSecond;  ///< the second half of any other quad
    float area = 0.0f, otherArea = 0.0f;
    bool parallelogram = false;

    WorldPolygon(const Instance& instance, const CompiledMesh& mesh, std::uint32_t polygon) {
        const std::uint32_t c = mesh.corner(polygon);
        const bool quad = mesh.corners(polygon) == 4;
        const auto vertex = [&](std::uint32_t i) {
            return (*mesh.vertices)[static_cast<std::size_t>((*mesh.vertexIndices)[c + i])];
        };
        const Float3 p0 = vertex(0), p1 = vertex(1), p2 = vertex(quad ? 3 : 2);
        origin = transformPoint(instance.toWorld, p0);
        first = transformVector(instance.toWorld, p1 - p0);
        second = transformVector(instance.toWorld, p2 - p0);
        area = length(cross(first, second));
        if (!quad) {
            area *= 0.5f;
            return;
        }
        const Float3 opposite = vertex(2);
        const Float3 gap = opposite - p1 - p2 + p0, diagonal = opposite - p0;
        parallelogram = dot(gap, gap) <= 1e-10f * dot(diagonal, diagonal);
        if (parallelogram) return;
        area *= 0.5f;
        otherOrigin = transformPoint(instance.toWorld, opposite);
        otherFirst = transformVector(instance.toWorld, p2 - opposite);
        otherSecond = transformVector(instance.toWorld, p1 - opposite);
        otherArea = 0.5f * length(cross(otherFirst, otherSecond));
    }
    float wholeArea() const { return area + otherArea; }
};

struct PolygonPoint {
    Float3 position, edgeA, edgeB;
    float u = 0.0f, v = 0.0f;  ///< as Embree reports them
};

/// A point of the polygon for whoever looks from there. u: two uniform numbers.
PolygonPoint pointOn(const WorldPolygon& p, Float3 from, Float2 u);

/// Density by solid angle with which pointOn() chooses a point at that squared distance, whose surface is seen under
/// that cosine. Rectangles that fill much of the view are sampled by solid angle, all else by area.
float pointDensity(const WorldPolygon& p, Float3 from, float distance2, float cosine);

}  // namespace Lumora::engine
