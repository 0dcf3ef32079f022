#include "engine/render/renderer.h"

#include <algorithm>

#include "engine/render/renderer_impl.h"

namespace Lumora::engine {

Renderer::Impl::Impl(RendererCallbacks callbacks)
    : callbacks_(std::move(callbacks)),
      compiler_(callbacks_.log),
      threads_(std::max(1u, std::thread::hardware_concurrency())),
      denoiser_([this] {
          const std::lock_guard guard(lock_);
          refresh_ = true;
          displaySignal_.notify_all();
      }) {
    build_ = std::thread([this] { buildLoop(); });
    display_ = std::thread([this] { displayLoop(); });
    const std::lock_guard guard(lock_);
    growPool();
}

Renderer::Impl::~Impl() {
    {
        const std::lock_guard guard(lock_);
        quit_ = true;
        if (job_) job_->cancel();
        for (const PassJob& p : passJobs_) p.job->cancel();
    }
    buildSignal_.notify_all();
    workSignal_.notify_all();
    displaySignal_.notify_all();
    stateSignal_.notify_all();
    build_.join();
    display_.join();
    for (std::thread& t : pool_) t.join();
}

void Renderer::Impl::fail(const std::string& text) {
    {
        const std::lock_guard guard(lock_);
        dropJobs();
        building_ = false;
        failed_ = true;
        failure_ = text;
    }
    stateSignal_.notify_all();
    if (callbacks_.log) callbacks_.log(text);
    if (callbacks_.onFailure) callbacks_.onFailure();
}

void Renderer::Impl::setPaused(bool paused) {
    const std::lock_guard guard(lock_);
    if (!paused) stopped_ = false;
    if (paused_ == paused) {
        workSignal_.notify_all();
        return;
    }
    paused_ = paused;
    workSignal_.notify_all();
    stateSignal_.notify_all();
}

bool Renderer::Impl::paused() const {
    const std::lock_guard guard(lock_);
    return paused_;
}

void Renderer::Impl::restart() {
    std::string failure;
    {
        std::unique_lock lock(lock_);
        stopped_ = false;
        if (!scene_ || building_) return;
        try {
            replaceJob(lock);
        } catch (const std::bad_alloc&) {
            failure = "There is not enough memory for the picture.";
        }
    }
    if (!failure.empty()) fail(failure);
}

void Renderer::Impl::stop() {
    std::unique_lock lock(lock_);
    stopped_ = true;
    denoiser_.cancel();
    stateSignal_.notify_all();
    stateSignal_.wait(lock, [this] { return working_ == 0 || quit_; });
}

void Renderer::Impl::setRegion(bool on, Vec2<unsigned> start, Vec2<unsigned> size, unsigned feather) {
    {
        const std::lock_guard guard(lock_);
        feather_ = feather;
        refresh_ = true;
        if (regionOn_ == on && (!on || (regionStart_ == start && regionSize_ == size))) return;
        regionBase_ = on ? images_ : std::vector<Image>();
        regionOn_ = on;
        regionStart_ = start;
        regionSize_ = size;
        if (!job_) return;
    }
    restart();
}

void Renderer::Impl::setThreadCount(unsigned threads) {
    const std::lock_guard guard(lock_);
    threads_ = threads ? std::min(threads, 1024u) : std::max(1u, std::thread::hardware_concurrency());
    growPool();
    workSignal_.notify_all();
}

void Renderer::Impl::setOutput(TonemapType type, std::vector<RenderPassId> passes) {
    const std::lock_guard guard(lock_);
    outputType_ = type;
    outputPasses_ = std::move(passes);
    refresh_ = true;
    displaySignal_.notify_all();
}

std::uint64_t Renderer::Impl::imageChangeLevel() const {
    const std::lock_guard guard(lock_);
    return imageLevel_;
}

std::vector<Image> Renderer::Impl::latest() const {
    const std::lock_guard guard(lock_);
    return images_;
}

bool Renderer::Impl::failed() const {
    const std::lock_guard guard(lock_);
    return failed_;
}

std::string Renderer::Impl::failureText() const {
    const std::lock_guard guard(lock_);
    return failure_;
}

void Renderer::Impl::resetFailure() {
    const std::lock_guard guard(lock_);
    failed_ = false;
    failure_.clear();
    workSignal_.notify_all();
}

Renderer::Renderer(RendererCallbacks callbacks) : impl_(std::make_unique<Impl>(std::move(callbacks))) {}
Renderer::~Renderer() = default;
void Renderer::submit(SceneDelta delta) {
    impl_->submit(std::move(delta));
}
void Renderer::pause() {
    impl_->setPaused(true);
}
void Renderer::resume() {
    impl_->setPaused(false);
}
void Renderer::restart() {
    impl_->restart();
}
void Renderer::stop() {
    impl_->stop();
}
bool Renderer::paused() const {
    return impl_->paused();
}
void Renderer::setRegion(bool on, Vec2<unsigned> start, Vec2<unsigned> size, unsigned featherWidth) {
    impl_->setRegion(on, start, size, featherWidth);
}
void Renderer::setThreadCount(unsigned threads) {
    impl_->setThreadCount(threads);
}
void Renderer::setOutput(TonemapType type, std::vector<RenderPassId> passes) {
    impl_->setOutput(type, std::move(passes));
}
std::uint64_t Renderer::imageChangeLevel() const {
    return impl_->imageChangeLevel();
}
std::vector<Image> Renderer::latest() const {
    return impl_->latest();
}
std::vector<Image> Renderer::tonemap(const std::vector<RenderPassId>& passes, TonemapType type) {
    return impl_->tonemap(passes, type);
}
Statistics Renderer::statistics(RenderPassId pass) const {
    return impl_->statistics(pass);
}
bool Renderer::failed() const {
    return impl_->failed();
}
std::string Renderer::failureText() const {
    return impl_->failureText();
}
void Renderer::resetFailure() {
    impl_->resetFailure();
}

}  // namespace Lumora::engine
