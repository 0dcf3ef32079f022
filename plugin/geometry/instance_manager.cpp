#include "plugin/geometry/instance_manager.h"

#include <algorithm>
#include <cmath>
#include <unordered_set>

#include "plugin/core/globals.h"
#include "plugin/core/log.h"
#include "plugin/core/session.h"
#include "plugin/core/singletons.h"
#include "plugin/geometry/engine_matrix.h"
#include "plugin/geometry/object_layer.h"
#include "plugin/geometry/object_mesh.h"
#include "plugin/geometry/object_tags.h"
#include "plugin/geometry/stacked_materials.h"

namespace lumora {

namespace {

constexpr std::uint32_t kNoBase = ~0u;
/// Squared distance of signatures below which a mesh counts as the same.
constexpr Float kSameSignature = 1e-6;
/// Room for instances is made in steps of this many.
constexpr std::size_t kInstanceStep = 10000;

bool isFinite(const EngineMatrix& matrix) {
    for (const auto& row : matrix.m)
        for (const float v : row)
            if (!std::isfinite(v)) return false;
    return true;
}

/// The group on the pin when there is one, else a new one there.
ApiNode* groupOnPin(ApiNode* owner, unsigned pin, const char* name) {
    ApiNode* held = owner->connectedNodeIx(pin);
    if (held && held->type() == NT_GEO_GROUP) return held;
    ApiNode* group = createNode(NT_GEO_GROUP, ApiProjectManager::rootNodeGraph(), name);
    connectIxIfChanged(owner, pin, group);
    deleteGeometry(held);
    return group;
}

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

void InstanceManager::resetForSend() {
    bases_.clear();
    groups_.clear();
    retired_.clear();
    baseOfRecord_.clear();
    meshes_.clear();
    meshIndex_.clear();
    freeMeshes_.clear();
    checked_ = false;
}

Int64 InstanceManager::instanceCount() const {
    Int64 count = 0;
    for (const InstanceGroup& g : groups_) count += static_cast<Int64>(g.ids.size());
    return count;
}

Int64 InstanceManager::triangles() const {
    Int64 count = 0;
    for (const InstanceGroup& g : groups_)
        for (const ObjectLink& link : g.links.links())
            count += Int64{link.triangleCount} *
                     static_cast<Int64>(g.children[static_cast<std::size_t>(link.listIndex)].placements.size());
    return count;
}

// --- The check ------------------------------------------------------------------------------------------------------

Int32 InstanceManager::check(BaseDocument* doc, std::span<const SceneObjectInfo> instances,
                             const InstanceOptions& options) {
    if (!doc) return 0;
    Int32 flags = findAndCheckBaseObjects(doc, instances, options, false) ? UPDATE_INSTANCES : 0;
    if (matricesDiffer(instances, options)) flags |= UPDATE_INSTANCE_MATRICES;
    checked_ = true;
    return flags;
}

bool InstanceManager::findAndCheckBaseObjects(BaseDocument* doc, std::span<const SceneObjectInfo> instances,
                                              const InstanceOptions& options, bool force) {
    const Float start = GeGetMilliSeconds();
    const lumoraLive* live = session();
    debugLine("find And Check BaseObjects " + String::IntToString(live ? live->checkCount.load() : 0));
    listBases(doc, instances);
    bool changed = matchGroups(doc);
    for (InstanceGroup& group : groups_) {
        if (sendBroken()) return true;
        changed |= checkBase(doc, group, options.colourTotal, force);
    }
    debugLine("bases:" + String::IntToString(static_cast<Int64>(bases_.size())) +
              " time:" + String::FloatToString(GeGetMilliSeconds() - start, 2) + " ms");
    return changed;
}

void InstanceManager::listBases(const BaseDocument* doc, std::span<const SceneObjectInfo> instances) {
    bases_.clear();
    baseOfRecord_.assign(instances.size(), kNoBase);
    std::unordered_map<const BaseObject*, std::uint32_t> known;
    const BaseObject* last = nullptr;
    std::uint32_t lastIndex = kNoBase;
    for (std::size_t i = 0; i < instances.size(); ++i) {
        const SceneObjectInfo& record = instances[i];
        if (!record.object || !record.renderVisible) continue;
        BaseObject* base = instanceBase(*record.object, doc);
        if (!base) continue;
        if (base != last) {  // most neighbours show the same
            const auto [it, isNew] = known.try_emplace(base, static_cast<std::uint32_t>(bases_.size()));
            if (isNew) bases_.push_back({record.meshGroupSlot, base, record});
            last = base;
            lastIndex = it->second;
        }
        baseOfRecord_[i] = lastIndex;
    }
}

bool InstanceManager::matchGroups(const BaseDocument* doc) {
    std::unordered_map<const BaseObject*, std::size_t> known;
    for (std::size_t i = 0; i < groups_.size(); ++i)
        if (BaseList2D* base = groups_[i].link.GetLink(doc)) known.emplace(static_cast<const BaseObject*>(base), i);
    bool changed = false;
    std::vector<InstanceGroup> matched(bases_.size());
    for (std::size_t i = 0; i < bases_.size(); ++i) {
        const auto it = known.find(bases_[i].object);
        if (it == known.end()) {
            matched[i].link.SetLink(bases_[i].object);
            changed = true;
        } else {
            changed |= it->second != i;
            matched[i] = std::move(groups_[it->second]);
            groups_[it->second].baseObject = nullptr;
        }
    }
    for (InstanceGroup& old : groups_) {
        if (!old.baseObject) continue;
        for (const ObjectLink& link : old.links.links())
            if (link.sharedMesh >= 0) --meshes_[static_cast<std::size_t>(link.sharedMesh)].users;
        retired_.push_back(std::move(old));
        changed = true;
    }
    groups_ = std::move(matched);
    for (std::size_t i = 0; i < groups_.size(); ++i) groups_[i].baseObject = bases_[i].object;
    return changed;
}

bool InstanceManager::checkBase(BaseDocument* doc, InstanceGroup& group, Int32 colourTotal, bool force) {
    const std::vector<InstanceChild> before = std::move(group.children);
    collectInstanceChildren(doc, group.baseObject, group.children);
    ObjectLinkTable& table = group.links;
    table.document = doc;
    table.refresh();
    ++stamp_;
    for (std::size_t i = 0; i < group.children.size(); ++i) {
        const InstanceChild& child = group.children[i];
        ObjectLink* link = table.findForRecord(child.info, stamp_);
        if (!link) {
            link = &table.add(0, linkTarget(child.info), child.info.object, child.info.globalMatrix, 0);
            link->cacheNumber = child.info.generator ? child.info.uniqueIp : 0;
        } else if (before[static_cast<std::size_t>(link->listIndex)].placements != child.placements) {
            link->matrixDirty = true;
        }
        table.take(*link, child.info, static_cast<Int32>(i), stamp_);
    }
    for (ObjectLink& link : table.links()) {
        if (link.passStamp == stamp_ || link.sharedMesh < 0) continue;
        --meshes_[static_cast<std::size_t>(link.sharedMesh)].users;
        link.sharedMesh = -1;
    }
    table.prune(stamp_);
    const bool inOrder =
        std::is_sorted(table.links().begin(), table.links().end(),
                       [](const ObjectLink& a, const ObjectLink& b) { return a.listIndex < b.listIndex; });
    table.sortByList();
    bool changed = table.changed || force || !inOrder || !table.removed().empty();
    table.changed = false;
    for (ObjectLink& link : table.links()) {
        if (compareOne(link, colourTotal, link.info->object) != LinkChange::Same || link.matrixDirty) changed = true;
        link.meshDirty = link.meshDirty || force;
    }
    group.dirty = group.dirty || changed;
    return group.dirty;
}

bool InstanceManager::matricesDiffer(std::span<const SceneObjectInfo> instances, const InstanceOptions& options) const {
    if (options.motion) return !instances.empty();
    std::vector<std::size_t> next(groups_.size());
    for (std::size_t i = 0; i < instances.size(); ++i) {
        if (baseOfRecord_[i] == kNoBase) continue;
        const EngineMatrix matrix = toEngineMatrix(instances[i].globalMatrix, options.scale);
        if (!isFinite(matrix)) continue;
        const InstanceGroup& group = groups_[baseOfRecord_[i]];
        const std::size_t at = next[baseOfRecord_[i]]++;
        const Int32 id = instances[i].colorId;
        if (at >= group.ids.size() || !(group.matrices[at] == matrix) || (id != -1 && group.ids[at] != id)) return true;
    }
    for (std::size_t g = 0; g < groups_.size(); ++g)
        if (next[g] != groups_[g].ids.size()) return true;
    return false;
}

// --- Meshes ---------------------------------------------------------------------------------------------------------

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

// --- Instances ------------------------------------------------------------------------------------------------------

void InstanceManager::generateInstanceMatrices(std::span<const SceneObjectInfo> instances,
                                               const InstanceOptions& options) {
    debugLine("Generate instance objects cnt:" + String::IntToString(static_cast<Int64>(instances.size())));
    for (InstanceGroup& group : groups_) {
        group.matrices.clear();
        group.ids.clear();
    }
    std::size_t left = 0;
    for (std::size_t i = 0; i < instances.size(); ++i) {
        if (baseOfRecord_[i] == kNoBase) continue;
        InstanceGroup& group = groups_[baseOfRecord_[i]];
        const std::size_t before = group.ids.size();
        addInstance(group, instances[i], options);
        if (group.ids.size() == before && !options.motion) ++left;
    }
    if (left != notFinite_ && left > 0)
        logLine(String::IntToString(static_cast<Int64>(left)) + " instances floating point error. Export ignored!");
    notFinite_ = left;
    for (InstanceGroup& group : groups_) {
        group.matrices.shrink_to_fit();
        group.ids.shrink_to_fit();
    }
}

void InstanceManager::addInstance(InstanceGroup& group, const SceneObjectInfo& record, const InstanceOptions& options) {
    if (group.ids.size() == group.ids.capacity()) {
        group.ids.reserve(std::max(group.ids.size() + kInstanceStep, group.ids.size() * 2));
        group.matrices.reserve(std::max(group.matrices.size() + kInstanceStep, group.matrices.size() * 2));
    }
    if (options.motion) {
        if (!options.motion->appendInstance(record, options.scale, group.matrices)) {
            logLine("Cannot GET INST.MOTION " + record.object->GetName() +
                    " GUID:" + String::IntToString(static_cast<Int64>(record.guid)) + " IP:" + record.instancePath +
                    " useIP:" + String::IntToString(record.useInstancePath ? 1 : 0));
            return;
        }
    } else {
        const EngineMatrix matrix = toEngineMatrix(record.globalMatrix, options.scale);
        if (!isFinite(matrix)) return;
        group.matrices.push_back(matrix);
    }
    group.ids.push_back(record.colorId == -1 ? static_cast<int>(group.ids.size()) + 1 : record.colorId);
}

void InstanceManager::suspectLostNodes(const ApiNode* instGroup) {
    std::unordered_set<const ApiNode*> connected;
    for (unsigned i = 0; instGroup && i < instGroup->pinCount(); ++i) connected.insert(instGroup->connectedNodeIx(i));
    for (InstanceGroup& group : groups_)
        if (group.baseScatter && !connected.contains(group.baseScatter)) group.dirty = true;
}

void InstanceManager::connectInstances(ApiNode* mainGroup, unsigned pin, const InstanceOptions& options) {
    ApiNode* instGroup = groupOnPin(mainGroup, pin, "instGroup");
    if (!instGroup) return;
    setAttrIfChanged(instGroup, A_GROUP_PIN_COUNT, static_cast<int>(groups_.size()));
    for (std::size_t i = 0; i < groups_.size(); ++i) {
        InstanceGroup& g = groups_[i];
        const auto ix = static_cast<unsigned>(i);
        if (!g.baseScatter || g.matrices.empty()) {
            disconnectPinIx(instGroup, ix);
            continue;
        }
        if (options.motion)
            writeAnimation(g.baseScatter, A_TRANSFORM, *options.motion->times(), options.motion->timeCount(),
                           g.matrices.data(), g.matrices.size(), true);
        else
            setArrayIfChanged(g.baseScatter, A_TRANSFORM, g.matrices.data(), g.matrices.size());
        setArrayIfChanged(g.baseScatter, A_INSTANCE_IDS, g.ids.data(), g.ids.size());
        connectIxIfChanged(instGroup, ix, g.baseScatter);
    }
}

unsigned InstanceManager::buildInstances(BaseDocument* doc, ApiNode* mainGroup, unsigned pin,
                                         std::span<const SceneObjectInfo> instances, const InstanceOptions& options,
                                         bool force) {
    if (!mainGroup || !doc) return pin + 1;
    if (!checked_ || force || baseOfRecord_.size() != instances.size())
        findAndCheckBaseObjects(doc, instances, options, force);
    checked_ = false;
    suspectLostNodes(mainGroup->connectedNodeIx(pin));
    if (!generateBaseMeshes(options)) return pin + 1;
    generateInstanceMatrices(instances, options);
    connectInstances(mainGroup, pin, options);
    return pin + 1;
}

void deleteGeometry(ApiNode* node, bool keepLayer, ObjectLinkTable* meshLinks) {
    if (!node) return;
    switch (node->type()) {
        case NT_GEO_GROUP: {
            std::unordered_set<ApiNode*> below;  // one may hang on several pins
            for (unsigned i = 0; i < node->pinCount(); ++i)
                if (ApiNode* n = node->connectedNodeIx(i)) below.insert(n);
            destroyItem(node);
            for (ApiNode* n : below) deleteGeometry(n, keepLayer, meshLinks);
            break;
        }
        case NT_GEO_SCATTER:
        case NT_GEO_LAYER_MAP: {
            ApiNode* below = node->connectedNode(P_GEOMETRY);
            if (!keepLayer || node->type() != NT_GEO_LAYER_MAP) destroyItem(node);
            deleteGeometry(below, keepLayer, meshLinks);
            break;
        }
        case NT_GEO_MESH:
            if (!meshLinks || !meshLinks->findByNode(node)) destroyItem(node);
            break;
        default:
            break;
    }
}

}  // namespace lumora
