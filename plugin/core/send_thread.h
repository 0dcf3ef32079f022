// The background thread: pushes updates into the engine when the main thread would rather not. It holds what is known
// of the movable objects, which only sends, checks and updates touch, never the thread itself.
#pragma once

#include <atomic>

#include "plugin/core/object_check.h"
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
    /// The movable objects' links, slot by slot. Main thread, or the thread of a final render's send.
    ObjectCheck objectCheck;

private:
    lumoraLive& session_;
    std::atomic<bool> running_{false}, callUpdateWanted_{false};
};

}  // namespace lumora
