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

#include "engine/render/settings.h"

namespace Lumora::engine {

struct FilmPixel {
    Float3 color;
    float alpha = 0.0f;
};

struct TileRect {
    std::uint32_t x = 0, y = 0, width = 0, height = 0;  ///< film pixels
};

class FilmBuffer {
public:
    static constexpr std::uint32_t kTile = 32;

    /// All sums zero. Only the region is sampled; the region is cut to the film. Throws std::bad_alloc.
    void reset(const Film& film);

    std::uint32_t width() const { return width_; }
    std::uint32_t height() const { return height_; }
    std::uint32_t tileCount() const { return static_cast<std::uint32_t>(tiles_.size()); }
    TileRect tile(std::uint32_t index) const;
    /// Edge in pixels of the blocks of the coarse stage; larger films have larger blocks.
    std::uint32_t block() const { return block_; }
    std::uint64_t regionPixels() const;
    std::uint64_t bytes() const { return pixels_.capacity() * sizeof(FilmPixel); }

    struct TileState {
        std::uint32_t samples = 0;
        bool coarse = false;  ///< the first pixel of each block has its first sample
    };
    TileState state(std::uint32_t index) const;

    /// Adds the sums of `count` samples a pixel, row by row of the tile.
    void add(std::uint32_t index, const std::vector<FilmPixel>& sums, std::uint32_t count);
    /// Stores the coarse stage: sums of the tile, of which the first pixel of each block counts.
    void addCoarse(std::uint32_t index, const std::vector<FilmPixel>& sums);

    /// Mean colours of one tile, row by row. Returns the edge of the blocks of which the first pixel is valid for all:
    /// 1, or block() while the tile is in its coarse stage; 0: the tile has nothing yet.
    std::uint32_t resolve(std::uint32_t index, std::vector<FilmPixel>& out) const;

private:
    struct Tile {
        mutable std::mutex lock;
        TileState state;
    };
    std::uint32_t width_ = 0, height_ = 0, tilesX_ = 0, block_ = 4;
    TileRect region_;
    std::vector<FilmPixel> pixels_;
    std::vector<std::unique_ptr<Tile>> tiles_;
};

}  // namespace Lumora::engine
