// The bases' side of the instances: which meshes there are, and the nodes below each base's scatter.
#include <algorithm>
#include <type_traits>

#include "plugin/core/globals.h"
#include "plugin/core/log.h"
#include "plugin/geometry/engine_matrix.h"
#include "plugin/geometry/instance_manager.h"
#include "plugin/geometry/object_layer.h"
#include "plugin/geometry/object_mesh.h"
#include "plugin/geometry/object_tags.h"
#include "plugin/geometry/stacked_materials.h"

namespace lumora {

namespace {

/// Squared distance of signatures below which a mesh counts as the same.
constexpr Float kSameSignature = 1e-6;

/// FNV-1a over the values that are put in.
class RecordHash {
public:
    template <typename T>
    void add(const T& value) {
        static_assert(std::is_trivially_copyable_v<T>);
        const auto* bytes = reinterpret_cast<const unsigned char*>(&value);
        for (std::size_t i = 0; i < sizeof(T); ++i) addByte(bytes[i]);
    }
    void add(const String& text) {
        for (const char c : text.str()) addByte(static_cast<unsigned char>(c));
        addByte(0);
    }
    UInt64 value() const { return value_; }

private:
    void addByte(unsigned char byte) { value_ = (value_ ^ byte) * 0x100000001B3ull; }
    UInt64 value_ = 0xCBF29CE484222325ull;
};

}  // namespace

std::size_t InstanceManager::MeshKeyHash::operator()(const MeshKey& k) const {
    return static_cast<std::size_t>(k.record ^ (std::hash<const void*>()(k.object) * 0x9E3779B97F4A7C15ull) ^
                                    (UInt64{k.cacheNumber} << 32));
}

InstanceManager::MeshKey InstanceManager::keyOf(const InstanceGroup& group, const ObjectLink& link, bool shared) {
    const SceneObjectInfo& info = *link.info;
    RecordHash hash;
    for (const Int32 n : {info.subdLevel, info.subdBoundary, info.motionType, info.colorId, info.mainTagIndex,
                          info.stackedTagIndex, info.geometryFlags, Int32{info.hasRestrictions}})
        hash.add(n);
    hash.add(info.subdSharpness);
    for (const void* p : {static_cast<const void*>(info.mainTextureTag), static_cast<const void*>(info.mainMaterial),
                          static_cast<const void*>(info.vertexMapTag)})
        hash.add(p);
    if (info.motionType == MOTION_VELOCITY_MAPS) hash.add(static_cast<const void*>(info.objectTag));
    for (const TextureTagEntry& entry : info.textureTags) {
        hash.add(entry.selection);
        hash.add(entry.slot);
        hash.add(entry.stacked);
        hash.add(static_cast<const void*>(entry.primaryTag));
        for (const TextureTag* tag : entry.tags) hash.add(static_cast<const void*>(tag));
    }
    if (!shared) hash.add(static_cast<const void*>(group.baseObject));
    return {linkTarget(info), link.cacheNumber, hash.value()};
}

InstanceManager::SharedMesh& InstanceManager::meshOf(const InstanceGroup& group, ObjectLink& link, bool shared) {
    const MeshKey key = keyOf(group, link, shared);
    if (link.sharedMesh >= 0 && meshes_[static_cast<std::size_t>(link.sharedMesh)].key == key)
        return meshes_[static_cast<std::size_t>(link.sharedMesh)];
    Int32 old = link.sharedMesh;
    if (const auto it = meshIndex_.find(key); it != meshIndex_.end()) {
        if (old >= 0) --meshes_[static_cast<std::size_t>(old)].users;
        link.sharedMesh = it->second;
        SharedMesh& mesh = meshes_[static_cast<std::size_t>(it->second)];
        ++mesh.users;
        return mesh;
    }
    if (old >= 0 && meshes_[static_cast<std::size_t>(old)].users > 1) {
        --meshes_[static_cast<std::size_t>(old)].users;
        old = -1;
    }
    if (old < 0) {  // else the node that nobody else shows is filled anew
        if (freeMeshes_.empty()) {
            old = static_cast<Int32>(meshes_.size());
            meshes_.emplace_back();
        } else {
            old = freeMeshes_.back();
            freeMeshes_.pop_back();
        }
        meshes_[static_cast<std::size_t>(old)].users = 1;
    }
    SharedMesh& mesh = meshes_[static_cast<std::size_t>(old)];
    meshIndex_.erase(mesh.key);
    mesh.key = key;
    meshIndex_.emplace(key, old);
    link.sharedMesh = old;
    link.meshDirty = link.forceGeometry = true;
    return mesh;
}

void InstanceManager::updateMesh(SharedMesh& mesh, ObjectLink& link, const InstanceOptions& options, LiveNodes& live) {
    live.check(mesh.node);
    const SceneObjectInfo& info = *link.info;
    if (options.reuseMeshes && options.meshLinks) {
        const ObjectLink* found = options.meshLinks->findByObject(info.object);
        if (!found) found = options.meshLinks->findByObject(info.parentObject);
        ApiNode* node = found ? found->meshNode : nullptr;
        if (node && node->type() == NT_GEO_MESH) {
            if (!mesh.taken && mesh.node) live.destroy(mesh.node);
            mesh.node = node;
            mesh.taken = true;
            mesh.refused = false;
            mesh.triangles = found->triangleCount;
            return;
        }
    }
    if (mesh.taken) {
        mesh.node = nullptr;
        mesh.taken = false;
    }
    const bool wanted = link.meshDirty || (!mesh.node && !mesh.refused);
    if (!wanted || mesh.builtAt == buildCount_ || (mesh.comparedAt == buildCount_ && !link.forceGeometry)) return;
    mesh.comparedAt = buildCount_;
    if (mesh.node && mesh.triangles > 0 && !options.finalRender) {
        const Vector signature = meshSignature(info);
        const bool same = signatureDistance(signature, mesh.signature) <= kSameSignature;
        mesh.signature = signature;
        if (same && !link.forceGeometry) return;
    } else {
        mesh.signature = meshSignature(info);
    }
    VertexMotionSource motion;
    if (options.motion && info.motionType != MOTION_NONE) motion = {options.motion->times(), options.motion};
    ObjectMesh built;
    buildObjectMesh(collector_, materials_, info, options.scale, motion, mesh.node, built);
    live.add(mesh.node);
    mesh.triangles = built.triangles;
    mesh.refused = !mesh.node;
    mesh.builtAt = buildCount_;
    link.materials = std::move(built.materials);
    if (mesh.node) {
        setAttrIfChanged(mesh.node, A_MESH_OBJECT_ID, info.colorId);
        ++meshesBuilt_;
    }
}

bool InstanceManager::generateChild(std::size_t index, ObjectLink& link, const InstanceOptions& options,
                                    LiveNodes& live) {
    const SceneObjectInfo& info = *link.info;
    SharedMesh& mesh = meshOf(groups_[index], link, options.reuseMeshes);
    updateMesh(mesh, link, options, live);
    const bool changed = mesh.builtAt == buildCount_ || link.meshNode != mesh.node;
    link.meshNode = mesh.node;
    link.triangleCount = mesh.triangles;
    link.refused = mesh.refused;
    link.meshDirty = link.forceGeometry = false;
    live.check(link.transformNode);
    live.check(link.layerNode);
    if (!mesh.node) {
        live.destroy(link.transformNode);
        live.destroy(link.layerNode);
        return false;
    }
    if (!link.transformNode) {
        link.transformNode = createNode(NT_GEO_SCATTER, ApiProjectManager::rootNodeGraph(), "SCT");
        live.add(link.transformNode);
        link.matrixDirty = true;
    }
    connectThroughLayer(link.transformNode, link.layerNode, mesh.node, info, changed);
    live.add(link.layerNode);

    const bool animated = options.motion && info.motionType != MOTION_NONE &&
                          options.motion->writePlacement(bases_[index], info, link.transformNode, options.scale);
    // A placement that was animated and is so no longer is written too.
    if (!animated && link.transformNode && (link.matrixDirty || link.transformNode->getSampleCount(A_TRANSFORM) > 1)) {
        const InstanceChild& child = groups_[index].children[static_cast<std::size_t>(link.listIndex)];
        std::vector<EngineMatrix> placements;
        placements.reserve(child.placements.size());
        for (const Matrix& m : child.placements) placements.push_back(toEngineMatrix(m, options.scale));
        std::erase_if(placements, [](const EngineMatrix& m) { return !isFinite(m); });
        setArrayIfChanged(link.transformNode, A_TRANSFORM, placements.data(), placements.size());
    }
    link.matrixDirty = false;
    return link.transformNode != nullptr;
}

void InstanceManager::generateGroup(std::size_t index, const InstanceOptions& options, LiveNodes& live) {
    InstanceGroup& group = groups_[index];
    ApiNodeGraph& graph = ApiProjectManager::rootNodeGraph();
    live.check(group.childGroup);
    live.check(group.baseScatter);
    if (!group.childGroup) {
        group.childGroup = createNode(NT_GEO_GROUP, graph, "childGrp");
        live.add(group.childGroup);
    }
    if (!group.childGroup) return;
    for (ObjectLink& link : group.links.removed())
        for (ApiNode** node : {&link.transformNode, &link.layerNode}) live.destroy(*node);
    group.links.clearRemoved();

    unsigned pin = 0;
    for (ObjectLink& link : group.links.links()) {
        if (sendBroken() || globals().breakUpdate) return;
        if (!generateChild(index, link, options, live)) continue;
        if (pin >= group.childGroup->pinCount())
            setAttrIfChanged(group.childGroup, A_GROUP_PIN_COUNT, group.links.count());
        connectIxIfChanged(group.childGroup, pin++, link.transformNode);
    }
    setAttrIfChanged(group.childGroup, A_GROUP_PIN_COUNT, static_cast<int>(pin));
    debugLine("GENERATE new instance base mesh:" + group.baseObject->GetName() +
              " objects:" + String::IntToString(static_cast<Int64>(group.children.size())));
    if (!group.baseScatter) {
        group.baseScatter = createNode(NT_GEO_SCATTER, graph, "BaseSct");
        live.add(group.baseScatter);
    }
    connectIfChanged(group.baseScatter, P_GEOMETRY, group.childGroup);
    group.dirty = false;
}

bool InstanceManager::generateBaseMeshes(const InstanceOptions& options) {
    meshesBuilt_ = 0;
    ++buildCount_;
    const auto isDirty = [](const InstanceGroup& g) { return g.dirty; };
    const auto count = std::count_if(groups_.begin(), groups_.end(), isDirty);
    if (count == 0 && retired_.empty()) return true;
    logLine("Generate mesh data for intance base objects cnt:" + String::IntToString(count));
    LiveNodes live;
    for (std::size_t i = 0; i < groups_.size(); ++i) {
        if (groups_[i].dirty) generateGroup(i, options, live);
        if (groups_[i].dirty) return false;  // broken off
    }
    destroyUnused(live);
    return true;
}

void InstanceManager::destroyUnused(LiveNodes& live) {
    for (InstanceGroup& group : retired_) {
        live.destroy(group.baseScatter);
        live.destroy(group.childGroup);
        for (std::vector<ObjectLink>* links : {&group.links.links(), &group.links.removed()})
            for (ObjectLink& link : *links)
                for (ApiNode** node : {&link.transformNode, &link.layerNode}) live.destroy(*node);
    }
    retired_.clear();
    for (std::size_t i = 0; i < meshes_.size(); ++i) {
        SharedMesh& mesh = meshes_[i];
        if (mesh.users > 0 || !mesh.key.object) continue;
        if (!mesh.taken && live.has(mesh.node)) {
            destroyStackedGraphs(mesh.node);
            live.destroy(mesh.node);
        }
        meshIndex_.erase(mesh.key);
        mesh = SharedMesh{};
        freeMeshes_.push_back(static_cast<Int32>(i));
    }
}

}  // namespace lumora
