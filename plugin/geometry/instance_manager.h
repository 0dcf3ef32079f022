// Instance objects: what they point at becomes engine geometry once, each instance is one matrix of a scatter.
//
//   "instGroup" on a pin of the main group: one pin for each base
//     "BaseSct": the matrices of all instances of that base, and a number for each
//       "childGrp": one pin for each polygon object of the base
//         "SCT": the polygon object relative to the base, one matrix, or more where instances nest
//           object layer map, when the object needs one
//             mesh in object space
//
// A base's group is found again by the base itself, a child's nodes by its object, and a mesh by the object and what
// its record says of the mesh: so that an edit of a base builds the meshes that changed, on the nodes that they have;
// that a base which comes or goes leaves the others alone; and that an object which several bases show is one mesh.
//
//   check: findAndCheckBaseObjects, and a look at the matrices      (reads the host only)
//   buildInstances: generateBaseMeshes, generateInstanceMatrices, connectInstances      (writes the engine)
//
// What a check marked stays marked until a build served it. Threads: the sending thread.
#pragma once

#include <span>
#include <unordered_map>
#include <vector>

#include "plugin/core/object_link.h"
#include "plugin/geometry/instance_children.h"
#include "plugin/geometry/live_nodes.h"
#include "plugin/geometry/mesh_collector.h"

namespace lumora {

/// An object that instances show.
struct InstanceBase {
    Int32 slot = 0;  ///< mesh slot of the first instance that named it
    BaseObject* object = nullptr;
    SceneObjectInfo info;  ///< of that instance
};

/// One base with everything made for it.
struct InstanceGroup {
    BaseLink link;                     ///< to the base: finds the group again
    BaseObject* baseObject = nullptr;  ///< of the last check
    std::vector<InstanceChild> children;
    ObjectLinkTable links;  ///< one for each child, in the same order; a link's scatter and layer are its own
    bool dirty = true;      ///< the children differ from the engine's
    ApiNode* baseScatter = nullptr;
    ApiNode* childGroup = nullptr;
    std::vector<EngineMatrix> matrices;  ///< of all instances; with motion all times of one after the other
    std::vector<int> ids;
};

/// What the motion processor does for instances.
class InstanceMotion : public VertexMotion {
public:
    /// Seconds of the samples, of instances and of children.
    virtual const Lumora::ApiTimeSampling* times() const = 0;
    virtual std::size_t timeCount() const = 0;
    /// Appends the instance's matrices at all times. False, and nothing appended: it has no samples yet.
    virtual bool appendInstance(const SceneObjectInfo& record, float scale, std::vector<EngineMatrix>& out) = 0;
    /// Writes the animated placement of a child relative to its base. False: it stands still.
    virtual bool writePlacement(const InstanceBase& base, const SceneObjectInfo& child, ApiNode* scatter,
                                float scale) = 0;
};

struct InstanceOptions {
    float scale = 0.01f;                   ///< metres per scene unit
    bool finalRender = false;              ///< every marked mesh is built, whatever its signature
    bool reuseMeshes = true;               ///< preference: bases that show the same object share its mesh
    Int32 colourTotal = 0;                 ///< colours in the tables of colour ids
    ObjectLinkTable* meshLinks = nullptr;  ///< of the session: its meshes are taken over, and never destroyed
    InstanceMotion* motion = nullptr;      ///< null: object motion is off
};

class InstanceManager {
public:
    explicit InstanceManager(MatManager& materials) : materials_(materials), collector_(materials) {}

    /// The project was, or will be, emptied: forgets all nodes.
    void resetForSend();

    /// Compares bases and instances with the last build: UPDATE_INSTANCES when a base or what is below it came, went or
    /// changed, UPDATE_INSTANCE_MATRICES when instances did, or 0. The records must outlive the build that follows.
    Int32 check(BaseDocument* doc, std::span<const SceneObjectInfo> instances, const InstanceOptions& options);

    /// Makes bases' geometry and instances' matrices agree with the document, and connects them under `mainGroup` on
    /// its pin. `force`: every mesh is looked at. Returns pin + 1. Broken off, what is left stays marked.
    unsigned buildInstances(BaseDocument* doc, ApiNode* mainGroup, unsigned pin,
                            std::span<const SceneObjectInfo> instances, const InstanceOptions& options, bool force);

    const std::vector<InstanceBase>& bases() const { return bases_; }
    const std::vector<InstanceGroup>& groups() const { return groups_; }
    Int64 triangles() const;  ///< of the bases, each counted once
    Int64 instanceCount() const;
    Int32 meshesBuilt() const { return meshesBuilt_; }  ///< by the last build

private:
    /// What tells meshes apart.
    struct MeshKey {
        const BaseObject* object = nullptr;  ///< what the child's link names
        UInt32 cacheNumber = 0;
        UInt64 record = 0;  ///< hash of what the record says of the mesh; of the group too, when meshes are not shared
        friend bool operator==(const MeshKey&, const MeshKey&) = default;
    };
    struct MeshKeyHash {
        std::size_t operator()(const MeshKey& k) const;
    };
    /// A mesh, and how many links show it. One that nobody shows goes at the end of a build.
    struct SharedMesh {
        MeshKey key;
        ApiNode* node = nullptr;
        Int32 users = 0, triangles = 0;
        Int32 builtAt = -1, comparedAt = -1;  ///< builds in which it was made, or found unchanged
        bool taken = false;                   ///< the node is the session's
        bool refused = false;                 ///< the object has no mesh
        Vector signature;
    };

    static MeshKey keyOf(const InstanceGroup& group, const ObjectLink& link, bool shared);

    // The check.
    bool findAndCheckBaseObjects(BaseDocument* doc, std::span<const SceneObjectInfo> instances,
                                 const InstanceOptions& options, bool force);
    void listBases(const BaseDocument* doc, std::span<const SceneObjectInfo> instances);
    bool matchGroups(const BaseDocument* doc);
    bool checkBase(BaseDocument* doc, InstanceGroup& group, Int32 colourTotal, bool force);
    bool matricesDiffer(std::span<const SceneObjectInfo> instances, const InstanceOptions& options) const;

    // The build.
    void suspectLostNodes(const ApiNode* instGroup);
    bool generateBaseMeshes(const InstanceOptions& options);
    void generateGroup(std::size_t index, const InstanceOptions& options, LiveNodes& live);
    bool generateChild(std::size_t group, ObjectLink& link, const InstanceOptions& options, LiveNodes& live);
    SharedMesh& meshOf(const InstanceGroup& group, ObjectLink& link, bool shared);
    void updateMesh(SharedMesh& mesh, ObjectLink& link, const InstanceOptions& options, LiveNodes& live);
    void destroyUnused(LiveNodes& live);
    void generateInstanceMatrices(std::span<const SceneObjectInfo> instances, const InstanceOptions& options);
    void addInstance(InstanceGroup& group, const SceneObjectInfo& record, const InstanceOptions& options);
    void connectInstances(ApiNode* mainGroup, unsigned pin, const InstanceOptions& options);

    MatManager& materials_;
    MeshCollector collector_;
    std::vector<InstanceBase> bases_;
    std::vector<InstanceGroup> groups_;        ///< one for each base, same index
    std::vector<InstanceGroup> retired_;       ///< their nodes wait to be destroyed
    std::vector<std::uint32_t> baseOfRecord_;  ///< index into groups_ for each instance of the last check, or kNoBase
    std::vector<SharedMesh> meshes_;           ///< without a user: free
    std::unordered_map<MeshKey, Int32, MeshKeyHash> meshIndex_;
    std::vector<Int32> freeMeshes_;
    bool checked_ = false;  ///< a check waits for its build
    Int32 stamp_ = 0, buildCount_ = 0, meshesBuilt_ = 0;
    std::size_t notFinite_ = 0;  ///< instances left out for their matrices, as last logged
};

/// Destroys geometry with everything below it: groups, scatters and layers down to the meshes. `keepLayer`: layer maps
/// stay. Meshes that a link of `meshLinks` shows stay too. Null is fine.
void deleteGeometry(ApiNode* node, bool keepLayer = false, ObjectLinkTable* meshLinks = nullptr);

}  // namespace lumora
