#include "engine/render/textures/noise.h"

namespace Lumora::engine {

namespace {

std::uint32_t hashLattice(std::int32_t x, std::int32_t y, std::int32_t z) {
    const auto ux = static_cast<std::uint32_t>(x), uy = static_cast<std::uint32_t>(y);
    return hashBits(ux * 0x8da6b343u ^ uy * 0xd8163841u ^ static_cast<std::uint32_t>(z) * 0xcb1ab31fu);
}

/// One of the twelve directions to the middles of a cube's edges, times the vector.
float gradient(std::uint32_t bits, Float3 v) {
    const std::uint32_t h = bits >> 28;
    const float a = h < 8 ? v.x : v.y, b = h < 4 ? v.y : h == 12 || h == 14 ? v.x : v.z;
    return (h & 1 ? -a : a) + (h & 2 ? -b : b);
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
    const float fx = std::floor(p.x), fy = std::floor(p.y), fz = std::floor(p.z);
    const auto x = static_cast<std::int32_t>(fx), y = static_cast<std::int32_t>(fy), z = static_cast<std::int32_t>(fz);
    const Float3 d = {p.x - fx, p.y - fy, p.z - fz};
    const auto corner = [&](int i, int j, int k) {
        const Float3 v = {d.x - static_cast<float>(i), d.y - static_cast<float>(j), d.z - static_cast<float>(k)};
        return gradient(hashLattice(x + i, y + j, z + k), v);
    };
    const float u = fade(d.x), v = fade(d.y), w = fade(d.z);
    const auto layer = [&](int k) {
        return lerp(lerp(corner(0, 0, k), corner(1, 0, k), u), lerp(corner(0, 1, k), corner(1, 1, k), u), v);
    };
    return lerp(layer(0), layer(1), w);
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
    const float fx = std::floor(p.x), fy = std::floor(p.y), fz = std::floor(p.z);
    const auto x = static_cast<std::int32_t>(fx), y = static_cast<std::int32_t>(fy), z = static_cast<std::int32_t>(fz);
    const Float3 d = {p.x - fx, p.y - fy, p.z - fz};
    float nearest = kInfinity;
    for (int k = -1; k <= 1; ++k) {
        for (int j = -1; j <= 1; ++j) {
            for (int i = -1; i <= 1; ++i) {
                const std::uint32_t bits = hashLattice(x + i, y + j, z + k);
                const Float3 point = {static_cast<float>(i) + unitFloat(bits),
                                      static_cast<float>(j) + unitFloat(hashBits(bits, 1)),
                                      static_cast<float>(k) + unitFloat(hashBits(bits, 2))};
                const Float3 v = point - d;
                const float distance2 = dot(v, v);
                if (distance2 < nearest) {
                    nearest = distance2;
                    best.bits = hashBits(bits, 3);
                }
            }
        }
    }
    best.distance = std::sqrt(nearest);
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
