#include "engine/render/textures/block_encoders.h"
#include "engine/render/textures/block_fit.h"

namespace Lumora::engine {

namespace {

/// What is interpolated is 64 / 31 of a half's bits, of which the first `precision` of 16 are kept.
constexpr float kMost = 31743.0f;  // the bits of the largest finite half

int quantise(float half, int precision) {
    const float v = half * (64.0f / 31.0f);
    // Whole bits are cut off when a half comes back: the next higher value gives the same half, the next lower does
    // not.
    if (precision == 16) return std::min(static_cast<int>(std::ceil(v)), 0xffff);
    return std::min(static_cast<int>(v), 0xffff) >> (16 - precision);
}

struct Mode {
    int number, precision, delta;
};
/// From the finest, for short lines, to the one that has room for all.
constexpr Mode kModes[] = {{15, 16, 4}, {11, 12, 8}, {7, 11, 9}, {3, 10, 10}};

struct Attempt {
    Mode mode{};
    int a[3]{}, b[3]{};
    Floats16 places{};
    float error = 1e30f;
};

Attempt attempt(const Line& line, const Floats16* c) {
    Attempt best;
    for (const Mode& mode : kModes) {
        Attempt t;
        t.mode = mode;
        Line decoded;
        const int reach = 1 << (mode.delta - 1);
        bool fits = true;
        for (int i = 0; i < 3; ++i) {
            t.a[i] = quantise(line.a[i], mode.precision);
            t.b[i] = quantise(line.b[i], mode.precision);
            // Either end may come first, so the same distance both ways.
            fits = fits && (mode.number == 3 || std::abs(t.b[i] - t.a[i]) < reach);
            decoded.a[i] = static_cast<float>(blockHalfEnd(t.a[i], mode.precision)) * (31.0f / 64.0f);
            decoded.b[i] = static_cast<float>(blockHalfEnd(t.b[i], mode.precision)) * (31.0f / 64.0f);
        }
        if (!fits) continue;
        t.places = placesOn<3>(decoded, c, 15);
        const Floats16 share = floatsOf(blockWeights(intsOf(t.places), 15)) * (1.0f / 64.0f);
        t.error = errorOf<3>(decoded, c, wide(1.0f), share);
        return t;
    }
    return best;
}

}  // namespace

BlockBits encodeHalves(const BlockPixels& pixels) {
    const Floats16* c = pixels.c;
    const Floats16 all = wide(1.0f);
    Line line = principalLine<3>(c, all, kMost);
    Attempt best = attempt(line, c);
    for (int round = 0; round < 2; ++round) {
        const Floats16 share = floatsOf(blockWeights(intsOf(best.places), 15)) * (1.0f / 64.0f);
        if (!refit<3>(line, c, all, share, kMost)) break;
        const Attempt next = attempt(line, c);
        if (next.error >= best.error) break;
        best = next;
    }
    if (best.places[0] >= 8.0f) {
        for (int i = 0; i < 3; ++i) std::swap(best.a[i], best.b[i]);
        best.places = 15.0f - best.places;
    }
    BlockBits bits;
    bits.put(static_cast<std::uint64_t>(best.mode.number), 5);
    for (const int v : best.a) bits.put(static_cast<std::uint64_t>(v & 1023), 10);
    for (int i = 0; i < 3; ++i) {
        const int second = best.mode.number == 3 ? best.b[i] : best.b[i] - best.a[i];
        bits.put(static_cast<std::uint64_t>(second & ((1 << best.mode.delta) - 1)), best.mode.delta);
        for (int bit = best.mode.precision - 1; bit >= 10; --bit) {
            bits.put(static_cast<std::uint64_t>(best.a[i] >> bit & 1), 1);
        }
    }
    bits.put(withoutAnchor(packPlaces(best.places, 4), 0, 4), 63);
    return bits;
}

}  // namespace Lumora::engine
