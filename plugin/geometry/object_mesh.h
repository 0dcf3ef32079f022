// One object as one engine mesh in object space, with its subdivision and its stacked materials.
#pragma once

#include "plugin/geometry/mesh_collector.h"

namespace lumora {

/// What a built mesh was made of.
struct ObjectMesh {
    Int32 triangles = 0;
    std::vector<BaseMaterial*> materials;
};

/// Times and positions of vertices that move while the shutter is open; without them the mesh stands still.
struct VertexMotionSource {
    const Lumora::ApiTimeSampling* times = nullptr;
    VertexMotion* motion = nullptr;
};

/// Builds the mesh on `node`, or on a new node of the root graph when that is null. False when the object has no mesh:
/// then `node` is destroyed and null. `scale`: metres per scene unit. Sending thread.
bool buildObjectMesh(MeshCollector& collector, MatManager& materials, const SceneObjectInfo& info, float scale,
                     const VertexMotionSource& motion, ApiNode*& node, ObjectMesh& result);

/// Squared distance of two signatures, see meshSignature.
inline Float signatureDistance(const Vector& a, const Vector& b) {
    const Vector d = a - b;
    return d.x * d.x + d.y * d.y + d.z * d.z;
}

}  // namespace lumora
