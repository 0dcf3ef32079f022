#include "plugin/core/remote_control.h"

#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/core/session.h"
#include "plugin/core/update_pass.h"

namespace lumora {

namespace {
enum RemoteCommand : Int32 {
    REMOTE_RESIZE = 100,
    REMOTE_START = 101,
    REMOTE_RESTART = 102,
    REMOTE_STOP = 103,
    REMOTE_WINDOW = 104,
    REMOTE_UPDATE = 105,
    REMOTE_SETTINGS = 106,
};
constexpr Int32 kWidth = 12, kHeight = 13, kWindow = 12;
}  // namespace

void remoteControl(lumoraLive& session, const BaseContainer& request) {
    const Int32 command = request.GetInt32(kRemoteCommand);
    logLine("cmd=" + String::IntToString(command));
    switch (command) {
        case REMOTE_RESIZE:
            // Whatever the resolution lock says: who asks shows the picture itself.
            if (!session.finalRender) session.resizeRender(request.GetInt32(kWidth), request.GetInt32(kHeight));
            break;
        case REMOTE_START:
            SpecialEventAdd(MSG_START_RENDER);
            break;
        case REMOTE_RESTART:
            SpecialEventAdd(MSG_RESTART_RENDER, reinterpret_cast<UInt64>(GetActiveDocument()));
            break;
        case REMOTE_STOP:
            if (!session.finalRender) session.stopRender();
            break;
        case REMOTE_WINDOW:
            session.externalWindow = request.GetInt64(kWindow);
            break;
        case REMOTE_UPDATE:
            updatePass(session, CHECK_CAMERA, false, true);
            break;
        case REMOTE_SETTINGS:
            SpecialEventAdd(MSG_OPEN_SETTINGS);
            break;
        default:
            break;
    }
}

}  // namespace lumora
