#include "plugin/geometry/instance_manager.h"

#include <algorithm>
#include <unordered_set>

#include "plugin/core/globals.h"
#include "plugin/core/log.h"
#include "plugin/core/session.h"
#include "plugin/core/singletons.h"
#include "plugin/geometry/engine_matrix.h"

namespace lumora {

namespace {

constexpr std::uint32_t kNoBase = ~0u;
/// Room for instances is made in steps of this many.
constexpr std::size_t kInstanceStep = 10000;

/// The group on the pin when there is one, else a new one there.
ApiNode* groupOnPin(ApiNode* owner, unsigned pin, const char* name) {
    ApiNode* held = owner->connectedNodeIx(pin);
    if (held && held->type() == NT_GEO_GROUP) return held;
    ApiNode* group = createNode(NT_GEO_GROUP, ApiProjectManager::rootNodeGraph(), name);
    connectIxIfChanged(owner, pin, group);
    deleteGeometry(held);
    return group;
}

}  // namespace

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
