// Choosing points on lights, and the density with which a given point would have been chosen.
#pragma once

#include "engine/render/emitted_light.h"

namespace Lumora::engine {

/// Chances of the kinds of light at a point.
struct LightChances {
    float emitters = 0.0f, environment = 0.0f, sun = 0.0f;
    bool known = false;
};

/// A point that asks for light.
struct LightQuery {
    Float3 position;                  ///< where rays to lights start
    Float3 normal;                    ///< lights behind it are not chosen; zero: there is no behind
    bool bothSides = false;           ///< light from behind the normal is of use too
    std::uint32_t mask = kAllLights;  ///< the lights that reach the point
    LightChances chances{};           ///< where they are not known they are worked out each time
};

struct LightSample {
    Float3 direction;
    float distance = kInfinity;
    Float3 radiance;           ///< towards the point; black: nothing to be had
    float pdf = 0.0f;          ///< by solid angle, choice of the light included
    bool environment = false;  ///< light from all around, not from the sun or an emitter
    bool onDiffuse = true, onSpecular = true, onRefraction = true;  ///< which scattering of the surface it lights
    bool castsShadows = true;                                       ///< false: nothing blocks it
};

/// What there is to choose from, for a whole scene, which must outlive it.
struct LightChoice {
    bool emitters = false, environment = false, sun = false;
    std::uint32_t mask = kAllLights, invertedMask = 0;  ///< the kernel's: lights taken in, and ids turned about
    explicit LightChoice(const RenderScene& scene);
    bool any() const { return emitters || environment || sun; }
    /// The query of a surface, with `from` as the start of its rays.
    LightQuery query(const Surface& surface, Float3 from, bool bothSides) const {
        LightQuery q{from, surface.normal, bothSides, (surface.layer.lightPassMask ^ invertedMask) & mask};
        q.chances = chancesAt(q);
        return q;
    }
    LightChances chancesAt(const LightQuery& query) const;

private:
    const RenderScene* scene_;
    bool several_;  ///< more than one kind
};

/// One light seen from a point. u: four uniform numbers.
LightSample sampleLight(const RenderScene& scene, const LightChoice& choice, const LightQuery& query, const float u[4]);

/// Density by solid angle of sampleLight() hitting this very point of an emitter. Infinite for lights without shadows,
/// which rays that happen upon them must not count.
float emitterPdf(const RenderScene& scene, const LightChoice& choice, const LightQuery& query, const Hit& hit,
                 const Surface& surface);

/// Light of the environment and of the sun from a direction as seen by a ray of that kind, each with its density in
/// sampleLight(); zero: never chosen there. A ray that leaves a surface and meets nothing gathers their sum.
struct SkyLight {
    Float3 environment, sun;
    float environmentPdf = 0.0f, sunPdf = 0.0f;
};
SkyLight skyLight(const RenderScene& scene, const LightChoice& choice, const LightQuery& query, Float3 direction,
                  RayKind kind);

}  // namespace Lumora::engine
