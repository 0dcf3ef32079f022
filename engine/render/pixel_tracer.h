// One sample of one pixel: camera rays, and what the kernel finds along them.
#pragma once

#include <optional>

#include "engine/render/camera_motion.h"
#include "engine/render/info_kernel.h"
#include "engine/render/integrator.h"

namespace Lumora::engine {

class PixelTracer {
public:
    /// The scene must outlive the tracer. Throws std::bad_alloc.
    explicit PixelTracer(const RenderScene& scene);
    PixelTracer(const PixelTracer&) = delete;
    PixelTracer& operator=(const PixelTracer&) = delete;

    /// The sampler's first four numbers choose the place in the pixel and on the lens.
    PixelSample sample(std::uint32_t x, std::uint32_t y, Sampler& sampler) const;

private:
    PixelSample trace(const CameraSample& from, Sampler& sampler) const;

    const RenderScene& scene_;
    CameraRays camera_;
    CameraMotion motion_;
    Integrator integrator_;
    std::optional<InfoKernel> info_;
    bool lens_ = true, spread_ = true;  ///< rays go everywhere through the lens, and through the pixel
};

}  // namespace Lumora::engine
