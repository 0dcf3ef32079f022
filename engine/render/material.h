// Materials as the integrator sees them.
#pragma once

#include <cstdint>

#include "engine/render/emission.h"
#include "engine/render/texture.h"

namespace Lumora::engine {

using MaterialId = std::uint32_t;

enum class MaterialKind : std::uint8_t {
    Diffuse,
    Mix,    ///< `second` by `amount`, else `first`
    Clear,  ///< lets everything pass
};

struct Material {
    MaterialKind kind = MaterialKind::Diffuse;
    bool smooth = true;              ///< shade with the mesh's normals
    bool textured = false;           ///< some texture of it varies over the surface
    bool opaque = true;              ///< opacity is one everywhere
    TextureId albedo = kNoTexture;   ///< Diffuse; kNoTexture is black
    TextureId opacity = kNoTexture;  ///< kNoTexture is one
    EmissionId emission = kNoEmission;
    TextureId normal = kNoTexture;  ///< tangent space, 0.5 is zero
    TextureId amount = kNoTexture;  ///< Mix
    MaterialId first = 0, second = 0;
};

}  // namespace Lumora::engine
