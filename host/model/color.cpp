// Colours between sRGB and linear light (IEC 61966-2-1, the exact piecewise curve). Values below 0 and above 1 go on
// along the curve.
#include <cmath>

#include "host/sdk/document.h"

namespace host {
namespace {

Float toLinear(Float v) {
    if (v < 0) return -toLinear(-v);
    return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}

Float toSrgb(Float v) {
    if (v < 0) return -toSrgb(-v);
    return v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1 / 2.4) - 0.055;
}

}  // namespace

Vector TransformColor(const Vector& colour, ColorTransform mode) {
    switch (mode) {
        case ColorTransform::LinearToSrgb:
            return {toSrgb(colour.x), toSrgb(colour.y), toSrgb(colour.z)};
        case ColorTransform::SrgbToLinear:
            return {toLinear(colour.x), toLinear(colour.y), toLinear(colour.z)};
        case ColorTransform::None:
            break;
    }
    return colour;
}

}  // namespace host
