// Rotation matrices and Euler angles.
//
// The host's angles run against the usual mathematical sense of the matrices: a positive heading turns the z axis
// towards -x, a positive pitch lifts it towards +y.
#include <algorithm>
#include <array>
#include <cmath>

#include "host/sdk/vector.h"

namespace host {
namespace {

constexpr int kX = 0, kY = 1, kZ = 2;

/// Axes of an order, outermost first: M = R[0] * R[1] * R[2].
std::array<int, 3> axesOf(RotationOrder order) {
    switch (order) {
        case RotationOrder::YXZ:
        case RotationOrder::HPB:
            return {kY, kX, kZ};
        case RotationOrder::YZX:
            return {kY, kZ, kX};
        case RotationOrder::ZYX:
            return {kZ, kY, kX};
        case RotationOrder::ZXY:
            return {kZ, kX, kY};
        case RotationOrder::XZY:
            return {kX, kZ, kY};
        case RotationOrder::XYZ:
            return {kX, kY, kZ};
    }
    return {kY, kX, kZ};
}

/// Heading, pitch and bank turn about y, x and z.
Float angleAbout(const Vector& hpb, int axis) {
    return axis == kY ? hpb.x : axis == kX ? hpb.y : hpb.z;
}

Matrix rotationAbout(int axis, Float angle) {
    return axis == kX ? MatrixRotX(angle) : axis == kY ? MatrixRotY(angle) : MatrixRotZ(angle);
}

/// The nearest right-angled unit axes, keeping z; a mirrored matrix gives its rotation with x flipped.
Matrix rotationPart(const Matrix& m) {
    Matrix r;
    r.v3 = m.v3.GetNormalized();
    if (r.v3.IsZero()) r.v3 = {0, 0, 1};
    r.v2 = (m.v2 - r.v3 * Dot(m.v2, r.v3)).GetNormalized();
    if (r.v2.IsZero()) {
        const Vector helper = std::abs(r.v3.y) < 0.9 ? Vector(0, 1, 0) : Vector(1, 0, 0);
        r.v2 = (helper - r.v3 * Dot(helper, r.v3)).GetNormalized();
    }
    r.v1 = Cross(r.v2, r.v3);
    return r;
}

}  // namespace

Matrix MatrixRotX(Float a) {
    const Float c = std::cos(a), s = std::sin(a);
    return {{}, {1, 0, 0}, {0, c, -s}, {0, s, c}};
}

Matrix MatrixRotY(Float a) {
    const Float c = std::cos(a), s = std::sin(a);
    return {{}, {c, 0, s}, {0, 1, 0}, {-s, 0, c}};
}

Matrix MatrixRotZ(Float a) {
    const Float c = std::cos(a), s = std::sin(a);
    return {{}, {c, -s, 0}, {s, c, 0}, {0, 0, 1}};
}

Vector MatrixToHPB(const Matrix& matrix, RotationOrder order) {
    const Matrix r = rotationPart(matrix);
    const auto element = [&](int row, int column) { return (column == 0 ? r.v1 : column == 1 ? r.v2 : r.v3)[row]; };
    const auto [i, j, k] = axesOf(order);
    const Float parity = (j - i + 3) % 3 == 1 ? 1.0 : -1.0;  // +1 for cyclic orders
    // Tait-Bryan angles in the mathematical sense, then the sign of the host.
    const Float middle = std::asin(std::clamp(parity * element(i, k), -1.0, 1.0));
    Float outer, inner;
    if (std::abs(element(i, k)) < 1.0 - 1e-12) {
        outer = std::atan2(-parity * element(j, k), element(k, k));
        inner = std::atan2(-parity * element(i, j), element(i, i));
    } else {
        outer = std::atan2(parity * element(k, j), element(j, j));
        inner = 0;
    }
    Vector hpb;
    const auto put = [&](int axis, Float angle) { (axis == kY ? hpb.x : axis == kX ? hpb.y : hpb.z) = -angle; };
    put(i, outer);
    put(j, middle);
    put(k, inner);
    return hpb;
}

Matrix HPBToMatrix(const Vector& hpb, RotationOrder order) {
    Matrix m;
    for (const int axis : axesOf(order)) m = m * rotationAbout(axis, angleAbout(hpb, axis));
    return m;
}

}  // namespace host
