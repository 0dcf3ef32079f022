#include "engine/render/textures/patterns.h"

namespace Lumora::engine {

namespace {

/// Integral from 0 to x of a square wave that is +1 on [0, 1) and -1 on [1, 2).
float squareIntegral(float x) {
    const float r = x - 2.0f * std::floor(0.5f * x);
    return r < 1.0f ? r : 2.0f - r;
}

/// The square wave's mean over [x - half, x + half].
float squareMean(float x, float half) {
    if (half < 1e-4f) return (static_cast<std::int64_t>(std::floor(x)) & 1) ? -1.0f : 1.0f;
    if (half > 64.0f) return 0.0f;
    // Near the origin the difference keeps its precision.
    x -= 2.0f * std::floor(0.5f * x);
    return (squareIntegral(x + half) - squareIntegral(x - half)) / (2.0f * half);
}

/// Mean of a wave over an interval, from its integral over one period [0, 1], which has the total `total`.
template <typename F>
float periodicMean(float x, float half, float total, F&& integral) {
    const auto upTo = [&](float v) {
        const float whole = std::floor(v);
        return whole * total + integral(v - whole);
    };
    return (upTo(x + half) - upTo(x - half)) / (2.0f * half);
}

float fraction(float v) {
    return v - std::floor(v);
}

}  // namespace

float checks(const MappedPoint& p) {
    // The footprint is cut along its longer axis into pieces about as wide as the shorter; each is averaged as a box.
    Float3 longer = p.axis[0], shorter = p.axis[1];
    if (dot(longer, longer) < dot(shorter, shorter)) std::swap(longer, shorter);
    const float l = length(longer), s = length(shorter);
    const float x = 2.0f * p.uvw.x, y = 2.0f * p.uvw.y;
    if (!(std::abs(x) < 1e9f) || !(std::abs(y) < 1e9f)) return 0.5f;
    constexpr float kMostPieces = 16.0f;
    const int pieces =
        l > 1e-4f ? static_cast<int>(std::clamp(std::ceil(l / std::max(s, 1e-4f)), 1.0f, kMostPieces)) : 1;
    const float share = 1.0f / static_cast<float>(pieces);
    const float halfX = 2.0f * std::max(std::abs(longer.x) * share, std::abs(shorter.x));
    const float halfY = 2.0f * std::max(std::abs(longer.y) * share, std::abs(shorter.y));
    float sum = 0.0f;
    for (int i = 0; i < pieces; ++i) {
        const float t = (2.0f * static_cast<float>(i) + 1.0f) * share - 1.0f;
        sum += squareMean(x + 2.0f * longer.x * t, halfX) * squareMean(y + 2.0f * longer.y * t, halfY);
    }
    return 0.5f - 0.5f * sum * share;
}

float wave(TextureOp op, const MappedPoint& p, float offset) {
    const float x = p.uvw.x + offset, half = std::max(std::abs(p.axis[0].x), std::abs(p.axis[1].x));
    if (!(std::abs(x) < 1e7f) || half > 64.0f) return 0.5f;
    const float t = fraction(x);
    const bool point = half < 1e-5f;
    if (op == TextureOp::SineWave) {
        const float width = 2.0f * kPi * half;
        return 0.5f + 0.5f * std::sin(2.0f * kPi * t) * (point ? 1.0f : std::sin(width) / width);
    }
    if (op == TextureOp::SawWave) {
        return point ? t : periodicMean(t, half, 0.5f, [](float v) { return 0.5f * v * v; });
    }
    if (point) return 1.0f - std::abs(2.0f * t - 1.0f);
    return periodicMean(t, half, 0.5f, [](float v) { return v < 0.5f ? v * v : 0.5f - (1.0f - v) * (1.0f - v); });
}

float marble(const MappedPoint& p, float offset, float variance, const Octaves& octaves) {
    MappedPoint bent = p;
    bent.uvw.x += variance * 4.0f * fractalNoise(p.uvw, octaves, p.radius());
    return wave(TextureOp::SineWave, bent, offset);
}

}  // namespace Lumora::engine
