// Pictures of info channels: values as they are in floats, made visible in bytes. No imager touches them.
#pragma once

#include "engine/film/film.h"
#include "engine/render/renderer.h"

namespace Lumora::engine {

/// `previous` shows through where the film has no sample yet and fits in size and type; null: black. Throws
/// std::bad_alloc.
Image infoPicture(const FilmBuffer& film, const InfoSettings& settings, bool alphaChannel, TonemapType type,
                  const Image* previous);

}  // namespace Lumora::engine
