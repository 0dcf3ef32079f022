// What surfaces send out and let through.
#pragma once

#include "engine/render/surface.h"

namespace Lumora::engine {

/// Radiance that leaves a surface in the direction `outgoing`, as seen by a ray of that kind. `mask`: the lights that
/// reach where the ray comes from; a camera sees all. What the surface's transparency leaves of it is taken off: the
/// ray gathers this before it is decided whether it goes on through the surface.
Float3 emittedRadiance(const RenderScene& scene, MaterialId material, const Surface& surface, Float3 outgoing,
                       RayKind kind, std::uint32_t mask = kAllLights);

/// Opacity of a surface, material and object layer together.
float opacityOf(const RenderScene& scene, MaterialId material, const Surface& surface);

/// The light that a sample of the lights finds there, whatever the kind of the reflection that it lights.
Float3 lightingRadiance(const RenderScene& scene, MaterialId material, const Surface& surface, Float3 outgoing,
                        std::uint32_t mask);

}  // namespace Lumora::engine
