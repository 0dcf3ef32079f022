#include "tools/node_pictures/charts.h"

#include <algorithm>
#include <cmath>

#include "tools/node_pictures/shapes.h"
#include "tools/node_pictures/strips.h"

namespace pictures {

namespace {

float smoothStep(float low, float high, float x) {
    const float t = std::clamp((x - low) / (high - low), 0.0f, 1.0f);
    return t * t * (3 - 2 * t);
}

/// A colour of the hue circle, 0 to 1 once around.
Float3 hue(float h) {
    const auto part = [&](float shift) { return 0.5f + 0.5f * std::cos(2 * kPi * (h - shift)); };
    return {part(0), part(1.0f / 3), part(2.0f / 3)};
}

Float3 mix(Float3 a, Float3 b, float t) {
    return a * (1 - t) + b * t;
}

/// The letter F in the middle of the unit square, which looks different from every side and in every mirror.
bool letter(float u, float v) {
    const bool stem = u > 0.34f && u < 0.44f && v > 0.22f && v < 0.78f;
    const bool upper = u > 0.34f && u < 0.68f && v > 0.68f && v < 0.78f;
    const bool middle = u > 0.34f && u < 0.60f && v > 0.46f && v < 0.56f;
    return stem || upper || middle;
}

/// v is up.
Float3 colors(float u, float v) {
    constexpr int kFields = 4;
    const int i = static_cast<int>(u * kFields), j = static_cast<int>(v * kFields);
    Float3 color = mix({0.93f, 0.93f, 0.9f}, hue(static_cast<float>(i) / kFields + 0.13f * static_cast<float>(j)),
                       (i + j) % 2 ? 0.75f : 0.3f);
    if (letter(u, v)) color = {0.06f, 0.07f, 0.1f};
    const float edge = std::min(std::min(u, 1 - u), std::min(v, 1 - v));
    return edge < 0.02f ? Float3{0.08f, 0.09f, 0.12f} : color;
}

float brickHeight(float u, float v) {
    constexpr float kRows = 8, kColumns = 4, kJoint = 0.07f;
    const float y = v * kRows, row = std::floor(y), x = u * kColumns + (static_cast<int>(row) % 2 ? 0.5f : 0.0f);
    const float fx = x - std::floor(x), fy = y - row;
    const float edge = std::min(std::min(fx, 1 - fx) * (kRows / kColumns), std::min(fy, 1 - fy));
    const float tone = 0.5f + 0.5f * std::sin(12.9898f * std::floor(x) + 78.233f * row);
    return smoothStep(kJoint * 0.5f, kJoint * 1.8f, edge) * (0.85f + 0.15f * tone);
}

/// Round dents, eight by eight; the green channel points up.
Float3 dents(float u, float v) {
    const float x = 2 * (u * 8 - std::floor(u * 8)) - 1, y = 2 * (v * 8 - std::floor(v * 8)) - 1;
    const float r2 = (x * x + y * y) / 0.7f;
    const float fade = r2 < 1 ? 0.75f * (1 - smoothStep(0.6f, 1, r2)) : 0.0f;
    const Float3 n = normalized({x * fade, y * fade, 1});
    return Float3{0.5f, 0.5f, 0.5f} + n * 0.5f;
}

/// Radiance from longitude (u) and height (v, 0.5 the horizon).
Float3 sky(float u, float v) {
    const float ridge = 0.5f + 0.035f * std::sin(2 * kPi * 3 * u) + 0.02f * std::sin(2 * kPi * 7 * u + 1) +
                        0.008f * std::sin(2 * kPi * 23 * u);
    if (v < ridge) {
        const Float3 near{0.10f, 0.14f, 0.05f}, far{0.20f, 0.27f, 0.22f};
        return v < 0.5f ? mix({0.22f, 0.19f, 0.14f}, {0.30f, 0.27f, 0.2f}, 2 * v) : mix(near, far, (v - 0.5f) * 14);
    }
    const float height = (v - 0.5f) * 2;
    Float3 color = mix({0.95f, 0.85f, 0.72f}, {0.16f, 0.34f, 0.75f}, smoothStep(0, 0.6f, height));
    // The sun, to the right of the middle, with a glow.
    const float dx = (u - 0.66f) * 2 * std::cos((v - 0.5f) * kPi), dy = v - 0.68f;
    const float distance = std::sqrt(dx * dx + dy * dy);
    color = color + Float3{1.6f, 1.2f, 0.7f} * std::exp(-distance * 14);
    if (distance < 0.018f) color = {900, 780, 560};
    return color;
}

template <typename Color>
ChartImage painted(int width, int height, Color color) {
    ChartImage image{width, height, {}, {}};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const float u = (static_cast<float>(x) + 0.5f) / static_cast<float>(width);
            const float v = 1 - (static_cast<float>(y) + 0.5f) / static_cast<float>(height);
            float alpha = 1;
            const Float3 c = color(u, v, alpha);
            for (const float part : {c.x, c.y, c.z, alpha})
                image.bytes.push_back(static_cast<unsigned char>(std::clamp(part, 0.0f, 1.0f) * 255 + 0.5f));
        }
    }
    return image;
}

ChartImage skyImage() {
    constexpr int kWidth = 1024, kHeight = 512;
    ChartImage image{kWidth, kHeight, {}, {}};
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const Float3 c = sky((static_cast<float>(x) + 0.5f) / kWidth, 1 - (static_cast<float>(y) + 0.5f) / kHeight);
            image.floats.insert(image.floats.end(), {c.x, c.y, c.z, 1});
        }
    }
    return image;
}

/// An LM-63 file of a lamp that looks down and is the same from all sides, or from two.
template <typename Intensity>
std::string photometricFile(const char* horizontal, int horizontals, Intensity intensity) {
    constexpr int kSteps = 46;
    std::string angles, values;
    for (int i = 0; i < kSteps; ++i) angles += std::to_string(2 * i) + " ";
    for (int h = 0; h < horizontals; ++h) {
        for (int i = 0; i < kSteps; ++i) values += number(intensity(2.0f * static_cast<float>(i), h)) + " ";
        values += "\n";
    }
    return "IESNA:LM-63-2002\n[TEST] made by hand\nTILT=NONE\n1 1000 1 " + std::to_string(kSteps) + " " +
           std::to_string(horizontals) + " 1 2 0 0 0\n1 1 20\n" + angles + "\n" + horizontal + "\n" + values;
}

}  // namespace

ChartImage chartImage(Chart chart) {
    constexpr int kSize = 256;
    switch (chart) {
        case Chart::Letters:
            return painted(kSize, kSize, [](float u, float v, float& alpha) {
                alpha = letter(u, v) ? 1.0f : 0.0f;
                return Float3{alpha, alpha, alpha};
            });
        case Chart::Bricks:
            return painted(kSize, kSize, [](float u, float v, float&) {
                const float h = brickHeight(u, v);
                return Float3{h, h, h};
            });
        case Chart::Dents:
            return painted(kSize, kSize, [](float u, float v, float&) { return dents(u, v); });
        case Chart::Palette:
            return painted(8, 8, [](float u, float v, float&) {
                return mix(hue(u + 0.06f), {0.95f, 0.93f, 0.88f}, 0.75f * (1 - v));
            });
        case Chart::Sky:
            return skyImage();
        default:
            return painted(kSize, kSize, [](float u, float v, float&) { return colors(u, v); });
    }
}

std::string photometricText(Chart chart) {
    if (chart == Chart::Spot)
        return photometricFile("0", 1, [](float angle, int) {
            return 1000 * std::exp(-angle * angle / 180) + 90 * std::exp(-(angle - 34) * (angle - 34) / 8);
        });
    if (chart == Chart::Batwing)
        return photometricFile("0 90", 2, [](float angle, int h) {
            const float wing = std::exp(-(angle - 48) * (angle - 48) / 160);
            return h == 0 ? 120 + 900 * wing : 120 * std::cos(angle * kPi / 180);
        });
    return {};
}

}  // namespace pictures
