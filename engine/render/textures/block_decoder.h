// Block-compressed pixels back to plain ones.
#pragma once

#include "engine/render/image_texture.h"

namespace Lumora::engine {

/// Sixteen pixels of four channels, row by row: bytes, or halves where the format is of halves. 64 or 128 bytes.
void decodeBlock(PixelFormat format, const std::byte* block, void* to);

}  // namespace Lumora::engine
