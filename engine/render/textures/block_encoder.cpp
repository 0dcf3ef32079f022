#include "engine/render/textures/block_encoder.h"

#include <cstring>
#include <utility>

#include "engine/render/textures/block_encoders.h"
#include "engine/render/textures/block_fit.h"

namespace Lumora::engine {

namespace {

constexpr float kMost = 255.0f;

void store(std::byte* to, std::uint64_t v) {
    std::memcpy(to, &v, sizeof v);  // little endian, as this machine
}

int quantise(float v, int last) {
    return static_cast<int>(v * (static_cast<float>(last) / kMost) + 0.5f);
}
int expand5(int v) {
    return v << 3 | v >> 2;
}
int expand6(int v) {
    return v << 2 | v >> 4;
}

/// End points of five and six bits whose third is nearest to each byte: what even blocks take, since the end points
/// alone are eight steps apart.
struct Thirds {
    std::uint8_t five[256][2], six[256][2];
    Thirds() {
        for (int v = 0; v < 256; ++v) {
            best(v, 32, expand5, five[v]);
            best(v, 64, expand6, six[v]);
        }
    }

private:
    template <typename Expand>
    static void best(int v, int count, Expand&& expand, std::uint8_t* out) {
        int least = 1 << 20;
        for (int a = 0; a < count; ++a) {
            for (int b = 0; b < count; ++b) {
                const int x = expand(a), y = expand(b);
                // Near end points first: what rounds differently elsewhere then differs less.
                const int error = 64 * std::abs((2 * x + y + 1) / 3 - v) + std::abs(x - y) / 16;
                if (error >= least) continue;
                least = error;
                out[0] = static_cast<std::uint8_t>(a);
                out[1] = static_cast<std::uint8_t>(b);
            }
        }
    }
};

struct Ends565 {
    int a[3], b[3];
    Line line() const {
        Line l;
        for (int i = 0; i < 3; ++i) {
            l.a[i] = static_cast<float>(i == 1 ? expand6(a[i]) : expand5(a[i]));
            l.b[i] = static_cast<float>(i == 1 ? expand6(b[i]) : expand5(b[i]));
        }
        return l;
    }
    static Ends565 of(const Line& l) {
        Ends565 e;
        for (int i = 0; i < 3; ++i) {
            e.a[i] = quantise(l.a[i], i == 1 ? 63 : 31);
            e.b[i] = quantise(l.b[i], i == 1 ? 63 : 31);
        }
        return e;
    }
};

std::uint64_t word565(const int* v) {
    return static_cast<std::uint64_t>(v[0] << 11 | v[1] << 5 | v[2]);
}

std::uint64_t encodeColors(const Floats16* c) {
    static const Thirds thirds;
    const Floats16 all = wide(1.0f);
    Line line = principalLine<3>(c, all, kMost);
    Ends565 best{};
    Floats16 places{};
    float least = 1e30f;
    const auto consider = [&](const Ends565& e) {
        const Line l = e.line();
        const Floats16 p = placesOn<3>(l, c, 3);
        const float error = errorOf<3>(l, c, all, p * (1.0f / 3.0f));
        if (error >= least) return;
        least = error;
        best = e;
        places = p;
    };
    consider(Ends565::of(line));
    // Even blocks: a third of the way between other end points.
    float widest = 0.0f;
    for (int i = 0; i < 3; ++i) widest = std::max(widest, std::abs(line.b[i] - line.a[i]));
    if (widest < 6.0f) {
        Ends565 e;
        for (int i = 0; i < 3; ++i) {
            const auto v = static_cast<std::size_t>(0.5f * (line.a[i] + line.b[i]) + 0.5f);
            const std::uint8_t* pair = i == 1 ? thirds.six[v] : thirds.five[v];
            e.a[i] = pair[0];
            e.b[i] = pair[1];
        }
        consider(e);
    }
    for (int round = 0; round < 2 && least > 0.0f; ++round) {
        if (!refit<3>(line, c, all, places * (1.0f / 3.0f), kMost)) break;
        const float before = least;
        consider(Ends565::of(line));
        if (least >= before) break;
    }
    std::uint64_t a = word565(best.a), b = word565(best.b);
    // The larger first; the other order would mean another ramp.
    if (a < b) {
        std::swap(a, b);
        places = 3.0f - places;
    }
    // Places 0, 1, 2 and 3 have the numbers 0, 2, 3 and 1.
    const Floats16 index = places == 0.0f ? places : places == 3.0f ? wide(1.0f) : places + 1.0f;
    const std::uint64_t packed = a == b ? 0 : packPlaces(index, 2);
    return a | b << 16 | packed << 32;
}

std::uint64_t encodeRamp(Floats16 c) {
    const Floats16 all = wide(1.0f);
    Line line{{greatestOf(c)}, {leastOf(c)}};
    Floats16 best{};
    int a = 0, b = 0;
    float least = 1e30f;
    const auto consider = [&](const Line& l) {
        const int x = quantise(l.a[0], 255), y = quantise(l.b[0], 255);
        const Line q{{static_cast<float>(x)}, {static_cast<float>(y)}};
        const Floats16 p = placesOn<1>(q, &c, 7);
        const float error = errorOf<1>(q, &c, all, p * (1.0f / 7.0f));
        if (error >= least) return;
        least = error;
        a = x;
        b = y;
        best = p;
    };
    consider(line);
    for (int round = 0; round < 2 && least > 1.0f; ++round) {
        if (!refit<1>(line, &c, all, best * (1.0f / 7.0f), kMost)) break;
        const float before = least;
        consider(line);
        if (least >= before) break;
    }
    if (a < b) {
        std::swap(a, b);
        best = 7.0f - best;
    }
    const Floats16 index = best == 0.0f ? best : best == 7.0f ? wide(1.0f) : best + 1.0f;
    const std::uint64_t packed = a == b ? 0 : packPlaces(index, 3);
    return static_cast<std::uint64_t>(a) | static_cast<std::uint64_t>(b) << 8 | packed << 16;
}

}  // namespace

void encodeBlock(PixelFormat format, const BlockPixels& pixels, std::byte* to) {
    switch (format) {
        case PixelFormat::Bc1:
            store(to, encodeColors(pixels.c));
            break;
        case PixelFormat::Bc3:
            store(to, encodeRamp(pixels.c[3]));
            store(to + 8, encodeColors(pixels.c));
            break;
        case PixelFormat::Bc4:
            store(to, encodeRamp(pixels.c[0]));
            break;
        case PixelFormat::Bc5:
            store(to, encodeRamp(pixels.c[0]));
            store(to + 8, encodeRamp(pixels.c[1]));
            break;
        default: {
            const BlockBits bits = format == PixelFormat::Bc6h ? encodeHalves(pixels) : encodeFine(pixels);
            store(to, bits.low());
            store(to + 8, bits.high());
            break;
        }
    }
}

}  // namespace Lumora::engine
