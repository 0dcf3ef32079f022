// Film sums and what the imager makes of them.
#include <gtest/gtest.h>

#include <cmath>

#include "engine/film/tonemap.h"

namespace Lumora::engine {
namespace {

/// A film one pixel high that holds the given greys.
std::unique_ptr<FilmBuffer> filmOf(const std::vector<float>& values, Film& settings) {
    settings.width = static_cast<std::uint32_t>(values.size());
    settings.height = 1;
    auto film = std::make_unique<FilmBuffer>();
    film->reset(settings);
    for (std::uint32_t t = 0; t < film->tileCount(); ++t) {
        const TileRect r = film->tile(t);
        TileSums sums(r, false);
        for (std::uint32_t x = 0; x < r.width; ++x) sums.pixels[x] = {splat(3.0f * values[r.x + x]), 3.0f, 3};
        film->add(t, sums, 3);
    }
    return film;
}

TEST(Tonemap, BytesFollowTheResponseCurve) {
    std::vector<float> values;
    for (int i = 0; i < 2000; ++i) values.push_back(std::pow(static_cast<float>(i) / 1900.0f, 3.0f));
    for (const int response : {400, 401, 402, 403, 99}) {
        for (const float gamma : {1.0f, 1.5f}) {
            Imager imager;
            imager.response = response;
            imager.gamma = gamma;
            Film settings;
            const auto film = filmOf(values, settings);
            const Tonemapper tonemapper(imager, settings, false);
            const Image image = tonemapper.picture(*film, TONEMAP_LDR, nullptr);
            for (std::size_t i = 0; i < values.size(); ++i) {
                const float exact = 255.0f * tonemapper.encode(values[i]);
                ASSERT_NEAR((*image.bytes)[4 * i + 1], exact, i < 100 ? 1.5f : 0.6f) << response << " " << values[i];
            }
        }
    }
}

TEST(Tonemap, NoInputMakesNonsense) {
    const float nan = std::nanf("");
    Film settings;
    const auto film = filmOf({nan, INFINITY, -INFINITY, -1.0f, 1e38f}, settings);
    Imager imager;
    imager.exposure = 0.0f;
    imager.saturation = 0.5f;
    imager.vignetting = 1.0f;
    imager.dither = true;
    const Image image = Tonemapper(imager, settings, true).picture(*film, TONEMAP_LDR, nullptr);
    EXPECT_EQ(image.bytes->size(), 20u);  // and no sanitizer complains
}

TEST(Tonemap, CoarseStageFillsWholeBlocks) {
    Film settings;
    settings.width = 45;
    settings.height = 37;
    FilmBuffer film;
    film.reset(settings);
    for (std::uint32_t t = 0; t < film.tileCount(); ++t) {
        const TileRect r = film.tile(t);
        TileSums sums(r, false);
        for (FilmSum& pixel : sums.pixels) pixel = {splat(-5.0f), 0.0f, 1};
        for (std::uint32_t y = 0; y < r.height; y += film.block()) {
            for (std::uint32_t x = 0; x < r.width; x += film.block()) {
                sums.pixels[static_cast<std::size_t>(y) * r.width + x] = {splat(static_cast<float>(r.x + x)), 1.0f, 1};
            }
        }
        film.addCoarse(t, sums);
    }
    const Image image = Tonemapper({}, settings, false).picture(film, TONEMAP_HDR_LINEAR, nullptr);
    for (std::uint32_t y = 0; y < settings.height; ++y) {
        for (std::uint32_t x = 0; x < settings.width; ++x) {
            const float expected = static_cast<float>(x - x % film.block());
            ASSERT_EQ((*image.floats)[4 * (y * settings.width + x)], expected) << x << " " << y;
        }
    }
}

}  // namespace
}  // namespace Lumora::engine
