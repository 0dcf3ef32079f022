// From mean radiance to the pixels that leave the engine.
#pragma once

#include <string>
#include <vector>

#include "engine/film/film.h"
#include "engine/render/renderer.h"

namespace Lumora::engine {

/// The imager's settings turned into the few numbers that a pixel needs.
class Tonemapper {
public:
    Tonemapper(const Imager& imager, const Film& film, bool alphaChannel);

    /// Makes a picture of what the film holds. `previous` shows through where the film has no sample yet and fits in
    /// size and type; null: black. Throws std::bad_alloc.
    Image picture(const FilmBuffer& film, TonemapType type, const Image* previous) const;

    /// One pixel with the imager applied, still linear.
    Float3 develop(Float3 color, std::uint32_t x, std::uint32_t y) const;
    /// Transfer function of the response curve and the extra gamma, of a linear value.
    float encode(float linear) const;

private:
    void writeBytes(unsigned char* to, const FilmPixel& p, std::uint32_t x, std::uint32_t y) const;
    void writeFloats(float* to, const FilmPixel& p, std::uint32_t x, std::uint32_t y, TonemapType type) const;

    float encoded(float linear) const;  ///< encode() by table, to well within a step of 8 bits

    std::vector<float> table_;  ///< encode() over the square root of the value: smooth for every power curve
    Imager imager_;
    float width_, height_;
    Float3 gain_;
    bool alphaChannel_;
};

/// True when the response curve with that id has its own transfer function here; the others are shown as sRGB.
bool knownResponse(int id);

}  // namespace Lumora::engine
