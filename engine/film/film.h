// Sums of samples, tile by tile.
//
// A tile has a lock, the number of samples that all its pixels hold, and a first stage in which only one pixel of each
// block has its first sample: the coarse picture after an edit. Samples are added in order, so the sums
// do not depend on the number of threads. Worker threads add, any thread reads.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "engine/film/film_pixel.h"
#include "engine/render/settings.h"

namespace Lumora::engine {

struct TileRect {
    std::uint32_t x = 0, y = 0, width = 0, height = 0;  ///< film pixels
};

/// The samples of one tile that a thread has taken and not yet given to the film, row by row.
struct TileSums {
    /// All zero. `guides`: also what the denoiser and adaptive sampling ask for.
    TileSums(const TileRect& tile, bool guides)
        : pixels(static_cast<std::size_t>(tile.width) * tile.height), guides(guides ? pixels.size() : 0) {}

    /// `sample` is the number of the sample within its pixel, counted from 0 over the whole render.
    void add(std::size_t pixel, std::uint32_t sample, Float3 color, float alpha, const FilmFeatures& features) {
        pixels[pixel] += {color, alpha, 1};
        if (!guides.empty()) guides[pixel].add(sample, color, features);
    }

    std::vector<FilmSum> pixels;
    std::vector<GuideSum> guides;  ///< empty, or one for each pixel
};

class FilmBuffer {
public:
    static constexpr std::uint32_t kTile = 32;

    /// All sums zero. Only the region is sampled; the region is cut to the film. `guides`: keep the further sums too.
    /// Throws std::bad_alloc.
    void reset(const Film& film, bool guides = false);

    std::uint32_t width() const { return width_; }
    std::uint32_t height() const { return height_; }
    std::uint32_t tileCount() const { return static_cast<std::uint32_t>(tiles_.size()); }
    TileRect tile(std::uint32_t index) const;
    const TileRect& region() const { return region_; }
    bool hasGuides() const { return !guides_.empty(); }
    /// Edge in pixels of the smallest blocks of the coarse stage; larger films have larger blocks.
    std::uint32_t block() const { return block_; }
    std::uint64_t regionPixels() const;
    std::uint64_t bytes() const { return pixels_.capacity() * sizeof(FilmSum) + guides_.capacity() * sizeof(GuideSum); }

    struct TileState {
        std::uint32_t samples = 0;  ///< of the pixels that were never left out
        std::uint32_t block = 0;    ///< the first pixel of each block of that edge has its first sample; 0: none has
    };
    TileState state(std::uint32_t index) const;

    /// Adds the sums of a pass of `count` samples. Pixels that the pass left out have none.
    void add(std::uint32_t index, const TileSums& sums, std::uint32_t count);
    /// Stores a coarse stage: sums of the tile, of which the first pixel of each block counts. `block` divides kTile.
    void addCoarse(std::uint32_t index, const TileSums& sums, std::uint32_t block);

    /// Writes the mean colours of one tile to `out`, whose rows are `pitch` pixels apart; blocks of the coarse stage
    /// are filled with their first pixels. False, and nothing written: the tile has nothing yet.
    bool resolveInto(std::uint32_t index, FilmPixel* out, std::size_t pitch) const;
    /// Copies of the sums of one tile, row by row; guides stay empty when the film keeps none. False while the tile has
    /// less than a full pass.
    bool copySums(std::uint32_t index, TileSums& out) const;

private:
    struct Tile {
        mutable std::mutex lock;
        TileState state;
    };
    std::uint32_t width_ = 0, height_ = 0, tilesX_ = 0, block_ = 4;
    TileRect region_;
    std::vector<FilmSum> pixels_;
    std::vector<GuideSum> guides_;  ///< of the region's pixels, row by row
    std::vector<std::unique_ptr<Tile>> tiles_;
};

}  // namespace Lumora::engine
