// Lines through the colours of a block: what all encoders share.
#pragma once

#include <algorithm>
#include <cmath>

#include "engine/render/textures/wide.h"

namespace Lumora::engine {

/// Two end points in up to four channels.
struct Line {
    float a[4]{}, b[4]{};
};

/// The line along which the pixels of the mask (ones and zeros) vary most, as far as they reach.
template <int kChannels>
Line principalLine(const Floats16* c, Floats16 mask, float most) {
    const float count = sumOf(mask), inv = 1.0f / std::max(count, 1.0f);
    float mean[kChannels];
    Floats16 d[kChannels];
    for (int i = 0; i < kChannels; ++i) {
        mean[i] = sumOf(c[i] * mask) * inv;
        d[i] = (c[i] - mean[i]) * mask;
    }
    float m[kChannels][kChannels];
    int largest = 0;
    for (int i = 0; i < kChannels; ++i) {
        for (int j = i; j < kChannels; ++j) m[i][j] = m[j][i] = sumOf(d[i] * d[j]);
        if (m[i][i] > m[largest][largest]) largest = i;
    }
    Line line;
    if (!(m[largest][largest] > 1e-3f)) {
        for (int i = 0; i < kChannels; ++i) line.a[i] = line.b[i] = mean[i];
        return line;
    }
    // Power iteration from the column that is surely not across.
    float axis[kChannels];
    for (int i = 0; i < kChannels; ++i) axis[i] = m[largest][i];
    for (int round = 0; round < 4; ++round) {
        float next[kChannels], longest = 0.0f;
        for (int i = 0; i < kChannels; ++i) {
            next[i] = 0.0f;
            for (int j = 0; j < kChannels; ++j) next[i] += m[i][j] * axis[j];
            longest = std::max(longest, std::abs(next[i]));
        }
        if (!(longest > 0.0f)) break;
        for (int i = 0; i < kChannels; ++i) axis[i] = next[i] / longest;
    }
    float square = 0.0f;
    for (const float v : axis) square += v * v;
    const float scale = 1.0f / std::sqrt(square);
    Floats16 t{};
    for (int i = 0; i < kChannels; ++i) t += d[i] * (axis[i] * scale);
    // What is masked out has zero, which lies between the ends.
    const float low = leastOf(t), high = greatestOf(t);
    for (int i = 0; i < kChannels; ++i) {
        line.a[i] = std::clamp(mean[i] + axis[i] * scale * low, 0.0f, most);
        line.b[i] = std::clamp(mean[i] + axis[i] * scale * high, 0.0f, most);
    }
    return line;
}

/// The nearest of the places 0 to `last` on the line, for each pixel.
template <int kChannels>
Floats16 placesOn(const Line& line, const Floats16* c, int last) {
    float square = 0.0f;
    Floats16 t{};
    for (int i = 0; i < kChannels; ++i) {
        const float d = line.b[i] - line.a[i];
        square += d * d;
        t += (c[i] - line.a[i]) * d;
    }
    if (!(square > 0.0f)) return Floats16{};
    const float n = static_cast<float>(last);
    return floatsOf(intsOf(lesser(greater(t * (n / square), Floats16{}), wide(n)) + 0.5f));
}

/// The end points that fit best where every pixel keeps its share of the second one. False: they are not determined.
template <int kChannels>
bool refit(Line& line, const Floats16* c, Floats16 mask, Floats16 share, float most) {
    const Floats16 rest = (1.0f - share) * mask, part = share * mask;
    const float aa = sumOf(rest * rest), ab = sumOf(rest * part), bb = sumOf(part * part), det = aa * bb - ab * ab;
    if (!(det > 1e-3f)) return false;
    const float inv = 1.0f / det;
    for (int i = 0; i < kChannels; ++i) {
        const float x = sumOf(rest * c[i]), y = sumOf(part * c[i]);
        line.a[i] = std::clamp((bb * x - ab * y) * inv, 0.0f, most);
        line.b[i] = std::clamp((aa * y - ab * x) * inv, 0.0f, most);
    }
    return true;
}

/// Sum of the squared distances of the pixels from their places on the line.
template <int kChannels>
float errorOf(const Line& line, const Floats16* c, Floats16 mask, Floats16 share) {
    Floats16 sum{};
    for (int i = 0; i < kChannels; ++i) {
        const Floats16 e = line.a[i] + (line.b[i] - line.a[i]) * share - c[i];
        sum += e * e;
    }
    return sumOf(sum * mask);
}

/// Packs whole numbers of `bits` for all pixels, the first one lowest.
inline std::uint64_t packPlaces(Floats16 places, int bits) {
    const Ints16 p = intsOf(places);
    std::uint64_t packed = 0;
    for (int i = 0; i < 16; ++i) packed |= static_cast<std::uint64_t>(p[i]) << (bits * i);
    return packed;
}

/// Takes the highest bit of a pixel's index out; it must be zero.
inline std::uint64_t withoutAnchor(std::uint64_t packed, int pixel, int bits) {
    const std::uint64_t below = (std::uint64_t{1} << (bits * pixel + bits - 1)) - 1;
    return (packed & below) | (packed >> 1 & ~below);
}

}  // namespace Lumora::engine
