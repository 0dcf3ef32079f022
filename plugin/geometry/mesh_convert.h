// The arithmetic of mesh conversion: plain records in, engine arrays out, on every core.
#pragma once

#include <span>

#include "plugin/geometry/mesh_collector.h"

namespace lumora {

/// Numbers of a conversion that hold for all its objects.
struct ConvertOptions {
    float scale = 0.01f;          ///< metres per scene unit
    bool applyTransform = false;  ///< points and normals go to world space
    bool gridUvs = false;         ///< second UV set: one cell for each polygon
    Int32 colorTableSize = 0;     ///< above 0: third UV set, the look-up into colour tables
};

/// Corners of the polygons: 3 for a triangle (third and fourth index equal), else 4.
Int64 countCorners(const CPolygon* polygons, Int32 count);

/// Fills the arrays, which have their exact sizes. Sources follow one another in all arrays. Returns the triangles: one
/// for a triangle, two for a quad.
Int64 convertMeshes(std::span<const MeshSource> sources, const ConvertOptions& options, MeshArrays& out);

}  // namespace lumora
