#include "engine/render/job.h"

#include <thread>

namespace Lumora::engine {

namespace {

constexpr std::uint32_t kLongestBatch = 16;
std::atomic<std::uint64_t> nextId{1};

/// Where a batch that starts at this sample ends: 1, 2, 4, 8, 16, 32, 48, ...
std::uint32_t batchEnd(std::uint32_t first) {
    return first + std::clamp<std::uint32_t>(first, 1, kLongestBatch);
}

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

}  // namespace

Job::Job(RenderScenePtr scene, const Film& region, std::shared_ptr<FilmBuffer> film, std::uint64_t level)
    : id(nextId++),
      changeLevel(level),
      scene_(std::move(scene)),
      integrator_(*scene_),
      camera_(scene_->camera, scene_->film, findFocalDepth(*scene_)),
      film_(std::move(film)),
      maxSamples_(scene_->kernel.maxSamples) {
    film_->reset(region, scene_->imager.denoiser.on);
    tilePass_ = std::vector<std::atomic<std::uint32_t>>(film_->tileCount());
    coarseLeft_ = film_->tileCount();
    if (coarseLeft_ == 0) coarseDone_ = true;
}

std::optional<Job::Unit> Job::take() {
    const std::lock_guard guard(lock_);
    if (cancelled_ || film_->tileCount() == 0) return std::nullopt;
    if (nextTile_ == film_->tileCount()) {
        const std::uint32_t first = coarse_ ? 0 : end_;
        if (first >= maxSamples_) return std::nullopt;
        first_ = first;
        end_ = std::min(batchEnd(first), maxSamples_);
        coarse_ = false;
        nextTile_ = 0;
        ++pass_;
    }
    ++open_;
    return Unit{pass_, nextTile_++, first_, end_, coarse_};
}

void Job::setMaxSamples(std::uint32_t samples) {
    const std::lock_guard guard(lock_);
    maxSamples_ = std::max(samples, 1u);
}

std::uint32_t Job::maxSamples() const {
    const std::lock_guard guard(lock_);
    return maxSamples_;
}

bool Job::finished() const {
    const std::lock_guard guard(lock_);
    return film_->tileCount() == 0 ||
           (open_ == 0 && !coarse_ && nextTile_ == film_->tileCount() && end_ >= maxSamples_);
}

float Job::samplesPerPixel() const {
    const std::uint64_t pixels = film_->regionPixels();
    return pixels ? static_cast<float>(static_cast<double>(samplesTaken_) / static_cast<double>(pixels)) : 0.0f;
}

void Job::samplePixel(std::uint32_t x, std::uint32_t y, std::uint32_t first, std::uint32_t end, std::size_t pixel,
                      TileSums& sums) const {
    const Kernel& kernel = scene_->kernel;
    for (std::uint32_t i = first; i < end; ++i) {
        Sampler sampler(x, y, i, kernel.seed);
        const auto u = sampler.next4();
        const Float2 offset = filterOffset(kernel.filterSize, {u[0], u[1]});
        const Ray ray = camera_.generate(static_cast<float>(x) + 0.5f + offset.x,
                                         static_cast<float>(y) + 0.5f + offset.y, {u[2], u[3]});
        const PixelSample s = integrator_.trace(ray, sampler);
        sums.add(pixel, i, s.color, s.alpha, {s.albedo, s.normal, s.depth});
    }
}

void Job::work(const Unit& unit) {
    const TileRect r = film_->tile(unit.tile);
    TileSums sums(r, film_->hasGuides());
    const std::uint32_t step = unit.coarse ? film_->block() : 1;
    for (std::uint32_t y = 0; y < r.height; y += step) {
        if (cancelled_) return;
        for (std::uint32_t x = 0; x < r.width; x += step) {
            samplePixel(r.x + x, r.y + y, unit.first, unit.coarse ? 1 : unit.end,
                        static_cast<std::size_t>(y) * r.width + x, sums);
        }
    }
    // Another thread may still be at this tile's previous pass.
    while (tilePass_[unit.tile].load(std::memory_order_acquire) != unit.pass) {
        if (cancelled_) return;
        std::this_thread::yield();
    }
    if (unit.coarse) {
        film_->addCoarse(unit.tile, sums);
    } else {
        film_->add(unit.tile, sums, unit.end - unit.first);
        samplesTaken_ += static_cast<std::uint64_t>(r.width) * r.height * (unit.end - unit.first);
    }
    tilePass_[unit.tile].store(unit.pass + 1, std::memory_order_release);
    const std::lock_guard guard(lock_);
    --open_;
    if (unit.coarse && --coarseLeft_ == 0) coarseDone_ = true;
}

}  // namespace Lumora::engine
