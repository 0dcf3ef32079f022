// The sixteen pixels of a block of four by four side by side, a register where the machine has such wide ones.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

namespace Lumora::engine {

using Floats16 = float __attribute__((vector_size(64)));
using Ints16 = std::int32_t __attribute__((vector_size(64)));

inline Floats16 floatsOf(Ints16 v) {
    return __builtin_convertvector(v, Floats16);
}
/// Rounds towards zero.
inline Ints16 intsOf(Floats16 v) {
    return __builtin_convertvector(v, Ints16);
}
inline Floats16 wide(float v) {
    return Floats16{} + v;
}
inline Floats16 lesser(Floats16 a, Floats16 b) {
    return a < b ? a : b;
}
inline Floats16 greater(Floats16 a, Floats16 b) {
    return a > b ? a : b;
}

namespace detail {
template <typename F>
float reduce(Floats16 v, F&& join) {
    using Floats8 = float __attribute__((vector_size(32)));
    using Floats4 = float __attribute__((vector_size(16)));
    const auto halves = std::bit_cast<std::array<Floats8, 2>>(v);
    const auto quarters = std::bit_cast<std::array<Floats4, 2>>(join(halves[0], halves[1]));
    const Floats4 q = join(quarters[0], quarters[1]);
    return join(join(q[0], q[1]), join(q[2], q[3]));
}
}  // namespace detail

inline float sumOf(Floats16 v) {
    return detail::reduce(v, [](auto a, auto b) { return a + b; });
}
inline float leastOf(Floats16 v) {
    return detail::reduce(v, [](auto a, auto b) { return a < b ? a : b; });
}
inline float greatestOf(Floats16 v) {
    return detail::reduce(v, [](auto a, auto b) { return a > b ? a : b; });
}

/// 0 to 15.
inline constexpr Ints16 kLanes = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

}  // namespace Lumora::engine
