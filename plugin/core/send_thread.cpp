#include "plugin/core/send_thread.h"

#include "plugin/core/engine_binding.h"
#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/core/session.h"

namespace lumora {

SendThread::~SendThread() {
    stop();
}

void SendThread::Main() {
    constexpr Int32 kPollMs = 5;
    running_ = true;
    blocked = busy = callUpdateWanted_ = false;
    while (running_ && !TestBreak()) {
        GeSleep(kPollMs);
        if (!callUpdateWanted_) continue;
        debugLine("SendThread callUpdate");
        callUpdate(session_, false, "SendThread");
        callUpdateWanted_ = false;
        SpecialEventAdd(MSG_REDRAW, 1);
    }
}

void SendThread::stop() {
    running_ = false;
    End(true);
}

}  // namespace lumora
