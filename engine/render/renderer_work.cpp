// Sampling: the work threads.
#include <algorithm>

#include "engine/render/float_mode.h"
#include "engine/render/renderer_impl.h"

namespace Lumora::engine {

void Renderer::Impl::growPool() {
    while (pool_.size() < threads_) {
        const auto index = static_cast<unsigned>(pool_.size());
        pool_.emplace_back([this, index] { workLoop(index); });
    }
}

/// The picture comes first until each of its pixels has a sample; then it takes turns with its passes.
std::optional<Renderer::Impl::Work> Renderer::Impl::takeWork() {
    if (passJobs_.empty() || !job_->firstPassOut()) {
        if (auto unit = job_->take()) return Work{job_, *unit};
        if (passJobs_.empty()) return std::nullopt;
    }
    const std::size_t count = passJobs_.size() + 1;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t turn = turn_++ % count;
        const std::shared_ptr<Job>& job = turn == 0 ? job_ : passJobs_[turn - 1].job;
        if (auto unit = job->take()) return Work{job, *unit};
    }
    return std::nullopt;
}

bool Renderer::Impl::allFinished() const {
    return job_->finished() &&
           std::all_of(passJobs_.begin(), passJobs_.end(), [](const PassJob& p) { return p.job->finished(); });
}

std::uint64_t Renderer::Impl::samplesTaken() const {
    std::uint64_t sum = job_->samplesTaken();
    for (const PassJob& p : passJobs_) sum += p.job->samplesTaken();
    return sum;
}

void Renderer::Impl::workLoop(unsigned index) {
    flushDenormals();
    std::unique_lock lock(lock_);
    while (true) {
        workSignal_.wait(lock, [&] { return quit_ || mayWork(index); });
        if (quit_) return;
        std::optional<Work> work = takeWork();
        if (!work) {
            idle_ = true;
            displaySignal_.notify_all();
            continue;
        }
        ++working_;
        if (!sampling_) {
            sampling_ = true;
            samplingSince_ = RenderClock::now();
        }
        lock.unlock();
        bool failedNow = false;
        try {
            work->job->work(work->unit);
        } catch (const std::exception&) {
            failedNow = true;
        }
        if (failedNow) fail("There is not enough memory for sampling.");
        lock.lock();
        --working_;
        if (working_ == 0 && sampling_ && (idle_ || !mayWork(0))) {
            sampling_ = false;
            sampledSeconds_ += secondsSince(samplingSince_);
        }
        stateSignal_.notify_all();
        if (work->unit.block && work->job->coarseDone()) displaySignal_.notify_all();
        work.reset();  // not held while waiting, so that the film can be used again
        if (idle_ && working_ == 0) displaySignal_.notify_all();
    }
}

}  // namespace Lumora::engine
