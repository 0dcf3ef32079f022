// Small pictures of scenes, down to the sums in their films.
#pragma once

#include <vector>

#include "engine/film/film_pixel.h"
#include "engine/render/scene.h"

namespace Lumora::engine::test {

/// All that was summed up, of the picture and of its passes.
struct Sums {
    std::vector<FilmSum> pixels;
    std::vector<GuideSum> guides;
};

/// Whatever the settings of the scene: a few pixels of few samples. Nothing for a null scene.
Sums pictureOf(const RenderScenePtr& scene);
/// Whether hardly any two pixels differ: nothing much could go wrong there.
bool dull(const Sums& sums);
bool allFinite(const Sums& sums);

}  // namespace Lumora::engine::test
