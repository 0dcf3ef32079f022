// Adaptive sampling: which pixels of a tile still want samples.
//
// A pixel's noise is the standard error of its mean brightness, from the sum of squares that the film keeps. Pixels
// stop in groups, and a group only once its neighbours are quiet too: a small bright spot that few samples found yet
// announces itself around it. Decisions look at the own tile's sums alone and are made after whole passes, so that they
// are the same on any number of threads.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "engine/film/film.h"

namespace Lumora::engine {

class AdaptiveSampling {
public:
    AdaptiveSampling(const Adaptive& settings, const FilmBuffer& film);

    /// Whether any pixel of the tile wants samples.
    bool wanted(std::uint32_t tile) const { return !quiet_[tile].load(std::memory_order_acquire); }
    /// The pixels of a tile that want samples, row by row; empty: all. Only for the thread that works at the tile.
    const std::vector<unsigned char>& mask(std::uint32_t tile) const { return masks_[tile]; }
    /// Looks at a tile again, after a pass was added. Only for the thread that works at the tile.
    void update(std::uint32_t tile);

    /// True when no tile wants samples any more.
    bool finished() const { return quietTiles_ == masks_.size(); }

private:
    Adaptive settings_;
    const FilmBuffer& film_;
    std::vector<std::vector<unsigned char>> masks_;
    std::vector<std::atomic<bool>> quiet_;
    std::atomic<std::size_t> quietTiles_{0};
};

/// Noise of a pixel as adaptive sampling judges it: see Adaptive. `squares`: sum of the squared brightness of `samples`
/// samples, `mean` their mean brightness.
float pixelNoise(const Adaptive& settings, float mean, float squares, std::uint32_t samples);

}  // namespace Lumora::engine
