#include "plugin/core/engine_callbacks.h"

#include <string>

#include "engine/api/lumora_api.h"
#include "plugin/core/engine_binding.h"
#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/core/session.h"

namespace lumora {

using Engine = Lumora::ApiRenderEngine;

namespace {

constexpr unsigned long long kLowMemory = 0x6400000;  // 100 MiB

void onNewImage(const Lumora::ApiArray<Lumora::ApiRenderImage>&, void* data) {
    lumoraLive& session = *static_cast<lumoraLive*>(data);
    globals().newImage = true;
    session.previousImageTime = session.lastImageTime.load();
    session.lastImageTime = GeGetTimer();
    if (session.finalRender) return;
    if (session.state() >= LiveState::Rendering) session.firstImage = false;
    SpecialEventAdd(MSG_REDRAW);
}

void onUpdateBuilt(unsigned long long level, void* data) {
    lumoraLive& session = *static_cast<lumoraLive*>(data);
    session.builtChangeLevel = level;
    session.lastUpdateMs = GeGetMilliSeconds() - session.updateStartedAt;
    session.updateTime.end();
    session.endUpdatingStage();
    // While a send writes the scene, an update of what was before it says nothing about the send.
    if (!session.sendBusy) session.changeState(LiveState::Exporting, LiveState::Rendering);
    session.updateInProgress = false;
    globals().updateRunning = false;
    if (!session.finalRender) SpecialEventAdd(MSG_REDRAW);
}

/// How far the render has got, in one line.
void writeStatistics() {
    Lumora::RenderResultStatistics statistics;
    Engine::getRenderResultStatistics(statistics);
    statusLine("Spp/maxspp:" + String::FloatToString(statistics.samplesPerPixel(Lumora::RP_BEAUTY), 0) + "/" +
               String::FloatToString(statistics.maxSamplesPerPixel(Lumora::RP_BEAUTY), 0) +
               " Time:" + String::FloatToString(statistics.renderSeconds, 1) + " sec.");
}

void onRenderFailure(void* data) {
    if (globals().renderFailed) return;
    lumoraLive& session = *static_cast<lumoraLive*>(data);
    logLine(String(std::string(88, '-')));
    logLine("<<< Render failure detected!!! >>>\nPlease check render statistics to solve the problem.");
    if (const char* why = Engine::renderFailureText(); why && *why) logLine(why);
    if (!session.finalRender) writeStatistics();
    unsigned long long used = 0, free = 0, total = 0, film = 0, geometry = 0, nodes = 0, textures = 0, compositor = 0;
    unsigned long long meshes = 0, textureCount = 0;
    Engine::getMemoryUsage(used, free, total, film, geometry, nodes, textures, compositor, meshes, textureCount);
    if (free < kLowMemory) {
        logLine("VRAM used/free/max:" + String(std::to_string(used)) + "/" + String(std::to_string(free)) + "/" +
                String(std::to_string(total)));
        logLine(
            "Free VRAM is too low!\nTry to decrease polygon counts and use out-of-core for textures.\n"
            "Use 'render instances' when it's possible.' ");
    }
    if (session.finalRender)
        logLine(
            "Check geometry subdivisons.\n Picture viewer uses 'Render' subdivisions. But Live Viewer uses "
            "'Editor' subdivision values.\n   Try to decrease 'render/editor' subdivison values.");
    globals().renderError = false;
    globals().renderFailed = true;
}

void onLogLine(const char* line) {
    engineLine(line);
}

}  // namespace

void installCallbacks(lumoraLive& session) {
    Engine::setOnNewImageCallback(onNewImage, &session);
    Engine::setOnRenderFailureCallback(onRenderFailure, &session);
    Engine::setDevicesActivity(nullptr, 0, nullptr, 0);
}

void installUpdateCallback(lumoraLive& session) {
    Engine::setAsyncUpdateCallback(onUpdateBuilt, &session);
}

void registerEngineLog() {
    Lumora::ApiLogManager::registerLogCallbackProc(onLogLine);
}

void removeCallbacks() {
    Engine::setOnNewImageCallback(nullptr, nullptr);
    Engine::setOnRenderFailureCallback(nullptr, nullptr);
    Lumora::ApiLogManager::unregisterLogCallbackProc(onLogLine);
    Engine::setAsyncUpdateCallback(nullptr, nullptr);
}

}  // namespace lumora
