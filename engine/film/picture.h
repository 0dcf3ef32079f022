// A whole picture of mean radiance, between the film and the imager.
#pragma once

#include <vector>

#include "engine/film/film.h"

namespace Lumora::engine {

struct Picture {
    std::uint32_t width = 0, height = 0;
    TileRect region;  ///< what is rendered; the rest is zero
    std::vector<FilmPixel> pixels;

    FilmPixel* row(std::uint32_t y) { return &pixels[static_cast<std::size_t>(y) * width]; }
    const FilmPixel* row(std::uint32_t y) const { return &pixels[static_cast<std::size_t>(y) * width]; }
};

/// Which of the film's tiles have something, by tile.
using TileMask = std::vector<unsigned char>;

/// Means of all tiles; blocks of the coarse stage are filled with their first pixels. Uses all cores.
void resolvePicture(const FilmBuffer& film, Picture& picture, TileMask& mask);

}  // namespace Lumora::engine
