// Sampling of one scene: which tile next, how many samples, and when it is done.
//
// Passes over all tiles: first the coarse ones, each with blocks half as large as the one before, then the first sample
// of every pixel, then batches that double up to the kernel's longest. A tile is sampled by one thread at a time and in
// the order of the passes, so sums do not depend on who came first.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "engine/film/film.h"
#include "engine/render/adaptive.h"
#include "engine/render/metropolis.h"
#include "engine/render/pixel_tracer.h"

namespace Lumora::engine {

class Job {
public:
    /// `film` is reset and taken over. Throws std::bad_alloc.
    /// `subSample`: how much coarser than usual the first picture may be.
    Job(RenderScenePtr scene, const Film& region, std::shared_ptr<FilmBuffer> film, std::uint64_t changeLevel,
        std::uint32_t subSample = 1);

    struct Unit {
        std::uint32_t pass = 0, tile = 0;
        std::uint32_t first = 0, end = 0;  ///< sample numbers
        std::uint32_t block = 0;           ///< edge in pixels of the blocks of a coarse pass; 0: no coarse pass
    };
    /// The next piece of work, or none: all is handed out. A unit that was taken must be worked on.
    std::optional<Unit> take();
    /// Samples a unit and adds it to the film. Returns early when the job is cancelled.
    void work(const Unit& unit);

    /// Whether the first sample of every pixel is handed out: from then on others may have a turn.
    bool firstPassOut() const;

    void cancel() { cancelled_ = true; }
    bool cancelled() const { return cancelled_; }
    void setMaxSamples(std::uint32_t samples);

    bool coarseDone() const { return coarseDone_; }
    bool finished() const;  ///< every pixel has all its samples
    float samplesPerPixel() const;
    std::uint32_t maxSamples() const;
    std::uint64_t samplesTaken() const { return samplesTaken_; }

    const RenderScene& scene() const { return *scene_; }
    const FilmBuffer& film() const { return *film_; }
    std::shared_ptr<FilmBuffer> filmHandle() const { return film_; }

    const std::uint64_t id;  ///< never used twice
    const std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    std::atomic<std::uint64_t> changeLevel;

private:
    /// Samples of the pixel from `first` to before `end`, added to the tile's.
    void samplePixel(std::uint32_t x, std::uint32_t y, std::uint32_t first, std::uint32_t end, std::size_t pixel,
                     TileSums& sums) const;
    /// Samples the unit's pixels. Returns their number times the samples of each; the job may be cancelled meanwhile.
    std::uint64_t sampleTile(const Unit& unit, const TileRect& tile, TileSums& sums);
    /// Waits until the tile's earlier passes are in the film. False: cancelled.
    bool awaitTurn(const Unit& unit) const;
    bool nextPass();

    RenderScenePtr scene_;
    PixelTracer tracer_;
    std::shared_ptr<FilmBuffer> film_;
    std::optional<AdaptiveSampling> adaptive_;
    std::vector<std::unique_ptr<MetropolisTile>> chains_;  ///< of each tile; empty: another kernel

    mutable std::mutex lock_;
    std::uint32_t maxSamples_;
    std::uint32_t pass_ = 0, nextTile_ = 0, first_ = 0, end_ = 0;
    std::uint32_t block_;     ///< of the coarse pass that is being handed out; 0: none any more
    std::uint64_t open_ = 0;  ///< units taken and not done
    std::uint32_t coarseLeft_;
    std::vector<std::atomic<std::uint32_t>> tilePass_;  ///< passes that each tile has behind it
    std::atomic<bool> cancelled_{false}, coarseDone_{false};
    std::atomic<std::uint64_t> samplesTaken_{0};
};

}  // namespace Lumora::engine
