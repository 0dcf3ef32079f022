#include "engine/render/textures/pixel_format.h"

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

/// Reads linear pixels of one level.
template <typename Format>
struct Reader {
    using Stored = typename Format::Stored;
    const Stored* pixels;
    std::uint32_t width, channels;
    const float* table;
    float gamma;

    float decode(Stored v) const {
        if constexpr (std::is_integral_v<Stored>) {
            if (table) return table[v];
        }
        const float f = Format::load(v);
        return gamma == 1.0f ? f : decodeGamma(f, gamma);
    }
    Rgba at(int x, int y) const {
        if ((x | y) < 0) return x == kWhite || y == kWhite ? Rgba{splat(1.0f), 1.0f} : Rgba{Float3{}, 0.0f};
        const Stored* p = pixels + (static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x)) * channels;
        switch (channels) {
            case 1:
                return {splat(decode(p[0])), 1.0f};
            case 2:
                return {splat(decode(p[0])), Format::load(p[1])};
            case 3:
                return {{decode(p[0]), decode(p[1]), decode(p[2])}, 1.0f};
            default:
                return {{decode(p[0]), decode(p[1]), decode(p[2])}, Format::load(p[3])};
        }
    }
};

template <typename F>
Rgba withReader(const ImageLookup& lookup, const ImageTexture& level, F&& f) {
    return withFormat(level.format(), [&](auto format) {
        using Format = decltype(format);
        const Reader<Format> reader{static_cast<const typename Format::Stored*>(level.pixels()), level.width(),
                                    level.channels(), lookup.table ? lookup.table->data() : nullptr, lookup.gamma};
        return f(reader);
    });
}

/// Blends the four pixels around a point in pixels of the level, whose centres lie at halves.
Rgba bilinear(const ImageLookup& lookup, const ImageTexture& level, float x, float y) {
    x -= 0.5f;
    y -= 0.5f;
    const float fx = std::floor(x), fy = std::floor(y), tx = x - fx, ty = y - fy;
    const int w = static_cast<int>(level.width()), h = static_cast<int>(level.height());
    const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
    const int x0 = borderIndex(ix, w, lookup.border), x1 = borderIndex(ix + 1, w, lookup.border);
    const int y0 = borderIndex(iy, h, lookup.border), y1 = borderIndex(iy + 1, h, lookup.border);
    return withReader(lookup, level, [&](const auto& reader) {
        const Rgba a = reader.at(x0, y0), b = reader.at(x1, y0), c = reader.at(x0, y1), d = reader.at(x1, y1);
        return Rgba{lerp(lerp(a.color, b.color, tx), lerp(c.color, d.color, tx), ty),
                    lerp(lerp(a.alpha, b.alpha, tx), lerp(c.alpha, d.alpha, tx), ty)};
    });
}

/// A Gaussian over the squared radius of the ellipse, which ends at one.
struct Gaussian {
    static constexpr int kSize = 64;
    float table[kSize];
    Gaussian() {
        for (int i = 0; i < kSize; ++i) {
            const float r2 = static_cast<float>(i) / (kSize - 1);
            table[i] = std::exp(-2.0f * r2) - std::exp(-2.0f);
        }
    }
};
const Gaussian kGaussian;

/// The longer axis is at most this many times the shorter; longer ones make the shorter grow, which blurs a little.
constexpr float kMaxAnisotropy = 16.0f;

/// Weighted mean over an ellipse around (x, y) with two half axes, all in pixels of the level.
Rgba ellipse(const ImageLookup& lookup, const ImageTexture& level, float x, float y, Float2 a0, Float2 a1) {
    x -= 0.5f;
    y -= 0.5f;
    // Q(s, t) = A s² + B s t + C t², one on the ellipse.
    float a = a0.y * a0.y + a1.y * a1.y, b = -2.0f * (a0.x * a0.y + a1.x * a1.y), c = a0.x * a0.x + a1.x * a1.x;
    const float f = a * c - 0.25f * b * b;
    if (!(f > 0.0f)) return bilinear(lookup, level, x + 0.5f, y + 0.5f);
    a /= f;
    b /= f;
    c /= f;
    const float det = 4.0f * a * c - b * b;
    const float reachX = 2.0f * std::sqrt(c / det), reachY = 2.0f * std::sqrt(a / det);
    const int x0 = static_cast<int>(std::ceil(x - reachX)), x1 = static_cast<int>(std::floor(x + reachX));
    const int y0 = static_cast<int>(std::ceil(y - reachY)), y1 = static_cast<int>(std::floor(y + reachY));
    const int w = static_cast<int>(level.width()), h = static_cast<int>(level.height());
    return withReader(lookup, level, [&](const auto& reader) {
        Rgba sum{Float3{}, 0.0f};
        float weights = 0.0f;
        for (int iy = y0; iy <= y1; ++iy) {
            const float t = static_cast<float>(iy) - y;
            // The part of the row inside: A s² + B t s + C t² < 1.
            const float disc = t * t * (b * b - 4.0f * a * c) + 4.0f * a;
            if (!(disc > 0.0f)) continue;
            const float root = std::sqrt(disc), half = 0.5f / a;
            const int from = std::max(x0, static_cast<int>(std::ceil(x + (-b * t - root) * half)));
            const int to = std::min(x1, static_cast<int>(std::floor(x + (-b * t + root) * half)));
            const int row = borderIndex(iy, h, lookup.border);
            for (int ix = from; ix <= to; ++ix) {
                const float s = static_cast<float>(ix) - x;
                const float r2 = std::max((a * s + b * t) * s + c * t * t, 0.0f);
                const float weight =
                    kGaussian.table[std::min(static_cast<int>(r2 * Gaussian::kSize), Gaussian::kSize - 1)];
                const Rgba p = reader.at(borderIndex(ix, w, lookup.border), row);
                sum.color += p.color * weight;
                sum.alpha += p.alpha * weight;
                weights += weight;
            }
        }
        if (!(weights > 0.0f)) return bilinear(lookup, level, x + 0.5f, y + 0.5f);
        const float inv = 1.0f / weights;
        return Rgba{sum.color * inv, sum.alpha * inv};
    });
}

float length(Float2 v) {
    return std::sqrt(v.x * v.x + v.y * v.y);
}

/// Orthogonal half axes of the ellipse that two conjugate half axes span: `longer` first.
void principalAxes(Float2& p, Float2& q) {
    const float pp = p.x * p.x + p.y * p.y, qq = q.x * q.x + q.y * q.y, pq = p.x * q.x + p.y * q.y;
    if (std::abs(pq) > 1e-6f * std::max(pp, qq)) {
        // Rotating the parameter by this angle makes the two orthogonal (Rytz).
        const float angle = 0.5f * std::atan2(2.0f * pq, pp - qq), co = std::cos(angle), si = std::sin(angle);
        const Float2 r = {p.x * co + q.x * si, p.y * co + q.y * si};
        q = {q.x * co - p.x * si, q.y * co - p.y * si};
        p = r;
    }
    if (length(p) < length(q)) std::swap(p, q);
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

}  // namespace

Rgba sampleImage(const ImageLookup& lookup, Float2 uv, Float2 axis0, Float2 axis1) {
    const ImageTexture& image = *lookup.image;
    if (!std::isfinite(uv.x) || !std::isfinite(uv.y)) uv = {};
    const float u = reduced(uv.x, lookup.border), v = reduced(1.0f - uv.y, lookup.border);
    float w = static_cast<float>(image.width()), h = static_cast<float>(image.height());
    Float2 p = {axis0.x * w, -axis0.y * h}, q = {axis1.x * w, -axis1.y * h};
    const float reach = std::abs(p.x) + std::abs(p.y) + std::abs(q.x) + std::abs(q.y);
    // Less than a pixel: the image is seen enlarged.
    if (!lookup.pyramid || !(reach > 1.0f)) return bilinear(lookup, image, u * w, v * h);
    const std::size_t last = lookup.pyramid->levels.size();
    if (!(reach < 1e9f)) {
        const ImageTexture& top = last ? lookup.pyramid->levels[last - 1] : image;
        return bilinear(lookup, top, 0.5f, 0.5f);
    }
    principalAxes(p, q);
    const float longer = length(p);
    float shorter = std::max(length(q), longer / kMaxAnisotropy);
    if (!(longer > 1.0f)) return bilinear(lookup, image, u * w, v * h);
    // On its level the shorter half axis is one to two pixels long.
    std::size_t level = 0;
    float scale = 1.0f;
    while (level < last && shorter * scale >= 2.0f) {
        ++level;
        scale *= 0.5f;
    }
    const ImageTexture& chosen = level ? lookup.pyramid->levels[level - 1] : image;
    w = static_cast<float>(chosen.width());
    h = static_cast<float>(chosen.height());
    // On the coarsest level an ellipse may cover the image many times over; then its size does not matter any more.
    constexpr float kLargest = 2.0f * kMaxAnisotropy;
    shorter = std::clamp(shorter * scale, 1.0f, kLargest);
    const Float2 along = {p.x / longer, p.y / longer};
    const float reachAlong = std::clamp(longer * scale, 1.0f, kLargest);
    return ellipse(lookup, chosen, u * w, v * h, {along.x * reachAlong, along.y * reachAlong},
                   {-along.y * shorter, along.x * shorter});
}

Rgba pixelOf(const ImageLookup& lookup, std::uint64_t index) {
    const ImageTexture& image = *lookup.image;
    index %= std::uint64_t{image.width()} * image.height();
    return withReader(lookup, image, [&](const auto& reader) {
        return reader.at(static_cast<int>(index % image.width()), static_cast<int>(index / image.width()));
    });
}

}  // namespace Lumora::engine
