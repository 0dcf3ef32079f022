// From the renderer's callbacks to those that the caller installed.
#include <mutex>

#include "engine/graph/log.h"
#include "engine/session/session.h"

namespace Lumora {

namespace engine {

namespace {

struct Callbacks {
    // Held while a callback runs: one at a time, and none runs any more after it was taken away. Recursive, so that a
    // callback that takes itself away does not wait for itself.
    std::recursive_mutex lock;
    void (*updated)(unsigned long long, void*) = nullptr;
    void* updatedData = nullptr;
    void (*image)(const ApiArray<ApiRenderImage>&, void*) = nullptr;
    void* imageData = nullptr;
    void (*failure)(void*) = nullptr;
    void* failureData = nullptr;
};

Callbacks& callbacks() {
    static Callbacks instance;
    return instance;
}

void onImage() {
    Callbacks& c = callbacks();
    const std::lock_guard guard(c.lock);
    if (!c.image) {
        return;
    }
    const std::shared_ptr<Renderer> renderer = currentRenderer();
    if (!renderer) {
        return;
    }
    HeldImages held(renderer->latest());
    if (!held.shown.empty()) {
        c.image({held.shown.data(), held.shown.size()}, c.imageData);
    }
}

}  // namespace

RendererCallbacks rendererCallbacks() {
    RendererCallbacks from;
    from.onUpdated = [](std::uint64_t level) {
        Callbacks& c = callbacks();
        const std::lock_guard guard(c.lock);
        if (c.updated) {
            c.updated(level, c.updatedData);
        }
    };
    from.onImage = onImage;
    from.onFailure = [] {
        Callbacks& c = callbacks();
        const std::lock_guard guard(c.lock);
        if (c.failure) {
            c.failure(c.failureData);
        }
    };
    from.log = [](const std::string& text) { logLine(LOGLEVEL_WARNINGS, "%s", text.c_str()); };
    return from;
}

void clearCallbacks() {
    Callbacks& c = callbacks();
    const std::lock_guard guard(c.lock);
    c.updated = nullptr;
    c.image = nullptr;
    c.failure = nullptr;
}

}  // namespace engine

void ApiRenderEngine::setAsyncUpdateCallback(void (*callback)(unsigned long long, void*), void* data) {
    engine::Callbacks& c = engine::callbacks();
    const std::lock_guard guard(c.lock);
    c.updated = callback;
    c.updatedData = data;
}

bool ApiRenderEngine::updatesAreAsync() {
    engine::Callbacks& c = engine::callbacks();
    const std::lock_guard guard(c.lock);
    return c.updated != nullptr;
}

void ApiRenderEngine::setOnNewImageCallback(void (*callback)(const ApiArray<ApiRenderImage>&, void*), void* data) {
    engine::Callbacks& c = engine::callbacks();
    const std::lock_guard guard(c.lock);
    c.image = callback;
    c.imageData = data;
}

void ApiRenderEngine::setOnRenderFailureCallback(void (*callback)(void*), void* data) {
    engine::Callbacks& c = engine::callbacks();
    const std::lock_guard guard(c.lock);
    c.failure = callback;
    c.failureData = data;
}

}  // namespace Lumora
