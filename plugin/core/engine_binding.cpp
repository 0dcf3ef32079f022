#include "plugin/core/engine_binding.h"

#include <omp.h>

#include <algorithm>
#include <mutex>

#include "engine/api/lumora_api.h"
#include "plugin/core/engine_callbacks.h"
#include "plugin/core/globals.h"
#include "plugin/core/log.h"
#include "plugin/core/prefs.h"
#include "plugin/core/session.h"
#include "plugin/core/singletons.h"
#include "plugin/materials/engine_write.h"
#include "plugin/materials/material_manager.h"
#include "plugin/scene/environment_builder.h"

namespace lumora {

using Engine = Lumora::ApiRenderEngine;

namespace {

/// What the engine's log calls this plug-in.
constexpr const char* kIdentifier = "c4dLumoraBridge";
constexpr Int32 kHostOnMac = 2;
constexpr Float kVersionCheckDelayMs = 10000;

/// The film that is rendered when no region is set is as large as any.
constexpr int kWholeFilm = 65536;

String& libraryError() {
    static String text;
    return text;
}

/// Keeps two processors for the host when the preference asks for all, or for more than there are.
void limitThreadPreference(PluginPrefs& prefs) {
    const Int32 threads = omp_get_max_threads();
    const Int32 wanted = prefs.getInt(PREF_CPU_CORES);
    if (wanted == 0 || wanted > threads - 1) prefs.set(PREF_CPU_CORES, std::max(1, threads - 2));
}

ApiNode* filmSettings(const lumoraLive& session) {
    return session.renderTarget ? session.renderTarget->inputNode(Lumora::P_FILM_SETTINGS) : nullptr;
}

/// Once each: an icon that could not be read stays empty and is not read again.
void loadIcon(std::unique_ptr<BaseBitmap>& icon, const char* file) {
    if (icon) return;
    icon = std::make_unique<BaseBitmap>();
    const Filename path = GeGetPluginResourcePath() + file;
    if (icon->Init(path) != ImageResult::Ok) logLine("Failed to load " + path.GetString());
}

}  // namespace

void setEngineLibraryError(const String& why) {
    libraryError() = why;
}

const String& engineLibraryError() {
    return libraryError();
}

void engineStart(lumoraLive& session) {
    if (session.engineReady) return;
    PluginPrefs& prefs = *singletons().prefs;
    limitThreadPreference(prefs);
    globals().nextVersionCheck = GeGetMilliSeconds() + kVersionCheckDelayMs;
    if (engineLibraryError().Content()) {
        session.engineError = engineLibraryError();
        GeConsoleOut("ERROR:" + session.engineError);
        logLine("Plugin cannot initialized ");
        return;
    }
    if (!session.engineStarted) {
        const char* why = nullptr;
        if (!Lumora::apiMode_Shared_start(kIdentifier, GetOperatingSystem() != kHostOnMac, &why, nullptr, nullptr,
                                          false)) {
            session.engineError = why && *why ? why : "the engine gave no reason";
            GeConsoleOut("ERROR:" + session.engineError);
            logLine("Plugin cannot initialized ");
            return;
        }
    }
    session.engineStarted = true;
    session.engineError = {};
    // As many threads as the host uses itself: its user may have chosen the number.
    const Int32 threads = GeGetCurrentThreadCount();
    Engine::setThreadCount(static_cast<unsigned>(std::max(1, threads)));
    omp_set_num_threads(std::max(1, threads));
    setAttrIfChanged(&Lumora::ApiProjectManager::applicationPreferences(), Lumora::A_PREFERENCE_SHARED_CONTEXT,
                     prefs.getBool(PREF_SHOW_ERRORS));
    logLine("Plugin initialized.");
    session.engineReady = true;
}

bool initLive(lumoraLive& session) {
    if (globals().pluginExited) return false;
    {
        FlowGuard guard(session.flowLock);
        if (!guard) return session.engineReady;
        const Float start = GeGetMilliSeconds();
        logLine("Init LumoraLive...");
        engineStart(session);
        logLine(String::FloatToString((GeGetMilliSeconds() - start) / 1000.0, 2) + " sec.");
        if (session.engineReady) {
            if (!session.items) session.items = std::make_unique<Lumora::ApiItemArray>();
            readDeviceBlock(session.devices);
            // Once: a choice of devices made since then, for one render or on the command line, stays.
            if (!session.live) installCallbacks(session);
            session.live = true;
        } else {
            logLine("Initialization error!!!!");
        }
    }
    session.windows.setEnabled(WindowKind::Settings, ELEMENT_DEVICE_PAGE, session.engineReady);
    if (!session.engineReady) return false;
    for (std::size_t i = 0; i < session.environments.size(); ++i)
        if (!session.environments[i]) {
            session.environments[i] = std::make_unique<EnvironmentBuilder>(*singletons().lghtMatMngr);
            session.environments[i]->setVisible(i == 1);
        }
    session.changeState(LiveState::NotInit, LiveState::Ready);
    loadIcon(session.mixIcon, "mixMat-icon.png");
    loadIcon(session.blendIcon, "blend-icon.png");
    return true;
}

bool callUpdate(lumoraLive& session, bool wait, const char* label) {
    if (!session.engineReady) return false;
    unsigned long long level = 0;
    {
        std::lock_guard guard(session.updateLock);
        level = Engine::getCurrentChangeLevel();
        if (Engine::getRenderImageChangeLevel() < level && session.updateInProgress) return false;
        if (!Engine::updatesAreAsync()) installUpdateCallback(session);
        const unsigned long long before = level;
        session.updateInProgress = true;
        globals().updateRunning = true;
        session.updateStartedAt = GeGetMilliSeconds();
        session.updateTime.start();
        Lumora::ApiChangeManager::update();
        level = Engine::getCurrentChangeLevel();
        if (level == before) {
            session.updateInProgress = false;
            globals().updateRunning = false;
            session.setProgress(STAGE_UPDATED, 0, false);
            return false;
        }
        ++session.updateCount;
        debugLine(String("update ") + label + " level:" + String::IntToString(static_cast<Int64>(level)));
    }
    session.collectItems(label);
    constexpr Int32 kPollMs = 5;
    while (wait && session.builtChangeLevel.load() < level && !globals().renderFailed) GeSleep(kPollMs);
    return true;
}

bool updateAccepted(lumoraLive& session) {
    return !session.updateInProgress || Engine::getRenderImageChangeLevel() >= Engine::getCurrentChangeLevel();
}

// --- Flow -----------------------------------------------------------------------------------------------------------

namespace {
template <typename Operation>
bool underFlowLock(lumoraLive& session, Operation operation) {
    if (!session.engineReady) return false;
    FlowGuard guard(session.flowLock);
    if (!guard) return false;
    operation();
    return true;
}
}  // namespace

bool pauseLocked(lumoraLive& session) {
    return underFlowLock(session, Engine::pauseRendering);
}
bool continueLocked(lumoraLive& session) {
    return underFlowLock(session, Engine::continueRendering);
}
bool restartLocked(lumoraLive& session) {
    return underFlowLock(session, Engine::restartRendering);
}
bool stopLocked(lumoraLive& session) {
    return underFlowLock(session, Engine::stopRendering);
}
bool isPausedLocked(lumoraLive& session) {
    bool paused = false;
    underFlowLock(session, [&] { paused = Engine::isRenderingPaused(); });
    return paused;
}

// --- Film region ----------------------------------------------------------------------------------------------------

bool writeFilmRegion(lumoraLive& session, bool on, Lumora::Vec2<int> start, Lumora::Vec2<int> end) {
    ApiNode* film = filmSettings(session);
    if (!film) {
        logLine("Null film_settings");
        return false;
    }
    const Int2 size = on ? Int2{end.x - start.x, end.y - start.y} : Int2{kWholeFilm, kWholeFilm};
    setInt2IfChanged(film, Lumora::P_REGION_START, on ? start : Int2{0, 0});
    setInt2IfChanged(film, Lumora::P_REGION_SIZE, size);
    session.regionActive = on;
    return true;
}

void setFilmRegion(lumoraLive& session, bool on, Lumora::Vec2<int> start, Lumora::Vec2<int> end) {
    if (!writeFilmRegion(session, on, start, end)) return;
    Lumora::ApiChangeManager::update();
    restartLocked(session);
}

bool getFilmRegion(lumoraLive& session, Lumora::Vec2<int>* resolution, Lumora::Vec2<int>* start,
                   Lumora::Vec2<int>* size) {
    const ApiNode* film = filmSettings(session);
    if (!film) return false;
    *resolution = film->getPinInt2(Lumora::P_RESOLUTION);
    *start = film->getPinInt2(Lumora::P_REGION_START);
    *size = film->getPinInt2(Lumora::P_REGION_SIZE);
    return !(*start == Int2{0, 0} && *size == Int2{kWholeFilm, kWholeFilm});
}

}  // namespace lumora
