// Materials as the integrator sees them.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/render/emission.h"
#include "engine/render/texture.h"

namespace Lumora::engine {

using MaterialId = std::uint32_t;

enum class MaterialKind : std::uint8_t {
    Diffuse,
    Glossy,    ///< a dielectric layer over a diffuse one
    Specular,  ///< clear: reflects and refracts
    Metallic,
    Toon,       ///< light in steps
    Universal,  ///< all of these in one
    Mix,        ///< `second` by `amount`, else `first`
    Clear,      ///< lets everything pass
};

/// Distribution of a rough surface's microfacets.
enum class BrdfModel : std::uint8_t {
    Compensated,  ///< GGX, with the light that bounces between facets given back
    Beckmann,
    Ggx,
    Ward,
    CompensatedBeckmann,
    Blinn,
};

/// How a metal's reflectance is told.
enum class IndexMode : std::uint8_t {
    Artistic,      ///< by its colour when seen head-on
    IndexColor,    ///< the rise towards the edge from one complex index, tinted by the colour
    SpectralIndex  ///< a complex index for each channel
};

/// What lights a toon material.
enum class ToonLighting : std::uint8_t {
    Scene,      ///< all that lights other materials
    Camera,     ///< a white lamp beside the viewer
    ToonLights  ///< toon lights alone, without shadows
};

/// A value of a material: the texture where there is one, else the constant.
struct MaterialInput {
    Float3 value;
    TextureId texture = kNoTexture;

    Float3 color(const TextureTable& textures, const TextureContext& at) const {
        return texture == kNoTexture ? value : textures.color(texture, at);
    }
    float scalar(const TextureTable& textures, const TextureContext& at) const {
        return texture == kNoTexture ? average(value) : textures.scalar(texture, at);
    }
    bool none() const { return texture == kNoTexture && isBlack(value); }
};

inline constexpr std::uint32_t kNoRamp = ~0u, kNoSteps = ~0u;

/// A part of a mix, or of a mix in it, or the mix itself. `first` and `second` are places in the list, before this one.
struct MixStep {
    MaterialId material = 0;        ///< leaf
    TextureId amount = kNoTexture;  ///< mix
    std::uint32_t first = kNoSteps, second = kNoSteps;
    bool leaf() const { return first == kNoSteps; }
};
using MixSteps = std::vector<MixStep>;

struct Material {
    MaterialKind kind = MaterialKind::Diffuse;
    bool smooth = true;        ///< shade with the mesh's normals
    bool textured = false;     ///< some texture of it varies over the surface
    bool opaque = true;        ///< opacity is one everywhere
    bool portal = false;       ///< light from the environment comes in through it
    bool matte = false;        ///< catches shadows and is otherwise not there
    bool fakeShadows = false;  ///< shadow rays pass straight through what refracts
    bool affectAlpha = false;  ///< what is seen by refraction counts as seen directly for the alpha channel
    BrdfModel brdf = BrdfModel::Compensated;
    IndexMode indexMode = IndexMode::Artistic;
    TextureId opacity = kNoTexture;     ///< kNoTexture is one
    EmissionId emission = kNoEmission;  ///< of a mix: the first that there is among its parts
    TextureId normal = kNoTexture;      ///< tangent space, 0.5 is zero
    TextureId bump = kNoTexture;        ///< height; one is a centimetre
    TextureId relief = kNoTexture;      ///< height that moves the mesh: its slopes are shown beyond the polygons
    float reliefHeight = 0.0f;          ///< metres of the object that one in `relief` stands for
    bool displaced = false;             ///< moves the mesh
    TextureId amount = kNoTexture;      ///< Mix
    MaterialId first = 0, second = 0;
    std::uint32_t rank = 0;          ///< mixes in each other, counted from the innermost; 0: no mix
    std::uint32_t steps = kNoSteps;  ///< of a mix with many others in it: index into Shading::mixSteps

    MaterialInput albedo;        ///< diffuse reflectance
    MaterialInput transmission;  ///< Diffuse: diffuse light to the other side; Specular, Universal: refraction
    MaterialInput specular;      ///< tint of mirror-like reflection
    MaterialInput specularMap;   ///< factor on a metal's reflection
    MaterialInput metallic;      ///< Universal
    MaterialInput roughness, rotation, filmWidth;
    MaterialInput sheen, sheenRoughness, coating, coatingRoughness;
    MaterialInput toonOutline;
    TextureId indexMap = kNoTexture;                            ///< takes the place of `index`
    std::uint32_t toonBody = kNoRamp, toonHighlight = kNoRamp;  ///< index into Shading::toonRamps
    float index = 1.3f, coatingIndex = 1.5f, filmIndex = 1.45f;
    float dispersion = 0.0f;  ///< Cauchy's second coefficient, square micrometres
    float anisotropy = 0.0f;
    float edgeRadius = 0.0f;    ///< metres
    bool outlined = false;      ///< Toon: lines where the surface turns away
    float outlineWidth = 0.3f;  ///< cosine to the viewer below which it is line
    ToonLighting toonLighting = ToonLighting::Scene;
    Float3 metalIndex{1.3f, 1.3f, 1.3f}, metalExtinction;  ///< for red, green, blue
};

}  // namespace Lumora::engine
