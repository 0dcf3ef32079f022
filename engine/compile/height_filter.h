// Smoothing of the images that heights are read from.
#pragma once

#include "engine/render/texture.h"

namespace Lumora::engine {

/// The lookup of an image whose linear values are averaged with weights that fall evenly to zero at `radius` pixels.
/// 1 and less change nothing. Uses all processors. Throws std::bad_alloc.
ImageLookup smoothed(const ImageLookup& lookup, int radius);

/// A table in which all images are smoothed.
TextureTable smoothed(const TextureTable& table, int radius);

}  // namespace Lumora::engine
