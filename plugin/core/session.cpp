#include "plugin/core/session.h"

#include "engine/api/lumora_api.h"
#include "plugin/core/engine_binding.h"
#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/core/object_link.h"
#include "plugin/core/singletons.h"
#include "plugin/materials/engine_write.h"
#include "plugin/scene/environment_builder.h"

namespace lumora {

using Engine = Lumora::ApiRenderEngine;

void SceneCollections::clear() {
    *this = {};
}

lumoraLive::lumoraLive() = default;
lumoraLive::~lumoraLive() = default;

Bool lumoraLive::Execute(BaseDocument* document) {
    if (finalRender) return false;
    globals().logLevel = 0;
    setResolution(400, 300);
    readDocumentResolution(document);
    if (!initLive(*this)) {
        MessageDialog("Lumora could not be initialised: " + engineError);
        return false;
    }
    startRender();
    return true;
}

Bool lumoraLive::RestoreLayout(void*) {
    if (finalRender) return false;
    setResolution(400, 300);
    if (!initLive(*this)) return false;
    resetScene(true);
    setState(LiveState::Ready);
    return true;
}

// --- Documents ------------------------------------------------------------------------------------------------------

void lumoraLive::setDocuments(BaseDocument* live, BaseDocument* send) {
    liveLink.SetLink(live);
    copyLink.SetLink(send);
    liveDoc = live;
    sendDoc = send;
}

void lumoraLive::refreshDocuments() {
    liveDoc = static_cast<BaseDocument*>(liveLink.ForceGetLink());
    sendDoc = static_cast<BaseDocument*>(copyLink.ForceGetLink());
}

// --- Render target --------------------------------------------------------------------------------------------------

void lumoraLive::setResolution(Int32 width, Int32 height) {
    renderWidth = width;
    renderHeight = height;
    if (!renderTarget) return;
    ApiNode* film = renderTarget->inputNode(Lumora::P_FILM_SETTINGS);
    if (!film) film = ownedInput(renderTarget, Lumora::P_FILM_SETTINGS, Lumora::NT_FILM_SETTINGS);
    setInt2IfChanged(film, Lumora::P_RESOLUTION, {width, height});
}

void lumoraLive::readDocumentResolution(BaseDocument* document) {
    if (!document) return;
    const BaseContainer* data = document->GetActiveRenderData()->GetDataInstance();
    const Float scale = lockResolution ? renderScale : 1.0;
    renderWidth = static_cast<Int32>(data->GetFloat(RDATA_XRES, renderWidth) * scale);
    renderHeight = static_cast<Int32>(data->GetFloat(RDATA_YRES, renderHeight) * scale);
}

// --- Flow -----------------------------------------------------------------------------------------------------------

void lumoraLive::startRender() {
    SpecialEventAdd(MSG_START_RENDER);
}

void lumoraLive::setRenderEnabled(bool on) {
    renderEnabled = on;
    guiBusy = !on;
    SpecialEventAdd(MSG_REFRESH_DIALOGS);
}

void lumoraLive::stopRender() {
    if (state() == LiveState::Exporting || state() == LiveState::NotInit) return;
    stopLocked(*this);
    setRenderEnabled(false);
    setState(LiveState::Idle);
}

void lumoraLive::stopAndReset() {
    if (finalRender || !engineReady) return;
    if (state() == LiveState::Exporting && stage() < STAGE_UPDATING) return;
    Engine::resetRenderFailure();
    globals().renderFailed = false;
    globals().renderError = false;
    stopLocked(*this);
    releaseMaterials();
    resetScene(false);
    setRenderEnabled(false);
    setState(LiveState::Idle);
    viewportDraw = false;
    updateInProgress = false;
    stage_ = STAGE_UPDATED;
    SpecialEventAdd(MSG_REDRAW);
    giveDevicesBack();
}

void lumoraLive::pauseRender(bool on) {
    if (state() == LiveState::Exporting || !engineReady) return;
    if (on == isPausedLocked(*this)) return;
    const bool done = on ? pauseLocked(*this) : continueLocked(*this);
    if (done) setState(on ? LiveState::Idle : LiveState::Rendering);
    SpecialEventAdd(MSG_REFRESH_DIALOGS);
}

}  // namespace lumora
