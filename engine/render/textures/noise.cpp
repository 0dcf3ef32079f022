#include "engine/render/textures/noise.h"

#include <array>
#include <bit>

namespace Lumora::engine {

namespace {

/// Eight lattice points at a time, the corners of a cell or a part of its neighbours.
using Bits8 = std::uint32_t __attribute__((vector_size(32)));
using Floats8 = float __attribute__((vector_size(32)));

inline Bits8 hashBits8(Bits8 x) {
    x = (x ^ (x >> 16)) * 0x21f0aaadu;
    x = (x ^ (x >> 15)) * 0x735a2d97u;
    return x ^ (x >> 15);
}

/// A cell of the lattice and a place in it.
struct Place {
    std::uint32_t x, y, z;
    Float3 d;  ///< 0 to 1 from the first corner
};

inline Place placeOf(Float3 p) {
    const float fx = std::floor(p.x), fy = std::floor(p.y), fz = std::floor(p.z);
    return {static_cast<std::uint32_t>(static_cast<std::int32_t>(fx)),
            static_cast<std::uint32_t>(static_cast<std::int32_t>(fy)),
            static_cast<std::uint32_t>(static_cast<std::int32_t>(fz)),
            {p.x - fx, p.y - fy, p.z - fz}};
}

inline Bits8 hashLattice(const Place& p, Bits8 i, Bits8 j, Bits8 k) {
    return hashBits8((p.x + i) * 0x8da6b343u ^ (p.y + j) * 0xd8163841u ^ (p.z + k) * 0xcb1ab31fu);
}

/// Which of the corners lie at one along each axis.
constexpr Bits8 kCornerX = {0, 1, 0, 1, 0, 1, 0, 1}, kCornerY = {0, 0, 1, 1, 0, 0, 1, 1},
                kCornerZ = {0, 0, 0, 0, 1, 1, 1, 1};

/// One of the twelve directions to the middles of a cube's edges, times the vector.
inline Floats8 gradient(Bits8 bits, Floats8 x, Floats8 y, Floats8 z) {
    const Bits8 h = bits >> 28;
    const Floats8 a = h < 8 ? x : y, b = h < 4 ? y : (h & 13u) == 12u ? x : z;
    return std::bit_cast<Floats8>(std::bit_cast<Bits8>(a) ^ (h << 31)) +
           std::bit_cast<Floats8>(std::bit_cast<Bits8>(b) ^ ((h >> 1) << 31));
}

float fade(float t) {
    return t * t * t * (t * (t * 6.0f - 15.0f) + 10.0f);
}

/// Positions without a cell (infinite, or too far out for one) count as the origin.
bool usable(Float3 p) {
    return std::abs(p.x) < 1e9f && std::abs(p.y) < 1e9f && std::abs(p.z) < 1e9f;
}

/// How much of an octave is seen when its cells are 1 wide and the footprint's radius is r.
float visible(float r) {
    const float t = clamp01((r - 0.25f) * 2.0f);
    return 1.0f - t * t * (3.0f - 2.0f * t);
}

/// Sums `one(position, octave's visibility)` over the octaves, each of amplitude 1, to the mean weighted by amplitude.
template <typename F>
float sumOctaves(Float3 p, const Octaves& o, float radius, F&& one) {
    float sum = 0.0f, weights = 0.0f, amplitude = 1.0f, frequency = 1.0f;
    for (int i = 0; i < o.count; ++i) {
        // Each octave is moved, so that their lattices do not meet at the origin.
        const Float3 moved = {p.x * frequency + static_cast<float>(i) * 17.31f,
                              p.y * frequency + static_cast<float>(i) * 5.77f,
                              p.z * frequency + static_cast<float>(i) * 29.13f};
        sum += amplitude * one(moved, visible(radius * frequency));
        weights += amplitude;
        amplitude *= o.gain;
        frequency *= o.lacunarity;
        if (!(amplitude > 1e-4f) || !(frequency < 1e9f)) break;
    }
    return weights > 0.0f ? sum / weights : 0.0f;
}

/// Means of what fades, measured over a large volume.
constexpr float kMeanTurbulence = 0.24f, kMeanSpot = 0.33f;

}  // namespace

float gradientNoise(Float3 p) {
    if (!usable(p)) return 0.0f;
    const Place at = placeOf(p);
    const Floats8 one = __builtin_convertvector(kCornerX, Floats8), up = __builtin_convertvector(kCornerY, Floats8),
                  deep = __builtin_convertvector(kCornerZ, Floats8);
    const Floats8 g = gradient(hashLattice(at, kCornerX, kCornerY, kCornerZ), at.d.x - one, at.d.y - up, at.d.z - deep);
    const float u = fade(at.d.x), v = fade(at.d.y), w = fade(at.d.z);
    const float u0 = 1.0f - u, v0 = 1.0f - v, w0 = 1.0f - w;
    const Floats8 shares =
        Floats8{u0, u, u0, u, u0, u, u0, u} * Floats8{v0, v0, v, v, v0, v0, v, v} * Floats8{w0, w0, w0, w0, w, w, w, w};
    const Floats8 s = g * shares;
    return ((s[0] + s[1]) + (s[2] + s[3])) + ((s[4] + s[5]) + (s[6] + s[7]));
}

float fractalNoise(Float3 p, const Octaves& octaves, float radius) {
    return sumOctaves(p, octaves, radius,
                      [](Float3 q, float seen) { return seen > 0.0f ? seen * gradientNoise(q) : 0.0f; });
}

float turbulence(Float3 p, const Octaves& octaves, float radius) {
    return sumOctaves(p, octaves, radius, [](Float3 q, float seen) {
        return lerp(kMeanTurbulence, seen > 0.0f ? std::abs(gradientNoise(q)) : 0.0f, seen);
    });
}

float ridgedNoise(Float3 p, const Octaves& o, float offset, float radius) {
    float weight = 1.0f;
    return clamp01(sumOctaves(p, o, radius, [&](Float3 q, float seen) {
        const float ridge = 1.0f - std::abs((seen > 0.0f ? gradientNoise(q) * seen : 0.0f) + offset);
        const float signal = ridge * ridge * weight;
        weight = clamp01(2.0f * signal);
        return signal;
    }));
}

Cell nearestCell(Float3 p) {
    Cell best;
    if (!usable(p)) return best;
    const Place at = placeOf(p);
    // The 27 cells around, eight at a time; the last one is looked at six times.
    constexpr auto kNeighbours = [] {
        struct {
            std::array<std::uint32_t, 8> x[4], y[4], z[4];
        } n{};
        for (std::uint32_t c = 0; c < 32; ++c) {
            const std::uint32_t i = c < 27 ? c : 26;
            n.x[c / 8][c % 8] = i % 3 - 1;
            n.y[c / 8][c % 8] = i / 3 % 3 - 1;
            n.z[c / 8][c % 8] = i / 9 - 1;
        }
        return n;
    }();
    constexpr std::uint32_t kSecond = hashBits(1) + 0x9e3779b9u, kThird = hashBits(2) + 0x9e3779b9u;
    const auto random = [](Bits8 bits) {
        using Ints8 = std::int32_t __attribute__((vector_size(32)));
        return __builtin_convertvector(std::bit_cast<Ints8>(bits >> 8), Floats8) * 0x1p-24f;
    };
    const auto corner = [](Bits8 offset) {
        using Ints8 = std::int32_t __attribute__((vector_size(32)));
        return __builtin_convertvector(std::bit_cast<Ints8>(offset), Floats8);
    };
    Floats8 nearest = Floats8{} + kInfinity;
    Bits8 found{};
    for (int group = 0; group < 4; ++group) {
        const Bits8 i = std::bit_cast<Bits8>(kNeighbours.x[group]), j = std::bit_cast<Bits8>(kNeighbours.y[group]),
                    k = std::bit_cast<Bits8>(kNeighbours.z[group]);
        const Bits8 bits = hashLattice(at, i, j, k);
        const Floats8 x = corner(i) + random(bits) - at.d.x, y = corner(j) + random(hashBits8(bits ^ kSecond)) - at.d.y,
                      z = corner(k) + random(hashBits8(bits ^ kThird)) - at.d.z;
        const Floats8 distance2 = x * x + y * y + z * z;
        found = distance2 < nearest ? bits : found;
        nearest = distance2 < nearest ? distance2 : nearest;
    }
    int least = 0;
    for (int i = 1; i < 8; ++i) {
        if (nearest[i] < nearest[least]) least = i;
    }
    best.bits = hashBits(found[least], 3);
    best.distance = std::sqrt(nearest[least]);
    return best;
}

float circularNoise(Float3 p, const Octaves& octaves, float radius) {
    return sumOctaves(p, octaves, radius, [](Float3 q, float seen) {
        if (!(seen > 0.0f)) return kMeanSpot;
        const float spot = clamp01(1.0f - nearestCell(q).distance * 1.25f);
        return lerp(kMeanSpot, spot, seen);
    });
}

float chipNoise(Float3 p, const Octaves& octaves, float radius) {
    return sumOctaves(p, octaves, radius, [](Float3 q, float seen) {
        return seen > 0.0f ? lerp(0.5f, unitFloat(nearestCell(q).bits), seen) : 0.5f;
    });
}

}  // namespace Lumora::engine
