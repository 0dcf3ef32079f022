// Polygons of meshes in the world.
#pragma once

#include "engine/render/light_shape.h"
#include "engine/render/scene.h"

namespace Lumora::engine {

/// A polygon of a mesh as an instance shows it: one shape, or two for a quad that is no parallelogram. Which it is
/// depends on the mesh alone.
struct WorldPolygon {
    LightShape parts[2];
    std::uint32_t count = 1;

    WorldPolygon(const Instance& instance, const CompiledMesh& mesh, std::uint32_t polygon);
    float area() const { return parts[0].area + (count > 1 ? parts[1].area : 0.0f); }
};

}  // namespace Lumora::engine
