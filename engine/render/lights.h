// Choosing points on lights, and the density with which a given point would have been chosen.
#pragma once

#include "engine/render/surface.h"

namespace Lumora::engine {

struct LightSample {
    Float3 direction;
    float distance = kInfinity;
    Float3 radiance;           ///< towards the point; black: nothing to be had
    float pdf = 0.0f;          ///< by solid angle, choice of the light included
    bool environment = false;  ///< light from all around, not from the sun or an emitter
};

/// Chances of the three kinds of light.
struct LightChoice {
    float emitters = 0.0f, environment = 0.0f, sun = 0.0f;
    explicit LightChoice(const RenderScene& scene);
    bool any() const { return emitters + environment + sun > 0.0f; }
};

/// Radiance that leaves a surface towards the viewer.
Float3 emittedRadiance(const RenderScene& scene, MaterialId material, const Surface& surface);

/// Opacity of a surface, material and object layer together.
float opacityOf(const RenderScene& scene, MaterialId material, const Surface& surface);

/// One light seen from a point. u: four uniform numbers.
LightSample sampleLight(const RenderScene& scene, const LightChoice& choice, Float3 from, const float u[4]);

/// Density by solid angle of sampleLight() hitting this very point of an emitter from `from`.
float emitterPdf(const RenderScene& scene, const LightChoice& choice, Float3 from, const Hit& hit,
                 const Surface& surface);

}  // namespace Lumora::engine
