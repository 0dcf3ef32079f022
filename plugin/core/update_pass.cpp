#include "plugin/core/update_pass.h"

#include <mutex>

#include "plugin/core/engine_binding.h"
#include "plugin/core/globals.h"
#include "plugin/core/log.h"
#include "plugin/core/send_thread.h"
#include "plugin/core/session.h"
#include "plugin/core/singletons.h"
#include "plugin/materials/material_manager.h"
#include "plugin/render/render_settings.h"
#include "plugin/scene/camera_node.h"

namespace lumora {

namespace {

bool mayCheck(lumoraLive& session) {
    if (!session.engineReady || session.finalRender || session.sendBusy || session.camera.filling ||
        !session.renderTarget)
        return false;
    const LiveState state = session.state();
    if (state < LiveState::Rendering || state == LiveState::FinalEnded) return false;
    session.refreshDocuments();
    return session.liveDoc && session.sendDoc && session.liveDoc == GetActiveDocument() && !isPausedLocked(session);
}

/// UpdateFlags of what was written.
Int32 check(lumoraLive& session, Int32 mask) {
    debugLine("check all updates");
    ++session.checkCount;
    Int32 flags = 0;
    session.checkOthersTime.start();
    if ((mask & CHECK_CAMERA) &&
        updateCamera(session, renderCamera(session.sendDoc), *singletons().renderSettings, false))
        flags |= UPDATE_CAMERA;
    session.checkOthersTime.end();
    if ((mask & CHECK_MATERIALS) && !globals().converting) {
        session.materialsTime.start();
        session.sendBusy = true;
        if (singletons().matMngr->checkAndUpdate()) flags |= UPDATE_MATERIALS;
        session.sendBusy = false;
        session.materialsTime.end();
    }
    return flags;
}

}  // namespace

bool updatePass(lumoraLive& session, Int32 mask, bool background, bool force) {
    Int32 flags = 0;
    {
        const std::lock_guard guard(session.updateLock);
        if (!mayCheck(session)) return false;
        if (!force && !updateAccepted(session)) {
            session.pendingUpdate = true;
            return false;
        }
        flags = check(session, mask);
        session.pendingUpdate = false;
    }
    if (flags == 0) return false;
    session.setProgress(STAGE_UPDATING, flags, true);
    Globals& all = globals();
    if (all.renderError) all.renderError = all.renderFailed = false;
    if (background && singletons().sendThread)
        singletons().sendThread->requestUpdate();
    else
        callUpdate(session, true, "ProcessUpdate");
    return true;
}

}  // namespace lumora
