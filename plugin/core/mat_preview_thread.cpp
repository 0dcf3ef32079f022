#include "plugin/core/mat_preview_thread.h"

namespace lumora {

MatPreviewThread::~MatPreviewThread() {
    stop();
}

void MatPreviewThread::Main() {
    std::unique_lock guard(lock_);
    for (;;) {
        wake_.wait(guard, [this] { return stopping_ || job_; });
        if (stopping_) break;
        const std::function<void()> job = std::move(job_);
        job_ = nullptr;
        working_ = true;
        guard.unlock();
        job();
        guard.lock();
        working_ = false;
    }
    job_ = nullptr;
}

bool MatPreviewThread::post(std::function<void()> job) {
    {
        const std::lock_guard guard(lock_);
        if (stopping_ || working_ || job_) return false;
        job_ = std::move(job);
    }
    wake_.notify_one();
    return true;
}

bool MatPreviewThread::isIdle() {
    const std::lock_guard guard(lock_);
    return !working_ && !job_;
}

void MatPreviewThread::stop() {
    {
        const std::lock_guard guard(lock_);
        stopping_ = true;
    }
    wake_.notify_one();
    End(true);
}

}  // namespace lumora
