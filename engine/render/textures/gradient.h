// Curves through knots: gradients and toon ramps.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/render/vec.h"

namespace Lumora::engine {

/// How a gradient goes from knot to knot. The numbers are the values of the pin P_INTERPOLATION.
enum class GradientInterpolation : std::uint8_t {
    Constant = 0,  ///< the value of the last knot passed
    Linear = 1,
    Smooth = 2,  ///< eases out of a knot and into the next (smoothstep)
    Spline = 3,  ///< a cubic through the knots that never overshoots them
};

/// Knots are in order; there is one at 0 and one at 1 at least. Positions and values may be textures; the plain numbers
/// are what they are where those are constant.
struct Gradient {
    static constexpr std::uint32_t kPlain = ~0u;
    struct Knot {
        float position = 0.0f;
        Float3 value;
        std::uint32_t positionTexture = kPlain, valueTexture = kPlain;
    };
    std::vector<Knot> knots;
    GradientInterpolation interpolation = GradientInterpolation::Linear;
    bool plain = true;           ///< no knot is a texture
    bool movingKnots = false;    ///< some position is a texture
    std::vector<Float3> slopes;  ///< Spline with plain knots: of each knot
};

/// Slopes of a cubic through knots that keeps between them (Fritsch and Carlson, "Monotone Piecewise Cubic
/// Interpolation", 1980), for each channel on its own.
std::vector<Float3> monotoneSlopes(const std::vector<Gradient::Knot>& knots);

/// Weights of the knots around a position: value = sum of weight times value, or with slopes the cubic.
struct GradientSpan {
    std::size_t first = 0, second = 0;
    float t = 0.0f;      ///< from the first to the second, 0 to 1
    float width = 0.0f;  ///< distance of the two
};
GradientSpan findSpan(const std::vector<Gradient::Knot>& knots, float position);

/// Value between two knots. Slopes are looked at for Spline only.
Float3 interpolate(GradientInterpolation kind, const GradientSpan& span, Float3 a, Float3 b, Float3 slopeA,
                   Float3 slopeB);

}  // namespace Lumora::engine
