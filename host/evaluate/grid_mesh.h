// Building meshes from rectangular grids of points, as all primitives are.
#pragma once

#include <vector>

#include "host/sdk/object.h"
#include "host/sdk/tag.h"

namespace host {

/// Points, polygons and texture coordinates of a mesh that is being made. Polygons are added clockwise as seen from
/// outside, so that Cross(b - a, c - a) points outward.
struct GridMesh {
    using CornerUvs = std::array<TVector<Float32>, 4>;

    std::vector<Vector> points;
    std::vector<CPolygon> polygons;
    std::vector<CornerUvs> uvs;

    void reserve(std::size_t pointCount, std::size_t polygonCount) {
        points.reserve(pointCount);
        polygons.reserve(polygonCount);
        uvs.reserve(polygonCount);
    }

    /// Columns run to the right and rows downwards as seen from outside. `index(column, row)` gives a point for 0 to
    /// `columns` and 0 to `rows`, `uv(column, row)` its texture coordinate. A cell whose upper or lower corners are one
    /// point becomes a triangle (poles).
    template <typename IndexOf, typename UvOf>
    void addGrid(Int32 columns, Int32 rows, const IndexOf& index, const UvOf& uv) {
        for (Int32 row = 0; row < rows; ++row) {
            for (Int32 column = 0; column < columns; ++column) {
                const Int32 a = index(column, row), b = index(column + 1, row);
                const Int32 c = index(column + 1, row + 1), d = index(column, row + 1);
                const auto uvA = uv(column, row), uvB = uv(column + 1, row);
                const auto uvC = uv(column + 1, row + 1), uvD = uv(column, row + 1);
                if (a == b) {  // the pole's own coordinate lies above the middle of the cell
                    polygons.emplace_back(a, c, d);
                    uvs.push_back({(uvA + uvB) * 0.5F, uvC, uvD, uvD});
                } else if (c == d) {
                    const auto pole = (uvC + uvD) * 0.5F;
                    polygons.emplace_back(a, b, c);
                    uvs.push_back({uvA, uvB, pole, pole});
                } else {
                    polygons.emplace_back(a, b, c, d);
                    uvs.push_back({uvA, uvB, uvC, uvD});
                }
            }
        }
    }

    /// Hands the mesh over as a loose object with a UVW tag; this mesh is empty afterwards.
    PolygonObject* makeObject();
};

}  // namespace host
