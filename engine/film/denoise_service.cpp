#include "engine/film/denoise_service.h"

#include <tbb/task_arena.h>

#include <algorithm>
#include <new>

namespace Lumora::engine {

DenoiseService::DenoiseService(std::function<void()> onDone) : onDone_(std::move(onDone)) {
    thread_ = std::thread([this] { loop(); });
}

DenoiseService::~DenoiseService() {
    {
        const std::lock_guard guard(lock_);
        quit_ = true;
        if (control_) control_->cancelled = true;
    }
    signal_.notify_all();
    thread_.join();
}

void DenoiseService::start(Task task) {
    const std::lock_guard guard(lock_);
    if (failedJob_ == task.job) return;
    if (task.final) {
        const auto same = [&](const std::optional<Task>& other) {
            return isFinalWork(other, task.job) && other->samples == task.samples;
        };
        const bool made = result_ && resultJob_ == task.job && result_->final && result_->samples == task.samples;
        const bool running = same(current_) && !control_->cancelled;
        if (made || same(next_) || running) return;
    }
    if (!task.final && ((current_ && current_->job == task.job) || (next_ && next_->job == task.job))) return;
    if (control_) control_->cancelled = true;
    next_ = std::move(task);
    signal_.notify_all();
}

void DenoiseService::cancel() {
    const std::lock_guard guard(lock_);
    if (control_) control_->cancelled = true;
    next_.reset();
    signal_.notify_all();
}

void DenoiseService::clear() {
    cancel();
    const std::lock_guard guard(lock_);
    result_.reset();
    resultJob_ = 0;
}

std::shared_ptr<const DenoiseService::Result> DenoiseService::latest(std::uint64_t job) const {
    const std::lock_guard guard(lock_);
    return resultJob_ == job ? result_ : nullptr;
}

std::shared_ptr<const DenoiseService::Result> DenoiseService::waitForFinal(std::uint64_t job) const {
    std::unique_lock lock(lock_);
    signal_.wait(lock, [&] { return quit_ || !(isFinalWork(next_, job) || isFinalWork(current_, job)); });
    return resultJob_ == job && result_ && result_->final ? result_ : nullptr;
}

float DenoiseService::progress(std::uint64_t job) const {
    const std::lock_guard guard(lock_);
    if ((resultJob_ == job && result_ && result_->final) || failedJob_ == job) return 1.0f;
    return isFinalWork(current_, job) && control_ ? std::min(control_->progress.load(), 0.999f) : 0.0f;
}

bool DenoiseService::busy() const {
    const std::lock_guard guard(lock_);
    return next_ || current_;
}

void DenoiseService::loop() {
    std::unique_lock lock(lock_);
    while (true) {
        signal_.wait(lock, [this] { return quit_ || next_; });
        if (quit_) return;
        current_ = std::move(next_);
        next_.reset();
        control_ = std::make_shared<DenoiseControl>();
        const Task task = *current_;
        const std::shared_ptr<DenoiseControl> control = control_;
        lock.unlock();
        std::shared_ptr<Result> result;
        bool failed = false;
        try {
            auto made = std::make_shared<Result>();
            made->final = task.final;
            made->samples = task.samples;
            tbb::task_arena arena(std::clamp(task.threads, 1, tbb::this_task_arena::max_concurrency()));
            if (arena.execute([&] { return denoise(*task.film, *control, made->picture); })) result = std::move(made);
        } catch (const std::bad_alloc&) {
            failed = true;
        }
        lock.lock();
        control_.reset();
        current_.reset();
        if (control->cancelled) result.reset();
        if (failed && task.final) failedJob_ = task.job;
        const bool news = result != nullptr;
        if (news) {
            result_ = std::move(result);
            resultJob_ = task.job;
        }
        signal_.notify_all();
        if ((news || failed) && !quit_) {
            lock.unlock();
            onDone_();
            lock.lock();
        }
    }
}

}  // namespace Lumora::engine
