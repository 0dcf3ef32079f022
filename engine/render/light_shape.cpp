#include "engine/render/light_shape.h"

#include "engine/render/sampling.h"
#include "engine/render/spherical_rectangle.h"
#include "engine/render/spherical_triangle.h"

namespace Lumora::engine {

namespace {

/// Whether a shape fills enough of the view to be worth its solid angle, and is one whose angle is known.
bool looms(const LightShape& s, Float3 from) {
    if (s.kind == LightShape::Kind::Parallelogram) return false;
    const Float3 d = s.middle() - from;
    if (s.area < 0.3f * dot(d, d)) return false;
    // From close to its own plane it is an edge, and rounding eats its angle.
    const float height = dot(d, s.normal);
    return height * height > 1e-4f * s.area;
}

SphericalRectangle rectangleFrom(const LightShape& s, Float3 from) {
    return {s.origin, s.first, s.second, s.normal, from};
}

SphericalTriangle triangleFrom(const LightShape& s, Float3 from) {
    return {s.origin, s.first, s.second, from};
}

/// What is narrower is left to chance.
constexpr float kLeastAngle = 1e-5f;

float byArea(float area, float distance2, float cosine) {
    return cosine > 0.0f && area > 0.0f ? distance2 / (cosine * area) : 0.0f;
}

}  // namespace

float pointDensity(const LightShape& s, Float3 from, float distance2, float cosine) {
    if (!looms(s, from)) return byArea(s.area, distance2, cosine);
    const float angle = s.triangle() ? triangleFrom(s, from).solidAngle() : rectangleFrom(s, from).solidAngle();
    return angle > kLeastAngle ? 1.0f / angle : 0.0f;
}

ShapePoint samplePoint(const LightShape& s, Float3 from, Float2 u) {
    ShapePoint p;
    float angle = 0.0f;
    if (looms(s, from)) {
        const auto choose = [&](const auto& seen) {
            angle = seen.solidAngle();
            if (angle > kLeastAngle) u = seen.sample(u);
        };
        s.triangle() ? choose(triangleFrom(s, from)) : choose(rectangleFrom(s, from));
        if (!(angle > kLeastAngle)) return p;
    } else if (s.triangle()) {
        u = sampleTriangle(u);
    }
    p.position = s.origin + s.first * u.x + s.second * u.y;
    p.u = s.kind == LightShape::Kind::OtherHalf ? 1.0f - u.x : u.x;
    p.v = s.kind == LightShape::Kind::OtherHalf ? 1.0f - u.y : u.y;
    const Float3 d = p.position - from;
    const float distance2 = dot(d, d);
    if (!(distance2 > 0.0f)) return p;
    p.distance = std::sqrt(distance2);
    p.direction = d * (1.0f / p.distance);
    p.facing = -dot(s.normal, p.direction);
    if (p.facing == 0.0f) return p;
    p.density = angle > 0.0f ? 1.0f / angle : byArea(s.area, distance2, std::abs(p.facing));
    return p;
}

}  // namespace Lumora::engine
