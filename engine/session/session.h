// What lives between the start and the end of the engine: the project, the renderer, the settings that are not nodes.
//
// Everything but the renderer itself is guarded by the graph's lock. The renderer is reached through a shared pointer
// that is taken under the lock and used outside of it, so that no call waits for a render while it holds the lock.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "engine/api/api_render_engine.h"
#include "engine/graph/item.h"
#include "engine/render/renderer.h"

namespace Lumora::engine {

/// What is handed to the render with the nodes.
struct ViewSettings {
    ClayMode clay = CLAY_OFF;
    SubSampleMode subSample = SUBSAMPLE_NONE;
    float fps = 25;
    float time = 0;
    friend bool operator==(const ViewSettings&, const ViewSettings&) = default;
};

struct Region {
    bool on = false;
    Vec2<unsigned> start, size;
    unsigned feather = 0;
};

/// Images that the caller holds, and the array that shows them.
struct HeldImages {
    std::vector<Image> images;
    std::vector<ApiRenderImage> shown;
    explicit HeldImages(std::vector<Image> from);
};

struct Session {
    std::shared_ptr<Renderer> renderer;  ///< null while the engine is not started

    std::uint64_t changeLevel = 0;
    ViewSettings view, sentView;
    Region region;
    TonemapType tonemapType = TONEMAP_LDR;
    std::vector<RenderPassId> passes{RP_BEAUTY};
    bool stopped = false;
    std::unique_ptr<HeldImages> grabbed;
    std::vector<std::unique_ptr<HeldImages>> tonemapped;
    std::chrono::steady_clock::time_point renderStart;
    float finishedSeconds = 0;  ///< render time at which the sample target was seen reached; 0: not yet
    unsigned threads = 0;
    std::string failureText;

    Scene& project();
    Node& preferences();
    /// Ends the project; a new one comes into being when it is asked for.
    void dropProject();
    void noteRenderStart();

private:
    Scene* project_ = nullptr;
    Node* preferences_ = nullptr;
};

Session& session();
/// The renderer, or null while the engine is not started.
std::shared_ptr<Renderer> currentRenderer();
/// Callbacks for a new renderer, which go on to the ones that the caller installed.
RendererCallbacks rendererCallbacks();
void clearCallbacks();

}  // namespace Lumora::engine
