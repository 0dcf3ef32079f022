// Normals for shading at the corners of a mesh, smoothed over faces that share a point.
#pragma once

#include <span>
#include <vector>

#include "host/sdk/object.h"

namespace host {

struct SmoothingRule {
    Bool angleLimit = true;
    Float angle = 0;  ///< radians: faces that meet at a point smooth into each other when their normals differ less
};

/// Four normals a polygon (a triangle's fourth repeats its third), unit length, zero for polygons without area or with
/// points that are not finite. Empty when an index is out of range. The same result for any number of threads.
std::vector<Vector32> phongNormals(std::span<const Vector> points, std::span<const CPolygon> polygons,
                                   const SmoothingRule& rule);

}  // namespace host
