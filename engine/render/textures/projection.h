// From the point of a surface to texture coordinates.
#pragma once

#include <cstdint>

#include "engine/render/vec.h"

namespace Lumora::engine {

struct TextureContext;

enum class ProjectionKind : std::uint8_t { Uvw, Flat, Box, Spherical, Cylindrical, Perspective, Triplanar };

/// Where a projection takes positions from. The numbers are the values of the pin P_COORDINATE_SPACE.
enum class CoordinateSpace : std::uint8_t {
    World = 1,
    Camera = 2,  ///< x to the right of the picture, y up, looking along -z
    Object = 3,
    Normal = 4,  ///< the direction back to the viewer, in a frame whose y axis is the surface's normal
};

/// Where a projection stands: moves positions and normals into its own space.
struct LocalSpace {
    bool moved = false;  ///< false: it stands at the origin
    Matrix<float> point;
    NormalTransform normal;

    LocalSpace() = default;
    explicit LocalSpace(const Matrix<float>& toTexture)
        : moved(toTexture != Matrix<float>{}), point(toTexture), normal(toTexture) {}
};

/// Projection, its own transform and the texture's transform of the coordinates.
struct Mapping {
    ProjectionKind kind = ProjectionKind::Uvw;
    CoordinateSpace space = CoordinateSpace::World;
    std::uint8_t uvSet = 0;      ///< 0 to 2
    bool transformed = false;    ///< uvwToTexture is not the identity
    LocalSpace placement;        ///< positions before they are projected; texture coordinates for Uvw
    Matrix<float> uvwToTexture;  ///< after the projection
};

/// Texture coordinates with the half axes of the footprint in them.
struct MappedPoint {
    Float3 uvw;
    Float3 axis[2];

    /// Largest distance from the middle of the footprint, in texture coordinates.
    float radius() const { return std::sqrt(std::max(dot(axis[0], axis[0]), dot(axis[1], axis[1]))); }
};

MappedPoint mapPoint(const Mapping& mapping, const TextureContext& at);

/// A position and the direction of a normal in the space that the projection works in, with its transform applied.
struct SpacePoint {
    Float3 position, normal;
    Float3 axis[2];
};
SpacePoint spacePoint(CoordinateSpace space, const LocalSpace& placement, const TextureContext& at);

/// Coordinates of a position on the face of a box of edge two about the origin that faces along an axis.
Float3 boxFace(Float3 position, int axis, bool negative);

}  // namespace Lumora::engine
