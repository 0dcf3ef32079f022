// Regular patterns over texture coordinates, averaged over the footprint in closed form.
#pragma once

#include "engine/render/texture.h"
#include "engine/render/textures/noise.h"

namespace Lumora::engine {

/// A board of two by two fields to the unit square: 0 and 1 in turn.
float checks(const MappedPoint& p);

/// One period along u for each unit, from 0 to 1; `offset` moves it by periods. `op` is one of the three waves.
float wave(TextureOp op, const MappedPoint& p, float offset);

/// Veins along u that noise bends: `variance` is how far.
float marble(const MappedPoint& p, float offset, float variance, const Octaves& octaves);

}  // namespace Lumora::engine
