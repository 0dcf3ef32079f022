// Pictures of info channels and of noise: values as they are in floats, made visible in bytes. No imager touches them.
#pragma once

#include "engine/film/film.h"
#include "engine/render/renderer.h"

namespace Lumora::engine {

/// `previous` shows through where the film has no sample yet and fits in size and type; null: black. Throws
/// std::bad_alloc.
Image infoPicture(const FilmBuffer& film, const InfoSettings& settings, bool alphaChannel, TonemapType type,
                  const Image* previous);

/// The noise of each pixel as adaptive sampling judges it; in bytes its threshold is half of white. The film must have
/// guides. Throws std::bad_alloc.
Image noisePicture(const FilmBuffer& film, const Adaptive& settings, TonemapType type, const Image* previous);

}  // namespace Lumora::engine
