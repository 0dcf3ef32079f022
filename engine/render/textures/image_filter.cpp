#include <bit>

#include "engine/render/textures/texel.h"

namespace Lumora::engine {

namespace {

int wrapIndex(int i, int n) {
    i %= n;
    return i < 0 ? i + n : i;
}

constexpr int kBlack = -1, kWhite = -2;

/// The pixel that stands at index i of a row or column of n, or kBlack or kWhite.
int borderIndex(int i, int n, BorderMode border) {
    if (i >= 0 && i < n) return i;
    switch (border) {
        case BorderMode::Black:
            return kBlack;
        case BorderMode::White:
            return kWhite;
        case BorderMode::Clamp:
            return i < 0 ? 0 : n - 1;
        case BorderMode::Mirror:
            i = wrapIndex(i, 2 * n);
            return i < n ? i : 2 * n - 1 - i;
        case BorderMode::Wrap:
            break;
    }
    return wrapIndex(i, n);
}

/// A pixel by indices that borderIndex() has seen.
template <typename Reader>
Texel atBorder(const Reader& reader, int x, int y) {
    if ((x | y) < 0) return x == kWhite || y == kWhite ? splatTexel(1.0f) : Texel{};
    return reader.at(x, y);
}

/// Blends the four pixels around a point in pixels of the level, whose centres lie at halves.
Rgba bilinear(const ImageLookup& lookup, const ImageTexture& level, float x, float y) {
    x -= 0.5f;
    y -= 0.5f;
    const float fx = std::floor(x), fy = std::floor(y), tx = x - fx, ty = y - fy;
    const int w = static_cast<int>(level.width()), h = static_cast<int>(level.height());
    int x0 = static_cast<int>(fx), y0 = static_cast<int>(fy), x1 = x0 + 1, y1 = y0 + 1;
    return withReader(lookup, level, [&](const auto& reader) {
        if (x0 >= 0 && y0 >= 0 && x1 < w && y1 < h) {
            return rgbaOf(
                mix(mix(reader.at(x0, y0), reader.at(x1, y0), tx), mix(reader.at(x0, y1), reader.at(x1, y1), tx), ty));
        }
        x0 = borderIndex(x0, w, lookup.border);
        x1 = borderIndex(x1, w, lookup.border);
        y0 = borderIndex(y0, h, lookup.border);
        y1 = borderIndex(y1, h, lookup.border);
        return rgbaOf(mix(mix(atBorder(reader, x0, y0), atBorder(reader, x1, y0), tx),
                          mix(atBorder(reader, x0, y1), atBorder(reader, x1, y1), tx), ty));
    });
}

/// The longer axis is at most this many times the shorter; longer ones make the shorter grow, which blurs a little.
constexpr float kMaxAnisotropy = 16.0f;

/// An ellipse by its matrix: the sum of the outer products of two conjugate half axes.
struct Ellipse {
    float xx = 0, xy = 0, yy = 0, determinant = 0;
};

/// Weighted mean over an ellipse around (x, y), in pixels of the level. The weight is (1 - r²)², with r the distance in
/// the ellipse: nearly the Gaussian that such filters have, without its exponential.
template <typename Reader>
Texel ellipse(const Reader& reader, int w, int h, BorderMode border, float x, float y, const Ellipse& e) {
    x -= 0.5f;
    y -= 0.5f;
    const float reachX = std::sqrt(e.xx), reachY = std::sqrt(e.yy);
    const int x0 = static_cast<int>(std::ceil(x - reachX)), x1 = static_cast<int>(std::floor(x + reachX));
    const int y0 = static_cast<int>(std::ceil(y - reachY)), y1 = static_cast<int>(std::floor(y + reachY));
    // In a row at height t, r² = t² / yy + (s - shear t)² yy / determinant.
    const float invYy = 1.0f / e.yy, shear = e.xy * invYy, widest2 = e.determinant * invYy, inv2 = 1.0f / widest2;
    const bool inside = x0 >= 0 && y0 >= 0 && x1 < w && y1 < h;
    if (inside) {
        for (int iy = y0; iy <= y1; ++iy) {
            const int middle = static_cast<int>(x + shear * (static_cast<float>(iy) - y));
            const int half = static_cast<int>(std::sqrt(widest2));
            reader.prefetch(std::max(middle - half, x0), std::min(middle + half, x1), iy);
        }
    }
    Texel sum{};
    float weights = 0.0f;
    for (int iy = y0; iy <= y1; ++iy) {
        const float t = static_cast<float>(iy) - y, left = 1.0f - t * t * invYy;
        if (!(left > 0.0f)) continue;
        const float centre = x + shear * t, half = std::sqrt(left * widest2);
        const int from = std::max(x0, static_cast<int>(std::ceil(centre - half)));
        const int to = std::min(x1, static_cast<int>(std::floor(centre + half)));
        const auto row = [&](auto&& texel) {
            for (int ix = from; ix <= to; ++ix) {
                const float s = static_cast<float>(ix) - centre, k = std::max(left - s * s * inv2, 0.0f);
                const float weight = k * k;
                sum += texel(ix) * splatTexel(weight);
                weights += weight;
            }
        };
        if (inside) {
            row([&](int ix) { return reader.at(ix, iy); });
        } else {
            const int bordered = borderIndex(iy, h, border);
            row([&](int ix) { return atBorder(reader, borderIndex(ix, w, border), bordered); });
        }
    }
    // The smallest ellipse holds the middle of a pixel wherever it lies.
    return sum * splatTexel(1.0f / std::max(weights, 1e-20f));
}

/// Coordinates of a wrapped texture repeat; brought near the origin they keep their precision and fit an int.
float reduced(float v, BorderMode border) {
    if (std::abs(v) < 4.0f) return v;
    switch (border) {
        case BorderMode::Wrap:
            return v - std::floor(v);
        case BorderMode::Mirror:
            return v - 2.0f * std::floor(0.5f * v);
        default:
            return std::clamp(v, -1e3f, 1e3f);
    }
}

/// Largest whole number n with 2^n <= v, for v of one and more.
int wholeLog2(float v) {
    return static_cast<int>(std::bit_cast<std::uint32_t>(v) >> 23) - 127;
}
/// 2^-n for n from 0 to 126.
float inversePower2(int n) {
    return std::bit_cast<float>(static_cast<std::uint32_t>(127 - n) << 23);
}

}  // namespace

BlockCache& threadBlockCache() {
    thread_local BlockCache cache;
    return cache;
}

Rgba sampleImage(const ImageLookup& lookup, Float2 uv, Float2 axis0, Float2 axis1) {
    const ImageTexture& image = *lookup.image;
    if (!std::isfinite(uv.x) || !std::isfinite(uv.y)) uv = {};
    const float u = reduced(uv.x, lookup.border), v = reduced(1.0f - uv.y, lookup.border);
    const float w = static_cast<float>(image.width()), h = static_cast<float>(image.height());
    const Float2 p = {axis0.x * w, -axis0.y * h}, q = {axis1.x * w, -axis1.y * h};
    Ellipse e{p.x * p.x + q.x * q.x, p.x * p.y + q.x * q.y, p.y * p.y + q.y * q.y};
    const float squares = e.xx + e.yy;
    // Less than a pixel: the image is seen enlarged.
    if (!lookup.pyramid || !(squares > 1.0f)) return bilinear(lookup, image, u * w, v * h);
    const int last = static_cast<int>(lookup.pyramid->levels.size());
    if (!(squares < 1e18f)) {
        const ImageTexture& top = last ? lookup.pyramid->levels.back() : image;
        return bilinear(lookup, top, 0.5f, 0.5f);
    }
    // The matrix's eigenvalues are the squares of the ellipse's half axes.
    const float cross = p.x * q.y - p.y * q.x, difference = e.xx - e.yy;
    const float longer2 = 0.5f * (squares + std::sqrt(difference * difference + 4.0f * e.xy * e.xy));
    if (!(longer2 > 1.0f)) return bilinear(lookup, image, u * w, v * h);
    const float longer = std::sqrt(longer2);
    const float seen = std::abs(cross) / longer, shorter = std::max(seen, longer / kMaxAnisotropy);
    // On its level the shorter half axis is one to two pixels long.
    const int level = shorter >= 2.0f ? std::min(wholeLog2(shorter), last) : 0;
    const float scale = inversePower2(level);
    const ImageTexture& chosen = level ? lookup.pyramid->levels[static_cast<std::size_t>(level - 1)] : image;
    // On the coarsest level an ellipse may cover the image many times over; then its size does not matter any more.
    constexpr float kLargest = 2.0f * kMaxAnisotropy;
    const float minor = std::clamp(shorter * scale, 1.0f, kLargest), major = std::clamp(longer * scale, 1.0f, kLargest);
    // The same directions with these half axes.
    const float seen2 = seen * seen, apart = longer2 - seen2, minor2 = minor * minor, major2 = major * major;
    const float factor = apart > 1e-5f * longer2 ? (major2 - minor2) / apart : 0.0f;
    e = {minor2 + factor * (e.xx - seen2), factor * e.xy, minor2 + factor * (e.yy - seen2), minor2 * major2};
    const float x = u * static_cast<float>(chosen.width()), y = v * static_cast<float>(chosen.height());
    return withReader(lookup, chosen, [&](const auto& reader) {
        return rgbaOf(ellipse(reader, static_cast<int>(chosen.width()), static_cast<int>(chosen.height()),
                              lookup.border, x, y, e));
    });
}

Rgba pixelOf(const ImageLookup& lookup, std::uint64_t index) {
    const ImageTexture& image = *lookup.image;
    index %= std::uint64_t{image.width()} * image.height();
    return withReader(lookup, image, [&](const auto& reader) {
        return rgbaOf(reader.at(static_cast<int>(index % image.width()), static_cast<int>(index / image.width())));
    });
}

}  // namespace Lumora::engine
