// Plain value types that cross the engine's public interface.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(LUMORA_ENGINE_BUILD)
#define LUMORA_API __attribute__((visibility("default")))
#else
#define LUMORA_API
#endif

namespace Lumora {

template <typename T>
struct Vec2 {
    T x{}, y{};
    friend constexpr bool operator==(const Vec2&, const Vec2&) = default;
};

template <typename T>
struct Vec3 {
    T x{}, y{}, z{};
    friend constexpr bool operator==(const Vec3&, const Vec3&) = default;
};

/// Affine transform, three rows of four: m[row][column], column 3 is the translation. A point p (a column) becomes
/// m * (p, 1). Right-handed, metres.
template <typename T>
struct Matrix {
    T m[3][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}};
    friend constexpr bool operator==(const Matrix&, const Matrix&) = default;
};

/// A pointer and a count. Owns nothing: the function that fills one says who frees it.
template <typename T>
struct ApiArray {
    T* data = nullptr;
    std::size_t size = 0;
    T& operator[](std::size_t i) const { return data[i]; }
    T* begin() const { return data; }
    T* end() const { return data + size; }
};

}  // namespace Lumora
