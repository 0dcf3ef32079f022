#include "plugin/core/session.h"

#include "engine/api/lumora_api.h"
#include "plugin/core/engine_binding.h"
#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/core/object_link.h"
#include "plugin/core/singletons.h"
#include "plugin/materials/engine_write.h"
#include "plugin/render/render_settings.h"
#include "plugin/scene/environment_builder.h"

namespace lumora {

using Engine = Lumora::ApiRenderEngine;

void SceneCollections::clear() {
    for (RecordList& slot : meshSlots) slot.clear();
    for (RecordList* list :
         {&instances, &skyObjects, &hairObjects, &sunLights, &lights, &particleSources, &mographObjects})
        list->clear();
    slotNeedsLayerMap.fill(false);
    usedMaterials.clear();
    colourTotal = 0;
}

lumoraLive::lumoraLive() = default;
lumoraLive::~lumoraLive() = default;

namespace {
constexpr Int32 kFirstWidth = 400, kFirstHeight = 300;
}

bool lumoraLive::startViewer(BaseDocument* document) {
    globals().logLevel = 0;
    if (!windows.get(WindowKind::LiveViewer)) {
        setResolution(kFirstWidth, kFirstHeight);
        readDocumentResolution(document);
    }
    const bool ready = initLive(*this);
    showLiveViewer();
    if (!ready) tellEngineFailure();
    return ready;
}

Bool lumoraLive::Execute(BaseDocument* document) {
    windows.dropClosed(WindowKind::LiveViewer);
    if (finalRender || globals().pluginExited) return false;
    return startViewer(document);
}

Bool lumoraLive::RestoreLayout(void*) {
    windows.dropClosed(WindowKind::LiveViewer);
    if (finalRender || globals().pluginExited || !startViewer(nullptr)) return false;
    resetScene(true);
    // Nothing is being sent: a start would wait for the end of an export that never comes.
    setState(LiveState::Ready);
    return true;
}

// --- Windows --------------------------------------------------------------------------------------------------------

bool lumoraLive::openWindow(WindowKind kind) {
    if (globals().pluginExited) return false;
    if (windowRow(kind).needsEngine && !engineReady) initLive(*this);
    return windows.open(kind, *this);
}

bool lumoraLive::showLiveViewer() {
    windows.dropClosed(WindowKind::LiveViewer);
    WindowPlace place = windowRow(WindowKind::LiveViewer).place;
    place.width = renderWidth;
    place.height = renderHeight;
    return windows.open(WindowKind::LiveViewer, *this, &place);
}

bool lumoraLive::openLiveViewer() {
    if (globals().pluginExited) return false;
    if (!engineReady) initLive(*this);
    return showLiveViewer();
}

bool lumoraLive::openMainDialog() {
    if (!engineReady && !initLive(*this)) {
        tellEngineFailure();
        return false;
    }
    return openWindow(WindowKind::Main);
}

bool lumoraLive::openSettings(Int32 tab, Int32 subTab) {
    if (!openWindow(WindowKind::Settings)) return false;
    singletons().renderSettings->writeToDialog(*windows.get(WindowKind::Settings));
    windows.get(WindowKind::Settings)->showPage(String::IntToString(tab), String::IntToString(subTab));
    return true;
}

bool lumoraLive::openNodeEditor() {
    return openWindow(WindowKind::NodeEditor);
}

bool lumoraLive::openTextureManager() {
    return openWindow(WindowKind::TextureManager);
}

bool lumoraLive::openHelp(const String& page, const String& fallback) {
    if (!openWindow(WindowKind::Help)) return false;
    windows.get(WindowKind::Help)->showPage(page, fallback);
    return true;
}

bool lumoraLive::openMatVault() {
    if (finalRender) {
        MessageDialog("You can't use the MatVault while Lumora is rendering in Picture Viewer!");
        return false;
    }
    return openWindow(WindowKind::MatVault);
}

void lumoraLive::tellEngineFailure() {
    if (globals().pluginExited) return;
    MessageDialog("Lumora could not be initialised: " + engineError);
    windows.open(WindowKind::Settings, *this);
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
    if (GeIsMainThread())
        if (SessionWindow* viewer = windows.opened(WindowKind::LiveViewer)) viewer->filmResized(width, height);
    ApiNode* film = renderTarget->inputNode(Lumora::P_FILM_SETTINGS);
    if (!film) film = ownedInput(renderTarget, Lumora::P_FILM_SETTINGS, Lumora::NT_FILM_SETTINGS);
    setInt2IfChanged(film, Lumora::P_RESOLUTION, {width, height});
}

void lumoraLive::resizeRender(Int64 width, Int64 height) {
    constexpr Int64 kMaxSize = 65536;
    if (width < 1 || height < 1 || width > kMaxSize || height > kMaxSize) return;
    setResolution(static_cast<Int32>(width), static_cast<Int32>(height));
    lockedWidth = renderWidth;
    lockedHeight = renderHeight;
    if (state() != LiveState::Exporting) callUpdate(*this, false, "MSG_SIZED");
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
    if (state() == LiveState::Exporting) return;
    stopLocked(*this);
    setRenderEnabled(false);
    setState(LiveState::Idle);
}

void lumoraLive::stopAndReset() {
    if (finalRender || (state() == LiveState::Exporting && stage() < STAGE_UPDATING)) return;
    if (!engineReady) {
        stopRender();
        return;
    }
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
