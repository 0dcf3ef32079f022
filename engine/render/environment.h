// Light that comes from all around: a texture over the sphere of directions, or a sky with its sun.
#pragma once

#include <memory>

#include "engine/render/distribution.h"
#include "engine/render/texture.h"

namespace Lumora::engine {

struct Environment {
    enum class Kind : std::uint8_t { None, Texture, Daylight };
    Kind kind = Kind::None;
    TextureTable textures;
    TextureId texture = kNoTexture;
    float power = 1.0f;
    bool constant = true;
    bool showBackplate = true, showReflections = true, showRefractions = true;  ///< of a visible environment
    Distribution2D distribution;  ///< over the equirectangular map; empty: not sampled

    // Daylight: a sun disc over a sky that pales towards the horizon.
    Float3 sunDirection{0, 1, 0}, sunRadiance, zenith, horizon, ground;
    float sunCosine = 1.0f;  ///< of the disc's angular radius

    Float3 radiance(Float3 direction) const;  ///< without the sun's disc
    Float3 sunDisc(Float3 direction) const;
    /// Direction, its radiance and density by solid angle.
    Float3 sample(Float2 u, Float3& direction, float& pdf) const;
    float pdf(Float3 direction) const;
    /// Means over all directions, without the sun's disc.
    float meanLuminance() const { return meanLuminance_ * power; }
    float sunIrradiance() const { return luminance(sunRadiance) * 2.0f * kPi * (1.0f - sunCosine); }
    float meanLuminance_ = 0.0f;
};

/// Equirectangular map: the middle of the map looks along -z, u grows to the right, v upwards.
Float2 directionToMap(Float3 direction);
Float3 mapToDirection(Float2 uv);

}  // namespace Lumora::engine
