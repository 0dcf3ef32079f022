// Vectors and matrices of the host: left-handed (x right, y up, z away from the viewer), scene units.
#pragma once

#include <cmath>

#include "host/sdk/types.h"

namespace host {

/// Three components: a point, a direction, an angle triple (heading, pitch, bank) or a colour.
template <typename T>
struct TVector {
    T x{}, y{}, z{};

    constexpr TVector() = default;
    constexpr explicit TVector(T all) : x(all), y(all), z(all) {}
    constexpr TVector(T ix, T iy, T iz) : x(ix), y(iy), z(iz) {}
    template <typename U>
    constexpr explicit TVector(const TVector<U>& v)
        : x(static_cast<T>(v.x)), y(static_cast<T>(v.y)), z(static_cast<T>(v.z)) {}

    constexpr TVector operator+(const TVector& v) const { return {x + v.x, y + v.y, z + v.z}; }
    constexpr TVector operator-(const TVector& v) const { return {x - v.x, y - v.y, z - v.z}; }
    constexpr TVector operator*(const TVector& v) const { return {x * v.x, y * v.y, z * v.z}; }
    constexpr TVector operator*(T s) const { return {x * s, y * s, z * s}; }
    constexpr TVector operator/(T s) const { return {x / s, y / s, z / s}; }
    constexpr TVector operator-() const { return {-x, -y, -z}; }
    constexpr TVector& operator+=(const TVector& v) { return *this = *this + v; }
    constexpr TVector& operator-=(const TVector& v) { return *this = *this - v; }
    constexpr TVector& operator*=(T s) { return *this = *this * s; }
    friend constexpr TVector operator*(T s, const TVector& v) { return v * s; }
    friend constexpr bool operator==(const TVector&, const TVector&) = default;

    T GetLength() const { return std::sqrt(x * x + y * y + z * z); }
    constexpr T GetSquaredLength() const { return x * x + y * y + z * z; }
    /// Unit length; a zero vector stays zero.
    TVector GetNormalized() const {
        const T length = GetLength();
        return length > T(0) ? *this / length : TVector{};
    }
    constexpr Bool IsZero() const { return x == T(0) && y == T(0) && z == T(0); }
    constexpr T operator[](Int32 i) const { return i == 0 ? x : i == 1 ? y : z; }
};

using Vector = TVector<Float>;
using Vector64 = TVector<Float>;
using Vector32 = TVector<Float32>;

template <typename T>
constexpr T Dot(const TVector<T>& a, const TVector<T>& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
template <typename T>
constexpr TVector<T> Cross(const TVector<T>& a, const TVector<T>& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

/// Affine transform: the three axes and the offset. M * p = off + v1 * p.x + v2 * p.y + v3 * p.z.
struct Matrix {
    Vector off, v1{1, 0, 0}, v2{0, 1, 0}, v3{0, 0, 1};

    constexpr Matrix() = default;
    constexpr Matrix(const Vector& o, const Vector& a, const Vector& b, const Vector& c)
        : off(o), v1(a), v2(b), v3(c) {}

    /// A point: the offset counts.
    constexpr Vector operator*(const Vector& p) const { return off + v1 * p.x + v2 * p.y + v3 * p.z; }
    /// First m, then this.
    constexpr Matrix operator*(const Matrix& m) const {
        return {*this * m.off, TransformVector(m.v1), TransformVector(m.v2), TransformVector(m.v3)};
    }
    /// A direction: the offset does not count.
    constexpr Vector TransformVector(const Vector& d) const { return v1 * d.x + v2 * d.y + v3 * d.z; }
    constexpr Float Determinant() const { return Dot(v1, Cross(v2, v3)); }
    /// The inverse; the identity for a singular matrix.
    constexpr Matrix operator~() const {
        const Float det = Determinant();
        if (det == 0.0) return {};
        const Float s = 1.0 / det;
        const Vector r1 = Cross(v2, v3) * s, r2 = Cross(v3, v1) * s, r3 = Cross(v1, v2) * s;
        return {-Vector(Dot(r1, off), Dot(r2, off), Dot(r3, off)), Vector(r1.x, r2.x, r3.x), Vector(r1.y, r2.y, r3.y),
                Vector(r1.z, r2.z, r3.z)};
    }
    friend constexpr bool operator==(const Matrix&, const Matrix&) = default;

    Vector GetScale() const { return {v1.GetLength(), v2.GetLength(), v3.GetLength()}; }
};

constexpr Matrix MatrixMove(const Vector& offset) {
    return {offset, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
}
constexpr Matrix MatrixScale(const Vector& s) {
    return {{}, {s.x, 0, 0}, {0, s.y, 0}, {0, 0, s.z}};
}
HOST_API Matrix MatrixRotX(Float radians);
HOST_API Matrix MatrixRotY(Float radians);
HOST_API Matrix MatrixRotZ(Float radians);

/// Orders of Euler angles. The host's own order is HPB (6): heading about y, pitch about x, bank about z.
enum class RotationOrder : Int32 { YXZ = 0, YZX = 1, ZYX = 2, ZXY = 3, XZY = 4, XYZ = 5, HPB = 6, Default = 6 };

/// Angles in radians of the rotation part; scale and shear are taken off first.
HOST_API Vector MatrixToHPB(const Matrix& m, RotationOrder order = RotationOrder::HPB);
/// A pure rotation of these angles in radians.
HOST_API Matrix HPBToMatrix(const Vector& hpb, RotationOrder order = RotationOrder::HPB);

}  // namespace host
