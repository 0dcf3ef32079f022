// Removal of noise from a finished or half finished picture.
//
// Non-local first-order regression (Bitterli et al., "Nonlinearly Weighted First-order Regression for Denoising Monte
// Carlo Renderings", 2016): around each pixel a plane is fitted to the colours over the features of the first surface
// (albedo, normal, depth), every neighbour weighted by how alike the patches around both are against their noise
// (Rousselle et al. 2012). The film's samples lie in two halves; each is fitted with the weights that the other gives,
// so that weights and colours do not share their noise. The result is the mean of both.
#pragma once

#include <atomic>

#include "engine/film/picture.h"

namespace Lumora::engine {

/// Lets the caller stop the work and see how far it is.
struct DenoiseControl {
    std::atomic<bool> cancelled{false};
    std::atomic<float> progress{0.0f};  ///< 0 to 1
};

/// The picture of a film that keeps guides, with its noise removed; alpha stays as it is. False when it was cancelled,
/// which takes some milliseconds. Uses the cores of the calling arena; the film may go on. Throws std::bad_alloc.
bool denoise(const FilmBuffer& film, DenoiseControl& control, Picture& result);

}  // namespace Lumora::engine
