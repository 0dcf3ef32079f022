#include "engine/render/job.h"

#include <thread>

namespace Lumora::engine {

namespace {

std::atomic<std::uint64_t> nextId{1};

/// Once a pixel has that many times the samples of a batch, batches may be as long as the kernel allows.
constexpr std::uint32_t kManyBatches = 8;

/// Where a batch that starts at this sample ends: 1, 2, 4, 8, 16, 32, 48, ...
std::uint32_t batchEnd(const Kernel& kernel, std::uint32_t first) {
    const std::uint32_t longest = first >= kManyBatches * kernel.firstBatch ? kernel.longestBatch : kernel.firstBatch;
    return first + std::clamp<std::uint32_t>(first, 1, std::max(longest, 1u));
}

/// Whether a sample uses the same random numbers in every pixel, as a share of all samples. Spread evenly.
bool coherent(const Kernel& kernel, std::uint32_t sample) {
    if (!(kernel.coherentRatio > 0.0f)) return false;
    const float place = sobol::toUnit(sample * 0x9e3779b9u);  // golden ratio
    return place < kernel.coherentRatio;
}

}  // namespace

Job::Job(RenderScenePtr scene, const Film& region, std::shared_ptr<FilmBuffer> film, std::uint64_t level,
         std::uint32_t subSample)
    : id(nextId++),
      changeLevel(level),
      scene_(std::move(scene)),
      tracer_(*scene_),
      film_(std::move(film)),
      maxSamples_(scene_->kernel.maxSamples) {
    const Kernel& kernel = scene_->kernel;
    const bool chains = kernel.kind == KernelKind::Metropolis;
    film_->reset(region, scene_->wantsGuides());
    tilePass_ = std::vector<std::atomic<std::uint32_t>>(film_->tileCount());
    if (kernel.adaptive.on) adaptive_.emplace(kernel.adaptive, *film_);
    if (chains) chains_.resize(film_->tileCount());
    block_ = film_->block() * std::clamp(subSample, 1u, FilmBuffer::kTile / film_->block());
    coarseLeft_ = film_->tileCount();
    if (coarseLeft_ == 0) coarseDone_ = true;
}

/// Goes to the next pass; false: there is none.
bool Job::nextPass() {
    const bool coarse = block_ != 0;
    if (coarse && block_ > film_->block()) {
        block_ /= 2;
    } else {
        const std::uint32_t first = coarse ? 0 : end_;
        if (first >= maxSamples_ || (adaptive_ && adaptive_->finished())) return false;
        first_ = first;
        end_ = std::min(batchEnd(scene_->kernel, first), maxSamples_);
        block_ = 0;
    }
    nextTile_ = 0;
    ++pass_;
    return true;
}

std::optional<Job::Unit> Job::take() {
    const std::lock_guard guard(lock_);
    if (cancelled_ || film_->tileCount() == 0) return std::nullopt;
    while (true) {
        if (nextTile_ == film_->tileCount() && !nextPass()) return std::nullopt;
        const std::uint32_t tile = nextTile_++;
        if (adaptive_ && !adaptive_->wanted(tile)) continue;
        ++open_;
        return Unit{pass_, tile, first_, end_, block_};
    }
}

bool Job::firstPassOut() const {
    const std::lock_guard guard(lock_);
    return film_->tileCount() == 0 || (block_ == 0 && (end_ > 1 || nextTile_ == film_->tileCount()));
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
    if (film_->tileCount() == 0) return true;
    if (open_ != 0 || block_ != 0) return false;
    return (adaptive_ && adaptive_->finished()) || (nextTile_ == film_->tileCount() && end_ >= maxSamples_);
}

float Job::samplesPerPixel() const {
    const std::uint64_t pixels = film_->regionPixels();
    return pixels ? static_cast<float>(static_cast<double>(samplesTaken_) / static_cast<double>(pixels)) : 0.0f;
}

void Job::samplePixel(std::uint32_t x, std::uint32_t y, std::uint32_t first, std::uint32_t end, std::size_t pixel,
                      TileSums& sums) const {
    const Kernel& kernel = scene_->kernel;
    for (std::uint32_t i = first; i < end; ++i) {
        Sampler sampler = coherent(kernel, i) ? Sampler(~0u, ~0u, i, kernel.seed) : Sampler(x, y, i, kernel.seed);
        const PixelSample s = tracer_.sample(x, y, sampler);
        sums.add(pixel, i, s.color, s.alpha, {s.albedo, s.normal, s.depth});
    }
}

bool Job::awaitTurn(const Unit& unit) const {
    while (tilePass_[unit.tile].load(std::memory_order_acquire) != unit.pass) {
        if (cancelled_) return false;
        std::this_thread::yield();
    }
    return true;
}

std::uint64_t Job::sampleTile(const Unit& unit, const TileRect& r, TileSums& sums) {
    const std::uint32_t count = unit.block ? 1 : unit.end - unit.first;
    if (!unit.block && !chains_.empty()) {
        auto& chains = chains_[unit.tile];
        if (!chains) chains = std::make_unique<MetropolisTile>(scene_->kernel, r, unit.tile);
        chains->sample(tracer_, count, sums);
        return static_cast<std::uint64_t>(r.width) * r.height * count;
    }
    static const std::vector<unsigned char> kAll;
    const std::vector<unsigned char>& mask = adaptive_ ? adaptive_->mask(unit.tile) : kAll;
    const std::uint32_t step = std::max(unit.block, 1u), first = unit.block ? 0 : unit.first;
    std::uint64_t pixels = 0;
    for (std::uint32_t y = 0; y < r.height && !cancelled_; y += step) {
        for (std::uint32_t x = 0; x < r.width; x += step) {
            const std::size_t i = static_cast<std::size_t>(y) * r.width + x;
            if (!mask.empty() && !mask[i]) continue;
            samplePixel(r.x + x, r.y + y, first, first + count, i, sums);
            ++pixels;
        }
    }
    return pixels * count;
}

void Job::work(const Unit& unit) {
    const TileRect r = film_->tile(unit.tile);
    TileSums sums(r, film_->hasGuides());
    // Chains and adaptive sampling go on from what the passes before left.
    const bool follows = adaptive_ || !chains_.empty();
    if (follows && !awaitTurn(unit)) return;
    const bool idle = adaptive_ && !adaptive_->wanted(unit.tile);
    const std::uint64_t samples = idle ? 0 : sampleTile(unit, r, sums);
    if (cancelled_ || !awaitTurn(unit)) return;
    if (unit.block) {
        film_->addCoarse(unit.tile, sums, unit.block);
    } else if (!idle) {
        film_->add(unit.tile, sums, unit.end - unit.first);
        samplesTaken_ += samples;
        if (adaptive_) adaptive_->update(unit.tile);
    }
    tilePass_[unit.tile].store(unit.pass + 1, std::memory_order_release);
    const std::lock_guard guard(lock_);
    --open_;
    if (unit.block && unit.pass == 0 && --coarseLeft_ == 0) coarseDone_ = true;
}

}  // namespace Lumora::engine
