// Plain pixels to blocks.
#pragma once

#include "engine/render/image_texture.h"
#include "engine/render/textures/wide.h"

namespace Lumora::engine {

/// The pixels of a block, one register a channel: 0 to 255, or the bits of halves as numbers. Channels that the image
/// has not count for nothing.
struct BlockPixels {
    Floats16 c[4]{};
    int channels = 4;  ///< 1 grey, 2 grey and alpha, 3 colour, 4 colour and alpha
};

/// Writes the 8 or 16 bytes of a block. Any thread.
void encodeBlock(PixelFormat format, const BlockPixels& pixels, std::byte* to);

}  // namespace Lumora::engine
