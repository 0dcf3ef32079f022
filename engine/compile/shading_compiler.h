// From material nodes to the tables that the kernels shade with.
#pragma once

#include "engine/compile/texture_compiler.h"
#include "engine/render/scene.h"

namespace Lumora::engine {

/// Materials of every slot of the geometry, with their textures. Clay: 1 makes all materials grey, 2 keeps colours
/// only. `textures` holds those of the build before.
std::shared_ptr<const Shading> compileShading(const NodeTable& nodes, const Geometry& geometry, ImageStore& images,
                                              TextureMemory& textures, int clayMode, const LogFunction& log);

}  // namespace Lumora::engine
