// Collects what shines in a scene.
#pragma once

#include "engine/compile/top_level.h"

namespace Lumora::engine {

/// The emitting polygons of the scene. `change` is what became of the instances of the previous geometry; with the same
/// list, only what moved or shines otherwise is worked out, and `previous` itself comes back where nothing did. Sets of
/// `previous` are used again for meshes whose emission did not change. `previous` may be null.
std::shared_ptr<const Lights> compileLights(const Geometry& geometry, const Shading& shading,
                                            const std::shared_ptr<const Geometry>& previousGeometry,
                                            const std::shared_ptr<const Lights>& previous,
                                            const InstanceChange& change);

}  // namespace Lumora::engine
