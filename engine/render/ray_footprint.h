// How much of a surface one ray stands for: a cone around it.
#pragma once

#include "engine/render/vec.h"

namespace Lumora::engine {

/// A cone around a ray (Akenine-Möller et al., "Improved Shader and Texture Level of Detail Using Ray Cones", JCGT
/// 2021). Zero width and spread: the ray stands for a point, and textures are looked up in their full resolution.
struct RayFootprint {
    float width = 0.0f;   ///< diameter at the ray's origin, metres
    float spread = 0.0f;  ///< growth of the diameter for each metre

    float at(float t) const { return width + spread * t; }
    /// Of a ray that goes on unscattered at distance t: a mirror image, a pass through something clear.
    RayFootprint after(float t) const { return {at(t), spread}; }
    /// Of a ray that was scattered at distance t in a direction of density `pdf` (by solid angle): the less likely the
    /// direction, the more directions it stands for (after Suykens and Willems, "Path Differentials and Applications",
    /// 2001). An infinite density is a mirror.
    RayFootprint scattered(float t, float pdf) const {
        constexpr float kWidest = 0.3f, kShare = 0.2f;
        const float added = pdf > 0.0f ? std::min(kShare / std::sqrt(pdf), kWidest) : kWidest;
        return {at(t), spread + added};
    }
};

}  // namespace Lumora::engine
