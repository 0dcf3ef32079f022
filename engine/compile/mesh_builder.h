// From a mesh node's arrays to a mesh that Embree can trace.
#pragma once

#include <string>

#include "engine/compile/nodes.h"
#include "engine/render/scene.h"

namespace Lumora::engine {

/// What becomes of open edges under subdivision; no mode leaves polygons out.
enum class Boundary {
    Default = 0,  ///< as EdgesAndCorners
    Edges,        ///< edges follow their own smooth curve, corners of a single polygon round off
    EdgesAndCorners,
    Fixed,  ///< open edges stay where the polygons have them
};

/// Subdivision at render time. With level 0 the rest has no meaning and is left at its default.
struct Subdivision {
    int level = 0;
    Boundary boundary = Boundary::Default;
    float sharpness = 0.0f;  ///< of every edge: so many levels keep the polygons' shape
    friend bool operator==(const Subdivision&, const Subdivision&) = default;
};

struct Displacement;

/// The arrays of a mesh node that its compiled form depends on; equal when all of them are the same arrays.
struct MeshSource {
    SharedArray<Float3> vertices, normals, uvs[3];
    std::size_t vertexSamples = 1;  ///< time samples of each vertex, side by side; the first is built
    SharedArray<int> verticesPerPolygon, vertexIndices, normalIndices, uvIndices[3], materialIndices, objectIndices;
    Subdivision subdivision;
    std::shared_ptr<const Displacement> displacement;  ///< null: the materials move nothing
    friend bool operator==(const MeshSource&, const MeshSource&) = default;
};

MeshSource meshSource(const NodeRecord& node);

/// Checks the arrays, subdivides and displaces where asked, and builds the mesh and its bounding hierarchy, in
/// parallel. Null with the reason in `why` when the arrays do not make a mesh (counts that disagree, indices out of
/// range, coordinates that are not finite, polygons of other than 3 or 4 corners); with a mesh, `why` tells what about
/// its subdivision was not done as asked. A mesh of no polygons is null with an empty reason. Throws std::bad_alloc,
/// and std::runtime_error when Embree fails.
std::shared_ptr<const CompiledMesh> buildMesh(RTCDeviceTy* device, const MeshSource& source, std::string& why);

}  // namespace Lumora::engine
