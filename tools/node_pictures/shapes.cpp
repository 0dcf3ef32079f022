#include "tools/node_pictures/shapes.h"

#include <algorithm>
#include <cmath>

namespace pictures {

Float3 operator+(Float3 a, Float3 b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
Float3 operator-(Float3 a, Float3 b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
Float3 operator*(Float3 a, float s) {
    return {a.x * s, a.y * s, a.z * s};
}
Float3 cross(Float3 a, Float3 b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
Float3 normalized(Float3 a) {
    const float length = std::sqrt(a.x * a.x + a.y * a.y + a.z * a.z);
    return length > 0 ? a * (1 / length) : Float3{0, 1, 0};
}

Shape& Shape::quad(Float3 a, Float3 b, Float3 c, Float3 d, int material) {
    const int first = static_cast<int>(vertices.size());
    const Float3 normal = normalized(cross(b - a, d - a));
    vertices.insert(vertices.end(), {a, b, c, d});
    normals.insert(normals.end(), 4, normal);
    uvs.insert(uvs.end(), {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}});
    indices.insert(indices.end(), {first, first + 1, first + 2, first + 3});
    perPolygon.push_back(4);
    materials.push_back(material);
    return *this;
}

Shape& Shape::box(Float3 l, Float3 h, int material) {
    quad({l.x, l.y, h.z}, {h.x, l.y, h.z}, {h.x, h.y, h.z}, {l.x, h.y, h.z}, material);
    quad({h.x, l.y, h.z}, {h.x, l.y, l.z}, {h.x, h.y, l.z}, {h.x, h.y, h.z}, material);
    quad({h.x, l.y, l.z}, {l.x, l.y, l.z}, {l.x, h.y, l.z}, {h.x, h.y, l.z}, material);
    quad({l.x, l.y, l.z}, {l.x, l.y, h.z}, {l.x, h.y, h.z}, {l.x, h.y, l.z}, material);
    quad({l.x, h.y, h.z}, {h.x, h.y, h.z}, {h.x, h.y, l.z}, {l.x, h.y, l.z}, material);
    return quad({l.x, l.y, l.z}, {h.x, l.y, l.z}, {h.x, l.y, h.z}, {l.x, l.y, h.z}, material);
}

Shape& Shape::add(const Shape& other, Float3 at, float scale, float turnDegrees) {
    const float c = std::cos(turnDegrees * kPi / 180), s = std::sin(turnDegrees * kPi / 180);
    const auto turned = [&](Float3 v) { return Float3{c * v.x + s * v.z, v.y, c * v.z - s * v.x}; };
    const int first = static_cast<int>(vertices.size());
    for (const Float3 v : other.vertices) vertices.push_back(turned(v * scale) + at);
    for (const Float3 n : other.normals) normals.push_back(turned(n));
    for (const int i : other.indices) indices.push_back(first + i);
    uvs.insert(uvs.end(), other.uvs.begin(), other.uvs.end());
    perPolygon.insert(perPolygon.end(), other.perPolygon.begin(), other.perPolygon.end());
    materials.insert(materials.end(), other.materials.begin(), other.materials.end());
    return *this;
}

Shape& Shape::paint(int material) {
    for (int& m : materials) m = material;
    return *this;
}

template <typename Function>
Shape grid(int columns, int rows, Function point) {
    Shape shape;
    const float du = 1.0f / static_cast<float>(columns), dv = 1.0f / static_cast<float>(rows);
    for (int j = 0; j <= rows; ++j) {
        for (int i = 0; i <= columns; ++i) {
            const float u = static_cast<float>(i) * du, v = static_cast<float>(j) * dv;
            shape.vertices.push_back(point(u, v));
            // One-sided at the rims, where the function may end.
            const float e = 1e-3f, v0 = std::max(v - e, 0.0f), v1 = std::min(v + e, 1.0f);
            shape.normals.push_back(normalized(cross(point(u + e, v) - point(u - e, v), point(u, v1) - point(u, v0))));
            shape.uvs.push_back({u, v, 0});
        }
    }
    for (int j = 0; j < rows; ++j) {
        for (int i = 0; i < columns; ++i) {
            const int k = j * (columns + 1) + i;
            shape.indices.insert(shape.indices.end(), {k, k + 1, k + columns + 2, k + columns + 1});
            shape.perPolygon.push_back(4);
            shape.materials.push_back(0);
        }
    }
    return shape;
}

namespace {

/// A profile (distance from the axis, height) turned about the y axis; it runs upwards where the outside is seen.
template <typename Profile>
Shape lathe(int slices, int rows, Profile profile) {
    return grid(slices, rows, [&](float u, float v) {
        const Float2 p = profile(v);
        const float angle = 2 * kPi * u;
        return Float3{p.x * std::sin(angle), p.y, p.x * std::cos(angle)};
    });
}

/// An arc of a circle from one angle to another, degrees; 0 points outwards, 90 up.
auto arc(Float2 middle, float radius, float from, float to) {
    return [=](float t) {
        const float angle = (from + (to - from) * t) * kPi / 180;
        return Float2{middle.x + radius * std::cos(angle), middle.y + radius * std::sin(angle)};
    };
}

/// Normals at a pole cannot be told from the points around it, which all lie in one place.
void mendPoles(Shape& shape, Float3 middle, float sign) {
    for (std::size_t i = 0; i < shape.vertices.size(); ++i)
        shape.normals[i] = normalized(shape.vertices[i] - middle) * sign;
}

}  // namespace

Shape sphere(float radius, int slices, int stacks) {
    Shape shape = lathe(slices, stacks, arc({0, 0}, radius, -90, 90));
    mendPoles(shape, {}, 1);
    return shape;
}

Shape testBall(int slices) {
    constexpr float kThickness = 0.07f, kOpening = 52, kLift = 0.16f;  // where the shell ends: degrees of latitude
    const Float3 middle{0, 1 + kLift, 0};
    Shape shell = lathe(slices, slices / 2, arc({0, 0}, 1, -90, kOpening));
    mendPoles(shell, {}, 1);
    Shape inside = lathe(slices, slices / 3, arc({0, 0}, 1 - kThickness, kOpening, -90));
    mendPoles(inside, {}, -1);
    const float angle = kOpening * kPi / 180, r = 1 - kThickness / 2;
    const Shape lip =
        lathe(slices, 8, arc({r * std::cos(angle), r * std::sin(angle)}, kThickness / 2, kOpening, kOpening + 180));
    Shape all;
    all.add(shell, middle).add(lip, middle).add(inside, middle);
    all.add(sphere(0.5f, slices / 2, slices / 4).paint(1), middle);
    // The stand: a disc with a rounded rim.
    constexpr float kStand = 0.62f, kRim = 0.05f;
    const Shape side = lathe(slices, 1, [&](float t) { return Float2{kStand, t * (kLift + 0.06f - kRim)}; });
    const Shape rim = lathe(slices, 6, arc({kStand - kRim, kLift + 0.06f - kRim}, kRim, 0, 90));
    const Shape top = lathe(slices, 4, [&](float t) { return Float2{(kStand - kRim) * (1 - t), kLift + 0.06f}; });
    all.add(Shape(side).paint(2)).add(Shape(rim).paint(2)).add(Shape(top).paint(2));
    return all;
}

Shape backdrop(float width, float wall) {
    constexpr float kNear = 14, kRound = 3;
    const float kFar = -4, lengths[] = {kNear - kFar, kRound * kPi / 2, wall};
    const float total = lengths[0] + lengths[1] + lengths[2];
    return grid(1, 64, [=](float u, float v) {
        const float x = (u - 0.5f) * width;
        float s = v * total;
        if (s < lengths[0]) return Float3{x, 0, kNear - s};
        s -= lengths[0];
        if (s < lengths[1]) return Float3{x, kRound * (1 - std::cos(s / kRound)), kFar - kRound * std::sin(s / kRound)};
        return Float3{x, kRound + s - lengths[1], kFar - kRound};
    });
}

Shape panel(Float3 at, Float3 towards, float width, float height, int material) {
    const Float3 n = normalized(towards - at);
    const Float3 side = normalized(std::abs(n.y) > 0.99f ? Float3{1, 0, 0} : cross({0, 1, 0}, n)), up = cross(n, side);
    const Float3 x = side * (width / 2), y = up * (height / 2);
    return Shape().quad(at - x - y, at + x - y, at + x + y, at - x + y, material);
}

Shape brilliant(float radius) {
    // Rings of eight corners: table, crown, girdle, pavilion, point; every second ring is turned by half a step.
    const auto corner = [&](float r, float y, float step) {
        const float angle = 2 * kPi * step / 8;
        return Float3{radius * r * std::sin(angle), radius * y, radius * r * std::cos(angle)};
    };
    Shape shape;
    const auto facet = [&](Float3 a, Float3 b, Float3 c) {
        shape.quad(a, b, c, c);
        shape.normals.resize(shape.normals.size() - 4);
        shape.normals.insert(shape.normals.end(), 4, normalized(cross(b - a, c - a)));
        shape.perPolygon.back() = 3;
        shape.indices.pop_back();
    };
    constexpr float kTable = 0.55f, kCrown = 0.32f, kMiddle = 0.2f, kPoint = -0.86f, kLow = -0.42f;
    for (int i = 0; i < 8; ++i) {
        const float s = static_cast<float>(i);
        const Float3 t0 = corner(kTable, kCrown, s), t1 = corner(kTable, kCrown, s + 1);
        const Float3 m0 = corner(0.8f, kMiddle, s - 0.5f), m1 = corner(0.8f, kMiddle, s + 0.5f);
        const Float3 g0 = corner(1, 0, s), g1 = corner(1, 0, s + 1), between = corner(1, 0, s + 0.5f);
        const Float3 p0 = corner(0.5f, kLow, s + 0.5f), p1 = corner(0.5f, kLow, s - 0.5f), point{0, radius * kPoint, 0};
        facet(t0, t1, {0, radius * kCrown, 0});
        facet(m1, t1, t0);
        facet(m0, g0, t0);
        facet(g0, m1, t0);
        facet(g0, between, m1);
        facet(between, g1, m1);
        facet(between, g0, p0);
        facet(g1, between, p0);
        facet(g0, p1, p0);
        facet(p1, point, p0);
    }
    return shape;
}

Shape bentSheet() {
    return grid(48, 2, [](float u, float v) {
        const float a = (u - 0.5f) * 2;
        return Float3{1.25f * a + 0.35f * std::sin(2.4f * kPi * u), 1.9f * v, 0.75f * std::sin(2 * kPi * u)};
    });
}

}  // namespace pictures
