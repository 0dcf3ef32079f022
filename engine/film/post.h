// Light that the lens scatters: bloom around bright points, and glare in rays through them.
//
// The scattered picture is the picture convolved with a point spread function of volume one, and what is scattered is
// missing where it came from: with bloom power b and glare power g, scaled by kScatter,
//
//   result = (picture + b bloom(picture) + g glare(picture)) / (1 + b + g)
//
// so light is neither made nor lost but over the edges of the picture. Bloom is a sum of ever wider blurs, each twice
// as wide as the last and all of one weight, which falls off with the square of the distance, as measured in eyes and
// lenses (Spencer et al. 1995). A ray of glare falls off exponentially on both sides of its point. With spectral
// intensity a share of each ray has a length of its own in each channel, which grows with the wavelength to the power
// of the spectral shift, as diffraction spreads red more than blue. Rays of a blurred picture are made of a
// smaller one, so their number hardly counts.
#pragma once

#include "engine/film/picture.h"

namespace Lumora::engine {

/// Share of the light that power 1 scatters, before normalisation.
inline constexpr float kScatter = 0.1f;
/// Distance at which a neutral ray has fallen to 1/e, in heights of the picture.
inline constexpr float kRayLength = 0.12f;

/// Scatters the light of the picture's region, in place. Uses all cores. Throws std::bad_alloc.
void scatterLight(Picture& picture, const PostProcessing& settings);
/// Leaves only the scattered light of the picture: nothing when the settings are off.
void keepScattered(Picture& picture, const PostProcessing& settings);

}  // namespace Lumora::engine
