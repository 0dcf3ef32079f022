// Instance objects: what they point at becomes engine geometry once, each instance is one matrix of a scatter.
//
//   "instGroup" on a pin of the main group: one pin for each base
//     "BaseSct": the matrices of all instances of that base
//       "childGrp": one pin for each polygon object of the base
//         "SCT": the polygon object relative to the base, one matrix, or more where instances nest
//           mesh in object space
//
// Bases live from one send to the next reset. Threads: the sending thread.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "plugin/core/scene_object_info.h"
#include "plugin/geometry/mesh_collector.h"

namespace lumora {

/// A polygon object below a base, with its placements relative to the base. More than one placement where an instance
/// below the base shows the same object again.
struct InstanceChild {
    SceneObjectInfo info;
    std::vector<Matrix> placements;
};

/// One base with everything made for it.
struct InstanceGroup {
    BaseObject* baseObject = nullptr;
    std::vector<InstanceChild> children;
    ApiNode* baseScatter = nullptr;
    ApiNode* childGroup = nullptr;
    std::vector<EngineMatrix> matrices;  ///< all instances
    std::vector<int> ids;
};

class InstanceManager {
public:
    explicit InstanceManager(MatManager& materials) : materials_(materials) {}

    /// The project was, or will be, emptied: forgets all nodes.
    void resetForSend();
    /// Makes the bases' geometry and the instances' matrices and connects them under `mainGroup`, in place of what hung
    /// there. Returns pin + 1. `scale`: metres per scene unit.
    unsigned buildInstances(BaseDocument* doc, ApiNode* mainGroup, unsigned pin,
                            std::span<const SceneObjectInfo> instances, float scale);

    const std::vector<InstanceGroup>& groups() const { return groups_; }
    Int64 triangles() const { return triangles_; }  ///< of the bases, each counted once
    Int64 instanceCount() const;

private:
    void findBases(const BaseDocument* doc, std::span<const SceneObjectInfo> instances, float scale);
    void generateBaseMeshes(ApiNodeGraph& graph, float scale);
    void connectInstances(ApiNodeGraph& graph, ApiNode* mainGroup, unsigned pin);

    MatManager& materials_;
    std::vector<InstanceGroup> groups_;
    Int64 triangles_ = 0;
};

/// Destroys geometry with everything below it: groups, scatters and layers down to the meshes. Null is fine.
void deleteGeometry(ApiNode* node);

}  // namespace lumora
