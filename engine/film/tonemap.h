// From mean radiance to the pixels that leave the engine: the imager, pixel by pixel.
//
// Runs of a row go through in planes, so that the compiler makes vector code of every step; the curves are tables.
#pragma once

#include <vector>

#include "engine/film/film_pixel.h"
#include "engine/film/imager.h"
#include "engine/render/settings.h"

namespace Lumora::engine {

/// What alpha means in the film.
enum class AlphaUse : std::uint8_t {
    None,      ///< the picture has no alpha: it is 1 everywhere
    Coverage,  ///< colours are those of what is covered, times alpha
    Mask,      ///< the background is in the colours; alpha only tells of it
};

/// The imager's settings turned into the few numbers and tables that a pixel needs. Immutable; any thread.
class Tonemapper {
public:
    Tonemapper(const Imager& imager, const Film& film, AlphaUse alpha);

    /// A run of pixels of row `y` from `x` on: imager and response, 8-bit RGBA.
    void toBytes(const FilmPixel* from, std::uint32_t count, std::uint32_t x, std::uint32_t y, unsigned char* to) const;
    /// The imager but for response, gamma and LUT: linear RGBA.
    void toFloats(const FilmPixel* from, std::uint32_t count, std::uint32_t x, std::uint32_t y, float* to) const;
    /// Neither: the film's own values, with alpha as the imager wants it.
    void toLinear(const FilmPixel* from, std::uint32_t count, float* to) const;

private:
    struct Run;
    /// One curve over the square root of the value: smooth for every power curve. A row for each channel.
    using Tables = std::vector<float>;

    void load(const FilmPixel* from, Run& run) const;
    void develop(Run& run, std::uint32_t x, std::uint32_t y) const;
    void encode(Run& run) const;
    void finishAlpha(Run& run) const;

    Imager imager_;
    AlphaUse alpha_;
    float width_, height_;
    Float3 gain_;
    Tables before_, after_;  ///< the curves before and after the LUT; empty: none
};

}  // namespace Lumora::engine
