#include "engine/render/pixel_tracer.h"

#include "engine/render/bake_map.h"

namespace Lumora::engine {

namespace {

/// No sample is brighter: sums of samples, and of their squares, must stay in the range of float.
constexpr float kBrightest = 1e15f;

/// Offset from the middle of a pixel, distributed as the film filter: a box of one pixel, or a Gaussian cut at the
/// filter size. Sampling the filter keeps every sample in its own pixel (filter importance sampling, Ernst et al.
/// 2006).
Float2 filterOffset(float size, Float2 u) {
    if (size <= 1.0f) return {u.x - 0.5f, u.y - 0.5f};
    const float sigma = 0.4f * size;
    const float most = 1.0f - std::exp(-0.5f * size * size / (sigma * sigma));
    const float r = sigma * std::sqrt(-2.0f * std::log(1.0f - u.x * most)), phi = 2.0f * kPi * u.y;
    return {r * std::cos(phi), r * std::sin(phi)};
}

std::shared_ptr<const BakeMap> bakeMap(const RenderScene& scene) {
    return scene.camera.kind == CameraKind::Baking ? std::make_shared<BakeMap>(scene) : nullptr;
}

}  // namespace

PixelTracer::PixelTracer(const RenderScene& scene)
    : scene_(scene),
      camera_(scene.camera, scene.film, findFocalDepth(scene), bakeMap(scene)),
      motion_(scene.camera),
      integrator_(scene) {
    if (scene.kernel.kind != KernelKind::Info) return;
    info_.emplace(scene, camera_);
    lens_ = scene.kernel.info.sampling == InfoSampling::Distributed;
    spread_ = scene.kernel.info.sampling != InfoSampling::Plain;
}

PixelSample PixelTracer::trace(const CameraSample& from, Sampler& sampler) const {
    if (!from.valid) {
        PixelSample nothing;
        nothing.alpha = 0.0f;
        return nothing;
    }
    PixelSample s = info_ ? info_->trace(from.ray, sampler) : integrator_.trace(from.ray, sampler);
    const float all = std::abs(s.color.x) + std::abs(s.color.y) + std::abs(s.color.z);
    if (!(all <= kBrightest)) {
        s.color = std::isfinite(all) ? s.color * (kBrightest / all) : Float3{};
        s.direct = s.color;
    }
    s.depth = std::min(s.depth, kBrightest);
    return s;
}

PixelSample PixelTracer::sample(std::uint32_t x, std::uint32_t y, Sampler& sampler) const {
    const auto u = sampler.next4();
    const Float2 offset = spread_ ? filterOffset(scene_.kernel.filterSize, {u[0], u[1]}) : Float2{};
    const Float2 lens = lens_ ? Float2{u[2], u[3]} : Float2{0.5f, 0.5f};
    CameraSample first = camera_.generate(x, y, offset, lens);
    const float time = motion_.moving() ? sampler.next1() : 0.5f;
    motion_.move(first.ray, time);
    PixelSample s = trace(first, sampler);
    if (camera_.layers() == 1) return s;
    CameraSample second = camera_.generate(x, y, offset, lens, 1);
    motion_.move(second.ray, time);
    const PixelSample t = trace(second, sampler);
    s.color = s.color * first.weight + t.color * second.weight;
    s.direct = s.direct * first.weight + t.direct * second.weight;
    s.alpha = 0.5f * (s.alpha + t.alpha);
    return s;
}

}  // namespace Lumora::engine
