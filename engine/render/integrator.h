// Light that arrives along a camera ray: path tracing and direct lighting.
//
// One loop serves both kernels: unidirectional path tracing with next-event estimation, the two techniques joined by
// multiple importance sampling (Veach 1997), and Russian roulette. Bounces are counted by kind: a path that has had its
// share of diffuse ones goes on by mirrors and glass alone. Direct lighting is a path of few bounces; with ambient
// occlusion its diffuse rays are short.
#pragma once

#include "engine/render/bsdf.h"
#include "engine/render/camera.h"
#include "engine/render/lights.h"
#include "engine/render/sampler.h"

namespace Lumora::engine {

struct PixelSample {
    Float3 color;        ///< linear radiance; zero where alpha is zero and the background is hidden
    float alpha = 1.0f;  ///< 0: the ray met nothing but the environment
    Float3 direct;       ///< the part of `color` that was scattered at most once on its way

    // What the camera ray met first, as guides of a denoiser; all zero where that is the environment.
    Float3 albedo;       ///< share of light that the surface sends back; an emitter's radiance, at most one
    Float3 normal;       ///< shading normal in world space, on the side of the camera
    float depth = 0.0f;  ///< metres along the ray
};

class Integrator {
public:
    explicit Integrator(const RenderScene& scene);

    PixelSample trace(Ray ray, Sampler& sampler) const;

private:
    struct Path;
    Float3 transmittance(Ray ray) const;
    Float3 directLight(const Surface& surface, const LightQuery& query, const Bsdf& bsdf, Sampler& sampler) const;
    PixelSample background(const Ray& ray) const;
    Float3 environmentHit(const Path& path) const;
    Float3 clampIndirect(Float3 c) const;
    bool passes(const Path& path, const Surface& surface, Sampler& sampler) const;
    Float3 emittedAlong(const Path& path, const Hit& hit, const Surface& surface) const;
    void catchShadow(Path& path, const Hit& hit, const Surface& surface, const Bsdf& bsdf, Sampler& sampler) const;
    bool scatter(Path& path, const Hit& hit, Surface& surface, Sampler& sampler, PixelSample& result) const;

    const RenderScene& scene_;
    LightChoice choice_;
    int maxDiffuse_, maxGlossy_, maxSpecular_;  ///< bounces of each kind
    bool occlusionOnly_ = false;                ///< bounced rays end at the ambient occlusion distance
    bool passing_ = false;                      ///< some surface may let light pass
};

}  // namespace Lumora::engine
