// Directions towards a triangle, uniform over the solid angle that it fills (Arvo, "Stratified Sampling of Spherical
// Triangles", 1995; the angle itself after Van Oosterom and Strackee, "The Solid Angle of a Plane Triangle", 1983).
// Angles are kept as their cosine and sine, so that one arc tangent is left.
#pragma once

#include "engine/render/fast_math.h"

namespace Lumora::engine {

class SphericalTriangle {
public:
    /// A corner and the edges to the other two, seen from a point that does not lie in their plane.
    SphericalTriangle(Float3 corner, Float3 first, Float3 second, Float3 from)
        : toCorner_(corner - from), first_(first), second_(second) {
        a_ = normalize(toCorner_);
        b_ = normalize(toCorner_ + first);
        c_ = normalize(toCorner_ + second);
        const Float3 ab = cross(a_, b_), ca = cross(c_, a_);
        const float volume = std::abs(dot(ab, c_));
        cosAB_ = dot(a_, b_);
        solidAngle_ = 2.0f * angleOf(1.0f + cosAB_ + dot(b_, c_) + dot(c_, a_), volume);
        const float sines = std::sqrt(dot(ab, ab) * dot(ca, ca));
        const float scale = sines > 0.0f ? 1.0f / sines : 0.0f;
        // At the first corner.
        cosA_ = std::clamp(-dot(ab, ca) * scale, -1.0f, 1.0f);
        sinA_ = std::clamp(volume * scale, 0.0f, 1.0f);
    }

    float solidAngle() const { return solidAngle_; }

    /// A point of the triangle as shares of its edges. u: two uniform numbers.
    Float2 sample(Float2 u) const {
        // The part of the angle that lies beyond the point's meridian fixes where that meets the side across.
        float sine, cosine;
        sineCosine(u.x * solidAngle_, sine, cosine);
        const float s = sine * cosA_ - cosine * sinA_, t = cosine * cosA_ + sine * sinA_;
        const float p = t - cosA_, v = s + sinA_ * cosAB_;
        const float below = (v * s + p * t) * sinA_;
        const float q =
            std::abs(below) > 1e-20f ? std::clamp(((v * t - p * s) * cosA_ - v) / below, -1.0f, 1.0f) : 1.0f;
        const Float3 side = a_ * q + normalize(c_ - a_ * dot(c_, a_)) * std::sqrt(std::max(0.0f, 1.0f - q * q));
        const float z = 1.0f - u.y * (1.0f - dot(side, b_));
        const Float3 w = b_ * z + normalize(side - b_ * dot(side, b_)) * std::sqrt(std::max(0.0f, 1.0f - z * z));
        // Where the direction meets the plane (Moller and Trumbore 1997).
        const Float3 h = cross(w, second_);
        const float determinant = dot(first_, h);
        if (!(std::abs(determinant) > 0.0f)) return {1.0f / 3.0f, 1.0f / 3.0f};
        const float x = clamp01(-dot(toCorner_, h) / determinant);
        const float y = dot(w, cross(-toCorner_, first_)) / determinant;
        return {x, std::min(std::max(y, 0.0f), 1.0f - x)};
    }

private:
    Float3 toCorner_, first_, second_, a_, b_, c_;
    float cosAB_, cosA_, sinA_, solidAngle_;
};

}  // namespace Lumora::engine
