// Small vector arithmetic of the render code on Vec3<float>: points, directions and linear RGB.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "engine/api/types.h"

namespace Lumora::engine {

using Float2 = Vec2<float>;
using Float3 = Vec3<float>;

inline constexpr float kPi = 3.14159265358979323846f;
inline constexpr float kInvPi = 1.0f / kPi;
inline constexpr float kInfinity = std::numeric_limits<float>::infinity();

constexpr Float3 splat(float v) {
    return {v, v, v};
}

constexpr Float3 operator+(Float3 a, Float3 b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
constexpr Float3 operator-(Float3 a, Float3 b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
constexpr Float3 operator*(Float3 a, Float3 b) {
    return {a.x * b.x, a.y * b.y, a.z * b.z};
}
constexpr Float3 operator*(Float3 a, float s) {
    return {a.x * s, a.y * s, a.z * s};
}
constexpr Float3 operator*(float s, Float3 a) {
    return a * s;
}
constexpr Float3 operator/(Float3 a, float s) {
    return a * (1.0f / s);
}
constexpr Float3 operator-(Float3 a) {
    return {-a.x, -a.y, -a.z};
}
constexpr Float3& operator+=(Float3& a, Float3 b) {
    return a = a + b;
}
constexpr Float3& operator*=(Float3& a, Float3 b) {
    return a = a * b;
}
constexpr Float3& operator*=(Float3& a, float s) {
    return a = a * s;
}

constexpr float dot(Float3 a, Float3 b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
constexpr Float3 cross(Float3 a, Float3 b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline float length(Float3 a) {
    return std::sqrt(dot(a, a));
}
/// Unit vector; a zero vector stays zero.
inline Float3 normalize(Float3 a) {
    const float l2 = dot(a, a);
    return l2 > 0.0f ? a * (1.0f / std::sqrt(l2)) : Float3{};
}
constexpr float maxComponent(Float3 a) {
    return std::max(a.x, std::max(a.y, a.z));
}
constexpr float average(Float3 a) {
    return (a.x + a.y + a.z) * (1.0f / 3.0f);
}
/// Relative luminance of linear sRGB primaries.
constexpr float luminance(Float3 c) {
    return 0.2126f * c.x + 0.7152f * c.y + 0.0722f * c.z;
}
constexpr bool isBlack(Float3 c) {
    return c.x <= 0.0f && c.y <= 0.0f && c.z <= 0.0f;
}
inline bool isFinite(Float3 a) {
    return std::isfinite(a.x) && std::isfinite(a.y) && std::isfinite(a.z);
}
constexpr Float3 lerp(Float3 a, Float3 b, float t) {
    return a * (1.0f - t) + b * t;
}
constexpr float lerp(float a, float b, float t) {
    return a * (1.0f - t) + b * t;
}
constexpr float clamp01(float v) {
    return std::min(std::max(v, 0.0f), 1.0f);
}
[[gnu::always_inline]] constexpr Float3 clamp01(Float3 v) {
    return {clamp01(v.x), clamp01(v.y), clamp01(v.z)};
}

/// `a` or `b` without a branch: for conditions that nobody can foresee, where a wrong guess costs more than both
/// values.
inline float select(bool first, float a, float b) {
    const std::uint32_t mask = 0u - static_cast<std::uint32_t>(first);
    return std::bit_cast<float>((std::bit_cast<std::uint32_t>(a) & mask) | (std::bit_cast<std::uint32_t>(b) & ~mask));
}

/// Orthonormal frame around a unit normal (Duff et al., "Building an Orthonormal Basis, Revisited", JCGT 2017).
struct Frame {
    Float3 s, t, n;
    explicit Frame(Float3 normal) : n(normal) {
        const float sign = std::copysign(1.0f, n.z);
        const float a = -1.0f / (sign + n.z);
        const float b = n.x * n.y * a;
        s = {1.0f + sign * n.x * n.x * a, sign * b, -sign * n.x};
        t = {b, sign + n.y * n.y * a, -n.y};
    }
    Float3 toWorld(Float3 v) const { return s * v.x + t * v.y + n * v.z; }
};

/// Affine transform helpers. Points take the translation, vectors do not.
inline Float3 transformPoint(const Matrix<float>& m, Float3 p) {
    return {m.m[0][0] * p.x + m.m[0][1] * p.y + m.m[0][2] * p.z + m.m[0][3],
            m.m[1][0] * p.x + m.m[1][1] * p.y + m.m[1][2] * p.z + m.m[1][3],
            m.m[2][0] * p.x + m.m[2][1] * p.y + m.m[2][2] * p.z + m.m[2][3]};
}
inline Float3 transformVector(const Matrix<float>& m, Float3 v) {
    return {m.m[0][0] * v.x + m.m[0][1] * v.y + m.m[0][2] * v.z, m.m[1][0] * v.x + m.m[1][1] * v.y + m.m[1][2] * v.z,
            m.m[2][0] * v.x + m.m[2][1] * v.y + m.m[2][2] * v.z};
}
inline Float3 column(const Matrix<float>& m, int c) {
    return {m.m[0][c], m.m[1][c], m.m[2][c]};
}
inline float determinant(const Matrix<float>& m) {
    return dot(column(m, 0), cross(column(m, 1), column(m, 2)));
}

/// Normals go with the inverse transpose. The cofactor matrix is that times the determinant, so it needs no inverse and
/// lives with flattened transforms; the sign keeps a mirrored normal on the outside. Results are not normalised.
struct NormalTransform {
    Float3 x{1, 0, 0}, y{0, 1, 0}, z{0, 0, 1};  ///< images of the axes
    NormalTransform() = default;
    explicit NormalTransform(const Matrix<float>& m) {
        const Float3 a = column(m, 0), b = column(m, 1), c = column(m, 2);
        const float sign = determinant(m) < 0.0f ? -1.0f : 1.0f;
        x = cross(b, c) * sign;
        y = cross(c, a) * sign;
        z = cross(a, b) * sign;
    }
    Float3 operator()(Float3 n) const { return x * n.x + y * n.y + z * n.z; }
};

/// a * b: first b, then a.
inline Matrix<float> multiply(const Matrix<float>& a, const Matrix<float>& b) {
    Matrix<float> r;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 4; ++j) {
            r.m[i][j] = a.m[i][0] * b.m[0][j] + a.m[i][1] * b.m[1][j] + a.m[i][2] * b.m[2][j];
        }
        r.m[i][3] += a.m[i][3];
    }
    return r;
}

/// Inverse of an affine transform; the identity when it has none.
inline Matrix<float> inverse(const Matrix<float>& m) {
    const float det = determinant(m);
    if (!(std::abs(det) > 0.0f) || !std::isfinite(1.0f / det)) return {};
    const float inv = 1.0f / det;
    const Float3 a = column(m, 0), b = column(m, 1), c = column(m, 2), t = column(m, 3);
    const Float3 rows[3] = {cross(b, c) * inv, cross(c, a) * inv, cross(a, b) * inv};
    Matrix<float> r;
    for (int i = 0; i < 3; ++i) {
        r.m[i][0] = rows[i].x;
        r.m[i][1] = rows[i].y;
        r.m[i][2] = rows[i].z;
        r.m[i][3] = -dot(rows[i], t);
    }
    return r;
}

}  // namespace Lumora::engine
