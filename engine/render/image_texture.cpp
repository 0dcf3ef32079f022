#include "engine/render/image_texture.h"

#include <cstring>

namespace Lumora::engine {

namespace {

/// IEEE half to float.
float halfToFloat(std::uint16_t h) {
    const std::uint32_t sign = static_cast<std::uint32_t>(h & 0x8000u) << 16;
    std::uint32_t exponent = (h >> 10) & 0x1fu, mantissa = h & 0x3ffu;
    std::uint32_t bits;
    if (exponent == 31) {
        bits = sign | 0x7f800000u | (mantissa << 13);
    } else if (exponent != 0) {
        bits = sign | ((exponent + 112) << 23) | (mantissa << 13);
    } else {
        const float v = static_cast<float>(mantissa) * 0x1p-24f;
        return sign ? -v : v;
    }
    float r;
    std::memcpy(&r, &bits, sizeof r);
    return r;
}

int wrapIndex(int i, int n) {
    i %= n;
    return i < 0 ? i + n : i;
}

}  // namespace

float srgbToLinear(float v) {
    return v <= 0.04045f ? v / 12.92f : std::pow((v + 0.055f) / 1.055f, 2.4f);
}

float linearToSrgb(float v) {
    return v <= 0.0031308f ? v * 12.92f : 1.055f * std::pow(v, 1.0f / 2.4f) - 0.055f;
}

float decodeGamma(float v, float gamma) {
    if (gamma == 1.0f || v <= 0.0f) return v;
    return std::abs(gamma - 2.2f) < 1e-4f ? srgbToLinear(v) : std::pow(v, gamma);
}

Rgba ImageTexture::texel(std::uint32_t x, std::uint32_t y) const {
    const std::size_t first = (static_cast<std::size_t>(y) * width_ + x) * channels_;
    float c[4];
    switch (format_) {
        case PixelFormat::Byte: {
            const auto* p = static_cast<const std::uint8_t*>(pixels_) + first;
            for (std::uint32_t i = 0; i < channels_; ++i) c[i] = static_cast<float>(p[i]) * (1.0f / 255.0f);
            break;
        }
        case PixelFormat::Word: {
            const auto* p = static_cast<const std::uint16_t*>(pixels_) + first;
            for (std::uint32_t i = 0; i < channels_; ++i) c[i] = static_cast<float>(p[i]) * (1.0f / 65535.0f);
            break;
        }
        case PixelFormat::Half: {
            const auto* p = static_cast<const std::uint16_t*>(pixels_) + first;
            for (std::uint32_t i = 0; i < channels_; ++i) c[i] = halfToFloat(p[i]);
            break;
        }
        case PixelFormat::Float:
            std::memcpy(c, static_cast<const float*>(pixels_) + first, channels_ * sizeof(float));
            break;
    }
    switch (channels_) {
        case 1:
            return {splat(c[0]), 1.0f};
        case 2:
            return {splat(c[0]), c[1]};
        case 3:
            return {{c[0], c[1], c[2]}, 1.0f};
        default:
            return {{c[0], c[1], c[2]}, c[3]};
    }
}

Rgba ImageTexture::decoded(int x, int y, BorderMode border, const float* byteTable, float gamma) const {
    const int w = static_cast<int>(width_), h = static_cast<int>(height_);
    if (x < 0 || y < 0 || x >= w || y >= h) {
        switch (border) {
            case BorderMode::Black:
                return {Float3{}, 0.0f};
            case BorderMode::White:
                return {splat(1.0f), 1.0f};
            case BorderMode::Clamp:
                x = std::clamp(x, 0, w - 1);
                y = std::clamp(y, 0, h - 1);
                break;
            case BorderMode::Mirror:
                x = wrapIndex(x, 2 * w);
                y = wrapIndex(y, 2 * h);
                if (x >= w) x = 2 * w - 1 - x;
                if (y >= h) y = 2 * h - 1 - y;
                break;
            case BorderMode::Wrap:
                x = wrapIndex(x, w);
                y = wrapIndex(y, h);
                break;
        }
    }
    if (format_ == PixelFormat::Byte && byteTable) {
        const auto* p = static_cast<const std::uint8_t*>(pixels_) +
                        (static_cast<std::size_t>(y) * width_ + static_cast<std::size_t>(x)) * channels_;
        constexpr float kScale = 1.0f / 255.0f;
        switch (channels_) {
            case 1:
                return {splat(byteTable[p[0]]), 1.0f};
            case 2:
                return {splat(byteTable[p[0]]), static_cast<float>(p[1]) * kScale};
            case 3:
                return {{byteTable[p[0]], byteTable[p[1]], byteTable[p[2]]}, 1.0f};
            default:
                return {{byteTable[p[0]], byteTable[p[1]], byteTable[p[2]]}, static_cast<float>(p[3]) * kScale};
        }
    }
    Rgba r = texel(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y));
    if (gamma != 1.0f) {
        r.color = {decodeGamma(r.color.x, gamma), decodeGamma(r.color.y, gamma), decodeGamma(r.color.z, gamma)};
    }
    return r;
}

Rgba ImageTexture::sample(float u, float v, BorderMode border, const float* byteTable, float gamma) const {
    if (!(std::abs(u) < 1e6f) || !(std::abs(v) < 1e6f)) u = v = 0.0f;
    const float x = u * static_cast<float>(width_) - 0.5f, y = (1.0f - v) * static_cast<float>(height_) - 0.5f;
    const float fx = std::floor(x), fy = std::floor(y);
    const float tx = x - fx, ty = y - fy;
    // Far outside, only the remainder matters; the index must fit an int for the widest image.
    const int ix = static_cast<int>(std::fmod(fx, 2.0f * 1e9f)), iy = static_cast<int>(std::fmod(fy, 2.0f * 1e9f));
    const Rgba a = decoded(ix, iy, border, byteTable, gamma), b = decoded(ix + 1, iy, border, byteTable, gamma);
    const Rgba c = decoded(ix, iy + 1, border, byteTable, gamma), d = decoded(ix + 1, iy + 1, border, byteTable, gamma);
    return {lerp(lerp(a.color, b.color, tx), lerp(c.color, d.color, tx), ty),
            lerp(lerp(a.alpha, b.alpha, tx), lerp(c.alpha, d.alpha, tx), ty)};
}

Float3 ImageTexture::meanColor(const float* byteTable, float gamma) const {
    constexpr std::uint32_t kGrid = 64;
    const std::uint32_t nx = std::min(width_, kGrid), ny = std::min(height_, kGrid);
    Float3 sum{};
    for (std::uint32_t j = 0; j < ny; ++j) {
        for (std::uint32_t i = 0; i < nx; ++i) {
            const auto x = static_cast<int>(static_cast<std::uint64_t>(i) * width_ / nx);
            const auto y = static_cast<int>(static_cast<std::uint64_t>(j) * height_ / ny);
            sum += decoded(x, y, BorderMode::Clamp, byteTable, gamma).color;
        }
    }
    return sum * (1.0f / static_cast<float>(nx * ny));
}

}  // namespace Lumora::engine
