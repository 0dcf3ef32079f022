// The seam between a render region and the picture around it.
#pragma once

#include "engine/film/film.h"
#include "engine/render/renderer.h"

namespace Lumora::engine {

/// Lets a region fade into the picture around it: its outermost pixels, `width` of them, show `base` more than itself.
/// Images of another size or type stay as they are.
void fadeEdge(Image& image, const Image& base, const TileRect& region, unsigned width);

}  // namespace Lumora::engine
