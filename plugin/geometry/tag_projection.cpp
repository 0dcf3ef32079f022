#include "plugin/geometry/tag_projection.h"

#include <algorithm>
#include <cmath>

#include "plugin/geometry/engine_matrix.h"
#include "plugin/geometry/mesh_source.h"

namespace lumora {

namespace {

constexpr int kObjectSpace = 3;

/// Size and place of a tag's tile in its projection, v downwards.
struct Tile {
    Float lengthU = 1, lengthV = 1, offsetU = 0, offsetV = 0;

    explicit Tile(const TextureTag* tag) {
        if (!tag) return;
        const BaseContainer& d = *tag->GetDataInstance();
        const auto length = [&](Int32 id) {
            const Float tiles = d.GetFloat(id, 1.0);
            return tiles != 0.0 && std::isfinite(tiles) ? 1.0 / tiles : 1.0;
        };
        lengthU = length(TEXTURETAG_TILESX);
        lengthV = length(TEXTURETAG_TILESY);
        offsetU = d.GetFloat(TEXTURETAG_OFFSETX, 0.0);
        offsetV = d.GetFloat(TEXTURETAG_OFFSETY, 0.0);
    }
    /// The same tile, counted in tiles of `base`.
    void relateTo(const Tile& base) {
        offsetU = (offsetU - base.offsetU) / base.lengthU;
        offsetV = (offsetV - base.offsetV) / base.lengthV;
        lengthU /= base.lengthU;
        lengthV /= base.lengthV;
    }
    bool isWhole() const { return lengthU == 1 && lengthV == 1 && offsetU == 0 && offsetV == 0; }
};

Int32 projectionOf(const TextureTag* tag) {
    return tag ? tag->GetDataInstance()->GetInt32(TEXTURETAG_PROJECTION, P_UVW) : P_UVW;
}

NodeType projectionNode(Int32 projection) {
    switch (projection) {
        case P_SPHERICAL:
            return NT_PROJ_SPHERICAL;
        case P_CYLINDRICAL:
            return NT_PROJ_CYLINDRICAL;
        case P_FLAT:
            return NT_PROJ_FLAT;
        case P_CUBIC:
            return NT_PROJ_BOX;
        default:
            return NT_PROJ_UVW;
    }
}

/// Adds the tile to the transform that the texture has: what was the unit square becomes the tile.
void placeTile(ApiNode* texture, const Tile& tile) {
    if (!texture->hasPin(P_TRANSFORM) || tile.isWhole()) return;
    const ApiNode* held = texture->connectedNode(P_TRANSFORM);
    if (held && held->type() != NT_TRANSFORM_VALUE) return;
    Float3 scale{1, 1, 1}, translation{};
    if (held) {
        scale = held->getFloat3(A_SCALE);
        translation = held->getFloat3(A_TRANSLATION);
    }
    // Pictures are scaled about the middle of the unit square, and v grows upwards in the engine.
    const auto u = static_cast<float>(tile.lengthU), v = static_cast<float>(tile.lengthV);
    const auto x = static_cast<float>(tile.offsetU - (1 - tile.lengthU) * 0.5);
    const auto y = static_cast<float>(-tile.offsetV + (1 - tile.lengthV) * 0.5);
    ApiNode* transform = ownedInput(texture, P_TRANSFORM, NT_TRANSFORM_VALUE);
    setAttrIfChanged(transform, A_SCALE, Float3{scale.x * u, scale.y * v, scale.z});
    setAttrIfChanged(transform, A_TRANSLATION, Float3{x + translation.x * u, y + translation.y * v, translation.z});
}

/// Rotation about z, then x, then y, in degrees, of a matrix of unit columns.
Float3 anglesOf(const Float3 (&c)[3]) {
    const auto degrees = [](Float radians) { return static_cast<float>(radians * kDegreesPerRadian); };
    const Float about = std::asin(std::clamp<Float>(-c[2].y, -1.0, 1.0));
    return {degrees(about), degrees(std::atan2(c[2].x, c[2].z)), degrees(std::atan2(c[0].y, c[1].y))};
}

/// The projection's own place: the tag's, in the object's space.
void placeProjection(ApiNode* projection, const Matrix& place, float scale) {
    const EngineMatrix m = toEngineMatrix(place, scale);
    Float3 column[3], size;
    float* sizes[3] = {&size.x, &size.y, &size.z};
    for (int i = 0; i < 3; ++i) {
        const Float3 c{m.m[0][i], m.m[1][i], m.m[2][i]};
        const float length = std::sqrt(c.x * c.x + c.y * c.y + c.z * c.z);
        *sizes[i] = length > 0 ? length * scale : scale;
        column[i] = length > 0 ? Float3{c.x / length, c.y / length, c.z / length} : Float3{};
    }
    ApiNode* transform = ownedInput(projection, P_TRANSFORM, NT_TRANSFORM_VALUE);
    setAttrIfChanged(transform, A_ROTATION, anglesOf(column));
    setAttrIfChanged(transform, A_SCALE, size);
    setAttrIfChanged(transform, A_TRANSLATION, Float3{m.m[0][3], m.m[1][3], m.m[2][3]});
}

}  // namespace

void applyTagProjection(ApiNode* texture, const BaseObject* object, const TextureTag& tag, const TextureTag* meshTag,
                        float scale) {
    if (!texture || !texture->hasPin(P_PROJECTION)) return;
    const Int32 projection = projectionOf(&tag);
    Tile tile(&tag);
    const bool same = projection == projectionOf(meshTag) &&
                      (projection == P_UVW || tagPlace(object, tag) == tagPlace(object, *meshTag));
    const NodeType type = projectionNode(projection);
    if (same || type == NT_PROJ_UVW) {
        if (same) tile.relateTo(Tile(meshTag));
        placeTile(texture, tile);
        return;
    }
    ApiNode* node = ownedInput(texture, P_PROJECTION, type);
    setIntIfChanged(node, P_COORDINATE_SPACE, kObjectSpace);
    if (node) placeProjection(node, tagPlace(object, tag), scale);
    placeTile(texture, tile);
}

}  // namespace lumora
