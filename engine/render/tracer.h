// Rays against the scene: Embree for meshes, closed form for infinite planes.
#pragma once

#include "engine/render/ray_footprint.h"
#include "engine/render/scene.h"

namespace Lumora::engine {

struct Ray {
    Float3 origin, direction;  ///< direction of unit length
    float tmin = 0.0f, tmax = kInfinity;
    RayFootprint footprint{};  ///< measured from the origin
    Float3 at(float t) const { return origin + direction * t; }
};

struct Hit {
    float t = kInfinity, u = 0.0f, v = 0.0f;
    std::uint32_t instance = kNone;  ///< index into Geometry::instances, or kPlane plus index into planes
    std::uint32_t polygon = 0;
    static constexpr std::uint32_t kPlane = 0x80000000u;
    bool valid() const { return instance != kNone; }
    bool plane() const { return valid() && (instance & kPlane); }
};

/// The nearest hit in (tmin, tmax), if any.
Hit intersect(const Geometry& geometry, const Ray& ray);
/// Whether anything lies in (tmin, tmax).
bool occluded(const Geometry& geometry, const Ray& ray);

}  // namespace Lumora::engine
