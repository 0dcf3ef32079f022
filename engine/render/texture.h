// Textures as a flat table of operations, evaluated without virtual calls.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "engine/render/image_texture.h"

namespace Lumora::engine {

using TextureId = std::uint32_t;
inline constexpr TextureId kNoTexture = ~0u;

enum class TextureOp : std::uint8_t {
    Constant,
    Image,
    Multiply,
    Add,
    Subtract,
    Mix,        ///< a, b by amount c
    CosineMix,  ///< the same along half a cosine wave
    Invert,
    Clamp,            ///< input a between b and c
    ColorCorrection,  ///< input a, brightness b, parameters in p
    Checks,
    UvwTransform,  ///< input a looked up with moved coordinates
    Side,          ///< 1 on the front of a polygon, 0 on its back
};

enum class ImageChannel : std::uint8_t { Color, Alpha, Grey };

enum class ProjectionKind : std::uint8_t { Uvw, Flat, Box, Spherical, Cylindrical };
enum class CoordinateSpace : std::uint8_t { World, Object };

/// Where a texture is looked up: from the point of a surface to texture coordinates.
struct Projection {
    ProjectionKind kind = ProjectionKind::Uvw;
    CoordinateSpace space = CoordinateSpace::World;
    std::uint8_t uvSet = 0;    ///< 0 to 2
    bool transformed = false;  ///< false: toTexture is the identity
    Matrix<float> toTexture;   ///< from projection space to texture space
};

struct TextureNode {
    TextureOp op = TextureOp::Constant;
    ImageChannel channel = ImageChannel::Color;
    BorderMode border = BorderMode::Wrap;
    bool invert = false;
    bool transformed = false;  ///< uvwToTexture is not the identity
    TextureId a = kNoTexture, b = kNoTexture, c = kNoTexture;
    Float3 value;              ///< Constant; Image: the fallback colour when there is no image
    std::array<float, 4> p{};  ///< ColorCorrection: hue, saturation, contrast, gamma
    float gamma = 1.0f;
    TextureId power = kNoTexture;  ///< factor on the result
    ImageTexturePtr image;
    std::shared_ptr<const std::array<float, 256>> byteTable;
    Projection projection;
    Matrix<float> uvwToTexture;
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

    /// The context a step away along the half axes of the footprint: what is there of the texture is the height that
    /// a bump map's slope is measured with. The normals stay.
    TextureContext moved(float first, float second) const;
};

class TextureTable {
public:
    /// Colour of a texture at a point. kNoTexture is black.
    Float3 color(TextureId id, const TextureContext& at) const;
    /// The same as one number: the mean of the channels.
    float scalar(TextureId id, const TextureContext& at) const { return average(color(id, at)); }
    /// True when the texture has the same value everywhere.
    bool isConstant(TextureId id) const { return id == kNoTexture || nodes[id].op == TextureOp::Constant; }
    /// A rough mean, to weigh lights.
    Float3 mean(TextureId id) const;

    std::vector<TextureNode> nodes;

private:
    Float3 evaluate(const TextureNode& node, const TextureContext& at) const;
    Float3 image(const TextureNode& node, const TextureContext& at) const;
};

/// Texture coordinates of a point under a projection.
Float3 project(const Projection& projection, const TextureContext& at);

}  // namespace Lumora::engine
