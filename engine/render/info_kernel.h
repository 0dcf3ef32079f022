// The info channel kernel: what the first surface along a camera ray is, instead of how it is lit.
//
// Values come out as they are: normals and tangents as unit vectors in the world, places and depths in metres, texture
// coordinates as stored, shares from 0 to 1. How they are shown on a screen is the table's matter (info_channel.h).
#pragma once

#include "engine/render/camera.h"
#include "engine/render/integrator.h"

namespace Lumora::engine {

class InfoKernel {
public:
    /// Both must outlive the kernel.
    InfoKernel(const RenderScene& scene, const CameraRays& camera);

    PixelSample trace(Ray ray, Sampler& sampler) const;

private:
    bool passes(const Surface& surface, Sampler& sampler) const;
    Float3 value(const Ray& ray, const Hit& hit, Surface& surface, Sampler& sampler) const;
    Float3 materialValue(const Surface& surface) const;
    Float3 wireframe(const Ray& ray, const Hit& hit, const Surface& surface) const;
    float ambientOcclusion(const Surface& surface, Sampler& sampler) const;

    const RenderScene& scene_;
    const CameraRays& camera_;
    InfoSettings settings_;
    bool passing_;  ///< some surface may let light pass
};

}  // namespace Lumora::engine
