// Textures that ask the scene around a point: occlusion, identity of the instance.
#pragma once

#include "engine/render/texture.h"

namespace Lumora::engine {

/// 1 where the surface lies open, less in corners: p of the node holds strength, details, radius and tolerance.
float dirtAt(const TextureNode& node, const TextureContext& at);

/// Number that the scene gives the instance at a point, else that of its mesh, else its place among all; 0 outside a
/// scene.
std::uint32_t instanceIdAt(const TextureContext& at);
/// A random colour for each instance and object.
Float3 randomColorAt(std::uint32_t seed, const TextureContext& at);

/// 0 where the surface faces the viewer or a direction, 1 where it does not, by kind: 0 by the angle to the view, 1 by
/// the angle to the direction up to 90 degrees, 2 up to 180.
float falloffAt(const TextureNode& node, const TextureContext& at);

/// Linear sRGB colour of light with a spectrum of the shape of a Gaussian, relative to an even spectrum. Both are
/// shares of the visible range from 380 to 720 nanometres.
Float3 gaussianColor(float wavelength, float width);

}  // namespace Lumora::engine
