// Films with known contents.
#pragma once

#include <functional>
#include <memory>

#include "engine/film/develop.h"

namespace Lumora::engine::test {

/// A film of three samples a pixel that all have the value that `at` gives.
inline std::unique_ptr<FilmBuffer> filmOf(const Film& size,
                                          const std::function<FilmPixel(std::uint32_t x, std::uint32_t y)>& at) {
    auto film = std::make_unique<FilmBuffer>();
    film->reset(size);
    for (std::uint32_t t = 0; t < film->tileCount(); ++t) {
        const TileRect r = film->tile(t);
        TileSums sums(r, false);
        for (std::uint32_t i = 0; i < r.width * r.height; ++i) {
            const FilmPixel p = at(r.x + i % r.width, r.y + i / r.width);
            sums.pixels[i] = {p.color * 3.0f, 3.0f * p.alpha, 3};
        }
        film->add(t, sums, 3);
    }
    return film;
}

inline Film filmSize(std::uint32_t width, std::uint32_t height) {
    Film size;
    size.width = width;
    size.height = height;
    return size;
}

/// The picture of a film; nothing shows through.
inline Image developed(const FilmBuffer& film, const DevelopSettings& settings, TonemapType type,
                       RenderPassId pass = RP_BEAUTY) {
    return developPicture(film, settings, pass, type, nullptr, nullptr);
}

inline Float3 colorAt(const Image& image, std::size_t pixel) {
    if (image.floats)
        return {(*image.floats)[4 * pixel], (*image.floats)[4 * pixel + 1], (*image.floats)[4 * pixel + 2]};
    const std::vector<unsigned char>& b = *image.bytes;
    return Float3{static_cast<float>(b[4 * pixel]), static_cast<float>(b[4 * pixel + 1]),
                  static_cast<float>(b[4 * pixel + 2])} *
           (1.0f / 255.0f);
}

inline float alphaAt(const Image& image, std::size_t pixel) {
    return image.floats ? (*image.floats)[4 * pixel + 3] : static_cast<float>((*image.bytes)[4 * pixel + 3]) / 255.0f;
}

}  // namespace Lumora::engine::test
