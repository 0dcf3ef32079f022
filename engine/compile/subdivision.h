// Subdivision of meshes at render time: Catmull-Clark, refined evenly to a level and moved onto the limit surface.
#pragma once

#include "engine/compile/mesh_builder.h"

namespace Lumora::engine {

/// More levels than this are not made, whatever the mesh.
inline constexpr int kMaxSubdivisionLevel = 10;
/// A mesh is refined to no more polygons than this; refinement takes some hundred bytes for each while it lasts.
inline constexpr std::uint64_t kMaxSubdividedPolygons = 8'000'000;

/// How many of the levels wanted a mesh of so many corners gets.
int affordableLevel(std::size_t corners, int wanted);

/// The arrays of the refined mesh: quads, with shared normals of the limit surface (split along creases), texture
/// coordinates whose islands keep their outlines, and the material and object indices of the polygons that they came
/// from. `mesh` holds checked arrays with the corner counts `perPolygon`. `note` says what was not done as asked: fewer
/// levels, or, with the result empty, none at all. Throws std::bad_alloc.
///
/// With `keepNormals` the normals are those of `mesh`, as far as it has any, interpolated like texture coordinates.
MeshSource subdivide(const CompiledMesh& mesh, const std::vector<int>& perPolygon, const Subdivision& settings,
                     std::string& note, bool keepNormals = false);

}  // namespace Lumora::engine
