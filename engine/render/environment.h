// Light that comes from all around: a texture over the sphere of directions, or a sky with its sun.
#pragma once

#include <memory>

#include "engine/render/distribution.h"
#include "engine/render/sky.h"
#include "engine/render/texture.h"

namespace Lumora::engine {

/// Equirectangular map: the middle of the map looks along -z, u grows to the right, v upwards.
Float2 directionToMap(Float3 direction);
Float3 mapToDirection(Float2 uv);

/// All of an environment that its power and switches leave alone.
struct EnvironmentSource {
    TextureTable textures;
    TextureId texture = kNoTexture;
    std::shared_ptr<const Sky> sky;  ///< null: the texture alone
    Distribution2D distribution;     ///< over the equirectangular map, by luminance; empty: the same all around
    float meanLuminance = 0.0f;      ///< over all directions, without the sun's disc

    /// Without the sun's disc.
    Float3 radiance(Float3 direction) const { return at(direction, directionToMap(direction), textures); }
    /// Fills in distribution and mean.
    void measure();

private:
    Float3 at(Float3 direction, Float2 uv, const TextureTable& table) const;
    /// Half a pixel: closer to a pole an image that is repeated would show the other pole's pixels.
    float poleMargin = 0.0f;
};

struct Environment {
    std::shared_ptr<const EnvironmentSource> source;
    float power = 1.0f;
    bool sampled = true;                                                        ///< light samples are drawn from it
    bool showBackplate = true, showReflections = true, showRefractions = true;  ///< of a visible environment

    Float3 sunDirection{0, 1, 0}, sunRadiance;  ///< of the sun's disc; black: there is none
    float sunCosine = 1.0f;                     ///< of the disc's angular radius

    Float3 radiance(Float3 direction) const { return source->radiance(direction) * power; }
    Float3 sunDisc(Float3 direction) const {
        return dot(direction, sunDirection) >= sunCosine ? sunRadiance : Float3{};
    }
    float sunIrradiance() const { return luminance(sunRadiance) * 2.0f * kPi * (1.0f - sunCosine); }
    float meanLuminance() const { return source->meanLuminance * power; }
    /// Whether light samples of it are worth their while: what is even all around is found by chance as well.
    bool canSample() const { return sampled && !source->distribution.empty() && meanLuminance() > 0.0f; }
    /// Direction, its radiance and density by solid angle.
    Float3 sample(Float2 u, Float3& direction, float& pdf) const;
    float pdf(Float3 direction) const;
};

}  // namespace Lumora::engine
