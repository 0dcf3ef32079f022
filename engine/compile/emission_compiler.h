// From emission nodes to emissions.
#pragma once

#include "engine/compile/texture_compiler.h"
#include "engine/render/scene.h"

namespace Lumora::engine {

/// Reads the emission node connected to the emission pin of a material. False when there is none or it is black. The
/// textures are added to the table that `textures` fills.
bool compileEmission(const NodeTable& nodes, TextureCompiler& textures, const TextureTable& table,
                     const NodeRecord& material, Emission& out);

/// The toon lights of the geometry.
std::vector<ToonLight> compileToonLights(const NodeTable& nodes, const Geometry& geometry, TextureCompiler& textures,
                                         const TextureTable& table);

}  // namespace Lumora::engine
