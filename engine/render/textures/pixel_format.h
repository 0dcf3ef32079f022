// How a channel value lies in memory, one type for each format: what loops over pixels are written with.
#pragma once

#if defined(__F16C__)
#include <immintrin.h>
#endif

#include <cstring>

#include "engine/render/image_texture.h"

namespace Lumora::engine {

/// IEEE half to float.
inline float halfToFloat(std::uint16_t h) {
    const std::uint32_t sign = static_cast<std::uint32_t>(h & 0x8000u) << 16;
    const std::uint32_t exponent = (h >> 10) & 0x1fu, mantissa = h & 0x3ffu;
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

/// Float to the nearest half, ties to even; what is too large becomes the largest finite half.
inline std::uint16_t floatToHalf(float v) {
    std::uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    const auto sign = static_cast<std::uint16_t>((bits >> 16) & 0x8000u);
    const float a = std::abs(v);
    if (!(a < 65520.0f)) return static_cast<std::uint16_t>(sign | 0x7bffu);
    if (a < 0x1p-14f) {
        return static_cast<std::uint16_t>(sign | static_cast<std::uint16_t>(std::nearbyint(a * 0x1p24f)));
    }
    std::uint32_t r = (bits & 0x7fffffffu) - (112u << 23);
    r += 0xfffu + ((r >> 13) & 1u);
    return static_cast<std::uint16_t>(sign | (r >> 13));
}

struct ByteFormat {
    using Stored = std::uint8_t;
    static float load(Stored v) { return static_cast<float>(v) * (1.0f / 255.0f); }
    static Stored store(float v) { return static_cast<Stored>(clamp01(v) * 255.0f + 0.5f); }
};
struct WordFormat {
    using Stored = std::uint16_t;
    static float load(Stored v) { return static_cast<float>(v) * (1.0f / 65535.0f); }
    static Stored store(float v) { return static_cast<Stored>(clamp01(v) * 65535.0f + 0.5f); }
};
struct HalfFormat {
    using Stored = std::uint16_t;
    static float load(Stored v) {
#if defined(__F16C__)
        return _cvtsh_ss(v);
#else
        return halfToFloat(v);
#endif
    }
    static Stored store(float v) {
#if defined(__F16C__)
        // What is too large becomes the largest finite half, as in floatToHalf().
        return _cvtss_sh(std::clamp(v, -65504.0f, 65504.0f), _MM_FROUND_TO_NEAREST_INT);
#else
        return floatToHalf(v);
#endif
    }
};
struct FloatFormat {
    using Stored = float;
    static float load(Stored v) { return v; }
    static Stored store(float v) { return v; }
};

/// Calls `f` with the type of a format of plain pixels.
template <typename F>
auto withFormat(PixelFormat format, F&& f) {
    switch (format) {
        case PixelFormat::Byte:
            return f(ByteFormat{});
        case PixelFormat::Word:
            return f(WordFormat{});
        case PixelFormat::Half:
            return f(HalfFormat{});
        default:
            break;
    }
    return f(FloatFormat{});
}

/// Bytes of one channel value of plain pixels.
constexpr std::size_t channelBytes(PixelFormat format) {
    return format == PixelFormat::Byte ? 1 : format == PixelFormat::Float ? 4 : 2;
}

}  // namespace Lumora::engine
