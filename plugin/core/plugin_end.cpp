#include "plugin/core/plugin_end.h"

#include "engine/api/lumora_api.h"
#include "plugin/core/engine_binding.h"
#include "plugin/core/globals.h"
#include "plugin/core/log.h"
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

bool ended = false;

void waitForSend(lumoraLive& session) {
    if (session.state() != LiveState::Exporting) return;
    logLine("Update of Lumora Scene is still in progress.\nIt will be forced to be closed.");
    if (session.engineReady) Lumora::ApiRenderEngine::setRenderTargetNode(nullptr);
    constexpr Int32 kStepMs = 100;
    // A send on another thread ends at its next test of the break flag; one whose first update never came to the engine
    // has nothing left to wait for.
    while (session.state() == LiveState::Exporting && session.sendBusy) {
        GeSleep(kStepMs);
        StatusSetText("...");
    }
}

/// In the order in which they lean on each other. What the host borrowed (session, timer, commands) stays until the
/// next start: it may still be called.
void release(Singletons& all) {
    if (all.prefs) all.prefs->save();
    if (all.session) {
        for (auto& builder : all.session->environments) builder.reset();
        all.session->collections.clear();
        all.session->items.reset();
        all.session->progressListener = nullptr;
        all.session->finalStatus = nullptr;
        all.session->renderTarget = all.session->animationNode = all.session->mainGroup = nullptr;
    }
    all.sendThread.reset();
    all.instances.reset();
    all.renderSettings.reset();
    all.objectLinks.reset();
    all.lightCollector.reset();
    all.meshBuilder.reset();
    all.lghtMatMngr.reset();
    all.prevMatMngr.reset();
    all.matMngr.reset();
    all.documentLink.reset();
    all.prefs.reset();
}

}  // namespace

void resetPluginEnd() {
    ended = false;
}

void endPluginActivity() {
    if (ended || !session()) return;
    ended = true;
    lumoraLive& live = *session();
    globals().breakSend = true;
    globals().breakUpdate = true;
    waitForSend(live);
    const bool engineUp = live.engineReady;
    if (engineUp) removeCallbacks();
    release(singletons());
    globals().pluginExited = true;
    live.engineReady = false;
    live.setState(LiveState::NotInit);
    if (engineUp) Lumora::apiMode_Shared_exit(nullptr);
}

}  // namespace lumora
