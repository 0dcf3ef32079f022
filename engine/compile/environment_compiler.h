// From environment nodes to environments.
#pragma once

#include "engine/compile/texture_compiler.h"
#include "engine/render/scene.h"

namespace Lumora::engine {

/// The environment on a pin of the render target. Null when nothing is connected: the scene is then black around.
std::shared_ptr<const Environment> compileEnvironment(const NodeTable& nodes, ItemUid node, ImageStore& images,
                                                      const LogFunction& log);

}  // namespace Lumora::engine
