#include "plugin/core/timer_message.h"

#include <algorithm>

#include "engine/api/lumora_api.h"
#include "plugin/core/commands.h"
#include "plugin/core/engine_binding.h"
#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/core/prefs.h"
#include "plugin/core/send.h"
#include "plugin/core/session.h"
#include "plugin/core/singletons.h"
#include "plugin/materials/material_identity.h"
#include "plugin/materials/material_manager.h"
#include "plugin/render/render_settings.h"
#include "plugin/scene/camera_node.h"

namespace lumora {

using Engine = Lumora::ApiRenderEngine;

namespace {
constexpr Int32 kTimerMs = 500;
/// Size by which the picture over the view grows back at each tick.
constexpr Float kViewportGrowth = 0.05;
/// Of the host: what is under the pointer changed. Comes with every move of it and says nothing about the scene.
constexpr Int32 kPointerMoved = 200000073;
}  // namespace

struct TimerMessage::Row {
    Int32 id;
    void (TimerMessage::*serve)(UInt64, UInt64);
};

/// Messages that are served outside final renders.
const TimerMessage::Row TimerMessage::kRows[] = {
    {MSG_START_RENDER, &TimerMessage::startRender},
    {MSG_RESTART_RENDER, &TimerMessage::restartRender},
    {MSG_RESIZE, &TimerMessage::resize},
    {MSG_CHANGE_KERNEL, &TimerMessage::changeKernel},
    {MSG_CLAY_MODE, &TimerMessage::setClayMode},
    {MSG_INIT_ENGINE, &TimerMessage::initEngine},
    {MSG_REFRESH_DIALOGS, &TimerMessage::refreshDialogs},
    {MSG_RESTARTED, &TimerMessage::refreshDialogs},
    {MSG_DEVICES_RENDER, &TimerMessage::applyDevicesAndRedraw},
    {MSG_DEVICES_TONEMAP, &TimerMessage::applyDevicesAndRedraw},
    {MSG_DEVICES_DENOISE, &TimerMessage::applyDevicesAndRedraw},
    {MSG_DEVICES_PRIORITY, &TimerMessage::applyDevices},
    {MSG_CONVERT_MATERIALS, &TimerMessage::convertMaterials},
};

bool sampleTargetReached() {
    if (Engine::getRenderImageChangeLevel() < Engine::getCurrentChangeLevel()) return false;
    Lumora::RenderResultStatistics statistics;
    Engine::getRenderResultStatistics(statistics);
    if (statistics.passCount == 0) return false;
    return std::all_of(statistics.passProgress, statistics.passProgress + statistics.passCount,
                       [](float progress) { return progress >= 1.0f; });
}

Int32 TimerMessage::GetTimer() {
    return kTimerMs;
}

Bool TimerMessage::CoreMessage(Int32 id, const BaseContainer& message) {
    Globals& flags = globals();
    if (flags.pluginExited) return false;
    const auto first = static_cast<UInt64>(message.GetInt64(BFM_CORE_PAR1));
    const auto second = static_cast<UInt64>(message.GetInt64(BFM_CORE_PAR2));
    if (id == MSG_STORE_MATERIAL_POINTERS) storePointers();
    if (id == MSG_OPEN_NODE_EDITOR && !session_.finalRender) serveWindows(id, first, second);
    if (id == MSG_INIT_ENGINE && !session_.finalRender) initEngine(0, 0);
    if (!session_.engineStarted) {
        // The first start message comes before the engine runs.
        if (id != MSG_START_RENDER || session_.finalRender || !initLive(session_)) return false;
    }
    if (id == EVMSG_TIMER && flags.viewportFactor < 1.0)
        flags.viewportFactor = std::min(1.0, flags.viewportFactor + kViewportGrowth);
    if (flags.renderFailed && !flags.renderError) {
        handleFailure();
        return true;
    }
    handleSampleTarget();
    session_.updateStatusLine();
    if (id == MSG_DRAW_VIEWS || id == MSG_DRAW_VIEWS_OVERLAY) {
        DrawViews(id == MSG_DRAW_VIEWS ? 0x8000 : 0x3402);
        return true;
    }
    if (session_.finalRender || id == kPointerMoved) return false;
    if (id == EVMSG_DOCUMENTRECALCULATED || id == EVMSG_ACTIVEDOCUMENT) documentChanged();
    if (id == EVMSG_CHANGE) {
        storePointers();
        flags.hostEvent = true;
    }
    if (id != MSG_OPEN_NODE_EDITOR) serveWindows(id, first, second);
    for (const Row& row : kRows)
        if (row.id == id && id != MSG_INIT_ENGINE) (this->*row.serve)(first, second);
    return true;
}

void TimerMessage::serveWindows(Int32 id, UInt64 first, UInt64 second) {
    for (const WindowRow& row : windowRows())
        if (row.closeMessage != 0 && row.closeMessage == id) session_.windows.close(row.kind);
    switch (id) {
        case MSG_OPEN_NODE_EDITOR:
            session_.openNodeEditor();
            break;
        case MSG_OPEN_TEXTURE_MANAGER:
            if (session_.windows.opened(WindowKind::TextureManager))
                session_.windows.close(WindowKind::TextureManager);
            else
                session_.openTextureManager();
            break;
        case MSG_OPEN_SETTINGS:
            session_.openSettings(static_cast<Int32>(first), static_cast<Int32>(second));
            break;
        case MSG_OPEN_HELP: {
            const auto text = [](UInt64 address) { return address ? reinterpret_cast<const char*>(address) : ""; };
            session_.openHelp(text(first), text(second));
            break;
        }
        default:
            break;
    }
}

void TimerMessage::refreshDialogs(UInt64, UInt64) {
    session_.showPendingProgress();
    session_.windows.refresh();
}

void TimerMessage::applyDevices(UInt64, UInt64) {
    if (!session_.engineReady || session_.state() == LiveState::NotInit) return;
    if (const SessionWindow* dialog = session_.windows.opened(WindowKind::Settings))
        readDeviceDialog(session_.devices, *dialog);
    applyDeviceBlock(session_.devices);
}

void TimerMessage::applyDevicesAndRedraw(UInt64, UInt64) {
    applyDevices(0, 0);
    SpecialEventAdd(MSG_REDRAW);
}

void TimerMessage::convertMaterials(UInt64, UInt64) {
    if (!session_.engineReady) return;
    session_.guiBusy = true;
    session_.windows.refresh();
    convertMaterialsOf(GetActiveDocument());
    session_.guiBusy = !session_.renderEnabled;
    session_.windows.refresh();
}

void TimerMessage::handleFailure() {
    GeConsoleOut(
        "Render Failure...Please check Lumora Render Log Window from Settings->Other->Show Render Log button...");
    globals().renderError = true;
    if (session_.finalRender) {
        stopLocked(session_);
        return;  // the frame's own loop ends and clears what it made
    }
    session_.setState(LiveState::Idle);
}

void TimerMessage::handleSampleTarget() {
    if (session_.finalRender || !session_.renderEnabled || globals().renderError) return;
    const LiveState state = session_.state();
    if (state != LiveState::Rendering && state != LiveState::Finished) return;
    const bool reached = sampleTargetReached();
    if (state == LiveState::Rendering && reached) session_.setState(LiveState::Finished);
    if (state == LiveState::Finished && !reached) session_.setState(LiveState::Rendering);
}

void TimerMessage::documentChanged() {
    if (!session_.engineReady) return;
    Singletons& all = singletons();
    BaseDocument* document = GetActiveDocument();
    if (!document || all.documentLink->ForceGetLink() == document) return;
    all.documentLink->SetLink(document);
    RenderSettings& settings = *all.renderSettings;
    settings.resetDefaults();
    settings.setDocument(document, session_.engineReady);
    settings.readFromDocument(false);
    session_.viewportMode = false;
    showSettings(settings);
    session_.windows.refresh();
    debugLine("INTERNAL MESSAGE: [DOCUMENT CHANGED]");
}

void TimerMessage::showSettings(const RenderSettings& settings) {
    if (SessionWindow* dialog = session_.windows.opened(WindowKind::Settings)) settings.writeToDialog(*dialog);
}

void TimerMessage::startRender(UInt64 viewportMode, UInt64) {
    startLiveRender(session_, viewportMode != 0);
}

void TimerMessage::restartRender(UInt64, UInt64) {
    if (!session_.engineReady || !session_.renderTarget) return;
    if (!Engine::setRenderTargetNode(session_.renderTarget)) logLine("renderTarget FALSE");
    callUpdate(session_, false, "restart");
    restartLocked(session_);
    session_.setRenderEnabled(true);
    session_.setState(LiveState::Rendering);
    SpecialEventAdd(MSG_RESTARTED);
}

void TimerMessage::resize(UInt64 width, UInt64 height) {
    if (!session_.lockResolution) {
        session_.resizeRender(static_cast<Int64>(width), static_cast<Int64>(height));
        return;
    }
    session_.readDocumentResolution(GetActiveDocument());
    session_.setResolution(session_.renderWidth, session_.renderHeight);
    if (session_.state() != LiveState::Exporting) callUpdate(session_, false, "MSG_SIZED");
}

void TimerMessage::changeKernel(UInt64 kernel, UInt64 infoType) {
    RenderSettings& settings = *singletons().renderSettings;
    settings.setKernel(static_cast<Int32>(kernel), false);
    if (static_cast<Int32>(infoType) != -1)
        settings.setValueByKey("Ic", "type", static_cast<Float>(static_cast<Int32>(infoType)), false);
    settings.writeToDocument();
    showSettings(settings);
    if (session_.state() == LiveState::NotInit || !session_.renderEnabled || !session_.renderTarget) return;
    settings.apply(session_.renderTarget, singletons().prefs.get());
    session_.refreshDocuments();
    if (session_.sendDoc) updateCamera(session_, renderCamera(session_.sendDoc), settings, false);
    if (session_.state() != LiveState::Exporting) callUpdate(session_, false, "CoreMessage");
}

void TimerMessage::setClayMode(UInt64 mode, UInt64) {
    globals().clayMode = static_cast<Int32>(mode);
    if (!session_.engineReady) return;
    Engine::setClayMode(static_cast<Lumora::ClayMode>(mode));
    callUpdate(session_, false, "clay mode");
    SpecialEventAdd(MSG_REFRESH_DIALOGS);
}

void TimerMessage::initEngine(UInt64, UInt64) {
    initLive(session_);
}

void TimerMessage::storePointers() {
    if (BaseDocument* document = GetActiveDocument()) storeMaterialPointers(*document);
}

}  // namespace lumora
