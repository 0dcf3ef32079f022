// The point of a surface that a ray found, with all that shading asks of it.
#pragma once

#include "engine/render/sampler.h"
#include "engine/render/tracer.h"

namespace Lumora::engine {

struct Surface {
    Float3 position;
    Float3 normal;         ///< geometric, unit length, on the side that the ray came from
    Float3 shadingNormal;  ///< smooth and mapped, on the same side
    bool front = true;     ///< the ray came from the side that the polygon's winding calls front
    MaterialId material = 0;
    ObjectLayer layer;
    std::int32_t instanceId = -1;  ///< see Instance::id
    std::int32_t objectId = -1;    ///< see Geometry::meshObjectId
    std::uint32_t object = 0;      ///< index of the object within its mesh
    TextureContext at;
    float offset = 0.0f;  ///< rays that leave the surface start this far along the normal
};

/// Reads position, normals, texture coordinates, material and layer. `view` is the direction of the ray.
Surface surfaceAt(const RenderScene& scene, const Hit& hit, const Ray& ray);

/// The material of a hit, without the rest.
inline MaterialId materialAt(const RenderScene& scene, const Hit& hit) {
    const Geometry& g = *scene.geometry;
    if (hit.plane()) return scene.shading->slotMaterials[g.planes[hit.instance - Hit::kPlane].slot];
    const std::uint32_t mesh = g.instances[hit.instance].mesh;
    return scene.shading->slotMaterials[g.meshSlot[mesh] + g.meshes[mesh]->material(hit.polygon)];
}

/// Applies the material's own choice of normal: flat, or its normal map.
void applyNormal(const RenderScene& scene, const Hit& hit, const Material& material, Surface& surface);

/// Bends the shading normal by the slope of the material's bump texture, and of what moves the mesh under `moving`, the
/// material of the polygon.
void applyBump(const RenderScene& scene, const Material& material, const Material& moving, Surface& surface);

/// Replaces the shading normal by the mean normal of the same object within a radius (metres).
void roundEdges(const RenderScene& scene, const Hit& hit, float radius, Surface& surface, Sampler& sampler);

/// Direction along the surface in which the first texture coordinate grows; without one, any.
Float3 tangentAt(const RenderScene& scene, const Hit& hit, const Surface& surface);

/// Corners of one half of a polygon in object space (half 1 is the second triangle of a quad).
void triangleCorners(const CompiledMesh& mesh, std::uint32_t polygon, std::uint32_t half, Float3 corners[3]);

/// Which half of a polygon the coordinates of a hit lie in.
inline std::uint32_t halfOf(const CompiledMesh& mesh, std::uint32_t polygon, float u, float v) {
    return u + v > 1.0f && mesh.corners(polygon) == 4 ? 1u : 0u;
}

}  // namespace Lumora::engine
