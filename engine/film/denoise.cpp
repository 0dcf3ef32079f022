#include "engine/film/denoise.h"

#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>

#include <cmath>
#include <cstring>
#include <memory>

#include "engine/film/denoise_input.h"

namespace Lumora::engine {

namespace {

constexpr int kWindow = 8;                 ///< radius of the neighbourhood, pixels
constexpr int kPatch = 2;                  ///< radius of what is compared
constexpr int kTile = DenoiseInput::kRun;  ///< pixels across; loops over x have a length that the compiler knows
constexpr int kTileRows = 16;              ///< the sums of a tile stay in the processor's cache
constexpr int kWide = kTile + 2 * kPatch;  ///< tile with the room for patches

constexpr int kGroup = 6;  ///< neighbours that are taken at a time
static_assert(kWindow + kPatch + kGroup <= DenoiseInput::kBorder);

/// Bandwidth: how much more than its noise two patches may differ.
constexpr float kBandwidth = 0.7f;
/// Variations of a feature far below this say nothing.
constexpr float kRidge = 1e-5f;

constexpr int kUnknowns = DenoiseInput::kFeatures + 1;  ///< the constant comes first
constexpr int kMatrix = kUnknowns * (kUnknowns + 1) / 2;
constexpr int kRight = 3 * kUnknowns;

constexpr int entry(int row, int column) {
    return row * (row + 1) / 2 + column;
}

/// exp(-x) for x >= 0 by splitting off the power of two; a relative error of 2e-4, in vector code.
inline float expNegative(float x) {
    const float t = std::min(x, 80.0f) * -1.4426950408889634f;
    const int whole = static_cast<int>(t) - 1;
    const float part = t - static_cast<float>(whole);
    const float power = 1.0f + part * (0.69583356f + part * (0.22606716f + part * 0.078024521f));
    const int bits = (whole + 127) << 23;
    float scale;
    std::memcpy(&scale, &bits, sizeof scale);
    return scale * power;
}

/// One tile at a time, with its sums.
class TileFilter {
public:
    explicit TileFilter(const DenoiseInput& in) : in_(in) {}

    /// Fits all pixels of the tile at (x, y) and writes their colours.
    void run(int x, int y, int width, int height, Float3* out, std::size_t pitch) {
        x_ = x;
        y_ = y;
        width_ = width;
        height_ = height;
        std::memset(matrix_, 0, sizeof matrix_);
        std::memset(right_, 0, sizeof right_);
        for (int dy = -kWindow; dy <= kWindow; ++dy) {
            for (int dx = -kWindow; dx <= kWindow; dx += kGroup) {
                for (int g = 0; g < kGroup; ++g) {
                    for (int half = 0; half < 2; ++half) weigh(half, dx, g, dy);
                }
                gather(dx, dy);
            }
        }
        solve(out, pitch);
    }

private:
    /// Weights of the neighbours at one offset of a group, from one half.
    void weigh(int half, int first, int g, int dy) {
        const int dx = first + g;
        if (dx > kWindow) {
            std::memset(weight_[half][g], 0, sizeof weight_[half][g]);
            return;
        }
        constexpr float kK2 = kBandwidth * kBandwidth;
        for (int y = 0; y < height_ + 2 * kPatch; ++y) {
            const std::size_t p = in_.at(x_ - kPatch, y_ - kPatch + y);
            const std::size_t q = in_.at(x_ - kPatch + dx, y_ - kPatch + y + dy);
            float* row = distance_[y];
            for (int x = 0; x < kWide; ++x) row[x] = 0.0f;
            for (std::size_t c = 0; c < 3; ++c) {
                const float *u = in_.color[half][c].data(), *v = in_.variance[half][c].data();
                for (int x = 0; x < kWide; ++x) {
                    const float d = u[p + static_cast<std::size_t>(x)] - u[q + static_cast<std::size_t>(x)];
                    const float vp = v[p + static_cast<std::size_t>(x)], vq = v[q + static_cast<std::size_t>(x)];
                    row[x] += (d * d - (vp + std::min(vp, vq))) / (1e-8f + kK2 * (vp + vq));
                }
            }
        }
        constexpr float kScale = 1.0f / (3.0f * (2 * kPatch + 1) * (2 * kPatch + 1));
        for (int y = 0; y < height_; ++y) {
            float column[kWide];
            for (int x = 0; x < kWide; ++x) {
                float sum = 0.0f;
                for (int k = 0; k <= 2 * kPatch; ++k) sum += distance_[y + k][x];
                column[x] = sum;
            }
            const float* valid = &in_.valid[in_.at(x_ + dx, y_ + y + dy)];
            float* w = weight_[half][g][y];
            for (int x = 0; x < kTile; ++x) {
                float sum = 0.0f;
                for (int k = 0; k <= 2 * kPatch; ++k) sum += column[x + k];
                w[x] = valid[x] * expNegative(std::max(sum * kScale, 0.0f));
            }
        }
    }

    /// Adds the neighbours at a group of offsets to the normal equations: every sum is loaded and stored once for all.
    void gather(int first, int dy) {
        for (int y = 0; y < height_; ++y) {
            const std::size_t p = in_.at(x_, y_ + y), q = in_.at(x_ + first, y_ + y + dy);
            float f[kUnknowns][kGroup][kTile];
            for (int g = 0; g < kGroup; ++g) {
                for (int x = 0; x < kTile; ++x) f[0][g][x] = 1.0f;
            }
            for (int k = 1; k < kUnknowns; ++k) {
                const float *from = &in_.feature[static_cast<std::size_t>(k - 1)][q],
                            *own = &in_.feature[static_cast<std::size_t>(k - 1)][p];
                for (int g = 0; g < kGroup; ++g) {
                    for (int x = 0; x < kTile; ++x) f[k][g][x] = from[g + x] - own[x];
                }
            }
            for (int half = 0; half < 2; ++half) {
                for (int i = 0; i < kUnknowns; ++i) {
                    float wf[kGroup][kTile];
                    for (int g = 0; g < kGroup; ++g) {
                        const float* w = weight_[1 - half][g][y];
                        for (int x = 0; x < kTile; ++x) wf[g][x] = w[x] * f[i][g][x];
                    }
                    for (int j = 0; j <= i; ++j) {
                        float* m = matrix_[half][entry(i, j)][y];
                        for (int x = 0; x < kTile; ++x) {
                            float sum = m[x];
                            for (int g = 0; g < kGroup; ++g) sum += wf[g][x] * f[j][g][x];
                            m[x] = sum;
                        }
                    }
                    for (std::size_t c = 0; c < 3; ++c) {
                        float* r = right_[half][3 * static_cast<std::size_t>(i) + c][y];
                        const float* color = &in_.color[half][c][q];
                        for (int x = 0; x < kTile; ++x) {
                            float sum = r[x];
                            for (int g = 0; g < kGroup; ++g) sum += wf[g][x] * color[g + x];
                            r[x] = sum;
                        }
                    }
                }
            }
        }
    }

    /// Cholesky's method for all pixels of a row at a time. Only the constant is wanted: the features are zero at the
    /// pixel itself, so the unknowns are turned round and the constant is the first that comes out.
    void solve(Float3* out, std::size_t pitch) {
        for (int y = 0; y < height_; ++y) {
            float sum[3][kTile] = {};
            for (int half = 0; half < 2; ++half) {
                float l[kMatrix][kTile], z[kRight][kTile];
                const auto turned = [](int i) { return kUnknowns - 1 - i; };
                for (int i = 0; i < kUnknowns; ++i) {
                    for (int j = 0; j <= i; ++j) {
                        const float* m = matrix_[half][entry(turned(j), turned(i))][y];
                        float* to = l[entry(i, j)];
                        for (int x = 0; x < kTile; ++x) to[x] = m[x];
                    }
                }
                const float* count = matrix_[half][entry(0, 0)][y];
                for (int i = 0; i < kUnknowns; ++i) {
                    const int feature = turned(i) - 1;
                    for (int j = 0; j <= i; ++j) {
                        float* lij = l[entry(i, j)];
                        if (i == j && feature >= 0) {
                            const float* noise =
                                &in_.featureVariance[static_cast<std::size_t>(feature)][in_.at(x_, y_ + y)];
                            for (int x = 0; x < kTile; ++x) lij[x] += count[x] * (kRidge + noise[x]);
                        }
                        for (int k = 0; k < j; ++k) {
                            const float *a = l[entry(i, k)], *b = l[entry(j, k)];
                            for (int x = 0; x < kTile; ++x) lij[x] -= a[x] * b[x];
                        }
                        if (i == j) {
                            for (int x = 0; x < kTile; ++x) lij[x] = std::sqrt(std::max(lij[x], 1e-12f));
                        } else {
                            const float* d = l[entry(j, j)];
                            for (int x = 0; x < kTile; ++x) lij[x] /= d[x];
                        }
                    }
                    for (int c = 0; c < 3; ++c) {
                        float* zi = z[3 * i + c];
                        const float* r = right_[half][3 * turned(i) + c][y];
                        for (int x = 0; x < kTile; ++x) zi[x] = r[x];
                        for (int k = 0; k < i; ++k) {
                            const float *a = l[entry(i, k)], *b = z[3 * k + c];
                            for (int x = 0; x < kTile; ++x) zi[x] -= a[x] * b[x];
                        }
                        const float* d = l[entry(i, i)];
                        for (int x = 0; x < kTile; ++x) zi[x] /= d[x];
                    }
                }
                constexpr int kLast = kUnknowns - 1;
                for (int c = 0; c < 3; ++c) {
                    for (int x = 0; x < kTile; ++x) sum[c][x] += 0.5f * z[3 * kLast + c][x] / l[entry(kLast, kLast)][x];
                }
            }
            for (int x = 0; x < width_; ++x) {
                out[static_cast<std::size_t>(y) * pitch + static_cast<std::size_t>(x)] = {
                    std::max(sum[0][x], 0.0f), std::max(sum[1][x], 0.0f), std::max(sum[2][x], 0.0f)};
            }
        }
    }

    const DenoiseInput& in_;
    int x_ = 0, y_ = 0, width_ = 0, height_ = 0;
    alignas(64) float distance_[kTileRows + 2 * kPatch][kWide];
    alignas(64) float weight_[2][kGroup][kTileRows][kTile];
    alignas(64) float matrix_[2][kMatrix][kTileRows][kTile];
    alignas(64) float right_[2][kRight][kTileRows][kTile];
};

}  // namespace

bool denoise(const FilmBuffer& film, DenoiseControl& control, Picture& result) {
    TileMask mask;
    resolvePicture(film, result, mask);
    const DenoiseInput in = readDenoiseInput(film);
    const int across = (in.width + kTile - 1) / kTile, down = (in.height + kTileRows - 1) / kTileRows;
    std::atomic<int> done{0};
    std::vector<Float3> colors(static_cast<std::size_t>(in.width) * static_cast<std::size_t>(in.height));
    tbb::enumerable_thread_specific<std::unique_ptr<TileFilter>> filters;
    tbb::parallel_for(0, across * down, [&](int tile) {
        if (control.cancelled) return;
        auto& filter = filters.local();
        if (!filter) filter = std::make_unique<TileFilter>(in);
        const int x = tile % across * kTile, y = tile / across * kTileRows;
        filter->run(
            x, y, std::min(kTile, in.width - x), std::min(kTileRows, in.height - y),
            &colors[static_cast<std::size_t>(y) * static_cast<std::size_t>(in.width) + static_cast<std::size_t>(x)],
            static_cast<std::size_t>(in.width));
        control.progress = static_cast<float>(++done) / static_cast<float>(across * down);
    });
    if (control.cancelled) return false;
    const TileRect& region = film.region();
    for (std::uint32_t y = 0; y < region.height; ++y) {
        for (std::uint32_t x = 0; x < region.width; ++x) {
            const std::size_t at = in.at(static_cast<int>(x), static_cast<int>(y));
            const Float3 c = colors[static_cast<std::size_t>(y) * region.width + x];
            if (in.valid[at] == 0.0f || !isFinite(c)) continue;
            result.row(region.y + y)[region.x + x].color = c;
        }
    }
    control.progress = 1.0f;
    return true;
}

}  // namespace Lumora::engine
