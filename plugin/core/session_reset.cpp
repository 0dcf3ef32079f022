// Emptying the engine's project, and the default render target.
#include "engine/api/lumora_api.h"
#include "plugin/core/globals.h"
#include "plugin/core/log.h"
#include "plugin/core/object_link.h"
#include "plugin/core/send_thread.h"
#include "plugin/core/session.h"
#include "plugin/core/singletons.h"
#include "plugin/geometry/instance_manager.h"
#include "plugin/materials/engine_write.h"
#include "plugin/materials/material_manager.h"
#include "plugin/scene/environment_builder.h"
#include "plugin/scene/light_collector.h"

namespace lumora {

using Engine = Lumora::ApiRenderEngine;

namespace {

/// A camera that looks at the origin, and a material for what has none.
void makeDefaultTarget(lumoraLive& session) {
    Lumora::ApiRootNodeGraph& root = Lumora::ApiProjectManager::rootNodeGraph();
    session.renderTarget = createNode(Lumora::NT_RENDER_TARGET, root);
    if (!Engine::setRenderTargetNode(session.renderTarget)) logLine("renderTarget FALSE");
    if (!session.renderTarget) return;
    session.animationNode = ownedInput(session.renderTarget, Lumora::P_ANIMATION, Lumora::NT_ANIMATION_SETTINGS);

    singletons().matMngr->defaultMaterial();

    ApiNode* camera = ownedInput(session.renderTarget, Lumora::P_CAMERA, Lumora::NT_CAM_THINLENS);
    setFloat3IfChanged(camera, Lumora::P_TARGET, {0.8f, 0.8f, 0.8f});
    setFloat3IfChanged(camera, Lumora::P_POSITION, {4.0f, 1.0f, 0.8f});
    session.setResolution(session.renderWidth, session.renderHeight);
}

}  // namespace

void lumoraLive::resetScene(bool createDefaults) {
    if (!engineReady) return;
    Engine::setRenderTargetNode(nullptr);
    globals().breakSend = false;
    renderTarget = animationNode = mainGroup = nullptr;
    background.clear();
    foreground.clear();
    camera.sampled = false;
    Singletons& all = singletons();
    for (auto& builder : environments)
        if (builder) builder->reset();
    all.instances->resetForSend();
    all.lightCollector->clear();
    releaseMaterials();
    all.matMngr->forgetNodes();
    all.lghtMatMngr->forgetNodes();

    logLine("RESET PROJECT");
    if (const std::lock_guard guard(itemsLock); items) items->clear();
    clearGraph(Lumora::ApiProjectManager::rootNodeGraph());
    setState(LiveState::Exporting);
    logLine("Init defaults");
    if (createDefaults) makeDefaultTarget(*this);
    clearCollections();
}

void lumoraLive::clearCollections() {
    singletons().objectLinks->clear();
    if (SendThread* thread = singletons().sendThread.get()) thread->objectCheck.clear();
    collections.release();
}

void lumoraLive::releaseMaterials() {
    Singletons& all = singletons();
    // A preview or a pass of another thread ends first.
    constexpr Int32 kPollMs = 10;
    for (MatManager* manager : {all.matMngr.get(), all.prevMatMngr.get()}) {
        if (!manager) continue;
        if (all.prevMatMngr) all.prevMatMngr->cancelPreview = true;
        while (manager->busyUpdate || manager->busyPreview) GeSleep(kPollMs);
        manager->clearAll();
    }
}

void lumoraLive::collectItems(const char* label) {
    const std::lock_guard guard(itemsLock);
    if (!items) return;
    Lumora::ApiProjectManager::rootNodeGraph().getOwnedItems(*items);
    debugLine(String(label) + " items:" + String::IntToString(static_cast<Int64>(items->size())));
}

}  // namespace lumora
