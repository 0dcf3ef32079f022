#include "plugin/core/plugin_end.h"

#include "engine/api/lumora_api.h"
#include "plugin/core/engine_binding.h"
#include "plugin/core/globals.h"
#include "plugin/core/log.h"
#include "plugin/core/mat_preview_thread.h"
#include "plugin/core/object_link.h"
#include "plugin/core/prefs.h"
#include "plugin/core/send_thread.h"
#include "plugin/core/session.h"
#include "plugin/core/singletons.h"
#include "plugin/geometry/instance_manager.h"
#include "plugin/geometry/mesh_collector.h"
#include "plugin/materials/material_manager.h"
#include "plugin/render/render_settings.h"
#include "plugin/scene/environment_builder.h"
#include "plugin/scene/light_collector.h"

namespace lumora {

namespace {

bool ended = false, released = false;

/// A send on another thread, or the final render around it, ends at its next test of the break flags, and uses the
/// managers until then. A send whose first update never came to the engine runs no longer: nothing is waited for.
bool sendRuns(const lumoraLive& session) {
    return session.finalRender || (session.state() == LiveState::Exporting && session.sendBusy);
}

void waitForSend(const lumoraLive& session) {
    if (!sendRuns(session)) return;
    if (session.engineReady) Lumora::ApiRenderEngine::setRenderTargetNode(nullptr);
    constexpr Int32 kStepMs = 1000, kPollMs = 20;
    while (sendRuns(session)) {
        StatusSetText("...");
        for (Int32 waited = 0; waited < kStepMs && sendRuns(session); waited += kPollMs) GeSleep(kPollMs);
    }
}

/// In the order in which they lean on each other. What the host borrowed (session, timer, commands) stays until the
/// next start: it may still be called.
void release(Singletons& all) {
    if (released) return;
    released = true;
    lumoraLive& session = *all.session;
    session.mixIcon.reset();
    session.blendIcon.reset();
    if (all.prefs) all.prefs->save();
    if (all.objectLinks) all.objectLinks->clear();
    if (all.sendThread) all.sendThread->objectCheck.clear();
    session.collections.release();
    if (all.lightCollector) all.lightCollector->clear();
    session.windows.closeAll();
    for (auto& builder : session.environments) builder.reset();
    all.sendThread.reset();
    all.matPreviewThread.reset();
    session.items.reset();
    session.finalStatus = nullptr;
    session.renderTarget = session.animationNode = session.mainGroup = nullptr;
    session.background.clear();
    session.foreground.clear();
    all.lghtMatMngr.reset();
    all.prevMatMngr.reset();
    all.documentLink.reset();
    all.meshBuilder.reset();
    all.instances.reset();
    all.lightCollector.reset();
    all.objectLinks.reset();
    all.renderSettings.reset();
    all.matMngr.reset();
    all.prefs.reset();
}

}  // namespace

void resetPluginEnd() {
    ended = released = false;
}

void endPluginActivity() {
    if (ended || !session()) return;
    ended = true;
    lumoraLive& live = *session();
    if (live.state() == LiveState::Exporting)
        logLine("Update of Lumora Scene is still in progress.\nIt will be forced to be closed.");
    globals().ending = true;
    globals().breakSend = true;
    globals().breakUpdate = true;
    waitForSend(live);
    const bool engineUp = live.engineReady;
    if (engineUp) removeCallbacks();
    release(singletons());
    live.engineReady = false;
    live.setState(LiveState::NotInit);
    if (engineUp) Lumora::apiMode_Shared_exit(nullptr);
    // From here on the message handlers leave the session alone.
    globals().pluginExited = true;
}

}  // namespace lumora
