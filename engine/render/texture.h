// Textures as a flat table of operations, evaluated without virtual calls and without memory of its own.
//
// A node of the table holds what nearly every operation needs; what only some need lies in tables beside it and is
// shared: mappings, images, gradients. Inputs are indices. The compiler leaves no circles in it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "engine/render/image_texture.h"
#include "engine/render/shared_table.h"
#include "engine/render/textures/gradient.h"
#include "engine/render/textures/projection.h"

namespace Lumora::engine {

using TextureId = std::uint32_t;
inline constexpr TextureId kNoTexture = ~0u;

enum class TextureOp : std::uint8_t {
    Constant,
    Image,
    // of other textures
    Multiply,
    Add,
    Subtract,
    Mix,              ///< a, b by amount c
    CosineMix,        ///< the same along half a cosine wave
    Compare,          ///< inputs: a < b ? c : d
    Invert,           ///< 1 - a
    Clamp,            ///< a between b and c
    ColorCorrection,  ///< a times brightness b; p: hue, saturation, contrast, gamma
    UvwTransform,     ///< a, looked up with moved coordinates (data: mapping)
    Triplanar,        ///< data: triplanar
    Gradient,         ///< a through the gradient `data`; no a: along u
    // of coordinates
    Checks,
    SawWave,       ///< a: offset
    TriangleWave,  ///< a: offset
    SineWave,      ///< a: offset
    Turbulence,    ///< a: power, b: offset, c: omega; p: octaves, gamma; flag: absolute values
    Marble,        ///< a: power, b: offset, c: omega, d: variance; p: octaves
    Ridged,        ///< a: power, b: offset, c: lacunarity; p: octaves
    Noise,         ///< kind; p: octaves, omega, contrast, gamma
    W,
    // of the point
    Falloff,  ///< kind; p: at normal, at grazing, skew; value: direction
    Side,     ///< 1 on the front of a polygon, 0 on its back
    Dirt,     ///< p: strength, details, radius, tolerance
    RandomColor,
    InstanceRange,  ///< p: highest id
    InstanceColor,
    Gaussian,  ///< colour of a spectrum; a: wavelength, b: width, c: power
};

enum class ImageChannel : std::uint8_t { Color, Alpha, Grey };

struct TextureNode {
    TextureOp op = TextureOp::Constant;
    std::uint8_t kind = 0;  ///< Image: channel; Noise, Falloff: their own kinds
    bool invert = false;
    bool flag = false;
    TextureId a = kNoTexture, b = kNoTexture, c = kNoTexture, d = kNoTexture;
    TextureId power = kNoTexture;        ///< factor on the result
    std::uint32_t mapping = kNoTexture;  ///< index into TextureTable::mappings; none: the first set of coordinates
    std::uint32_t data = kNoTexture;     ///< index into the table that the operation has of its own
    Float3 value;                        ///< Constant; Image: the fallback colour when there is no image
    std::array<float, 4> p{};
};

/// Six textures, one for each direction of a space, blended where the surface turns from one to another.
struct TriplanarMap {
    TextureId face[6]{};      ///< +x, -x, +y, -y, +z, -z
    float blendAngle = 0.0f;  ///< radians over which two neighbours blend
    CoordinateSpace space = CoordinateSpace::Object;
    LocalSpace placement;
};

struct RenderScene;

/// What a texture may ask of the point that it is evaluated at.
///
/// The footprint is the ellipse of the surface that the ray stands for, as two half axes: in the world, in the object
/// and in each set of texture coordinates. All zero: a point. They are filled in for materials with textures only.
struct TextureContext {
    Float3 uv[3];
    Float3 worldPosition, worldNormal;  ///< geometric normal, on the polygon's front
    Float3 objectPosition, objectNormal;
    Float3 shadingNormal;  ///< smooth, on the side that the ray came from
    Float3 view;           ///< direction of the ray that found the point
    Float3 worldAxis[2], objectAxis[2];
    Float2 uvAxis[3][2];
    const RenderScene* scene = nullptr;  ///< null: the point belongs to no scene
    std::uint32_t instance = ~0u;        ///< as in Hit
    std::uint32_t polygon = 0;
    float offset = 0.0f;  ///< rays that leave the point start this far along the normal
    bool frontFace = true;
    bool within = false;  ///< the position is a direction to look or to shine in: round projections show their inside
    const MappedPoint* triplanar = nullptr;  ///< coordinates of the side of a triplanar map that is being looked at

    /// The context a step away along the half axes of the footprint: what is there of the texture is the height that
    /// a bump map's slope is measured with. The normals stay.
    TextureContext moved(float first, float second) const;
};

class TextureTable {
public:
    /// Colour of a texture at a point. kNoTexture is black.
    Float3 color(TextureId id, const TextureContext& at) const {
        if (id == kNoTexture) return {};
        const TextureNode& node = nodes[id];
        return node.op == TextureOp::Constant ? node.value : powered(node, at);
    }
    /// The same of a node that is not in the table; its inputs are.
    Float3 color(const TextureNode& node, const TextureContext& at) const { return powered(node, at); }
    /// The same as one number: the mean of the channels.
    float scalar(TextureId id, const TextureContext& at) const { return average(color(id, at)); }
    /// True when the texture has the same value everywhere.
    bool isConstant(TextureId id) const { return id == kNoTexture || nodes[id].op == TextureOp::Constant; }
    /// Mean over the unit square of texture coordinates, to weigh lights: near enough, not exact.
    Float3 mean(TextureId id) const;
    /// A gradient's or toon ramp's value at a position from 0 to 1, whatever its input is.
    Float3 ramp(TextureId id, float position, const TextureContext& at) const;
    /// Pixels along the longest edge of the images in the table.
    std::uint32_t largestImage() const;

    SharedTable<TextureNode> nodes;
    SharedTable<Mapping> mappings;
    SharedTable<ImageLookup> images;
    SharedTable<Gradient> gradients;
    SharedTable<TriplanarMap> triplanars;

private:
    Float3 powered(const TextureNode& node, const TextureContext& at) const;
    Float3 evaluate(const TextureNode& node, const TextureContext& at) const;
    [[gnu::noinline]] Float3 pattern(const TextureNode& node, const TextureContext& at) const;
    [[gnu::noinline]] Float3 uvwTransform(const TextureNode& node, const TextureContext& at) const;
    Float3 image(const TextureNode& node, const TextureContext& at) const;
    [[gnu::noinline]] Float3 colorCorrection(const TextureNode& node, const TextureContext& at) const;
    [[gnu::noinline]] Float3 triplanar(const TriplanarMap& map, const TextureContext& at) const;
    Float3 rampValue(const Gradient& gradient, float position, const TextureContext& at) const;
    [[gnu::noinline]] Float3 fractal(const TextureNode& node, const TextureContext& at) const;
    MappedPoint mapped(const TextureNode& node, const TextureContext& at) const;
};

/// Contrast around one half as a curve that keeps 0 and 1: the larger, the steeper; none at 0. Values outside stay.
float applyContrast(float v, float contrast);

}  // namespace Lumora::engine
