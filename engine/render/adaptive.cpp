#include "engine/render/adaptive.h"

#include <algorithm>
#include <cmath>

namespace Lumora::engine {

namespace {

/// Pixels darker than this are judged as if they were as bright: below it nobody sees noise.
constexpr float kDarkest = 0.01f;
/// Slope of a screen's transfer function, gamma 2.2, relative to the value itself.
constexpr float kScreenGamma = 1.0f / 2.2f;

}  // namespace

float pixelNoise(const Adaptive& settings, float mean, float squares, std::uint32_t samples) {
    if (samples < 2) return kInfinity;
    const auto n = static_cast<float>(samples);
    const float variance = std::max(squares / n - mean * mean, 0.0f) * n / (n - 1.0f);
    const float error = std::sqrt(variance / n);
    if (!(settings.expectedExposure > 0.0f)) return error / std::max(mean, kDarkest);
    // Seen on a screen at that exposure: what burns out shows no noise, what is dark shows less than it has.
    const float shown = mean * settings.expectedExposure;
    if (shown - 3.0f * error * settings.expectedExposure > 1.0f) return 0.0f;
    return error * settings.expectedExposure * kScreenGamma *
           std::pow(std::max(std::min(shown, 1.0f), kDarkest), kScreenGamma - 1.0f);
}

AdaptiveSampling::AdaptiveSampling(const Adaptive& settings, const FilmBuffer& film)
    : settings_(settings), film_(film), masks_(film.tileCount()), quiet_(film.tileCount()) {}

void AdaptiveSampling::update(std::uint32_t tile) {
    const TileRect r = film_.tile(tile);
    TileSums sums(TileRect{}, false);
    if (!film_.copySums(tile, sums) || sums.guides.empty()) return;
    const std::uint32_t g = settings_.group, wide = (r.width + g - 1) / g, high = (r.height + g - 1) / g;
    std::vector<unsigned char>& mask = masks_[tile];
    // 1: noisy, or not yet sampled enough.
    std::vector<unsigned char> noisy(static_cast<std::size_t>(wide) * high, 0);
    for (std::uint32_t gy = 0; gy < high; ++gy) {
        for (std::uint32_t gx = 0; gx < wide; ++gx) {
            float mean = 0.0f, squares = 0.0f;
            std::uint32_t samples = 0, pixels = 0, fewest = ~0u;
            for (std::uint32_t y = gy * g; y < std::min((gy + 1) * g, r.height); ++y) {
                for (std::uint32_t x = gx * g; x < std::min((gx + 1) * g, r.width); ++x) {
                    const std::size_t i = static_cast<std::size_t>(y) * r.width + x;
                    // The noise within each pixel, not the differences between the pixels of the group.
                    const FilmSum& sum = sums.pixels[i];
                    const float m = luminance(sum.mean().color);
                    mean += m;
                    squares += sums.guides[i].squares - static_cast<float>(sum.samples) * m * m;
                    samples += sum.samples;
                    fewest = std::min(fewest, sum.samples);
                    ++pixels;
                }
            }
            mean /= static_cast<float>(pixels);
            squares += static_cast<float>(samples) * mean * mean;
            // The mean of a group is less noisy than its pixels are.
            const float noise = pixelNoise(settings_, mean, squares, samples) * std::sqrt(static_cast<float>(pixels));
            noisy[static_cast<std::size_t>(gy) * wide + gx] =
                fewest < settings_.minSamples || !(noise <= settings_.threshold);
        }
    }
    const bool first = mask.empty();
    if (first) mask.assign(static_cast<std::size_t>(r.width) * r.height, 1);
    bool any = false;
    for (std::uint32_t y = 0; y < r.height; ++y) {
        for (std::uint32_t x = 0; x < r.width; ++x) {
            unsigned char& wants = mask[static_cast<std::size_t>(y) * r.width + x];
            if (!wants) continue;  // what has stopped stays so
            const std::uint32_t gx = x / g, gy = y / g;
            wants = 0;
            for (std::uint32_t ny = gy ? gy - 1 : 0; ny <= std::min(gy + 1, high - 1); ++ny) {
                for (std::uint32_t nx = gx ? gx - 1 : 0; nx <= std::min(gx + 1, wide - 1); ++nx)
                    wants |= noisy[static_cast<std::size_t>(ny) * wide + nx];
            }
            any = any || wants;
        }
    }
    if (!any && !quiet_[tile].exchange(true, std::memory_order_acq_rel)) ++quietTiles_;
}

}  // namespace Lumora::engine
