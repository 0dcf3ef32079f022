#include "engine/film/post.h"

#include <tbb/parallel_for.h>

#include <array>
#include <cmath>

namespace Lumora::engine {

namespace {

/// One channel of a picture.
struct Plane {
    std::uint32_t width = 0, height = 0;
    std::vector<float> values;

    Plane() = default;
    Plane(std::uint32_t w, std::uint32_t h) : width(w), height(h), values(static_cast<std::size_t>(w) * h) {}
    float* row(std::uint32_t y) { return &values[static_cast<std::size_t>(y) * width]; }
    const float* row(std::uint32_t y) const { return &values[static_cast<std::size_t>(y) * width]; }
};

constexpr std::uint32_t kChannels = 3;
constexpr float kWavelength[kChannels] = {610.0f, 550.0f, 465.0f};  // nm, of the primaries
constexpr float kNeutralWavelength = 550.0f;

template <typename F>
void eachRow(std::uint32_t rows, F&& f) {
    tbb::parallel_for(tbb::blocked_range<std::uint32_t>(0, rows, 16), [&](const auto& range) {
        for (std::uint32_t y = range.begin(); y != range.end(); ++y) f(y);
    });
}

Plane takeChannel(const Picture& picture, std::uint32_t channel) {
    const TileRect& r = picture.region;
    Plane plane(r.width, r.height);
    eachRow(r.height, [&](std::uint32_t y) {
        const FilmPixel* from = picture.row(r.y + y) + r.x;
        float* to = plane.row(y);
        for (std::uint32_t x = 0; x < r.width; ++x) {
            const Float3 c = from[x].color;
            const float v = channel == 0 ? c.x : channel == 1 ? c.y : c.z;
            to[x] = v > 0.0f && v < 1e30f ? v : 0.0f;  // one pixel that is no number would spread
        }
    });
    return plane;
}

// --- Bloom: a pyramid. Going down and coming up are the transposes of each other, so every level keeps all light.
// -----

/// Half the size with the binomial weights 1 3 3 1; what would fall over an edge stays at it.
Plane halve(const Plane& from) {
    Plane to((from.width + 1) / 2, (from.height + 1) / 2);
    Plane rows(from.width, to.height);
    const auto at = [](int i, std::uint32_t n) {
        return static_cast<std::uint32_t>(std::clamp(i, 0, static_cast<int>(n) - 1));
    };
    eachRow(to.height, [&](std::uint32_t y) {
        const int first = 2 * static_cast<int>(y) - 1;
        const float* in[4];
        for (int k = 0; k < 4; ++k) in[k] = from.row(at(first + k, from.height));
        float* mid = rows.row(y);
        for (std::uint32_t x = 0; x < from.width; ++x)
            mid[x] = 0.125f * (in[0][x] + in[3][x]) + 0.375f * (in[1][x] + in[2][x]);
        float* out = to.row(y);
        for (std::uint32_t x = 0; x < to.width; ++x) {
            const int c = 2 * static_cast<int>(x) - 1;
            out[x] = 0.125f * (mid[at(c, from.width)] + mid[at(c + 3, from.width)]) +
                     0.375f * (mid[at(c + 1, from.width)] + mid[at(c + 2, from.width)]);
        }
    });
    return to;
}

/// `to` = scale * to + the smaller plane brought to its size, linearly interpolated.
void addDoubled(const Plane& from, Plane& to, float scale) {
    eachRow(to.height, [&](std::uint32_t y) {
        // The middle of pixel 2i lies a quarter below that of pixel i of the small plane, that of 2i + 1 above.
        const std::uint32_t near = y / 2;
        const std::uint32_t far = y % 2 ? std::min(near + 1, from.height - 1) : near - (near > 0);
        const float *a = from.row(near), *b = from.row(far);
        float* out = to.row(y);
        for (std::uint32_t x = 0; x < to.width; ++x) {
            const std::uint32_t n = x / 2, f = x % 2 ? std::min(n + 1, from.width - 1) : n - (n > 0);
            out[x] = scale * out[x] + 0.75f * (0.75f * a[n] + 0.25f * a[f]) + 0.25f * (0.75f * b[n] + 0.25f * b[f]);
        }
    });
}

Plane bloom(const Plane& source) {
    std::vector<Plane> levels;
    const Plane* last = &source;
    levels.reserve(16);
    while (last->width > 4 && last->height > 4 && levels.size() < 12) {
        levels.push_back(halve(*last));
        last = &levels.back();
    }
    Plane result(source.width, source.height);
    if (levels.empty()) {
        result.values = source.values;
        return result;
    }
    // From the widest blur up: each level adds itself, and the sum of those below comes up to its size.
    for (std::size_t i = levels.size() - 1; i > 0; --i) addDoubled(levels[i], levels[i - 1], 1.0f);
    addDoubled(levels[0], result, 0.0f);
    const float weight = 1.0f / static_cast<float>(levels.size());
    for (float& v : result.values) v *= weight;
    return result;
}

// --- Glare
// ------------------------------------------------------------------------------------------------------------

/// Blurs along the columns with three boxes, which comes near to a Gaussian of that deviation (pixels).
void blurColumns(Plane& plane, float deviation) {
    // Three boxes of width w have the variance (w^2 - 1) / 4.
    const int radius = static_cast<int>(std::lround((std::sqrt(4.0f * deviation * deviation + 1.0f) - 1.0f) / 2.0f));
    if (radius < 1 || plane.height < 2) return;
    const int height = static_cast<int>(plane.height), width = static_cast<int>(plane.width);
    const float weight = 1.0f / static_cast<float>(2 * radius + 1);
    constexpr int kStrip = 64;
    tbb::parallel_for(0, (width + kStrip - 1) / kStrip, [&](int strip) {
        const int x0 = strip * kStrip, n = std::min(kStrip, width - x0);
        std::vector<float> copy(static_cast<std::size_t>(height) * kStrip);
        for (int pass = 0; pass < 3; ++pass) {
            for (int y = 0; y < height; ++y)
                std::copy_n(plane.row(static_cast<std::uint32_t>(y)) + x0, n,
                            &copy[static_cast<std::size_t>(y) * kStrip]);
            // What falls over an edge comes back from it.
            const auto source = [&](int y) {
                if (y < 0) y = -1 - y;
                if (y >= height) y = 2 * height - 1 - y;
                return &copy[static_cast<std::size_t>(std::clamp(y, 0, height - 1)) * kStrip];
            };
            float sum[kStrip] = {};
            for (int y = -radius; y <= radius; ++y) {
                const float* in = source(y);
                for (int x = 0; x < n; ++x) sum[x] += in[x];
            }
            for (int y = 0; y < height; ++y) {
                float* out = plane.row(static_cast<std::uint32_t>(y)) + x0;
                const float *more = source(y + radius + 1), *less = source(y - radius);
                for (int x = 0; x < n; ++x) {
                    out[x] = std::max(sum[x] * weight, 0.0f);
                    sum[x] += more[x] - less[x];
                }
            }
        }
    });
}

Plane transpose(const Plane& from) {
    Plane to(from.height, from.width);
    constexpr std::uint32_t kBlock = 16;
    tbb::parallel_for(0u, (from.height + kBlock - 1) / kBlock, [&](std::uint32_t block) {
        const std::uint32_t y0 = block * kBlock, y1 = std::min(y0 + kBlock, from.height);
        for (std::uint32_t x0 = 0; x0 < from.width; x0 += kBlock) {
            const std::uint32_t x1 = std::min(x0 + kBlock, from.width);
            for (std::uint32_t x = x0; x < x1; ++x) {
                for (std::uint32_t y = y0; y < y1; ++y) to.row(x)[y] = from.row(y)[x];
            }
        }
    });
    return to;
}

/// Moves every row of `from` to the right by `slope` pixels a row, into a wider plane that has room for it; linear
/// interpolation keeps the light. With `back` the other way round, added to `to` with a weight.
void shear(const Plane& from, Plane& to, float slope, float offset, bool back, float weight) {
    const std::uint32_t narrow = back ? to.width : from.width;
    eachRow(from.height, [&](std::uint32_t y) {
        const float shift = offset + slope * static_cast<float>(y);
        const float whole = std::floor(shift), part = shift - whole;
        const auto at = static_cast<std::uint32_t>(whole);
        if (back) {
            const float* in = from.row(y) + at;
            float* out = to.row(y);
            for (std::uint32_t x = 0; x < narrow; ++x) out[x] += weight * (in[x] * (1.0f - part) + in[x + 1] * part);
        } else {
            const float* in = from.row(y);
            float* out = to.row(y);
            std::fill_n(out, at, 0.0f);
            out[at] = in[0] * (1.0f - part);
            for (std::uint32_t x = 1; x < narrow; ++x) out[at + x] = in[x] * (1.0f - part) + in[x - 1] * part;
            out[at + narrow] = in[narrow - 1] * part;
            std::fill(out + at + narrow + 1, out + to.width, 0.0f);
        }
    });
}

/// Exponential fall-off of that length (rows) up and down every column; each column keeps its light but for what runs
/// over the ends.
void streakColumns(const Plane& from, Plane& to, float length) {
    // Both directions hold the point itself, which is taken out once: decay d has the sum (1 + d) / (1 - d).
    const float decay = std::exp(-1.0f / std::max(length, 0.05f));
    const float scale = (1.0f - decay) / (1.0f + decay);
    constexpr std::uint32_t kStrip = 64;
    tbb::parallel_for(0u, (from.width + kStrip - 1) / kStrip, [&](std::uint32_t strip) {
        const std::uint32_t x0 = strip * kStrip, n = std::min(kStrip, from.width - x0);
        float carry[kStrip] = {};
        for (std::uint32_t y = 0; y < from.height; ++y) {
            const float* in = from.row(y) + x0;
            float* out = to.row(y) + x0;
            for (std::uint32_t x = 0; x < n; ++x) {
                carry[x] = carry[x] * decay + in[x];
                out[x] = carry[x] * scale;
            }
        }
        std::fill_n(carry, kStrip, 0.0f);
        for (std::uint32_t y = from.height; y-- > 0;) {
            const float* in = from.row(y) + x0;
            float* out = to.row(y) + x0;
            for (std::uint32_t x = 0; x < n; ++x) {
                out[x] += carry[x] * scale;
                carry[x] = (carry[x] + in[x]) * decay;
            }
        }
    });
}

/// Adds rays through every point in one direction: `dx`, `dy` with |dx| <= dy = 1.
void addSteepRay(const Plane& source, Plane& result, float dx, float length, float weight) {
    // Sheared until the ray runs along the columns, each of which is then a filter of one dimension.
    const float slope = -dx, reach = std::abs(slope) * static_cast<float>(source.height);
    const float offset = slope < 0.0f ? reach : 0.0f;
    const std::uint32_t wide = source.width + static_cast<std::uint32_t>(reach) + 3;
    Plane sheared(wide, source.height), streaks(wide, source.height);
    shear(source, sheared, slope, offset, false, 1.0f);
    streakColumns(sheared, streaks, length / std::sqrt(1.0f + dx * dx));
    shear(streaks, result, slope, offset, true, weight);
}

/// Rays of a blurred picture hold no detail that is finer than the blur: they are made of a smaller one.
constexpr float kFineEnough = 2.5f;

/// `deviation` of the blur, `length` of a neutral ray and of a spectral one in pixels.
Plane glare(Plane source, const PostProcessing& p, float deviation, float length, float spectralLength) {
    if (deviation > kFineEnough && source.width > 16 && source.height > 16) {
        Plane result(source.width, source.height);
        addDoubled(glare(halve(source), p, 0.5f * deviation, 0.5f * length, 0.5f * spectralLength), result, 0.0f);
        return result;
    }
    const std::uint32_t width = source.width;
    blurColumns(source, deviation);
    Plane turned = transpose(source);
    blurColumns(turned, deviation);
    source = transpose(turned);

    Plane result(width, source.height), turnedResult(source.height, width);
    const float spectral = clamp01(p.spectralIntensity);
    const std::array<std::pair<float, float>, 2> parts = {{{1.0f - spectral, length}, {spectral, spectralLength}}};
    const int rays = std::clamp(p.rays, 1, 64);
    for (int i = 0; i < rays; ++i) {
        const float angle = (p.angle + 180.0f * static_cast<float>(i) / static_cast<float>(rays)) * kPi / 180.0f;
        const float dx = std::cos(angle), dy = -std::sin(angle);  // rows run downwards
        for (const auto& [share, reach] : parts) {
            if (!(share > 0.0f)) continue;
            const float weight = share / static_cast<float>(rays);
            if (std::abs(dx) <= std::abs(dy)) {
                addSteepRay(source, result, dx / dy, reach, weight);
            } else {
                addSteepRay(turned, turnedResult, dy / dx, reach, weight);
            }
        }
    }
    const Plane back = transpose(turnedResult);
    for (std::size_t i = 0; i < result.values.size(); ++i) result.values[i] += back.values[i];
    return result;
}

/// The picture times `keep`, and the scattered light.
void scatter(Picture& picture, const PostProcessing& p, bool keep) {
    const float b = p.on ? kScatter * std::max(p.bloomPower, 0.0f) : 0.0f;
    const float g = p.on ? kScatter * std::max(p.glarePower, 0.0f) : 0.0f;
    const float total = 1.0f / (1.0f + b + g);
    const TileRect& r = picture.region;
    if (r.width == 0 || r.height == 0) return;
    const float height = static_cast<float>(picture.height), length = kRayLength * height;
    for (std::uint32_t c = 0; c < kChannels; ++c) {
        const Plane source = takeChannel(picture, c);
        const Plane round = b > 0.0f ? bloom(source) : Plane();
        const float stretch = std::pow(kWavelength[c] / kNeutralWavelength, p.spectralShift);
        const Plane rays = g > 0.0f ? glare(source, p, 0.5f * p.blur * height, length, length * stretch) : Plane();
        eachRow(r.height, [&](std::uint32_t y) {
            FilmPixel* out = picture.row(r.y + y) + r.x;
            for (std::uint32_t x = 0; x < r.width; ++x) {
                Float3& color = out[x].color;
                float& v = c == 0 ? color.x : c == 1 ? color.y : color.z;
                float sum = keep ? v : 0.0f;
                if (b > 0.0f) sum += b * round.row(y)[x];
                if (g > 0.0f) sum += g * rays.row(y)[x];
                v = sum * total;
            }
        });
    }
}

}  // namespace

void scatterLight(Picture& picture, const PostProcessing& settings) {
    if (settings.on && (settings.bloomPower > 0.0f || settings.glarePower > 0.0f)) scatter(picture, settings, true);
}

void keepScattered(Picture& picture, const PostProcessing& settings) {
    scatter(picture, settings, false);
}

}  // namespace Lumora::engine
