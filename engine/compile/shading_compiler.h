// From material, emission and environment nodes to the tables that the kernels shade with.
#pragma once

#include "engine/compile/texture_compiler.h"
#include "engine/render/scene.h"

namespace Lumora::engine {

/// Materials of every slot of the geometry, with their textures. Clay: 1 makes all materials grey, 2 keeps colours
/// only.
std::shared_ptr<const Shading> compileShading(const NodeTable& nodes, const Geometry& geometry, ImageStore& images,
                                              int clayMode, const LogFunction& log);

/// The environment on a pin of the render target. Null when nothing is connected: the scene is then black around.
std::shared_ptr<const Environment> compileEnvironment(const NodeTable& nodes, ItemUid node, ImageStore& images,
                                                      const LogFunction& log);

/// The emitting polygons of the scene. Sets of `previous` are used again for meshes whose emission did not change.
std::shared_ptr<const Lights> compileLights(const Geometry& geometry, const Shading& shading,
                                            const std::shared_ptr<const Geometry>& previousGeometry,
                                            const std::shared_ptr<const Lights>& previous);

/// Linear sRGB colour of a black body, of luminance one. Kelvin.
Float3 blackbodyColor(float temperature);

}  // namespace Lumora::engine
