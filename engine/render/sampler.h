// Low-discrepancy random numbers of one pixel: Owen-scrambled Sobol points in sets of four dimensions, each set with
// its own shuffled order (Burley, "Practical Hash-based Owen Scrambling", JCGT 2020).
//
// The numbers depend on pixel, sample index, seed and the order of the calls alone, so a picture is the same on any
// number of threads. A sampler may also hand on numbers from a source of another kind. Sets that are powers of two long
// are stratified in every pair of dimensions of a call.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

#include "engine/render/vec.h"

namespace Lumora::engine {

namespace sobol {

/// Direction numbers of the first four Sobol dimensions, computed from the primitive polynomials of Joe and Kuo.
struct Table {
    std::array<std::array<std::uint32_t, 32>, 4> v{};
    constexpr Table() {
        for (int i = 0; i < 32; ++i) v[0][i] = 1u << (31 - i);
        fill(1, 1, 0, {1, 0, 0});
        fill(2, 2, 1, {1, 3, 0});
        fill(3, 3, 1, {1, 3, 1});
    }

private:
    constexpr void fill(int d, int s, std::uint32_t a, std::array<std::uint32_t, 3> m) {
        for (int i = 0; i < s; ++i) v[d][i] = m[i] << (31 - i);
        for (int i = s; i < 32; ++i) {
            v[d][i] = v[d][i - s] ^ (v[d][i - s] >> s);
            for (int k = 1; k < s; ++k) v[d][i] ^= ((a >> (s - 1 - k)) & 1u) * v[d][i - k];
        }
    }
};
inline constexpr Table kTable{};

/// Reverses the bits of each byte. T: a number, or four of them.
template <typename T>
T reverseInBytes(T x) {
    x = ((x >> 4) & 0x0f0f0f0fu) | ((x & 0x0f0f0f0fu) << 4);
    x = ((x >> 2) & 0x33333333u) | ((x & 0x33333333u) << 2);
    return ((x >> 1) & 0x55555555u) | ((x & 0x55555555u) << 1);
}

inline std::uint32_t reverseBits(std::uint32_t x) {
    return reverseInBytes(__builtin_bswap32(x));
}

/// Integer hash with full avalanche (Wellons, "lowbias32").
template <typename T>
T mix(T x) {
    x ^= x >> 16;
    x *= 0x7feb352du;
    x ^= x >> 15;
    x *= 0x846ca68bu;
    return x ^ (x >> 16);
}
inline std::uint32_t hash(std::uint32_t x) {
    return mix(x);
}
inline std::uint32_t hash(std::uint32_t a, std::uint32_t b) {
    return hash(a ^ (hash(b) + 0x9e3779b9u + (a << 6)));
}

/// Nested uniform scramble of bits in reversed order (Laine and Karras' hash with Burley's constants).
template <typename T>
T scrambleReversed(T x, T seed) {
    x += seed;
    x ^= x * 0x6c50b47cu;
    x ^= x * 0xb82f1e52u;
    x ^= x * 0xc7afe638u;
    return x ^ (x * 0x8d22f6e6u);
}

/// One number for each of the four dimensions, in one register.
using Bits4 = std::uint32_t __attribute__((vector_size(16)));
using Floats4 = float __attribute__((vector_size(16)));

inline Bits4 reverseBits(Bits4 x) {
    using Bytes = std::uint8_t __attribute__((vector_size(16)));
    const Bytes b = reinterpret_cast<Bytes>(x);
    return reverseInBytes(
        reinterpret_cast<Bits4>(__builtin_shufflevector(b, b, 3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12)));
}

/// The same matrices by bytes of the index: the points of four dimensions take four lookups instead of 32 steps.
/// Scrambles work on reversed bits, so the index comes reversed and the points leave reversed.
struct ReversedTable {
    alignas(16) std::uint32_t v[4][256][4];
    ReversedTable() {
        for (int byte = 0; byte < 4; ++byte) {
            for (std::uint32_t value = 0; value < 256; ++value) {
                for (int d = 0; d < 4; ++d) {
                    std::uint32_t x = 0;
                    for (int bit = 0; bit < 8; ++bit) {
                        if (value >> bit & 1u) x ^= kTable.v[d][31 - 8 * byte - bit];
                    }
                    v[byte][value][d] = reverseBits(x);
                }
            }
        }
    }
    Bits4 at(std::uint32_t index) const {
        const auto row = [&](int byte) { return *reinterpret_cast<const Bits4*>(v[byte][index >> (8 * byte) & 255u]); };
        return row(0) ^ row(1) ^ row(2) ^ row(3);
    }
};
inline const ReversedTable kReversedTable;

/// 24 bits as a float in [0, 1).
inline float toUnit(std::uint32_t x) {
    return static_cast<float>(x >> 8) * 0x1p-24f;
}
inline Floats4 toUnit(Bits4 x) {
    using Ints4 = std::int32_t __attribute__((vector_size(16)));
    return __builtin_convertvector(reinterpret_cast<Ints4>(x >> 8), Floats4) * 0x1p-24f;
}

}  // namespace sobol

/// Numbers that come from elsewhere: a Markov chain that remembers and mutates them.
class NumberSource {
public:
    virtual std::array<float, 4> next4() = 0;

protected:
    ~NumberSource() = default;
};

class Sampler {
public:
    Sampler(std::uint32_t x, std::uint32_t y, std::uint32_t sample, std::uint32_t seed)
        : pixel_(sobol::hash(sobol::hash(x, y), seed)), reversedSample_(sobol::reverseBits(sample)) {}
    /// Hands on the numbers of the source, which outlives the sampler.
    explicit Sampler(NumberSource& source) : pixel_(0), reversedSample_(0), source_(&source) {}

    /// Four stratified numbers in [0, 1).
    std::array<float, 4> next4() {
        if (source_) [[unlikely]]
            return source_->next4();
        const std::uint32_t seed = sobol::hash(pixel_, set_++);
        const std::uint32_t index = sobol::scrambleReversed(reversedSample_, seed);
        constexpr sobol::Bits4 kStep = {0x51ed270bu, 2 * 0x51ed270bu, 3 * 0x51ed270bu, 0x47b49c2cu};
        const sobol::Bits4 point = sobol::scrambleReversed(sobol::kReversedTable.at(index), sobol::mix(kStep + seed));
        return std::bit_cast<std::array<float, 4>>(sobol::toUnit(sobol::reverseBits(point)));
    }
    Float2 next2() {
        const auto r = next4();
        return {r[0], r[1]};
    }
    float next1() { return next4()[0]; }

private:
    std::uint32_t pixel_, reversedSample_, set_ = 0;
    NumberSource* source_ = nullptr;
};

}  // namespace Lumora::engine
