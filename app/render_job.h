// A render on a thread of its own, watched from the main thread.
#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "host/sdk/render.h"

namespace app {

/// Main thread: start(), then look at done(), fraction() and status() until it is done, delivering events meanwhile;
/// stop() asks it to end early. What is referenced must outlive the job.
class RenderJob : public host::C4DThread {
public:
    RenderJob(host::BaseDocument& document, const host::BaseContainer& renderData, host::MultipassBitmap& pictures);
    ~RenderJob() override;

    bool start() { return Start(); }
    void stop() { End(false); }

    bool done() const { return done_.load(std::memory_order_acquire); }
    double fraction() const { return fraction_.load(std::memory_order_relaxed); }
    std::string status() const;

    /// Whether the beauty picture holds anything. These three once done() is true.
    bool hasPicture() const { return hasPicture_.load(std::memory_order_relaxed); }
    host::RenderResult result() const { return result_; }
    const std::string& error() const { return error_; }

    void Main() override;
    const char* GetThreadName() override { return "lumora render"; }

private:
    host::BaseDocument& document_;
    const host::BaseContainer& renderData_;
    host::MultipassBitmap& pictures_;
    std::atomic<bool> done_{false}, hasPicture_{false};
    std::atomic<double> fraction_{0};
    mutable std::mutex mutex_;
    std::string status_;  // guarded by the mutex
    host::RenderResult result_ = host::RenderResult::Failed;
    std::string error_;
};

}  // namespace app
