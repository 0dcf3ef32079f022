// The thread that draws pictures of materials, away from whoever asked for them. Sleeps until it is given a job.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>

#include "plugin/core/prelude.h"

namespace lumora {

class MatPreviewThread : public C4DThread {
public:
    ~MatPreviewThread() override;

    void Main() override;
    const char* GetThreadName() override { return "MatPreviewThread"; }

    /// Hands over a job; false while another waits or runs, or when the thread ends. Any thread.
    bool post(std::function<void()> job);
    bool isIdle();
    /// Lets the job that runs end and the loop with it; returns when it has left.
    void stop();

private:
    std::mutex lock_;
    std::condition_variable wake_;
    std::function<void()> job_;
    bool working_ = false, stopping_ = false;
};

}  // namespace lumora
