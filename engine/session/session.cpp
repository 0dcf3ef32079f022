#include "engine/session/session.h"

#include <cstdlib>
#include <exception>
#include <thread>

#include "engine/api/api_change_manager.h"
#include "engine/api/api_project_manager.h"
#include "engine/api/shared_mode.h"
#include "engine/graph/log.h"
#include "engine/session/devices.h"

namespace Lumora {

namespace engine {

Session& session() {
    static Session instance;
    return instance;
}

Scene& Session::project() {
    if (!project_) {
        project_ = createScene();
    }
    return *project_;
}

Node& Session::preferences() {
    if (!preferences_) {
        preferences_ = newNode(NT_PREFERENCES, &project());
    }
    return *preferences_;
}

void Session::dropProject() {
    if (preferences_) {
        destroyItems({preferences_});
        preferences_ = nullptr;
    }
    if (project_) {
        destroyScene(project_);
        project_ = nullptr;
    }
}

void Session::noteRenderStart() {
    renderStart = std::chrono::steady_clock::now();
    finishedSeconds = 0;
}

std::shared_ptr<Renderer> currentRenderer() {
    LUMORA_GRAPH_GUARD;
    return session().renderer;
}

}  // namespace engine

using namespace engine;

namespace {

/// Text that a caller may keep until the next call.
bool fail(const char** errorText, std::string text) {
    static std::string kept;
    kept = std::move(text);
    logLine(LOGLEVEL_ERRORS, "The engine does not start: %s", kept.c_str());
    if (errorText) {
        *errorText = kept.c_str();
    }
    return false;
}

}  // namespace

bool apiMode_Shared_start(const char* id, bool, const char** errorText, char* (*)(void*), void*, bool verbose) {
    LUMORA_GRAPH_GUARD;
    if (errorText) {
        *errorText = nullptr;
    }
    Session& s = session();
    if (s.renderer) {
        return true;
    }
    // A way to see what a host does when the engine cannot start.
    if (const char* text = std::getenv("LUMORA_ENGINE_FAIL_START"); text && *text) {
        return fail(errorText, text);
    }
    if (const std::string missing = missingInstructions(); !missing.empty()) {
        return fail(errorText, "the processor lacks instructions that this build of the engine needs: " + missing);
    }
    try {
        s.renderer = std::make_shared<Renderer>(rendererCallbacks());
    } catch (const std::exception& error) {
        return fail(errorText, std::string("the renderer could not be set up: ") + error.what());
    }
    if (verbose) {
        ApiLogManager::setLogLevel(LOGLEVEL_DEBUG);
    }
    s.changeLevel = 0;
    s.sentView = {};
    s.renderer->setThreadCount(s.threads);
    s.renderer->setOutput(s.tonemapType, s.passes);
    s.noteRenderStart();
    logLine(LOGLEVEL_INFO, "Started for %s on %s.", id ? id : "an unnamed caller", ApiRenderEngine::getDeviceName(0));
    return true;
}

bool apiMode_Shared_exit(const char** errorText) {
    if (errorText) {
        *errorText = nullptr;
    }
    std::shared_ptr<Renderer> renderer;
    {
        LUMORA_GRAPH_GUARD;
        renderer = std::move(session().renderer);
        session().renderer = nullptr;
    }
    // Outside the lock: its threads may be in a callback that needs it. The last one to let go joins those threads, so
    // that must not be one of them.
    while (renderer && renderer.use_count() > 1) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    renderer = nullptr;
    clearCallbacks();
    {
        LUMORA_GRAPH_GUARD;
        Session& s = session();
        s.dropProject();
        const unsigned threads = s.threads;
        s = Session();
        s.threads = threads;
    }
    resetDevices();
    clearLogProcedures();
    return true;
}

void ApiChangeManager::update() {
    LUMORA_GRAPH_GUARD;
    Session& s = session();
    if (!s.renderer) {
        return;
    }
    SceneDelta delta;
    const bool changed = takeDelta(s.project(), delta);
    s.view.time = s.project().time;
    if (!changed && s.view == s.sentView) {
        return;
    }
    delta.changeLevel = ++s.changeLevel;
    delta.clayMode = s.view.clay;
    delta.subSampleMode = s.view.subSample;
    delta.time = s.view.time;
    delta.fps = s.view.fps;
    s.sentView = s.view;
    s.noteRenderStart();
    // Within the lock, so that updates arrive in their order. It only queues.
    s.renderer->submit(std::move(delta));
}

bool ApiChangeManager::hasChanges() {
    LUMORA_GRAPH_GUARD;
    Session& s = session();
    s.view.time = s.project().time;
    return hasDelta(s.project()) || !(s.view == s.sentView);
}

ApiRootNodeGraph& ApiProjectManager::rootNodeGraph() {
    LUMORA_GRAPH_GUARD;
    return session().project().root->handle;
}

ApiNode& ApiProjectManager::applicationPreferences() {
    LUMORA_GRAPH_GUARD;
    return session().preferences().handle;
}

bool ApiProjectManager::resetProject() {
    LUMORA_GRAPH_GUARD;
    Scene& project = session().project();
    setSceneTarget(project, nullptr);
    project.root->handle.clear();
    project.time = 0;
    return true;
}

bool ApiProjectManager::loadProject(const char* path, const char* (*)(const char*, void*), void*, bool) {
    logLine(LOGLEVEL_ERRORS, "%s: this engine cannot read packages and scene files.", path ? path : "");
    return false;
}

}  // namespace Lumora
