// The corners of a mesh's polygons, and the weights that a hit has between them.
#pragma once

#include "engine/render/surface.h"

namespace Lumora::engine {

/// Three corners of a polygon half, as indices into the per-corner arrays, and the weights of a point between them.
struct CornerWeights {
    std::uint32_t corner[3];
    float weight[3];
};

/// Embree splits a quad into the corners 0, 1, 3 and 2, 3, 1.
inline CornerWeights cornerWeights(const CompiledMesh& mesh, std::uint32_t polygon, float u, float v) {
    const std::uint32_t c = mesh.corner(polygon);
    if (mesh.corners(polygon) == 3) return {{c, c + 1, c + 2}, {1.0f - u - v, u, v}};
    if (u + v <= 1.0f) return {{c, c + 1, c + 3}, {1.0f - u - v, u, v}};
    return {{c + 2, c + 3, c + 1}, {u + v - 1.0f, 1.0f - u, 1.0f - v}};
}

/// The values at the three corners of a per-corner array.
template <typename T>
void valuesAt(const std::vector<T>& values, const std::vector<int>& indices, const CornerWeights& at, T out[3]) {
    for (int i = 0; i < 3; ++i) out[i] = values[static_cast<std::size_t>(indices[at.corner[i]])];
}

inline Float3 blend(const Float3 values[3], const CornerWeights& at) {
    return values[0] * at.weight[0] + values[1] * at.weight[1] + values[2] * at.weight[2];
}

}  // namespace Lumora::engine
