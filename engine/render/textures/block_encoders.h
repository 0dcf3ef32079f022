// The encoders of the two finer block formats.
#pragma once

#include "engine/render/textures/block_encoder.h"
#include "engine/render/textures/block_format.h"

namespace Lumora::engine {

/// BC7: one line of colours with or without alpha, else two lines of colours, or one of colours and one of a channel of
/// its own, whichever comes nearest.
BlockBits encodeFine(const BlockPixels& pixels);
/// BC6H: one line of colours, as finely as its length allows.
BlockBits encodeHalves(const BlockPixels& pixels);

}  // namespace Lumora::engine
