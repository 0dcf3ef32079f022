// Directions towards a rectangle, uniform over the solid angle that it fills (Urena, Fajardo and King, "An
// Area-Preserving Parametrization for Spherical Rectangles", 2013). Near large lights this leaves far less noise than
// points chosen by area; far away the two are the same and area is cheaper.
//
// The paper's arc cosines are not taken: angles are kept as their cosine and sine and added as those, so that one arc
// tangent is left.
#pragma once

#include "engine/render/fast_math.h"

namespace Lumora::engine {

class SphericalRectangle {
public:
    /// A corner, two orthogonal edges and their unit normal, seen from a point that does not lie in their plane.
    SphericalRectangle(Float3 corner, Float3 first, Float3 second, Float3 normal, Float3 from) {
        const Float3 d = corner - from;
        width_ = length(first);
        height_ = length(second);
        x0_ = dot(d, first) / width_;
        y0_ = dot(d, second) / height_;
        z_ = std::abs(dot(d, normal));
        const float x1 = x0_ + width_, y1 = y0_ + height_;
        const float xx0 = x0_ * x0_, xx1 = x1 * x1, yy0 = y0_ * y0_, yy1 = y1 * y1, zz = z_ * z_;
        // Planes through the eye and each edge: z of their normals. The solid angle is the sum of the arc sines of the
        // products of neighbours; their cosines follow from the distances of the corners.
        const float r0 = 1.0f / std::sqrt(zz + yy0), r1 = 1.0f / std::sqrt(zz + xx1);
        const float r2 = 1.0f / std::sqrt(zz + yy1), r3 = 1.0f / std::sqrt(zz + xx0);
        const float n0 = -y0_ * r0, n1 = x1 * r1, n2 = y1 * r2, n3 = -x0_ * r3;
        const float s0 = n0 * n1, c0 = z_ * std::sqrt(zz + xx1 + yy0) * (r0 * r1);
        const float s1 = n1 * n2, c1 = z_ * std::sqrt(zz + xx1 + yy1) * (r1 * r2);
        const float s2 = n2 * n3, c2 = z_ * std::sqrt(zz + xx0 + yy1) * (r2 * r3);
        const float s3 = n3 * n0, c3 = z_ * std::sqrt(zz + xx0 + yy0) * (r3 * r0);
        const float cosA = c0 * c1 - s0 * s1, sinA = s0 * c1 + c0 * s1;
        cosB_ = c2 * c3 - s2 * s3;
        sinB_ = s2 * c3 + c2 * s3;
        b0_ = n0;
        b1_ = n2;
        const float c = cosA * cosB_ - sinA * sinB_, s = sinA * cosB_ + cosA * sinB_;
        // Rounding must not make a full turn of nothing.
        solidAngle_ = c > 0.0f && std::abs(s) < 1e-5f ? 0.0f : angleOf(c, s);
    }

    float solidAngle() const { return solidAngle_; }

    /// A point of the rectangle as shares of its edges. u: two uniform numbers.
    Float2 sample(Float2 u) const {
        float s, c;
        sineCosine(u.x * solidAngle_, s, c);
        const float sinA = c * sinB_ - s * cosB_, cosA = -c * cosB_ - s * sinB_;
        const float f = (cosA * b0_ - b1_) / sinA;
        const float x1 = x0_ + width_, y1 = y0_ + height_;
        const float x = std::copysign(z_ / std::sqrt(std::max(f * f + b0_ * b0_ - 1.0f, 1e-12f)), f);
        const float inX = std::min(std::max(x, x0_), x1);
        const float d2 = inX * inX + z_ * z_;
        const float h0 = y0_ / std::sqrt(d2 + y0_ * y0_), h1 = y1 / std::sqrt(d2 + y1 * y1);
        const float h = h0 + u.y * (h1 - h0);
        const float y = h * std::sqrt(d2 / std::max(1.0f - h * h, 1e-12f));
        return {(inX - x0_) / width_, (std::min(std::max(y, y0_), y1) - y0_) / height_};
    }

private:
    float width_, height_;
    float x0_, y0_, z_;
    float cosB_, sinB_, b0_, b1_, solidAngle_;
};

}  // namespace Lumora::engine
