// The render side as the public interface drives it. One instance; owns the engine's threads.
//
// Threads: every function may be called from any thread and returns without waiting for the render, unless it says
// otherwise. Callbacks come from engine threads, never while a lock of the renderer is held.
//
//   submit -> (build thread) compile delta, then restart sampling -> onUpdated(level) -> images -> onImage
//
// States: Stopped -> Rendering -> Finished (sample target reached); pause/resume at any time; a failure stops the
// sampling until resetFailure().
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "engine/api/ids.h"
#include "engine/graph/record.h"

namespace Lumora::engine {

/// One finished picture. Pixels are RGBA, rows from the top.
struct Image {
    RenderPassId pass{};
    Vec2<unsigned> size;
    TonemapType type{};                                 ///< 8-bit tonemapped, float tonemapped, or linear float
    std::shared_ptr<std::vector<unsigned char>> bytes;  ///< 8-bit types
    std::shared_ptr<std::vector<float>> floats;         ///< float types
    std::uint64_t changeLevel = 0;                      ///< of the scene that it shows
    float samplesPerPixel = 0;
};

struct Statistics {
    float samplesPerPixel = 0, maxSamplesPerPixel = 0;
    double samplesPerSecond = 0;  ///< film samples (pixels times passes) a second
    float progress = 0;           ///< 0 to 1
    std::uint64_t geometryBytes = 0, imageBytes = 0, filmBytes = 0, nodeBytes = 0;
    std::uint64_t triangles = 0, meshes = 0, instances = 0, textures = 0;
    std::uint32_t colorTextures8 = 0, colorTextures16 = 0, greyTextures8 = 0, greyTextures16 = 0;
    std::uint64_t meshesBuilt = 0, instancesBuilt = 0;  ///< since the start
    double buildSeconds = 0;                            ///< of the last update
    bool finished = false;
    /// The denoiser is on: RP_DENOISED is a pass beside the others, and its progress that of the denoiser.
    bool denoising = false;
};

struct RendererCallbacks {
    std::function<void(std::uint64_t changeLevel)> onUpdated;  ///< a submitted delta has been built
    std::function<void()> onImage;                             ///< a newer picture can be grabbed
    std::function<void()> onFailure;                           ///< sampling stopped; see failureText()
    std::function<void(const std::string&)> log;
};

class Renderer {
public:
    explicit Renderer(RendererCallbacks callbacks);
    ~Renderer();  ///< stops and joins every thread

    void submit(SceneDelta delta);

    void pause();
    void resume();
    void restart();  ///< throws the samples away and starts again
    /// Ends sampling until restart(), resume() or another render target; the last picture stays. Waits until no thread
    /// samples, so it may not be called from a callback.
    void stop();
    bool paused() const;

    void setRegion(bool on, Vec2<unsigned> start, Vec2<unsigned> size, unsigned featherWidth);
    void setThreadCount(unsigned threads);  ///< 0: all processors
    void setOutput(TonemapType type, std::vector<RenderPassId> passes);

    std::uint64_t imageChangeLevel() const;
    /// The newest picture of each pass, in the type of setOutput(); empty when there is none yet. Cheap: shares pixels.
    std::vector<Image> latest() const;
    /// Tonemaps now what has been sampled so far, into the given type. Waits for the film.
    std::vector<Image> tonemap(const std::vector<RenderPassId>& passes, TonemapType type);
    Statistics statistics(RenderPassId pass) const;

    bool failed() const;
    std::string failureText() const;
    void resetFailure();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace Lumora::engine
