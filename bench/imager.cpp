// What a picture of 1920 by 1080 pixels costs between the film and the screen. One line a figure; run on an idle
// machine.
#include <oneapi/tbb/global_control.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "engine/film/develop.h"
#include "engine/film/lut.h"

namespace Lumora::engine {
namespace {

constexpr std::uint32_t kWidth = 1920, kHeight = 1080;

std::unique_ptr<FilmBuffer> brightFilm(const Film& size) {
    auto film = std::make_unique<FilmBuffer>();
    film->reset(size);
    for (std::uint32_t t = 0; t < film->tileCount(); ++t) {
        const TileRect r = film->tile(t);
        TileSums sums(r, false);
        for (std::uint32_t i = 0; i < r.width * r.height; ++i) {
            const std::uint32_t x = r.x + i % r.width, y = r.y + i / r.width;
            const bool lamp = (x / 40 + y / 40) % 9 == 0;
            const Float3 c{static_cast<float>(x) / kWidth, static_cast<float>(y) / kHeight, lamp ? 20.0f : 0.2f};
            sums.pixels[i] = {c, 1.0f, 1};
        }
        film->add(t, sums, 1);
    }
    return film;
}

/// Best of several runs, milliseconds.
double best(const FilmBuffer& film, const DevelopSettings& settings, TonemapType type) {
    double least = 1e30;
    Image previous;
    for (int i = 0; i < 8; ++i) {
        const auto start = std::chrono::steady_clock::now();
        previous = developPicture(film, settings, RP_BEAUTY, type, &previous, nullptr);
        const std::chrono::duration<double, std::milli> spent = std::chrono::steady_clock::now() - start;
        least = std::min(least, spent.count());
    }
    return least;
}

std::shared_ptr<const Lut> someLut() {
    const auto file = std::filesystem::temp_directory_path() / "lumora_bench.cube";
    {
        std::ofstream out(file);
        constexpr int kSteps = 33;
        out << "LUT_3D_SIZE " << kSteps << "\n";
        for (int i = 0; i < kSteps * kSteps * kSteps; ++i) {
            out << (i % kSteps) / 32.0 << " " << (i / kSteps % kSteps) / 32.0 << " " << (i / kSteps / kSteps) / 32.0
                << "\n";
        }
    }
    std::string error;
    auto lut = Lut::load(file.string(), error);
    std::filesystem::remove(file);
    return lut;
}

void all(int threads) {
    const oneapi::tbb::global_control limit(oneapi::tbb::global_control::max_allowed_parallelism,
                                            static_cast<std::size_t>(threads));
    DevelopSettings plain;
    plain.film.width = kWidth;
    plain.film.height = kHeight;
    const auto film = brightFilm(plain.film);
    const auto tell = [&](const char* name, const DevelopSettings& settings, TonemapType type = TONEMAP_LDR) {
        std::printf("%-44s %d thread%s: %7.2f ms\n", name, threads, threads > 1 ? "s" : " ",
                    best(*film, settings, type));
    };
    tell("linear floats", plain, TONEMAP_HDR_LINEAR);
    tell("exposure and sRGB", plain);
    DevelopSettings full = plain;
    full.imager.response = 209;
    full.imager.gamma = 1.1f;
    full.imager.vignetting = 0.3f;
    full.imager.saturation = 1.2f;
    full.imager.saturateToWhite = 0.5f;
    full.imager.highlightCompression = 0.4f;
    full.imager.dither = true;
    tell("all that is done to single pixels", full);
    DevelopSettings lut = plain;
    lut.imager.lut = someLut();
    tell("sRGB and a LUT of 33 steps", lut);
    DevelopSettings hot = plain;
    hot.imager.hotPixels = 0.5f;
    tell("sRGB and hot pixels", hot);
    DevelopSettings bloom = plain;
    bloom.post.on = true;
    bloom.post.glarePower = 0.0f;
    tell("sRGB and bloom", bloom);
    DevelopSettings glare = plain;
    glare.post.on = true;
    tell("sRGB, bloom and glare of 3 lines", glare);
    glare.post.rays = 8;
    glare.post.spectralIntensity = 0.5f;
    tell("sRGB, bloom and spectral glare of 8 lines", glare);
}

}  // namespace
}  // namespace Lumora::engine

int main() {
    for (const int threads : {1, 2}) Lumora::engine::all(threads);
    return 0;
}
