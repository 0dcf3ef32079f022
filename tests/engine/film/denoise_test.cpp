// The denoiser on films whose truth is known.
#include <gtest/gtest.h>
#include <tbb/task_arena.h>

#include <cmath>
#include <random>

#include "engine/film/denoise_service.h"
#include "tests/engine/film/film_pictures.h"

namespace Lumora::engine::test {
namespace {

constexpr std::uint32_t kWidth = 96, kHeight = 64;

/// What a pixel would show without noise, and what is known of its surface.
struct Truth {
    Float3 color;
    FilmFeatures features;
};
using Scene = std::function<Truth(std::uint32_t x, std::uint32_t y)>;

/// Two walls that meet in the middle, each with stripes of a texture two pixels wide, and a shadow over the lower half
/// that no feature tells of.
Truth walls(std::uint32_t x, std::uint32_t y) {
    const bool left = x < kWidth / 2;
    const Float3 albedo = x / 2 % 4 == 0 ? Float3{0.7f, 0.2f, 0.1f} : splat(0.5f);
    const float light = (left ? 1.0f : 0.4f) * (y < kHeight / 2 ? 1.0f : 0.25f);
    return {albedo * light,
            {albedo, left ? Float3{0.6f, 0, 0.8f} : Float3{-0.6f, 0, 0.8f}, 3.0f + 0.01f * static_cast<float>(y)}};
}

/// A film of samples whose brightness has an exponential distribution: rare paths find much light.
std::unique_ptr<FilmBuffer> noisyFilm(const Film& size, const Scene& scene, std::uint32_t samples, bool noise = true) {
    auto film = std::make_unique<FilmBuffer>();
    film->reset(size, true);
    for (std::uint32_t t = 0; t < film->tileCount(); ++t) {
        const TileRect r = film->tile(t);
        TileSums sums(r, true);
        for (std::uint32_t i = 0; i < r.width * r.height; ++i) {
            const std::uint32_t x = r.x + i % r.width, y = r.y + i / r.width;
            std::mt19937 random(x + 1000 * y);
            std::exponential_distribution<float> light(1.0f);
            const Truth truth = scene(x, y);
            for (std::uint32_t s = 0; s < samples; ++s)
                sums.add(i, s, truth.color * (noise ? light(random) : 1.0f), 1.0f, truth.features);
        }
        film->add(t, sums, samples);
    }
    return film;
}

Picture denoised(const FilmBuffer& film) {
    DenoiseControl control;
    Picture picture;
    EXPECT_TRUE(denoise(film, control, picture));
    EXPECT_EQ(control.progress, 1.0f);
    return picture;
}

Picture meanOf(const FilmBuffer& film) {
    Picture picture;
    TileMask mask;
    resolvePicture(film, picture, mask);
    return picture;
}

double relativeError(const Picture& p, const Scene& scene) {
    double sum = 0;
    for (std::uint32_t i = 0; i < kWidth * kHeight; ++i) {
        const Float3 truth = scene(i % kWidth, i / kWidth).color, d = p.pixels[i].color - truth;
        sum += dot(d, d) / (dot(truth, truth) + 1e-4f);
    }
    return sum / (kWidth * kHeight);
}

TEST(Denoise, TakesNoiseAndLeavesEdgesOfTextureGeometryAndShadow) {
    const auto film = noisyFilm(filmSize(kWidth, kHeight), walls, 32);
    const Picture noisy = meanOf(*film), clean = denoised(*film);
    EXPECT_LT(relativeError(clean, walls), relativeError(noisy, walls) / 15);
    // Pixels beside the stripes and the corner are as near to the truth as all others.
    double worst = 0.0;
    for (std::uint32_t x = 2; x < kWidth - 2; ++x) {
        double column = 0.0, truth = 0.0;
        for (std::uint32_t y = 0; y < kHeight / 2 - 3; ++y) {
            column += clean.row(y)[x].color.x;
            truth += walls(x, y).color.x;
        }
        worst = std::max(worst, std::abs(column / truth - 1.0));
    }
    EXPECT_LT(worst, 0.1);
    // The shadow's edge is known from the colours alone: three pixels off it nothing of the other side is seen.
    for (const std::uint32_t y : {kHeight / 2 - 4, kHeight / 2 + 3}) {
        double row = 0.0, truth = 0.0;
        for (std::uint32_t x = 0; x < kWidth; ++x) {
            row += clean.row(y)[x].color.y;
            truth += walls(x, y).color.y;
        }
        EXPECT_NEAR(row / truth, 1.0, 0.08) << y;
    }
}

TEST(Denoise, LightIsKeptAndWhatHasNoNoiseStays) {
    const auto noisy = noisyFilm(filmSize(kWidth, kHeight), walls, 32);
    const Picture clean = denoised(*noisy);
    double before = 0, after = 0;
    for (const FilmPixel& p : meanOf(*noisy).pixels) before += p.color.y;
    for (const FilmPixel& p : clean.pixels) after += p.color.y;
    EXPECT_NEAR(after / before, 1.0, 0.02);

    const auto still = noisyFilm(filmSize(kWidth, kHeight), walls, 16, false);
    const Picture same = denoised(*still);
    for (std::uint32_t i = 0; i < kWidth * kHeight; ++i) {
        const Float3 truth = walls(i % kWidth, i / kWidth).color;
        ASSERT_NEAR(same.pixels[i].color.x, truth.x, 2e-3f * truth.x) << i;
    }
}

TEST(Denoise, SeesOnlyTheRegionAndIsTheSameOnAnyNumberOfThreads) {
    Film region = filmSize(kWidth, kHeight);
    region.regionX = 10;
    region.regionY = 5;
    region.regionWidth = 41;
    region.regionHeight = 37;
    const auto film = noisyFilm(region, walls, 16);
    Picture first;
    for (const int threads : {1, 2}) {
        tbb::task_arena arena(threads);
        const Picture clean = arena.execute([&] { return denoised(*film); });
        for (std::uint32_t i = 0; i < kWidth * kHeight; ++i) {
            const std::uint32_t x = i % kWidth, y = i / kWidth;
            const bool inside = x >= 10 && x < 51 && y >= 5 && y < 42;
            ASSERT_EQ(clean.pixels[i].color.x > 0.0f, inside) << x << " " << y;
            if (first.pixels.empty()) continue;
            ASSERT_EQ(clean.pixels[i].color, first.pixels[i].color) << x << " " << y;
        }
        first = clean;
    }
}

TEST(Denoise, NonsenseInTheFilmStaysWhereItIs) {
    const float values[] = {std::nanf(""), INFINITY, 1e30f, -5.0f};
    const auto film = noisyFilm(
        filmSize(kWidth, kHeight),
        [&](std::uint32_t x, std::uint32_t y) {
            Truth t = walls(x, y);
            if (y == 20 && x % 20 == 10) {
                t.color.x = values[x / 20 % 4];
                t.features.depth = values[(x / 20 + 1) % 4];
                t.features.normal.y = values[(x / 20 + 2) % 4];
            }
            return t;
        },
        16);
    const Picture clean = denoised(*film);
    double sum = 0;
    for (const FilmPixel& p : clean.pixels) {
        ASSERT_TRUE(isFinite(p.color));
        sum += p.color.y;
    }
    EXPECT_LT(sum, 2.0 * kWidth * kHeight);
}

TEST(Denoise, ServiceAnswersForTheNewestJobAndCanBeStopped) {
    const std::shared_ptr<FilmBuffer> film = noisyFilm(filmSize(kWidth, kHeight), walls, 8);
    std::atomic<int> told{0};
    DenoiseService service([&] { ++told; });
    EXPECT_FALSE(service.latest(1));
    EXPECT_FALSE(service.waitForFinal(1)) << "nothing was started";
    service.start({film, 1, true, 100, 2});
    service.start({film, 1, true, 100, 2});
    EXPECT_TRUE(service.waitForFinal(1));
    EXPECT_EQ(service.progress(1), 1.0f);
    EXPECT_TRUE(service.latest(1));
    EXPECT_FALSE(service.latest(2));
    // More samples came: the old result is none any more.
    service.start({film, 1, true, 200, 2});
    const auto newer = service.waitForFinal(1);
    ASSERT_TRUE(newer);
    EXPECT_EQ(newer->samples, 200u);
    for (std::uint64_t job = 2; job < 30; ++job) {
        service.start({film, job, job % 2 == 0, job, 2});
        if (job % 3 == 0) service.cancel();
    }
    service.clear();
    EXPECT_FALSE(service.waitForFinal(28));
    EXPECT_GE(told, 1);
    service.start({film, 50, true, 1, 1});  // and the destructor does not wait for all of it
}

}  // namespace
}  // namespace Lumora::engine::test
