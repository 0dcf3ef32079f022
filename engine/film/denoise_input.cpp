#include "engine/film/denoise_input.h"

#include <tbb/parallel_for.h>

#include <cmath>

#include "engine/film/hot_pixels.h"

namespace Lumora::engine {

namespace {

/// Threshold at which a pixel of a half counts as hot: 13 times as bright as its neighbours.
constexpr float kHot = 0.75f;
/// The noise of the halves tells how much better than chance the samples are spread; it is averaged over such a window.
constexpr int kScaleRadius = 10;

float sane(float v) {
    return v > 0.0f && v < 1e30f ? v : 0.0f;
}
Float3 sane(Float3 c) {
    return {sane(c.x), sane(c.y), sane(c.z)};
}

/// What is known of one pixel besides the halves.
struct PixelStatistics {
    float variance = 0.0f;          ///< of the mean luminance, from the samples
    float relative[3] = {1, 1, 1};  ///< squared ratio of each channel to the luminance
};

/// Sums over a square window, by rows and then by columns.
void boxSum(std::vector<float>& plane, int width, int height, int radius) {
    const auto slide = [&](int lines, int length, auto index) {
        tbb::parallel_for(0, lines, [&](int line) {
            std::vector<float> copy(static_cast<std::size_t>(length));
            for (int i = 0; i < length; ++i) copy[static_cast<std::size_t>(i)] = plane[index(line, i)];
            double sum = 0.0;
            for (int i = 0; i < std::min(radius, length); ++i) sum += copy[static_cast<std::size_t>(i)];
            for (int i = 0; i < length; ++i) {
                if (i + radius < length) sum += copy[static_cast<std::size_t>(i + radius)];
                if (i - radius > 0) sum -= copy[static_cast<std::size_t>(i - radius - 1)];
                plane[index(line, i)] = static_cast<float>(std::max(sum, 0.0));
            }
        });
    };
    const auto w = static_cast<std::size_t>(width);
    slide(height, width,
          [w](int line, int i) { return static_cast<std::size_t>(line) * w + static_cast<std::size_t>(i); });
    slide(width, height,
          [w](int line, int i) { return static_cast<std::size_t>(i) * w + static_cast<std::size_t>(line); });
}

void fillBorder(DenoiseInput::Plane& plane, const DenoiseInput& in) {
    for (int y = 0; y < in.height; ++y) {
        float* row = &plane[in.at(0, y)];
        std::fill_n(row - DenoiseInput::kBorder, DenoiseInput::kBorder, row[0]);
        std::fill(row + in.width, row - DenoiseInput::kBorder + in.pitch, row[in.width - 1]);
    }
    const auto pitch = static_cast<std::size_t>(in.pitch);
    const std::size_t left = DenoiseInput::kBorder;
    for (int y = 1; y <= DenoiseInput::kBorder; ++y) {
        std::copy_n(&plane[in.at(0, 0) - left], pitch, &plane[in.at(0, -y) - left]);
        std::copy_n(&plane[in.at(0, in.height - 1) - left], pitch, &plane[in.at(0, in.height - 1 + y) - left]);
    }
}

}  // namespace

DenoiseInput readDenoiseInput(const FilmBuffer& film) {
    const TileRect region = film.region();
    DenoiseInput in;
    in.width = static_cast<int>(region.width);
    in.height = static_cast<int>(region.height);
    in.pitch =
        (in.width + DenoiseInput::kRun - 1) / DenoiseInput::kRun * DenoiseInput::kRun + 2 * DenoiseInput::kBorder;
    const std::size_t size =
        static_cast<std::size_t>(in.pitch) * static_cast<std::size_t>(in.height + 2 * DenoiseInput::kBorder);
    for (int h = 0; h < 2; ++h) {
        for (int c = 0; c < 3; ++c) {
            in.color[h][static_cast<std::size_t>(c)].resize(size);
            in.variance[h][static_cast<std::size_t>(c)].resize(size);
        }
    }
    for (auto& plane : in.feature) plane.resize(size);
    for (auto& plane : in.featureVariance) plane.resize(size);
    in.valid.resize(size);
    if (in.width == 0 || in.height == 0) return in;

    const std::size_t pixels = region.width * static_cast<std::size_t>(region.height);
    Picture halves[2];
    for (Picture& half : halves) {
        half.width = region.width;
        half.height = region.height;
        half.region = {0, 0, region.width, region.height};
        half.pixels.resize(pixels);
    }
    std::vector<PixelStatistics> statistics(pixels);
    std::vector<float> depths(film.tileCount());
    tbb::parallel_for(0u, film.tileCount(), [&](std::uint32_t t) {
        const TileRect r = film.tile(t);
        TileSums sums(r, true);
        if (!film.copySums(t, sums) || sums.guides.empty()) return;
        double depth = 0.0;
        for (std::uint32_t i = 0; i < r.width * r.height; ++i) {
            const std::uint32_t px = r.x - region.x + i % r.width, py = r.y - region.y + i / r.width;
            const std::size_t at = in.at(static_cast<int>(px), static_cast<int>(py));
            const std::size_t pixel = static_cast<std::size_t>(py) * region.width + px;
            const FilmSum& sum = sums.pixels[i];
            const GuideSum& guide = sums.guides[i];
            if (sum.samples == 0) continue;
            const auto n = static_cast<float>(sum.samples);
            const Float3 mean = sane(sum.color * (1.0f / n));
            const std::uint32_t even = sum.samples - guide.oddSamples;
            const bool split = even > 0 && guide.oddSamples > 0;
            halves[0].pixels[pixel].color =
                split ? sane((sum.color - guide.odd) * (1.0f / static_cast<float>(even))) : mean;
            halves[1].pixels[pixel].color =
                split ? sane(guide.odd * (1.0f / static_cast<float>(guide.oddSamples))) : mean;
            PixelStatistics& s = statistics[pixel];
            const float l = luminance(mean);
            s.variance = sane(guide.squares / n - l * l) / std::max(n - 1.0f, 1.0f);
            const float channels[3] = {mean.x, mean.y, mean.z};
            for (int c = 0; c < 3; ++c) s.relative[c] = l > 0.0f ? (channels[c] / l) * (channels[c] / l) : 1.0f;
            const FilmFeatures& f = guide.features;
            const float scale = 1.0f / n;
            const float values[7] = {f.albedo.x, f.albedo.y, f.albedo.z, f.normal.x, f.normal.y, f.normal.z, f.depth};
            for (std::size_t k = 0; k < 7; ++k)
                in.feature[k][at] = std::isfinite(values[k]) && std::abs(values[k]) < 1e15f ? values[k] * scale : 0.0f;
            const auto spread = [&](float squares, float meanSquare) {
                return std::max(std::isfinite(squares) ? squares * scale - meanSquare : 0.0f, 0.0f) /
                       std::max(n - 1.0f, 1.0f);
            };
            const Float3 albedo = f.albedo * scale, normal = f.normal * scale;
            const float perAlbedo = spread(guide.albedoSquares, dot(albedo, albedo)) / 3.0f;
            const float perNormal = spread(guide.normalSquares, dot(normal, normal)) / 3.0f;
            for (std::size_t k = 0; k < 3; ++k) {
                in.featureVariance[k][at] = perAlbedo;
                in.featureVariance[k + 3][at] = perNormal;
            }
            in.featureVariance[6][at] = spread(guide.depthSquares, f.depth * scale * f.depth * scale);
            in.valid[at] = 1.0f;
            depth += in.feature[6][at];
        }
        depths[t] = static_cast<float>(depth / (r.width * r.height));
    });
    // The depth on a scale from 0 to 1 whatever the size of the scene.
    double sum = 0.0;
    for (const float d : depths) sum += d;
    const float middle = std::max(static_cast<float>(sum / static_cast<double>(depths.size())), 1e-20f);
    for (Picture& half : halves) removeHotPixels(half, kHot);

    // Sobol points do better than chance, which the two halves tell and the samples of one pixel do not.
    std::vector<float> seen(pixels), expected(pixels);
    tbb::parallel_for(0, in.height, [&](int y) {
        for (int x = 0; x < in.width; ++x) {
            const std::size_t pixel = static_cast<std::size_t>(y) * region.width + static_cast<std::size_t>(x);
            const float d = luminance(halves[0].pixels[pixel].color) - luminance(halves[1].pixels[pixel].color);
            seen[pixel] = std::min(0.25f * d * d, 4.0f * statistics[pixel].variance);
            expected[pixel] = statistics[pixel].variance;
        }
    });
    boxSum(seen, in.width, in.height, kScaleRadius);
    boxSum(expected, in.width, in.height, kScaleRadius);
    tbb::parallel_for(0, in.height, [&](int y) {
        for (int x = 0; x < in.width; ++x) {
            const std::size_t pixel = static_cast<std::size_t>(y) * region.width + static_cast<std::size_t>(x);
            const std::size_t at = in.at(x, y);
            const float scale = expected[pixel] > 0.0f ? std::min(seen[pixel] / expected[pixel], 1.0f) : 1.0f;
            for (std::size_t c = 0; c < 3; ++c) {
                const float v = 2.0f * scale * statistics[pixel].variance * statistics[pixel].relative[c];
                for (int h = 0; h < 2; ++h) {
                    const Float3 color = halves[h].pixels[pixel].color;
                    in.color[h][c][at] = c == 0 ? color.x : c == 1 ? color.y : color.z;
                    in.variance[h][c][at] = v;
                }
            }
            float& depth = in.feature[6][at];
            const float slope = middle / ((depth + middle) * (depth + middle));
            in.featureVariance[6][at] = std::min(in.featureVariance[6][at] * slope * slope, 1.0f);
            depth = depth / (depth + middle);
        }
    });
    for (int h = 0; h < 2; ++h) {
        for (auto& plane : in.color[h]) fillBorder(plane, in);
        for (auto& plane : in.variance[h]) fillBorder(plane, in);
    }
    for (auto& plane : in.feature) fillBorder(plane, in);
    for (auto& plane : in.featureVariance) fillBorder(plane, in);
    return in;
}

}  // namespace Lumora::engine
