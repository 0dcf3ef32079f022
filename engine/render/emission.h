// What an emitting surface sends out, as the integrator sees it.
#pragma once

#include <cstdint>

#include "engine/render/texture.h"

namespace Lumora::engine {

/// Index into Shading::emissions.
using EmissionId = std::uint32_t;
inline constexpr EmissionId kNoEmission = ~0u;

/// Which lights reach a surface, and which ones a kernel takes in: the sun, the environment, and the ids 1 to 8.
inline constexpr std::uint32_t kSunBit = 1u << 0, kEnvironmentBit = 1u << 1, kAllLights = 0x3ffu;
constexpr std::uint32_t lightIdBit(int id) {
    return 1u << (id + 1);
}

/// The rays that may meet an emitter, by what the last surface did with them.
enum class RayKind : std::uint8_t { Camera, Diffuse, Specular, Refraction };  ///< Specular: glossy, too

/// Radiance of a square metre of an emitter that shines by a power of one: a small flat one lights a white surface that
/// faces it from two metres to a radiance of one.
inline constexpr float kRadianceOfPower = 4.0f * kPi;

struct Emission {
    TextureId color = kNoTexture;         ///< times `scale`: radiance, or with `byPower` the power of each side
    TextureId distribution = kNoTexture;  ///< factor over the directions of light; kNoTexture: the same in all
    Float3 scale{1, 1, 1};
    bool byPower = false;       ///< `scale` is shared by the whole area that an instance has of the material
    bool doubleSided = true;    ///< the backs of polygons shine too
    bool onDiffuse = true;      ///< lights diffuse reflection
    bool onSpecular = true;     ///< lights glossy and specular reflection, and is seen in it
    bool transparent = false;   ///< seen and shining where the surface is transparent, too
    bool castsShadows = true;   ///< what lies between does not block it
    float samplingRate = 1.0f;  ///< how often it is chosen, compared with others of its power; 0: never
    std::uint32_t idBit = lightIdBit(1);

    friend bool operator==(const Emission&, const Emission&) = default;
    bool visibleTo(RayKind kind) const {
        return kind == RayKind::Camera || (kind == RayKind::Diffuse ? onDiffuse : onSpecular);
    }
};

}  // namespace Lumora::engine
