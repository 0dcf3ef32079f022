// Flat shapes that shine, and points chosen on them.
#pragma once

#include <cstdint>

#include "engine/render/vec.h"

namespace Lumora::engine {

/// A parallelogram or a triangle: a corner and the edges to its neighbours, in the world.
struct LightShape {
    enum class Kind : std::uint8_t {
        Rectangle,
        Parallelogram,
        Triangle,   ///< or the first half of a quad
        OtherHalf,  ///< the second half of a quad: the corner is the one opposite to the first
    };
    Float3 origin, first, second;
    Float3 normal;  ///< unit length, on the front
    float area = 0.0f;
    Kind kind = Kind::Triangle;

    bool triangle() const { return kind == Kind::Triangle || kind == Kind::OtherHalf; }
    Float3 middle() const { return origin + (first + second) * (triangle() ? 1.0f / 3.0f : 0.5f); }
};

struct ShapePoint {
    Float3 position;
    float u = 0.0f, v = 0.0f;  ///< as Embree reports them
    float density = 0.0f;      ///< by solid angle; zero: the point cannot be seen from there
    Float3 direction;          ///< towards the point, unit length
    float distance = 0.0f;
    float facing = 0.0f;  ///< cosine on the light: positive on its front
};

/// A point of the shape for whoever looks from there. u: two uniform numbers.
ShapePoint samplePoint(const LightShape& shape, Float3 from, Float2 u);

/// Density by solid angle with which samplePoint() chooses a point at that squared distance, whose surface is seen
/// under that cosine. Rectangles and triangles that fill much of the view are sampled by solid angle,
/// all else by area.
float pointDensity(const LightShape& shape, Float3 from, float distance2, float cosine);

}  // namespace Lumora::engine
