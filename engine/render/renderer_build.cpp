// From deltas to jobs: the build thread.
#include <algorithm>
#include <stdexcept>
#include <unordered_set>

#include "engine/render/float_mode.h"
#include "engine/render/renderer_impl.h"

namespace Lumora::engine {

namespace {

/// Time that a fresh job gets for its coarse picture before the next edit may replace it: without it a stream of edits
/// would never show anything.
constexpr auto kCoarseGrace = std::chrono::milliseconds(100);

/// `later` on top of `first`.
void merge(SceneDelta& first, SceneDelta&& later) {
    std::unordered_set<ItemUid> gone;
    for (const NodeRecordPtr& r : later.changed) gone.insert(r->uid);
    std::erase_if(first.removed, [&](ItemUid uid) { return gone.count(uid) != 0; });
    gone.insert(later.removed.begin(), later.removed.end());
    std::erase_if(first.changed, [&](const NodeRecordPtr& r) { return gone.count(r->uid) != 0; });
    first.changed.insert(first.changed.end(), later.changed.begin(), later.changed.end());
    first.removed.insert(first.removed.end(), later.removed.begin(), later.removed.end());
    later.changed = std::move(first.changed);
    later.removed = std::move(first.removed);
    first = std::move(later);
}

}  // namespace

void Renderer::Impl::submit(SceneDelta delta) {
    const std::lock_guard guard(lock_);
    if (pending_) {
        merge(*pending_, std::move(delta));
    } else {
        pending_ = std::move(delta);
    }
    buildSignal_.notify_all();
}

void Renderer::Impl::buildLoop() {
    flushDenormals();
    std::unique_lock lock(lock_);
    while (true) {
        buildSignal_.wait(lock, [this] { return quit_ || pending_; });
        if (quit_) return;
        const std::shared_ptr<Job> running = job_;
        if (running && mayWork(0) && !running->coarseDone()) {
            stateSignal_.wait_until(lock, running->start + kCoarseGrace,
                                    [&] { return quit_ || running->coarseDone() || !mayWork(0); });
            if (quit_) return;
        }
        std::string failure;
        try {
            buildNext(lock);
        } catch (const std::bad_alloc&) {
            failure = "There is not enough memory for the scene.";
        } catch (const std::exception& e) {
            failure = std::string(e.what()) + ".";
        }
        if (!failure.empty()) {
            if (lock.owns_lock()) lock.unlock();
            fail(failure);
            lock.lock();
        }
    }
}

void Renderer::Impl::buildNext(std::unique_lock<std::mutex>& lock) {
    SceneDelta delta = std::move(*pending_);
    pending_.reset();
    building_ = true;
    lock.unlock();
    BuildResult result = compiler_.apply(delta);
    lock.lock();
    building_ = false;
    buildSeconds_ = result.seconds;
    sceneLevel_ = delta.changeLevel;
    // A render target that was not there before ends a stop.
    if (delta.renderTarget != 0 && delta.renderTarget != target_) stopped_ = false;
    target_ = delta.renderTarget;
    scene_ = result.scene;
    subSample_ = static_cast<std::uint32_t>(std::clamp(delta.subSampleMode, 1, 4));
    if (!scene_) {
        dropJobs();
    } else if (result.restart || !job_) {
        replaceJob(lock);
    } else {
        job_->changeLevel = delta.changeLevel;
        job_->setMaxSamples(scene_->kernel.maxSamples);
        matchPasses(true);
        for (const PassJob& p : passJobs_) p.job->changeLevel = delta.changeLevel;
        if (!allFinished()) idle_ = false;
        refresh_ = true;
    }
    lock.unlock();
    workSignal_.notify_all();
    displaySignal_.notify_all();
    if (callbacks_.onUpdated) callbacks_.onUpdated(delta.changeLevel);
    lock.lock();
}

void Renderer::Impl::dropJobs() {
    if (job_) job_->cancel();
    for (const PassJob& p : passJobs_) p.job->cancel();
    job_.reset();
    passJobs_.clear();
    denoiser_.clear();
    idle_ = true;
}

Film Renderer::Impl::region() const {
    Film region = scene_->film;
    if (regionOn_) {
        region.regionX = regionStart_.x;
        region.regionY = regionStart_.y;
        region.regionWidth = std::max(regionSize_.x, 1u);
        region.regionHeight = std::max(regionSize_.y, 1u);
    }
    return region;
}

/// A new job for the newest scene, and for its passes. The film of the old one is used again once nobody reads it.
void Renderer::Impl::replaceJob(std::unique_lock<std::mutex>& lock) {
    const std::shared_ptr<Job> old = std::move(job_);
    if (old) old->cancel();
    for (const PassJob& p : passJobs_) p.job->cancel();
    denoiser_.clear();
    idle_ = true;
    stateSignal_.wait(lock, [this] { return working_ == 0 || quit_; });
    if (quit_ || !scene_) return;
    std::shared_ptr<FilmBuffer> film = old ? old->filmHandle() : nullptr;
    if (!film || old.use_count() > 1 || film.use_count() > 2) film = std::make_shared<FilmBuffer>();
    job_ = std::make_shared<Job>(scene_, region(), std::move(film), sceneLevel_, subSample_);
    matchPasses(false);
    idle_ = false;
    turn_ = 0;
    sampling_ = false;
    sampledSeconds_ = 0.0;
    workSignal_.notify_all();
    displaySignal_.notify_all();
}

/// Makes the jobs of the info passes those that the scene asks for. `keep`: those that there are hold good.
void Renderer::Impl::matchPasses(bool keep) {
    passJobs_ = matchPassJobs(*scene_, region(), sceneLevel_, std::move(passJobs_), keep);
}

}  // namespace Lumora::engine
