// Pictures of a film: hot pixels, post processing and the imager, in this order.
#pragma once

#include "engine/film/picture.h"
#include "engine/film/tonemap.h"
#include "engine/render/renderer.h"

namespace Lumora::engine {

/// What is done to the light that the film holds.
struct DevelopSettings {
    Imager imager;
    PostProcessing post;
    Film film;
    AlphaUse alpha = AlphaUse::None;
};

/// True for the passes that are made here: the beauty, the denoised beauty, and what post processing adds.
bool isDeveloped(RenderPassId pass);

/// The newest picture of a pass. `previous`, when it fits in size and type, shows through where the film has no sample
/// yet and outside the film's region; null: black. `denoised` is the picture that RP_DENOISED shows; null: there is
/// none yet, and the pass shows the beauty. Uses all cores. Throws std::bad_alloc.
Image developPicture(const FilmBuffer& film, const DevelopSettings& settings, RenderPassId pass, TonemapType type,
                     const Image* previous, const Picture* denoised);

}  // namespace Lumora::engine
