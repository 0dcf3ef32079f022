#include "engine/render/textures/block_encoders.h"
#include "engine/render/textures/block_fit.h"

namespace Lumora::engine {

namespace {

constexpr float kMost = 255.0f;

Floats16 sharesOf(Floats16 places, int last) {
    return floatsOf(blockWeights(intsOf(places), last)) * (1.0f / 64.0f);
}

float square(float v) {
    return v * v;
}

/// The end points of mode 6: seven bits a channel, and a lowest bit that all channels of an end point share.
struct Whole {
    int q[2][4]{}, lowest[2]{};
    Floats16 places{};
    float error = 1e30f;
};

template <int kChannels>
Whole wholeOf(const Line& line, const Floats16* c) {
    Whole r;
    r.q[0][3] = r.q[1][3] = 127;  // opaque, where there is no alpha
    Line decoded;
    for (int end = 0; end < 2; ++end) {
        const float* v = end ? line.b : line.a;
        float least = 1e30f;
        for (int lowest = 0; lowest < 2; ++lowest) {
            int q[4]{};
            float error = 0.0f;
            for (int i = 0; i < kChannels; ++i) {
                q[i] = std::clamp(static_cast<int>((v[i] - static_cast<float>(lowest)) * 0.5f + 0.5f), 0, 127);
                error += square(static_cast<float>(2 * q[i] + lowest) - v[i]);
            }
            if (error >= least) continue;
            least = error;
            r.lowest[end] = lowest;
            std::copy_n(q, kChannels, r.q[end]);
        }
        float* d = end ? decoded.b : decoded.a;
        for (int i = 0; i < kChannels; ++i) d[i] = static_cast<float>(2 * r.q[end][i] + r.lowest[end]);
    }
    r.places = placesOn<kChannels>(decoded, c, 15);
    r.error = errorOf<kChannels>(decoded, c, wide(1.0f), sharesOf(r.places, 15));
    return r;
}

template <int kChannels>
Whole fitWhole(const Floats16* c) {
    const Floats16 all = wide(1.0f);
    Line line = principalLine<kChannels>(c, all, kMost);
    Whole best = wholeOf<kChannels>(line, c);
    for (int round = 0; round < 2; ++round) {
        if (!refit<kChannels>(line, c, all, sharesOf(best.places, 15), kMost)) break;
        const Whole next = wholeOf<kChannels>(line, c);
        if (next.error >= best.error) break;
        best = next;
    }
    return best;
}

BlockBits bitsOf(Whole w) {
    if (w.places[0] >= 8.0f) {
        std::swap(w.q[0], w.q[1]);
        std::swap(w.lowest[0], w.lowest[1]);
        w.places = 15.0f - w.places;
    }
    BlockBits bits;
    bits.put(1u << 6, 7);
    for (int i = 0; i < 4; ++i) {
        for (const auto& end : w.q) bits.put(static_cast<std::uint64_t>(end[i]), 7);
    }
    for (const int lowest : w.lowest) bits.put(static_cast<std::uint64_t>(lowest), 1);
    bits.put(withoutAnchor(packPlaces(w.places, 4), 0, 4), 63);
    return bits;
}

/// One of the two lines of mode 1: six bits a channel and a lowest bit that all share.
struct Part {
    int q[2][3]{}, lowest = 0;
    Floats16 places{};
    float error = 1e30f;
};

float decode7(int v) {
    return static_cast<float>(v << 1 | v >> 6);
}

Part partOf(const Line& line, const Floats16* c, Floats16 mask) {
    Part best;
    float least = 1e30f;
    for (int lowest = 0; lowest < 2; ++lowest) {
        Part p;
        p.lowest = lowest;
        float error = 0.0f;
        for (int end = 0; end < 2; ++end) {
            for (int i = 0; i < 3; ++i) {
                const float v = end ? line.b[i] : line.a[i];
                const float seven = v * (127.0f / kMost);
                p.q[end][i] = std::clamp(static_cast<int>((seven - static_cast<float>(lowest)) * 0.5f + 0.5f), 0, 63);
                error += square(decode7(2 * p.q[end][i] + lowest) - v);
            }
        }
        if (error >= least) continue;
        least = error;
        best = p;
    }
    Line decoded;
    for (int i = 0; i < 3; ++i) {
        decoded.a[i] = decode7(2 * best.q[0][i] + best.lowest);
        decoded.b[i] = decode7(2 * best.q[1][i] + best.lowest);
    }
    best.places = placesOn<3>(decoded, c, 7);
    best.error = errorOf<3>(decoded, c, mask, sharesOf(best.places, 7));
    return best;
}

Part fitPart(const Floats16* c, Floats16 mask) {
    Line line = principalLine<3>(c, mask, kMost);
    Part best = partOf(line, c, mask);
    for (int round = 0; round < 2; ++round) {
        if (!refit<3>(line, c, mask, sharesOf(best.places, 7), kMost)) break;
        const Part next = partOf(line, c, mask);
        if (next.error >= best.error) break;
        best = next;
    }
    return best;
}

/// The masks of the second parts, a column of 64 splits for each pixel.
struct SplitColumns {
    Floats16 second[16][4];
    Floats16 count[4];
    SplitColumns() : count{} {
        for (int pixel = 0; pixel < 16; ++pixel) {
            for (int split = 0; split < 64; ++split) {
                second[pixel][split / 16][split % 16] = static_cast<float>(kBlockSplits[split].second >> pixel & 1);
            }
            for (int g = 0; g < 4; ++g) count[g] += second[pixel][g];
        }
    }
};

/// What the pixels are away from the best line, from sums of the six products of two channels, of the channels, and of
/// the pixels: for sixteen splits at a time.
Floats16 awayFromLine(const Floats16* product, const Floats16* sum, Floats16 count) {
    const Floats16 inv = 1.0f / count;
    const Floats16 xx = product[0] - sum[0] * sum[0] * inv, xy = product[1] - sum[0] * sum[1] * inv,
                   xz = product[2] - sum[0] * sum[2] * inv, yy = product[3] - sum[1] * sum[1] * inv,
                   yz = product[4] - sum[1] * sum[2] * inv, zz = product[5] - sum[2] * sum[2] * inv;
    const Floats16 trace = xx + yy + zz;
    // Power iteration from the column of the largest variance; its quotient never exceeds the true one.
    const auto isX = (xx >= yy) & (xx >= zz), isY = yy >= zz;
    Floats16 x = isX ? xx : isY ? xy : xz, y = isX ? xy : isY ? yy : yz, z = isX ? xz : isY ? yz : zz;
    Floats16 largest{};
    for (int round = 0; round < 3; ++round) {
        const Floats16 s = 1.0f / (x * x + y * y + z * z + 1e-12f);
        const Floats16 nx = xx * x + xy * y + xz * z, ny = xy * x + yy * y + yz * z, nz = xz * x + yz * y + zz * z;
        largest = (nx * x + ny * y + nz * z) * s;
        x = nx * s;
        y = ny * s;
        z = nz * s;
    }
    return trace - largest;
}

/// The split whose two lines the pixels are nearest to.
int bestSplit(const Floats16* c) {
    static const SplitColumns columns;
    Floats16 all[9], product[6];
    int n = 0;
    for (int i = 0; i < 3; ++i) {
        for (int j = i; j < 3; ++j) product[n++] = c[i] * c[j];
    }
    for (int i = 0; i < 6; ++i) all[i] = wide(sumOf(product[i]));
    for (int i = 0; i < 3; ++i) all[6 + i] = wide(sumOf(c[i]));
    float least = 1e30f;
    int best = 0;
    for (int g = 0; g < 4; ++g) {
        Floats16 sums[9]{};
        for (int pixel = 0; pixel < 16; ++pixel) {
            const Floats16 mask = columns.second[pixel][g];
            for (int i = 0; i < 6; ++i) sums[i] += mask * product[i][pixel];
            for (int i = 0; i < 3; ++i) sums[6 + i] += mask * c[i][pixel];
        }
        Floats16 rest[9];
        for (int i = 0; i < 9; ++i) rest[i] = all[i] - sums[i];
        const Floats16 away =
            awayFromLine(sums, sums + 6, columns.count[g]) + awayFromLine(rest, rest + 6, 16.0f - columns.count[g]);
        const float nearest = leastOf(away);
        if (nearest >= least) continue;
        least = nearest;
        for (int i = 0; i < 16; ++i) {
            if (away[i] == nearest) best = 16 * g + i;
        }
    }
    return best;
}

struct Halved {
    int split = 0;
    Part part[2];
    Floats16 second{};
    float error() const { return part[0].error + part[1].error; }
};

Halved fitHalved(const Floats16* c) {
    Halved r;
    r.split = bestSplit(c);
    r.second = floatsOf((static_cast<int>(kBlockSplits[r.split].second) >> kLanes) & 1);
    r.part[0] = fitPart(c, 1.0f - r.second);
    r.part[1] = fitPart(c, r.second);
    return r;
}

BlockBits bitsOf(Halved h) {
    const int anchor[2] = {0, kBlockSplits[h.split].anchor};
    for (int i = 0; i < 2; ++i) {
        Part& p = h.part[i];
        if (p.places[anchor[i]] < 4.0f) continue;
        std::swap(p.q[0], p.q[1]);
        p.places = 7.0f - p.places;
    }
    BlockBits bits;
    bits.put(1u << 1, 2);
    bits.put(static_cast<std::uint64_t>(h.split), 6);
    for (int i = 0; i < 3; ++i) {
        for (const Part& p : h.part) {
            for (const auto& end : p.q) bits.put(static_cast<std::uint64_t>(end[i]), 6);
        }
    }
    for (const Part& p : h.part) bits.put(static_cast<std::uint64_t>(p.lowest), 1);
    const Floats16 places = h.second != 0.0f ? h.part[1].places : h.part[0].places;
    bits.put(withoutAnchor(withoutAnchor(packPlaces(places, 3), anchor[1], 3), 0, 3), 46);
    return bits;
}

/// Mode 5: a line of three channels and one of the fourth, which any channel may be (`rotation`).
struct Apart {
    int rotation = 0;
    int q[2][4]{};
    Floats16 places{}, alone{};
    float error = 1e30f;
};

Apart fitApart(const BlockPixels& pixels, int rotation) {
    Floats16 c[4] = {pixels.c[0], pixels.c[1], pixels.c[2], pixels.channels > 3 ? pixels.c[3] : wide(kMost)};
    if (rotation > 0) std::swap(c[3], c[rotation - 1]);
    const Floats16 all = wide(1.0f);
    Apart r;
    r.rotation = rotation;
    const auto quantised = [&](const Line& line, int i, int end) {
        return static_cast<int>((end ? line.b[i] : line.a[i]) * ((i < 3 ? 127.0f : 255.0f) / kMost) + 0.5f);
    };
    // The error of what is not in the image is not counted.
    const auto colors = [&](const Line& line) {
        Line decoded;
        int q[2][3];
        for (int i = 0; i < 3; ++i) {
            for (int end = 0; end < 2; ++end) q[end][i] = quantised(line, i, end);
            decoded.a[i] = decode7(q[0][i]);
            decoded.b[i] = decode7(q[1][i]);
        }
        const Floats16 places = placesOn<3>(decoded, c, 3);
        const float error = errorOf<3>(decoded, c, all, sharesOf(places, 3));
        if (error >= r.error) return false;
        r.error = error;
        r.places = places;
        for (int end = 0; end < 2; ++end) std::copy_n(q[end], 3, r.q[end]);
        return true;
    };
    Line line = principalLine<3>(c, all, kMost);
    colors(line);
    for (int round = 0; round < 2; ++round) {
        if (!refit<3>(line, c, all, sharesOf(r.places, 3), kMost) || !colors(line)) break;
    }
    Line alone{{leastOf(c[3])}, {greatestOf(c[3])}};
    float least = 1e30f;
    const auto channel = [&](const Line& l) {
        const int x = static_cast<int>(l.a[0] + 0.5f), y = static_cast<int>(l.b[0] + 0.5f);
        const Line decoded{{static_cast<float>(x)}, {static_cast<float>(y)}};
        const Floats16 places = placesOn<1>(decoded, &c[3], 3);
        const float error = errorOf<1>(decoded, &c[3], all, sharesOf(places, 3));
        if (error >= least) return;
        least = error;
        r.alone = places;
        r.q[0][3] = x;
        r.q[1][3] = y;
    };
    channel(alone);
    if (least > 1.0f && refit<1>(alone, &c[3], all, sharesOf(r.alone, 3), kMost)) channel(alone);
    r.error += least;
    return r;
}

BlockBits bitsOf(Apart a) {
    if (a.places[0] >= 2.0f) {
        for (int i = 0; i < 3; ++i) std::swap(a.q[0][i], a.q[1][i]);
        a.places = 3.0f - a.places;
    }
    if (a.alone[0] >= 2.0f) {
        std::swap(a.q[0][3], a.q[1][3]);
        a.alone = 3.0f - a.alone;
    }
    BlockBits bits;
    bits.put(1u << 5, 6);
    bits.put(static_cast<std::uint64_t>(a.rotation), 2);
    for (int i = 0; i < 4; ++i) {
        for (const auto& end : a.q) bits.put(static_cast<std::uint64_t>(end[i]), i < 3 ? 7 : 8);
    }
    bits.put(withoutAnchor(packPlaces(a.places, 2), 0, 2), 31);
    bits.put(withoutAnchor(packPlaces(a.alone, 2), 0, 2), 31);
    return bits;
}

}  // namespace

BlockBits encodeFine(const BlockPixels& pixels) {
    const bool alpha = pixels.channels > 3;
    const Whole whole = alpha ? fitWhole<4>(pixels.c) : fitWhole<3>(pixels.c);
    // About half a step a channel: nothing that would be seen is to be gained.
    if (whole.error < 16.0f * 3.0f * 0.3f) return bitsOf(whole);
    float least = whole.error;
    Halved halved;
    const bool opaque = !alpha || leastOf(pixels.c[3]) >= kMost;
    if (opaque) {
        halved = fitHalved(pixels.c);
        least = std::min(least, halved.error());
    }
    Apart apart;
    for (int rotation = 0; rotation < 4; ++rotation) {
        // Alpha that is the same everywhere has no need of a line of its own.
        if (rotation == 0 && opaque) continue;
        const Apart next = fitApart(pixels, rotation);
        if (next.error < apart.error) apart = next;
    }
    if (apart.error < least) return bitsOf(apart);
    return opaque && halved.error() < whole.error ? bitsOf(halved) : bitsOf(whole);
}

}  // namespace Lumora::engine
