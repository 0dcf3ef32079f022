// Directions towards a rectangle, uniform over the solid angle that it fills (Urena, Fajardo and King, "An
// Area-Preserving Parametrization for Spherical Rectangles", 2013). Near large lights this leaves far less noise than
// points chosen by area; far away the two are the same and area is cheaper.
#pragma once

#include "engine/render/vec.h"

namespace Lumora::engine {

class SphericalRectangle {
public:
    /// A corner and two orthogonal edges, seen from a point that does not lie in the rectangle's plane.
    SphericalRectangle(Float3 corner, Float3 first, Float3 second, Float3 from) {
        const float width = length(first), height = length(second);
        x_ = first * (1.0f / width);
        y_ = second * (1.0f / height);
        z_ = cross(x_, y_);
        const Float3 d = corner - from;
        x0_ = dot(d, x_);
        y0_ = dot(d, y_);
        z0_ = dot(d, z_);
        if (z0_ > 0.0f) {
            z_ = -z_;
            z0_ = -z0_;
        }
        x1_ = x0_ + width;
        y1_ = y0_ + height;
        // Planes through the eye and each edge; the angles between them add up to the solid angle and 2 pi.
        const Float3 n0 = normalize(cross({x0_, y0_, z0_}, {x1_, y0_, z0_}));
        const Float3 n1 = normalize(cross({x1_, y0_, z0_}, {x1_, y1_, z0_}));
        const Float3 n2 = normalize(cross({x1_, y1_, z0_}, {x0_, y1_, z0_}));
        const Float3 n3 = normalize(cross({x0_, y1_, z0_}, {x0_, y0_, z0_}));
        const auto angle = [](Float3 a, Float3 b) { return std::acos(std::clamp(-dot(a, b), -1.0f, 1.0f)); };
        b0_ = n0.z;
        b1_ = n2.z;
        k_ = 2.0f * kPi - angle(n2, n3) - angle(n3, n0);
        solidAngle_ = angle(n0, n1) + angle(n1, n2) - k_;
    }

    float solidAngle() const { return solidAngle_; }

    /// A point of the rectangle as shares of its edges. u: two uniform numbers.
    Float2 sample(Float2 u) const {
        const float a = u.x * solidAngle_ + k_;
        const float f = (std::cos(a) * b0_ - b1_) / std::sin(a);
        const float c = std::clamp(std::copysign(1.0f, f) / std::sqrt(f * f + b0_ * b0_), -1.0f, 1.0f);
        const float x = std::clamp(-(c * z0_) / std::sqrt(std::max(1.0f - c * c, 1e-12f)), x0_, x1_);
        const float d2 = x * x + z0_ * z0_;
        const float h0 = y0_ / std::sqrt(d2 + y0_ * y0_), h1 = y1_ / std::sqrt(d2 + y1_ * y1_);
        const float h = h0 + u.y * (h1 - h0);
        const float y = std::clamp(h * std::sqrt(d2 / std::max(1.0f - h * h, 1e-12f)), y0_, y1_);
        return {(x - x0_) / (x1_ - x0_), (y - y0_) / (y1_ - y0_)};
    }

private:
    Float3 x_, y_, z_;
    float x0_ = 0.0f, y0_ = 0.0f, z0_ = 0.0f, x1_ = 0.0f, y1_ = 0.0f;
    float b0_ = 0.0f, b1_ = 0.0f, k_ = 0.0f, solidAngle_ = 0.0f;
};

}  // namespace Lumora::engine
