// The background thread: pushes updates into the engine when the main thread would rather not.
#pragma once

#include <atomic>

#include "plugin/core/prelude.h"

namespace lumora {

class lumoraLive;

class SendThread : public C4DThread {
public:
    explicit SendThread(lumoraLive& session) : session_(session) {}
    ~SendThread() override;

    void Main() override;
    const char* GetThreadName() override { return "SendThread"; }

    bool isIdle() const { return !blocked && !busy && !callUpdateWanted_; }
    /// Asks for a callUpdate off the main thread; a redraw message follows it.
    void requestUpdate() { callUpdateWanted_ = true; }
    /// Ends the loop; returns when it has left.
    void stop();

    std::atomic<bool> blocked{false}, busy{false};

private:
    lumoraLive& session_;
    std::atomic<bool> running_{false}, callUpdateWanted_{false};
};

}  // namespace lumora
