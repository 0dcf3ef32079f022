// Noise in three dimensions, and sums of it. Everywhere defined, the same on every machine, without tables.
//
// A footprint fades the octaves that are finer than it to their mean, so that a texture seen from afar is quiet. Radii
// are of footprints, in the units of the position; zero: a point.
#pragma once

#include <cstdint>

#include "engine/render/vec.h"

namespace Lumora::engine {

/// Bits without pattern from bits (Wellons, "Prospecting for Hash Functions", 2018).
constexpr std::uint32_t hashBits(std::uint32_t x) {
    x = (x ^ (x >> 16)) * 0x21f0aaadu;
    x = (x ^ (x >> 15)) * 0x735a2d97u;
    return x ^ (x >> 15);
}
constexpr std::uint32_t hashBits(std::uint32_t a, std::uint32_t b) {
    return hashBits(a ^ (hashBits(b) + 0x9e3779b9u));
}
/// Bits as a number from 0 to below 1.
constexpr float unitFloat(std::uint32_t bits) {
    return static_cast<float>(bits >> 8) * 0x1p-24f;
}

/// Gradient noise (Perlin, "Improving Noise", 2002) with hashed lattice points: zero at whole numbers, between -1 and
/// 1, mean 0.
float gradientNoise(Float3 p);

struct Octaves {
    int count = 5;
    float gain = 0.5f;        ///< amplitude of an octave relative to the one before
    float lacunarity = 2.0f;  ///< frequency of an octave relative to the one before
};

/// Sum of octaves, scaled so that the amplitudes add to one: between -1 and 1, mean 0.
float fractalNoise(Float3 p, const Octaves& octaves, float radius);
/// The same sum of absolute values, between 0 and 1.
float turbulence(Float3 p, const Octaves& octaves, float radius);
/// Musgrave's ridged multifractal ("Texturing and Modeling", chapter 16), between 0 and 1: sharp crests where the noise
/// plus `offset` crosses zero, and finer ones on the crests only.
float ridgedNoise(Float3 p, const Octaves& octaves, float offset, float radius);

/// Cells around one random point each (Worley, "A Cellular Texture Basis Function", 1996).
struct Cell {
    float distance = 0.0f;   ///< to the nearest point
    std::uint32_t bits = 0;  ///< random, the same all over a cell
};
Cell nearestCell(Float3 p);
/// Sum of octaves of round spots: one in the middle of each cell, falling to zero with distance. Between 0 and 1.
float circularNoise(Float3 p, const Octaves& octaves, float radius);
/// Sum of octaves of cells of random brightness. Between 0 and 1, mean one half.
float chipNoise(Float3 p, const Octaves& octaves, float radius);

}  // namespace Lumora::engine
