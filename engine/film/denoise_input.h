// What the denoiser reads of a film, in planes.
#pragma once

#include <array>
#include <vector>

#include "engine/film/film.h"

namespace Lumora::engine {

/// Planes over the region of a film with a border around, so that windows and patches never leave them. The border
/// repeats the edge and is not valid.
struct DenoiseInput {
    static constexpr int kBorder = 16;   ///< pixels
    static constexpr int kRun = 32;      ///< rows are filled up so that runs of this length never leave them
    static constexpr int kFeatures = 7;  ///< albedo, normal, depth; each from 0 or -1 to 1
    using Plane = std::vector<float>;

    int width = 0, height = 0;         ///< of the region
    int pitch = 0;                     ///< values from row to row, the border included
    std::array<Plane, 3> color[2];     ///< mean of each half
    std::array<Plane, 3> variance[2];  ///< of those means
    std::array<Plane, kFeatures> feature;
    std::array<Plane, kFeatures> featureVariance;
    Plane valid;  ///< 1, or 0 where there is nothing

    std::size_t at(int x, int y) const {
        return static_cast<std::size_t>(y + kBorder) * static_cast<std::size_t>(pitch) +
               static_cast<std::size_t>(x + kBorder);
    }
};

/// Reads a film that keeps guides. Single bright pixels of a half are brought down to their surroundings: spread over a
/// window they would be a spot. Uses the cores of the calling arena. Throws std::bad_alloc.
DenoiseInput readDenoiseInput(const FilmBuffer& film);

}  // namespace Lumora::engine
