#include "plugin/materials/uv_transform.h"

#include <cmath>

namespace lumora {

namespace {

// A picture scaled to nothing has no inverse.
Float nonZero(Float scale) {
    return std::abs(scale) < 1e-9 ? (scale < 0 ? -1e-9 : 1e-9) : scale;
}

/// The transform whose look-up is t + R(angle) * (s * uv) with v upwards, R turning u towards v, for a look-up that is
/// 0.5 + (1 / scale) * R(-rotation) * (uv - translation - 0.5): exact when the scales are equal or there is no
/// rotation.
PictureTransform invert(Float tx, Float ty, Float sx, Float sy, Float angle) {
    PictureTransform p;
    p.rotation.z = static_cast<float>(-angle * kDegreesPerRadian);
    p.scale = {static_cast<float>(1.0 / sx), static_cast<float>(1.0 / sy), 1.0f};
    // Where the look-up's middle comes from.
    const Float c = std::cos(angle), s = std::sin(angle), dx = 0.5 - tx, dy = 0.5 - ty;
    const Float u = (c * dx + s * dy) / sx, v = (-s * dx + c * dy) / sy;
    p.translation = {static_cast<float>(u - 0.5), static_cast<float>(v - 0.5), 0.0f};
    return p;
}

}  // namespace

PictureTransforms toPictureTransforms(const UvPlacement& h) {
    const Float sx = nonZero(h.scaleX), sy = nonZero(h.scaleY);
    // With v upwards, w = 1 - v: w' = 1 - (offset + R * (scale * (u, 1 - w))), and R turns u towards w.
    const Float c = std::cos(h.rotation), s = std::sin(h.rotation);
    const Float tx = h.offsetX + s * sy, ty = 1.0 - h.offsetY - c * sy;
    PictureTransforms result;
    if (h.rotation == 0 || sx == sy) {
        result.image = invert(tx, ty, sx, sy, h.rotation);
        return result;
    }
    result.image = invert(tx, ty, 1, 1, h.rotation);
    result.before = invert(0, 0, sx, sy, 0);
    result.needsBefore = true;
    return result;
}

Float2 lookUp(const PictureTransform& t, Float2 uv) {
    const Float a = -t.rotation.z / kDegreesPerRadian, c = std::cos(a), s = std::sin(a);
    const Float x = uv.x - t.translation.x - 0.5, y = uv.y - t.translation.y - 0.5;
    return {static_cast<float>(0.5 + (c * x - s * y) / t.scale.x),
            static_cast<float>(0.5 + (s * x + c * y) / t.scale.y)};
}

}  // namespace lumora
