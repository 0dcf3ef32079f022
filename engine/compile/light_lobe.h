// How a distribution gathers the light of a lamp, for choosing among lamps.
#pragma once

#include "engine/render/emitters.h"
#include "engine/render/texture.h"

namespace Lumora::engine {

/// The beam of a texture of distribution: where it is brightest and how fast it falls off. Of one that cannot be told
/// in one space, such as a product of two maps, nothing is known: it has no beam.
LightLobe lobeOf(const TextureTable& textures, TextureId distribution);

}  // namespace Lumora::engine
