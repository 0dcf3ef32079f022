#include "plugin/core/locks.h"

#include "plugin/core/log.h"

namespace lumora {

void OwnerSpinLock::lock() {
    const std::thread::id self = std::this_thread::get_id();
    if (owner_.load(std::memory_order_relaxed) == self) {
        ++depth_;
        return;
    }
    std::thread::id nobody{};
    while (!owner_.compare_exchange_weak(nobody, self, std::memory_order_acquire)) {
        nobody = {};
        std::this_thread::yield();
    }
    depth_ = 1;
}

void OwnerSpinLock::unlock() {
    if (--depth_ == 0) owner_.store({}, std::memory_order_release);
}

bool EngineFlowLock::take() {
    const std::thread::id self = std::this_thread::get_id();
    if (owner_.load(std::memory_order_relaxed) == self) {
        ++depth_;
        return true;
    }
    constexpr int kTries = 500;
    constexpr Int32 kWaitMs = 2;
    for (int i = 0; i < kTries; ++i) {
        if (!busy_.exchange(true, std::memory_order_acquire)) {
            owner_.store(self, std::memory_order_relaxed);
            depth_ = 1;
            return true;
        }
        GeSleep(kWaitMs);
    }
    logLine("lock failed...");
    return false;
}

void EngineFlowLock::release() {
    if (--depth_ > 0) return;
    owner_.store({}, std::memory_order_relaxed);
    busy_.store(false, std::memory_order_release);
}

}  // namespace lumora
