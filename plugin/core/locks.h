// The two locks of the session.
#pragma once

#include <atomic>
#include <thread>

#include "plugin/core/prelude.h"

namespace lumora {

/// A spin lock that knows its owner: the owning thread enters again, and leaves as often.
class OwnerSpinLock {
public:
    void lock();
    void unlock();

private:
    std::atomic<std::thread::id> owner_{};
    int depth_ = 0;
};

/// Guards the engine's start, pause, continue, restart and stop. Taking it waits for another taker at most a second
/// (500 times 2 ms); after that it logs "lock failed..." and the caller leaves the operation out.
/// The thread that holds it may take it again.
class EngineFlowLock {
public:
    bool take();
    void release();

private:
    std::atomic<bool> busy_{false};
    std::atomic<std::thread::id> owner_{};
    int depth_ = 0;
};

/// Takes the flow lock for a scope; test it before going on.
class FlowGuard {
public:
    explicit FlowGuard(EngineFlowLock& lock) : lock_(lock), taken_(lock.take()) {}
    ~FlowGuard() {
        if (taken_) lock_.release();
    }
    FlowGuard(const FlowGuard&) = delete;
    FlowGuard& operator=(const FlowGuard&) = delete;
    explicit operator bool() const { return taken_; }

private:
    EngineFlowLock& lock_;
    bool taken_;
};

}  // namespace lumora
