// The texture plane of the surfaces that are baked: which point of which surface has given texture coordinates.
//
// The polygons of all instances whose object layer belongs to the baking group lie side by side as flat triangles in an
// Embree tree of their own; looking up a point is a ray straight down onto it.
#pragma once

#include <memory>
#include <vector>

#include "engine/render/embree.h"
#include "engine/render/tracer.h"

namespace Lumora::engine {

class BakeMap {
public:
    /// Reads camera, film and geometry, which must outlive the map. Throws std::bad_alloc.
    explicit BakeMap(const RenderScene& scene);

    /// The ray that sees the surface at a point of the film (0 to 1, y upwards): it starts next to the surface or, when
    /// the camera asks for it, comes from the camera's position. False where no surface lies.
    bool ray(Float2 film, Ray& out) const;

    std::size_t triangles() const { return triangles_.size(); }

private:
    struct Triangle {
        std::uint32_t instance, polygon, half;
    };
    struct Found {
        std::uint32_t triangle;
        float u, v;  ///< weights of the second and third corner
    };
    bool find(Float2 uv, Found& found) const;
    bool findNear(Float2 uv, Found& found) const;
    void collect();
    void buildTree();

    const RenderScene& scene_;
    Float2 pixel_;  ///< size of a film pixel in texture coordinates
    std::vector<Triangle> triangles_;
    std::vector<Float3> corners_;
    EmbreeDevice device_;
    EmbreeScene tree_;
};

}  // namespace Lumora::engine
