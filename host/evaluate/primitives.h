// The primitives: plane, cube, sphere, disc, cylinder, floor.
//
// All are built around the y axis and turned to PRIM_AXIS. Texture coordinates are not mirrored as seen from outside
// and v grows downwards; the seam of the round ones lies at +z. Bodies are closed: neighbouring faces share their
// points, hard edges come from the angle limit of the phong tag.
#pragma once

#include <memory>

#include "host/sdk/node_data.h"

namespace host {

/// The mind of a primitive of that type; null for other types.
std::unique_ptr<ObjectData> makePrimitive(Int32 type);
Bool isPrimitive(Int32 type);

/// More segments than these are cut down with a line in the console.
inline constexpr Int32 kMaxPrimitiveSegments = 10000;
inline constexpr Int64 kMaxPrimitivePolygons = 16'000'000;

/// The floor is without end; as polygons it reaches this far from its centre (scene units), and a unit of texture is
/// as long as kFloorTile. Its bounding box is empty, so that views are framed by what stands on it.
inline constexpr Float kFloorReach = 50'000, kFloorTile = 1'000;

}  // namespace host
