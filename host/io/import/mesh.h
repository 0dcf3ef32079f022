// A mesh as foreign files hold it, and its conversion to a polygon object of the host.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "host/io/import/context.h"
#include "host/sdk/object.h"
#include "host/sdk/tag.h"

namespace host::importer {

/// Right-handed, y up, metres; corners counter-clockwise seen from outside; u to the right and v downwards. Every value
/// belongs to a vertex; the arrays other than `points` are empty or as long as it.
struct Mesh {
    std::vector<Vector32> points;
    std::vector<Vector32> normals;
    std::vector<std::vector<std::array<Float32, 2>>> uvs;  ///< sets, in order; an empty set reads as zeros
    std::vector<std::array<Float32, 4>> colours;           ///< linear RGBA
    std::vector<CPolygon> polygons;                        ///< indices below the number of points

    /// Vertices at the same place and of the same colour become one point, so that shading runs smoothly over what only
    /// texture seams split.
    bool weld = false;
    /// Without normals: the largest angle between faces that are shaded smoothly; 0: facets.
    Float phongAngle = 0;
};

/// Mirrors z, turns the corners round and scales to host units; a loose object with its normal, UVW and colour tags.
/// Polygons with repeated corners and those with coordinates that are no finite numbers are left out and counted in the
/// context, points that no polygon uses are dropped. Null when no polygon is left.
PolygonObject* makePolygonObject(const Mesh& mesh, Context& context);

/// Lays the material on the object by UVW, with the tag right before the UVW tag of that set: a texture tag means the
/// UVW tag behind it.
void applyMaterial(BaseObject& object, BaseMaterial* material, Int32 uvSet);

/// Adds a polygon of any number of corners: three and four stay, more are cut into triangles, a four-sided one with a
/// dent is cut along the diagonal inside it. `corners` are vertex indices that exist.
void addPolygon(Mesh& mesh, const std::vector<Int32>& corners);

/// A matrix of a right-handed file in metres as the host has it: both sides mirrored in z, the offset in host units.
Matrix toHost(const Matrix& m);
inline Vector toHost(const Vector& p) {
    return Vector(p.x, p.y, -p.z) * kUnitsPerMetre;
}
bool isFinite(const Matrix& m);

/// Moves the vertices of a mesh by up to `perVertex` weighted joints each: linear blend skinning. Weights are
/// normalised; a vertex without weights follows its first joint. `joints[i]` below the number of matrices.
void poseBySkin(Mesh& mesh, const std::vector<Matrix>& jointMatrices, const std::vector<UInt32>& joints,
                const std::vector<Float32>& weights, std::size_t perVertex);

}  // namespace host::importer
