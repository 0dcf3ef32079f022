#include "plugin/geometry/instance_manager.h"

#include <algorithm>
#include <unordered_map>

#include "plugin/core/globals.h"
#include "plugin/core/log.h"
#include "plugin/geometry/engine_matrix.h"
#include "plugin/geometry/object_tags.h"

namespace lumora {

namespace {

// Instances of instances multiply. Past these a base is cut off, with a line in the log.
constexpr std::size_t kMaxDepth = 64, kMaxPlacements = 1'000'000;

BaseObject* baseOf(const BaseObject& instance, const BaseDocument* doc) {
    BaseList2D* target = instance.GetDataInstance()->GetLink(INSTANCEOBJECT_LINK, doc);
    return target && target->IsInstanceOf(Obase) ? static_cast<BaseObject*>(target) : nullptr;
}

bool layerRenders(const BaseObject& object) {
    const LayerObject* layer = object.GetLayerObject();
    return !layer || layer->GetDataInstance()->GetBool(ID_LAYER_RENDER, true);
}

/// Walks everything below a base and gathers its polygon objects.
class ChildCollector {
public:
    ChildCollector(const BaseDocument* doc, InstanceGroup& group) : doc_(doc), group_(group) {}

    void collectBase() {
        SceneObjectInfo info;
        info.renderVisible = true;
        // Tags of what the base stands under are seen as well.
        info.hasRestrictions = group_.baseObject->GetUp() != nullptr;
        enter(group_.baseObject, info);
        if (circle_) logLine(group_.baseObject->GetName() + " is among its own instances; they are left out there.");
        if (cut_)
            logLine(group_.baseObject->GetName() + " holds too many instances of instances; the rest is left out.");
    }

private:
    /// What an instance shows: the base itself, where it stands replaced by where the instance stands, and whether the
    /// base hides itself replaced by whether the instance does.
    void enter(BaseObject* base, SceneObjectInfo info) {
        if (std::find(open_.begin(), open_.end(), base) != open_.end()) {
            circle_ = true;
            return;
        }
        if (open_.size() >= kMaxDepth) {
            cut_ = true;
            return;
        }
        open_.push_back(base);
        visit(base, info, true);
        open_.pop_back();
    }

    void visit(BaseObject* object, SceneObjectInfo info, bool isBase) {
        if (cut_ || sendBroken()) return;
        info.object = object;
        const bool visible = info.renderVisible;
        if (!isBase) info.globalMatrix = info.globalMatrix * object->GetMl();
        readObjectTags(doc_, object, info);
        if (isBase && info.opacity != 0.0) info.renderVisible = visible;
        if (!layerRenders(*object)) info.renderVisible = false;

        const bool shown = info.renderVisible && !object->GetBit(BIT_CONTROL_OBJECT | BIT_IN_SPLINE_USE) &&
                           (isBase || object->GetEditorMode() != VisibilityMode::Off);
        if (shown && object->GetType() == Opolygon) place(info);
        if (shown && object->GetType() == Oinstance && object->GetDeformMode())
            if (BaseObject* inner = baseOf(*object, doc_)) enter(inner, info);

        info.parentObject = object;
        for (BaseObject* cache : {object->GetCache(), object->GetDeformCache()})
            if (cache) visit(cache, info, false);
        info.parentObject = nullptr;
        for (BaseObject* child = object->GetDown(); child; child = child->GetNext()) visit(child, info, false);
    }

    void place(const SceneObjectInfo& info) {
        if (placements_ >= kMaxPlacements) {
            cut_ = true;
            return;
        }
        ++placements_;
        const auto [it, isNew] = known_.try_emplace(info.object, group_.children.size());
        if (isNew) group_.children.push_back({info, {}});
        group_.children[it->second].placements.push_back(info.globalMatrix);
    }

    const BaseDocument* doc_;
    InstanceGroup& group_;
    std::vector<const BaseObject*> open_;  ///< bases on the way down
    std::unordered_map<const BaseObject*, std::size_t> known_;
    std::size_t placements_ = 0;
    bool circle_ = false, cut_ = false;
};

void writeObjectLayer(ApiNode* layerMap, const SceneObjectInfo& info) {
    ApiNode* layer = ownedInputIx(layerMap, 1, NT_OBJECT_LAYER);
    setFloatIfChanged(layer, P_LAYER_OPACITY, static_cast<float>(info.opacity));
    setBoolIfChanged(layer, P_CAMERA_VISIBILITY, info.cameraVisible);
    setBoolIfChanged(layer, P_SHADOW_VISIBILITY, info.shadowVisible);
    setIntIfChanged(layer, P_LAYER_ID, info.layerId);
    setIntIfChanged(layer, P_LIGHT_PASS_MASK, info.lightPassMask);
    setIntIfChanged(layer, P_BAKING_GROUP_ID, info.bakingGroupId);
}

}  // namespace

void InstanceManager::resetForSend() {
    groups_.clear();
    triangles_ = 0;
}

Int64 InstanceManager::instanceCount() const {
    Int64 count = 0;
    for (const InstanceGroup& g : groups_) count += static_cast<Int64>(g.matrices.size());
    return count;
}

unsigned InstanceManager::buildInstances(BaseDocument* doc, ApiNode* mainGroup, unsigned pin,
                                         std::span<const SceneObjectInfo> instances, float scale) {
    if (!mainGroup) return pin + 1;
    resetForSend();
    findBases(doc, instances, scale);
    ApiNodeGraph& graph = ApiProjectManager::rootNodeGraph();
    ApiNode* old = mainGroup->connectedNodeIx(pin);
    generateBaseMeshes(graph, scale);
    connectInstances(graph, mainGroup, pin);
    if (old && old != mainGroup->connectedNodeIx(pin)) deleteGeometry(old);
    return pin + 1;
}

void InstanceManager::findBases(const BaseDocument* doc, std::span<const SceneObjectInfo> instances, float scale) {
    std::unordered_map<const BaseObject*, std::size_t> known;
    for (const SceneObjectInfo& record : instances) {
        if (!record.object || !record.renderVisible) continue;
        BaseObject* base = baseOf(*record.object, doc);
        if (!base) continue;
        const auto [it, isNew] = known.try_emplace(base, groups_.size());
        if (isNew) {
            groups_.emplace_back().baseObject = base;
            ChildCollector(doc, groups_.back()).collectBase();
        }
        InstanceGroup& group = groups_[it->second];
        group.matrices.push_back(toEngineMatrix(record.globalMatrix, scale));
        group.ids.push_back(record.colorId == -1 ? static_cast<int>(group.ids.size()) + 1 : record.colorId);
    }
    debugLine("find And Check BaseObjects " + String::IntToString(static_cast<Int64>(groups_.size())));
}

void InstanceManager::generateBaseMeshes(ApiNodeGraph& graph, float scale) {
    MeshCollector collector(materials_);
    std::vector<EngineMatrix> placements;
    for (InstanceGroup& group : groups_) {
        if (sendBroken()) return;
        group.childGroup = createNode(NT_GEO_GROUP, graph, "childGrp");
        setAttrIfChanged(group.childGroup, A_GROUP_PIN_COUNT, static_cast<int>(group.children.size()));
        unsigned pin = 0;
        for (const InstanceChild& child : group.children) {
            collector.init();
            ApiNode* mesh = collector.collectObjectMesh(child.info, scale, false, false);
            if (!collector.finishObjectMesh(child.info)) continue;
            triangles_ += collector.triangleCount * static_cast<Int64>(child.placements.size());
            setNameIfChanged(mesh, child.info.object->GetName());
            ApiNode* top = mesh;
            if (child.info.needsLayer) {
                top = createNode(NT_GEO_LAYER_MAP, graph);
                connectIfChanged(top, P_GEOMETRY, mesh);
                evaluateItem(top);
                writeObjectLayer(top, child.info);
            }
            ApiNode* scatter = createNode(NT_GEO_SCATTER, graph, "SCT");
            connectIfChanged(scatter, P_GEOMETRY, top);
            placements.clear();
            for (const Matrix& m : child.placements) placements.push_back(toEngineMatrix(m, scale));
            setArrayIfChanged(scatter, A_TRANSFORM, placements.data(), placements.size());
            connectIxIfChanged(group.childGroup, pin++, scatter);
        }
        setAttrIfChanged(group.childGroup, A_GROUP_PIN_COUNT, static_cast<int>(pin));
        group.baseScatter = createNode(NT_GEO_SCATTER, graph, "BaseSct");
        connectIfChanged(group.baseScatter, P_GEOMETRY, group.childGroup);
        debugLine("GENERATE new instance base mesh:" + group.baseObject->GetName() +
                  " objects:" + String::IntToString(static_cast<Int64>(group.children.size())));
    }
}

void InstanceManager::connectInstances(ApiNodeGraph& graph, ApiNode* mainGroup, unsigned pin) {
    ApiNode* instGroup = createNode(NT_GEO_GROUP, graph, "instGroup");
    setAttrIfChanged(instGroup, A_GROUP_PIN_COUNT, static_cast<int>(groups_.size()));
    for (std::size_t i = 0; i < groups_.size(); ++i) {
        InstanceGroup& g = groups_[i];
        if (!g.baseScatter) continue;
        setArrayIfChanged(g.baseScatter, A_TRANSFORM, g.matrices.data(), g.matrices.size());
        setArrayIfChanged(g.baseScatter, A_INSTANCE_IDS, g.ids.data(), g.ids.size());
        connectIxIfChanged(instGroup, static_cast<unsigned>(i), g.baseScatter);
    }
    connectIxIfChanged(mainGroup, pin, instGroup);
}

void deleteGeometry(ApiNode* node) {
    if (!node) return;
    switch (node->type()) {
        case NT_GEO_GROUP: {
            std::vector<ApiNode*> below;
            for (unsigned i = 0; i < node->pinCount(); ++i)
                if (ApiNode* n = node->connectedNodeIx(i)) below.push_back(n);
            destroyItem(node);
            for (ApiNode* n : below) deleteGeometry(n);
            break;
        }
        case NT_GEO_SCATTER:
        case NT_GEO_LAYER_MAP: {
            ApiNode* below = node->connectedNode(P_GEOMETRY);
            destroyItem(node);
            deleteGeometry(below);
            break;
        }
        case NT_GEO_MESH:
            destroyItem(node);
            break;
        default:
            break;
    }
}

}  // namespace lumora
