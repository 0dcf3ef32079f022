#include "engine/film/tonemap.h"

#include <cmath>

#include "engine/film/lut.h"
#include "engine/film/response.h"
#include "engine/render/sampler.h"

namespace Lumora::engine {

namespace {

constexpr int kTableSize = 4096;
constexpr std::uint32_t kRun = 128;
/// Larger values would overflow on their way.
constexpr float kBrightest = 1e30f;

float powerOf(float v, float gamma) {
    return gamma == 1.0f ? v : std::pow(v, 1.0f / gamma);
}

/// Table of the steps of the order from `first` to before `end`, or none when they change nothing.
std::vector<float> makeTables(const Imager& imager, const ImagerStep* first, const ImagerStep* end) {
    const bool needed = std::any_of(first, end, [&](ImagerStep step) {
        return step == ImagerStep::Response ? imager.response != 400 : imager.gamma != 1.0f;
    });
    if (!needed) return {};
    const ResponseCurve* tinted = imager.neutralResponse ? nullptr : findResponse(imager.response);
    std::vector<float> tables(3 * (kTableSize + 2));
    for (int channel = 0; channel < 3; ++channel) {
        float* table = &tables[static_cast<std::size_t>(channel) * (kTableSize + 2)];
        if (channel > 0 && !tinted) {
            std::copy_n(&tables[0], kTableSize + 2, table);
            continue;
        }
        for (int i = 0; i <= kTableSize; ++i) {
            const float root = static_cast<float>(i) / kTableSize;
            float v = root * root;
            for (const ImagerStep* step = first; step != end; ++step) {
                v = *step == ImagerStep::Response ? respond(imager.response, v, channel, !imager.neutralResponse)
                                                  : powerOf(v, imager.gamma);
            }
            table[i] = clamp01(v);
        }
        table[kTableSize + 1] = table[kTableSize];
    }
    return tables;
}

/// Where a run's time goes otherwise: two loads from a table of floats for each value.
void lookUp(const float* table, float* values, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) {
        const float at = std::sqrt(std::min(std::max(values[i], 0.0f), 1.0f)) * kTableSize;
        const int cell = static_cast<int>(at);
        const float low = table[cell], high = table[cell + 1];
        values[i] = low + (high - low) * (at - static_cast<float>(cell));
    }
}

}  // namespace

/// Pixels of one row in planes.
struct Tonemapper::Run {
    alignas(64) float color[3][kRun];
    alignas(64) float alpha[kRun];
    std::uint32_t count;
};

Tonemapper::Tonemapper(const Imager& imager, const Film& film, AlphaUse alpha)
    : imager_(imager), alpha_(alpha), width_(static_cast<float>(film.width)), height_(static_cast<float>(film.height)) {
    // The white point is what shall come out neutral, at unchanged luminance.
    const Float3 w = {std::max(imager.whitePoint.x, 1e-3f), std::max(imager.whitePoint.y, 1e-3f),
                      std::max(imager.whitePoint.z, 1e-3f)};
    const float l = luminance(w);
    gain_ = Float3{l / w.x, l / w.y, l / w.z} * std::max(imager.exposure, 0.0f);
    imager_.vignetting = clamp01(imager.vignetting);
    imager_.saturation = std::max(imager.saturation, 0.0f);
    imager_.highlightCompression = clamp01(imager.highlightCompression);
    imager_.saturateToWhite = clamp01(imager.saturateToWhite);
    imager_.lutStrength = clamp01(imager.lutStrength);
    if (imager_.lutStrength == 0.0f) imager_.lut = nullptr;
    const ImagerStep* order = kImagerOrder[std::clamp(imager.order, 0, kImagerOrders - 1)];
    const ImagerStep* lut = std::find(order, order + 3, ImagerStep::Lut);
    if (imager_.lut) {
        before_ = makeTables(imager_, order, lut);
        after_ = makeTables(imager_, lut + 1, order + 3);
    } else {
        ImagerStep steps[2];
        std::copy_if(order, order + 3, steps, [](ImagerStep s) { return s != ImagerStep::Lut; });
        before_ = makeTables(imager_, steps, steps + 2);
    }
}

void Tonemapper::load(const FilmPixel* from, Run& run) const {
    for (std::uint32_t i = 0; i < run.count; ++i) {
        // What is no number fails the comparison and becomes black.
        run.color[0][i] = from[i].color.x > 0.0f ? std::min(from[i].color.x, kBrightest) : 0.0f;
        run.color[1][i] = from[i].color.y > 0.0f ? std::min(from[i].color.y, kBrightest) : 0.0f;
        run.color[2][i] = from[i].color.z > 0.0f ? std::min(from[i].color.z, kBrightest) : 0.0f;
        run.alpha[i] = from[i].alpha > 0.0f ? std::min(from[i].alpha, 1.0f) : 0.0f;
    }
    if (alpha_ != AlphaUse::Coverage) return;
    // The imager works on the colour of what is covered, so that a half covered pixel has the tone of its surface.
    for (std::uint32_t i = 0; i < run.count; ++i) {
        const float scale = run.alpha[i] > 0.0f ? 1.0f / run.alpha[i] : 1.0f;
        run.color[0][i] *= scale;
        run.color[1][i] *= scale;
        run.color[2][i] *= scale;
    }
}

void Tonemapper::develop(Run& run, std::uint32_t x, std::uint32_t y) const {
    float *r = run.color[0], *g = run.color[1], *b = run.color[2];
    for (std::uint32_t i = 0; i < run.count; ++i) {
        r[i] *= gain_.x;
        g[i] *= gain_.y;
        b[i] *= gain_.z;
    }
    if (imager_.vignetting > 0.0f) {
        // Natural light fall-off: the fourth power of the cosine, for a field of 90 degrees across the diagonal.
        const float scale = 2.0f / std::hypot(width_, height_), amount = imager_.vignetting;
        const float dy = (static_cast<float>(y) + 0.5f - 0.5f * height_) * scale;
        const float left = static_cast<float>(x) + 0.5f - 0.5f * width_;
        for (std::uint32_t i = 0; i < run.count; ++i) {
            const float dx = (left + static_cast<float>(static_cast<int>(i))) * scale;
            const float cos2 = 1.0f / (1.0f + dx * dx + dy * dy);
            const float f = 1.0f - amount + amount * cos2 * cos2;
            r[i] *= f;
            g[i] *= f;
            b[i] *= f;
        }
    }
    if (imager_.saturation != 1.0f) {
        const float s = imager_.saturation;
        for (std::uint32_t i = 0; i < run.count; ++i) {
            const float l = (0.2126f * r[i] + 0.7152f * g[i] + 0.0722f * b[i]) * (1.0f - s);
            r[i] = std::max(l + r[i] * s, 0.0f);
            g[i] = std::max(l + g[i] * s, 0.0f);
            b[i] = std::max(l + b[i] * s, 0.0f);
        }
    }
    if (imager_.saturateToWhite > 0.0f) {
        // A colour of which one channel is above one goes towards white, all the way as it grows.
        const float amount = imager_.saturateToWhite;
        for (std::uint32_t i = 0; i < run.count; ++i) {
            const float m = std::max(r[i], std::max(g[i], b[i]));
            const float t = amount * (1.0f - 1.0f / std::max(m, 1.0f));
            r[i] += (m - r[i]) * t;
            g[i] += (m - g[i]) * t;
            b[i] += (m - b[i]) * t;
        }
    }
    if (imager_.highlightCompression > 0.0f) {
        // A shoulder above a knee, after Reinhard et al. (2002), which takes over with the slope of one and ends at
        // one: with full strength the knee is at black.
        const float knee = 1.0f - imager_.highlightCompression, room = imager_.highlightCompression;
        for (std::uint32_t i = 0; i < run.count; ++i) {
            const float m = std::max(r[i], std::max(g[i], b[i]));
            const float t = std::max(m - knee, 0.0f);
            const float f = (std::min(m, knee) + room * t / (room + t)) / std::max(m, 1e-30f);
            r[i] *= f;
            g[i] *= f;
            b[i] *= f;
        }
    }
}

void Tonemapper::encode(Run& run) const {
    const auto through = [&run](const Tables& tables) {
        if (tables.empty()) return;
        for (std::size_t c = 0; c < 3; ++c) lookUp(&tables[c * (kTableSize + 2)], run.color[c], run.count);
    };
    through(before_);
    for (auto& plane : run.color) {
        for (std::uint32_t i = 0; i < run.count; ++i) plane[i] = std::min(std::max(plane[i], 0.0f), 1.0f);
    }
    if (!imager_.lut) return;
    float rgba[4 * kRun];
    for (std::uint32_t i = 0; i < run.count; ++i) {
        for (std::uint32_t c = 0; c < 3; ++c) rgba[4 * i + c] = run.color[c][i];
        rgba[4 * i + 3] = 1.0f;
    }
    imager_.lut->apply(rgba, run.count);
    const float s = imager_.lutStrength;
    for (std::uint32_t i = 0; i < run.count; ++i) {
        for (std::uint32_t c = 0; c < 3; ++c) {
            const float v = run.color[c][i] + (rgba[4 * i + c] - run.color[c][i]) * s;
            run.color[c][i] = std::min(std::max(v, 0.0f), 1.0f);
        }
    }
    through(after_);
}

void Tonemapper::finishAlpha(Run& run) const {
    if (alpha_ == AlphaUse::None) {
        for (std::uint32_t i = 0; i < run.count; ++i) run.alpha[i] = 1.0f;
        return;
    }
    if (imager_.disablePartialAlpha) {
        for (std::uint32_t i = 0; i < run.count; ++i) run.alpha[i] = run.alpha[i] > 0.0f ? 1.0f : 0.0f;
    }
    if (alpha_ != AlphaUse::Coverage || !imager_.premultipliedAlpha) return;
    for (std::uint32_t i = 0; i < run.count; ++i) {
        run.color[0][i] *= run.alpha[i];
        run.color[1][i] *= run.alpha[i];
        run.color[2][i] *= run.alpha[i];
    }
}

void Tonemapper::toBytes(const FilmPixel* from, std::uint32_t count, std::uint32_t x, std::uint32_t y,
                         unsigned char* to) const {
    Run run;
    for (; count > 0; count -= run.count, from += run.count, x += run.count, to += 4 * run.count) {
        run.count = std::min(count, kRun);
        load(from, run);
        develop(run, x, y);
        encode(run);
        finishAlpha(run);
        unsigned char bytes[4][kRun];
        for (std::uint32_t c = 0; c < 3; ++c) {
            if (imager_.dither) {
                for (std::uint32_t i = 0; i < run.count; ++i) {
                    const float noise = sobol::toUnit(sobol::hash(sobol::hash(x + i, y), c));
                    bytes[c][i] = static_cast<unsigned char>(
                        static_cast<int>(std::min(run.color[c][i] * 255.0f + noise, 255.0f)));
                }
            } else {
                for (std::uint32_t i = 0; i < run.count; ++i)
                    bytes[c][i] = static_cast<unsigned char>(static_cast<int>(run.color[c][i] * 255.0f + 0.5f));
            }
        }
        for (std::uint32_t i = 0; i < run.count; ++i)
            bytes[3][i] = static_cast<unsigned char>(static_cast<int>(run.alpha[i] * 255.0f + 0.5f));
        for (std::uint32_t i = 0; i < run.count; ++i) {
            for (std::uint32_t c = 0; c < 4; ++c) to[4 * i + c] = bytes[c][i];
        }
    }
}

void Tonemapper::toFloats(const FilmPixel* from, std::uint32_t count, std::uint32_t x, std::uint32_t y,
                          float* to) const {
    Run run;
    for (; count > 0; count -= run.count, from += run.count, x += run.count, to += 4 * run.count) {
        run.count = std::min(count, kRun);
        load(from, run);
        develop(run, x, y);
        finishAlpha(run);
        for (std::uint32_t i = 0; i < run.count; ++i) {
            for (std::uint32_t c = 0; c < 3; ++c) to[4 * i + c] = run.color[c][i];
            to[4 * i + 3] = run.alpha[i];
        }
    }
}

void Tonemapper::toLinear(const FilmPixel* from, std::uint32_t count, float* to) const {
    for (std::uint32_t i = 0; i < count; ++i, to += 4) {
        float alpha = alpha_ == AlphaUse::None ? 1.0f : clamp01(from[i].alpha);
        Float3 c = from[i].color;
        if (alpha_ == AlphaUse::Coverage && alpha > 0.0f &&
            (!imager_.premultipliedAlpha || imager_.disablePartialAlpha))
            c *= 1.0f / alpha;
        if (imager_.disablePartialAlpha && alpha > 0.0f) alpha = 1.0f;
        to[0] = c.x;
        to[1] = c.y;
        to[2] = c.z;
        to[3] = alpha;
    }
}

}  // namespace Lumora::engine
