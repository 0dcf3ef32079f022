// From emission nodes to emissions.
#pragma once

#include "engine/compile/texture_compiler.h"
#include "engine/render/emission.h"

namespace Lumora::engine {

/// Reads the emission node connected to the emission pin of a material. False when there is none or it is black. The
/// textures are added to the table that `textures` fills.
bool compileEmission(const NodeTable& nodes, TextureCompiler& textures, const TextureTable& table,
                     const NodeRecord& material, Emission& out);

}  // namespace Lumora::engine
