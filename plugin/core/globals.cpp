#include "plugin/core/globals.h"

#include <memory>

namespace lumora {

namespace {
std::unique_ptr<Globals>& holder() {
    static auto current = std::make_unique<Globals>();
    return current;
}
}  // namespace

Globals& globals() {
    return *holder();
}

void resetGlobals() {
    holder() = std::make_unique<Globals>();
}

bool sendBroken() {
    Globals& flags = globals();
    if (flags.breakSend.load(std::memory_order_relaxed)) return true;
    if (flags.ending.load(std::memory_order_relaxed)) {
        flags.breakSend = true;  // a reset of the scene had cleared it
        return true;
    }
    C4DThread* thread = flags.breakThread.load(std::memory_order_relaxed);
    if (!thread || !thread->TestBreak()) return false;
    flags.breakSend = true;
    return true;
}

}  // namespace lumora
