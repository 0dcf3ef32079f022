#include "engine/render/textures/gradient.h"

namespace Lumora::engine {

namespace {

float& channel(Float3& v, int c) {
    return c == 0 ? v.x : c == 1 ? v.y : v.z;
}
float channel(const Float3& v, int c) {
    return c == 0 ? v.x : c == 1 ? v.y : v.z;
}

void monotone(const std::vector<Gradient::Knot>& knots, int c, std::vector<Float3>& slopes) {
    const std::size_t n = knots.size();
    std::vector<float> secant(n - 1);
    for (std::size_t i = 0; i + 1 < n; ++i) {
        const float width = knots[i + 1].position - knots[i].position;
        const float rise = channel(knots[i + 1].value, c) - channel(knots[i].value, c);
        secant[i] = width > 1e-6f ? rise / width : 0.0f;
    }
    for (std::size_t i = 0; i < n; ++i) {
        const float before = i > 0 ? secant[i - 1] : secant[0], after = i + 1 < n ? secant[i] : secant[n - 2];
        channel(slopes[i], c) = before * after > 0.0f ? 0.5f * (before + after) : 0.0f;
    }
    for (std::size_t i = 0; i + 1 < n; ++i) {
        if (secant[i] == 0.0f) {
            channel(slopes[i], c) = channel(slopes[i + 1], c) = 0.0f;
            continue;
        }
        const float a = channel(slopes[i], c) / secant[i], b = channel(slopes[i + 1], c) / secant[i];
        const float r2 = a * a + b * b;
        if (r2 <= 9.0f) continue;
        const float scale = 3.0f / std::sqrt(r2) * secant[i];
        channel(slopes[i], c) = a * scale;
        channel(slopes[i + 1], c) = b * scale;
    }
}

}  // namespace

std::vector<Float3> monotoneSlopes(const std::vector<Gradient::Knot>& knots) {
    std::vector<Float3> slopes(knots.size());
    if (knots.size() < 2) return slopes;
    for (int c = 0; c < 3; ++c) monotone(knots, c, slopes);
    return slopes;
}

GradientSpan findSpan(const std::vector<Gradient::Knot>& knots, float position) {
    // The last knot at or before the position.
    std::size_t low = 0, high = knots.size();
    while (high - low > 1) {
        const std::size_t middle = (low + high) / 2;
        (knots[middle].position <= position ? low : high) = middle;
    }
    GradientSpan span;
    span.first = low;
    span.second = std::min(low + 1, knots.size() - 1);
    span.width = knots[span.second].position - knots[span.first].position;
    if (span.width > 0.0f) span.t = clamp01((position - knots[span.first].position) / span.width);
    return span;
}

Float3 interpolate(GradientInterpolation kind, const GradientSpan& span, Float3 a, Float3 b, Float3 slopeA,
                   Float3 slopeB) {
    const float t = span.t, t2 = t * t, t3 = t2 * t;
    switch (kind) {
        case GradientInterpolation::Constant:
            return a;
        case GradientInterpolation::Linear:
            return lerp(a, b, t);
        case GradientInterpolation::Smooth:
            return lerp(a, b, t2 * (3.0f - 2.0f * t));
        case GradientInterpolation::Spline:
            break;
    }
    return a * (2.0f * t3 - 3.0f * t2 + 1.0f) + b * (3.0f * t2 - 2.0f * t3) +
           slopeA * (span.width * (t3 - 2.0f * t2 + t)) + slopeB * (span.width * (t3 - t2));
}

}  // namespace Lumora::engine
