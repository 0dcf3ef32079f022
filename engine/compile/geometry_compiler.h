// From the geometry nodes below a render target to instances of meshes.
//
// Groups, scatters and layer maps are flattened: what is left is a list of meshes and a list of placements. Meshes are
// built again only when an array of theirs changed; a changed matrix makes one new Embree instance and a new top level.
#pragma once

#include <unordered_map>
#include <unordered_set>

#include "engine/compile/mesh_builder.h"

namespace Lumora::engine {

/// More placements than this are refused: they would not fit into the memory of a workstation.
inline constexpr std::size_t kMaxInstances = 20'000'000;

class GeometryCompiler {
public:
    explicit GeometryCompiler(RTCDeviceTy* device) : device_(device) {}

    /// The geometry below a node; `previous` may be null. Throws std::bad_alloc and std::runtime_error.
    std::shared_ptr<const Geometry> compile(const NodeTable& nodes, ItemUid root,
                                            const std::shared_ptr<const Geometry>& previous, const LogFunction& log);

    /// Counts since the start, for the statistics: meshes built, instances made.
    std::uint64_t meshesBuilt() const { return meshesBuilt_; }
    std::uint64_t instancesBuilt() const { return instancesBuilt_; }

private:
    struct Leaf {
        Matrix<float> transform;
        std::uint32_t mesh = kNone;  ///< index into Geometry::meshes, or kNone: a plane
        std::uint32_t slot = 0;      ///< plane: index into Geometry::slots
        std::uint32_t firstLayer = kNone, layerCount = 0;
    };
    struct CachedMesh {
        MeshSource source;
        std::shared_ptr<const CompiledMesh> mesh;
        std::uint64_t stamp = 0;
    };
    struct Walk;

    std::vector<Leaf> flatten(Walk& walk, ItemUid uid);
    std::vector<Leaf> scatter(Walk& walk, const NodeRecord& node);
    void meshLeaf(Walk& walk, const NodeRecord& node, std::vector<Leaf>& out);
    void applyLayers(Walk& walk, const NodeRecord& node, std::vector<Leaf>& leaves);
    void place(Walk& walk, const std::vector<Leaf>& leaves);
    void buildTop(Walk& walk, const std::shared_ptr<const Geometry>& previous);

    RTCDeviceTy* device_;
    std::unordered_map<ItemUid, CachedMesh> meshes_;
    std::uint64_t stamp_ = 0, meshesBuilt_ = 0, instancesBuilt_ = 0;
};

}  // namespace Lumora::engine
