// From the geometry nodes below a render target to instances of meshes.
//
// Groups, scatters and layer maps are flattened: what is left is a list of meshes and a list of placements. Meshes are
// built again only when an array of theirs changed, several of them side by side; a changed matrix makes one new Embree
// instance.
#pragma once

#include <unordered_map>
#include <unordered_set>

#include "engine/compile/displacement.h"
#include "engine/compile/mesh_builder.h"
#include "engine/compile/top_level.h"

namespace Lumora::engine {

/// More placements than this are refused: they would not fit into the memory of a workstation.
inline constexpr std::size_t kMaxInstances = 20'000'000;

class GeometryCompiler {
public:
    explicit GeometryCompiler(RTCDeviceTy* device) : device_(device) {}

    /// The geometry below a node; `previous` may be null. Throws std::bad_alloc and std::runtime_error.
    /// `images`: those that displacement reads.
    std::shared_ptr<const Geometry> compile(const NodeTable& nodes, ItemUid root, ImageStore& images,
                                            const std::shared_ptr<const Geometry>& previous, const LogFunction& log);

    /// How the instances of the last compilation differ from those before.
    const InstanceChange& change() const { return change_; }

    /// Counts since the start, for the statistics: meshes built, instances made.
    std::uint64_t meshesBuilt() const { return meshesBuilt_; }
    std::uint64_t instancesBuilt() const { return instancesBuilt_; }

private:
    struct Leaf {
        Matrix<float> transform;
        static constexpr std::uint32_t kToonLight = 0x80000000u;
        std::uint32_t mesh = kNone;   ///< index into Walk::meshes, or kNone: a plane or a toon light
        std::uint32_t plane = kNone;  ///< index into Walk::planes, or kToonLight plus one into Walk::toonLights
        std::uint32_t firstLayer = kNone, layerCount = 0;
        std::int32_t id = -1;
    };
    using Leaves = std::vector<Leaf>;
    struct CachedMesh {
        NodeRecordPtr node;  ///< that it was made from
        MeshSource source;
        std::shared_ptr<const CompiledMesh> mesh;
        std::uint64_t stamp = 0;  ///< of the last compilation that met it
        std::uint32_t index = 0;  ///< into Walk::meshes of that compilation
    };
    struct Walk;

    void flatten(Walk& walk, ItemUid uid, Leaves& out);
    void scatter(Walk& walk, const NodeRecord& node, Leaves& out);
    void meshLeaf(Walk& walk, const NodeRecordPtr& node, Leaves& out);
    void planeLeaf(Walk& walk, const NodeRecord& node, Leaves& out);
    void applyLayers(Walk& walk, const NodeRecord& node, Leaves& leaves, std::size_t first);
    void buildMeshes(Walk& walk);
    void listMeshes(Walk& walk, Leaves& leaves);
    void place(Walk& walk, const Leaves& leaves);

    RTCDeviceTy* device_;
    std::unordered_map<ItemUid, CachedMesh> meshes_;
    InstanceChange change_;
    std::uint64_t stamp_ = 0, meshesBuilt_ = 0, instancesBuilt_ = 0;
};

}  // namespace Lumora::engine
