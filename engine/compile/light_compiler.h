// Collects what shines in a scene.
#pragma once

#include "engine/render/scene.h"

namespace Lumora::engine {

/// The emitting polygons of the scene. Sets of `previous` are used again for meshes whose emission did not change.
std::shared_ptr<const Lights> compileLights(const Geometry& geometry, const Shading& shading,
                                            const std::shared_ptr<const Geometry>& previousGeometry,
                                            const std::shared_ptr<const Lights>& previous);

}  // namespace Lumora::engine
