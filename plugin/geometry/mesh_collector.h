// Host polygon objects as engine meshes.
//
// Two shapes of work: any number of objects concatenated into one mesh in world space ("Static Mesh"), and one mesh for
// one object in object space, which a scatter node places.
//
//   releaseBuffers(); setGraph(null); exportSingleMesh(objects, scale, true); finishSingleMesh();
//   init(); collectObjectMesh(info, scale, false, motion); finishObjectMesh(info); destroy();
//
// The host is read on the calling thread into MeshSource records; the conversion runs in OpenMP loops over chunks of
// polygons and points, so that ten thousand small objects and one of ten million polygons both use every core. All
// arrays are sized by a counting pass and written once.
//
// Threads: the sending thread.
#pragma once

#include <span>
#include <vector>

#include "plugin/core/scene_object_info.h"
#include "plugin/geometry/buffer.h"
#include "plugin/geometry/mesh_source.h"
#include "plugin/materials/material_manager.h"

namespace lumora {

/// The arrays of an engine mesh, as its attributes take them. P polygons, C corners, V vertices, O objects.
struct MeshArrays {
    Buffer<int> vertsPerPoly, polyMaterials, polyObjects;             ///< P
    Buffer<int> polyVertexIndices, polyNormalIndices, polyUvIndices;  ///< C
    Buffer<int> polyUv2Indices, polyUv3Indices;                       ///< C, or empty
    Buffer<Float3> vertices;                                          ///< V, metres
    Buffer<Float3> normals, uvs, uvs2;                                ///< C
    Buffer<Float3> uvs3;                                              ///< O, or empty
    Buffer<Float3> velocities;                                        ///< V, or empty; metres a second
    Buffer<Float3> animatedVertices;                                  ///< V x samples, vertex after vertex, or empty
};

/// Where vertices are at the times of a frame's motion: what the motion processor answers for an object.
class VertexMotion {
public:
    virtual ~VertexMotion() = default;
    /// Fills vertices x samples, all samples of a vertex one after the other, in engine space and metres. False: the
    /// object's points do not move, or do not match.
    virtual bool fill(const SceneObjectInfo& info, std::size_t vertices, std::size_t samples, float scale,
                      Float3* out) = 0;
};

class MeshCollector {
public:
    explicit MeshCollector(MatManager& materials) : materials_(materials) {}

    // --- Many objects, one mesh -------------------------------------------------------------------------------------
    /// The engine mesh, or null when there is nothing to send or the send was broken off. `scale`: metres per unit;
    /// `applyTransform`: vertices go to world space. Floors are left out: they are planes, see floorPlane().
    ApiNode* exportSingleMesh(std::span<const SceneObjectInfo> objects, float scale, bool applyTransform);
    /// Writes the attributes, connects the materials and releases the arrays.
    void finishSingleMesh();

    // --- One object -------------------------------------------------------------------------------------------------
    void init();
    /// Times of the vertex motion that collectObjectMesh may be asked for. The array must live until the mesh is
    /// finished. Null ends it.
    void setTimeSampling(const Lumora::ApiTimeSampling* sampling, VertexMotion* motion);
    /// Presetting `mesh` reuses a node. Null, and the node destroyed, when the object has no mesh.
    ApiNode* collectObjectMesh(const SceneObjectInfo& info, float scale, bool applyTransform, bool wantsVertexMotion);
    bool finishObjectMesh(const SceneObjectInfo& info);
    void destroy();

    void releaseBuffers();
    /// Nodes are made there; null: in the project's root graph.
    void setGraph(ApiNodeGraph* graph) { graph_ = graph; }

    ApiNode* mesh = nullptr;                     ///< the node being filled
    std::vector<ApiNode*> materialNodes;         ///< default material first, then what was connected
    std::vector<BaseMaterial*> objectMaterials;  ///< one-object path: the materials of the object's tags
    std::vector<BaseMaterial*> allMaterials;     ///< many-object path: every material of the manager
    Int64 triangleCount = 0;
    Int64 polygonTotal = 0, vertexTotal = 0, cornerTotal = 0;
    Int32 objectCount = 0;
    Int32 colorTableSize = 0;  ///< entries of the colour tables that are in use; above 0 the third UV set is made
    Float buildMs = 0, evaluateMs = 0;  ///< summed since the caller cleared them

    const MeshArrays& arrays() const { return arrays_; }

private:
    bool allocateArrays(bool vertexMap);
    void collectVelocities(const SceneObjectInfo& info, const PolygonObject& object);
    void collectVertexMotion(const SceneObjectInfo& info);
    void convert(std::span<MeshSource> sources, bool applyTransform);
    void writeMeshAttributes(std::size_t materialCount);
    void connectMaterials(std::span<BaseMaterial* const> materials);
    ApiNodeGraph& graph();

    MatManager& materials_;
    ApiNodeGraph* graph_ = nullptr;
    MeshArrays arrays_;
    float scale_ = 0.01f;
    const Lumora::ApiTimeSampling* sampling_ = nullptr;
    VertexMotion* motion_ = nullptr;
};

/// Three sums that change when the object's points, polygon count or tags do. Cheap; no proof of equality.
Vector meshSignature(const SceneObjectInfo& info);

}  // namespace lumora
