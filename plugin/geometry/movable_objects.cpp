#include "plugin/geometry/movable_objects.h"

#include <string>

#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/geometry/engine_matrix.h"
#include "plugin/geometry/live_nodes.h"
#include "plugin/geometry/object_layer.h"
#include "plugin/geometry/object_mesh.h"
#include "plugin/geometry/stacked_materials.h"

namespace lumora {

namespace {

constexpr std::size_t kFirstMovable = 1, kSlots = 4;
constexpr unsigned kPlaneMaterialPin = 1;
/// Squared distance of signatures below which a mesh counts as the same.
constexpr Float kSameSignature = 1e-7;

/// Destroys the graph of the project that holds the node, which may be gone.
void destroyGraphOf(const ApiNode* node) {
    Lumora::ApiItemArray items;
    ApiProjectManager::rootNodeGraph().getOwnedItems(items);
    for (std::size_t i = 0; i < items.size(); ++i) {
        ApiNodeGraph* graph = items.get(i)->toGraph();
        if (!graph) continue;
        Lumora::ApiItemArray owned;
        graph->getOwnedItems(owned);
        for (std::size_t k = 0; k < owned.size(); ++k)
            if (owned.get(k) == node) return destroyItem(graph);
    }
}

void destroyRemoved(ObjectCheck& state) {
    bool any = false;
    for (ObjectLinkTable& table : state.slotLinks) any = any || !table.removed().empty();
    if (!any) return;
    LiveNodes alive;
    for (ObjectLinkTable& table : state.slotLinks) {
        for (ObjectLink& link : table.removed()) {
            if (link.isImported) {
                destroyGraphOf(link.meshNode);
                link.meshNode = nullptr;
            }
            if (alive.has(link.meshNode)) destroyStackedGraphs(link.meshNode);
            for (ApiNode** node : {&link.transformNode, &link.layerNode, &link.meshNode}) alive.destroy(*node);
        }
        table.clearRemoved();
    }
}

/// One update: what its steps share.
class Update {
public:
    Update(MatManager& materials, const MovableUpdateOptions& options, Int32 colourTotal)
        : materials_(materials), options_(options), collector_(materials) {
        collector_.colorTableSize = colourTotal;
    }

    MovableUpdateResult result;

    /// `all`: links without a change are gone through too.
    void slot(ObjectLinkTable& table, ApiNode* group, bool all) {
        const int wanted = table.count();
        // A slot whose objects have no mesh all has fewer pins than objects: it grows only when a pin is missing.
        unsigned pin = 0;
        for (ObjectLink& link : table.links()) {
            if (sendBroken() || globals().breakUpdate) {
                result.broken = true;
                return;
            }
            if (!all && !link.changed) {
                pin += link.transformNode ? 1 : 0;
                result.triangleCount += link.triangleCount;
                continue;
            }
            const ApiNode* before = link.transformNode;
            const bool placed = object(link);
            link.changed = false;
            // One more or one less: those behind it move to other pins.
            all = all || link.transformNode != before;
            if (!placed) continue;
            if (pin >= group->pinCount()) setAttrIfChanged(group, A_GROUP_PIN_COUNT, wanted);
            connectIxIfChanged(group, pin++, link.transformNode);
            result.triangleCount += link.triangleCount;
        }
        setAttrIfChanged(group, A_GROUP_PIN_COUNT, static_cast<int>(pin));
    }

private:
    /// False when the object has nothing to place.
    bool object(ObjectLink& link) {
        const SceneObjectInfo& info = *link.info;
        const bool rebuilt = geometry(link, info);
        if (!link.meshNode) {
            drop(link);
            return false;
        }
        if (!link.transformNode) {
            link.transformNode = createNode(NT_GEO_SCATTER, ApiProjectManager::rootNodeGraph(), link.name.c_str());
            link.matrixDirty = true;
        }
        transform(link, info);
        layer(link, info, rebuilt);
        if (link.meshNode->type() == NT_GEO_MESH) setAttrIfChanged(link.meshNode, A_MESH_OBJECT_ID, info.colorId);
        return link.transformNode != nullptr;
    }

    /// Builds the mesh when it is missing or marked. True when it did.
    bool geometry(ObjectLink& link, const SceneObjectInfo& info) {
        if (link.meshDirty && link.meshNode && link.triangleCount > 0 && !options_.finalRender) {
            const Vector signature = meshSignature(info);
            if (!link.forceGeometry && signatureDistance(signature, link.signature) <= kSameSignature)
                link.meshDirty = false;
            link.signature = signature;
        }
        if (!link.meshDirty && (link.meshNode || link.refused)) return false;
        const Int32 type = info.object->GetType();
        const bool floor = type == Ofloor, imported = type == ID_LUMORA_PACKAGE_LOADER || type == ID_LUMORA_PROXY;
        if (link.isImported)
            destroyImported(link);
        else if (link.meshNode && (imported || (link.meshNode->type() == NT_GEO_PLANE) != floor))
            destroyItem(link.meshNode);
        if (floor)
            plane(link, info);
        else if (imported)
            package(link, info);
        else
            mesh(link, info);
        link.meshDirty = link.forceGeometry = false;
        link.refused = !link.meshNode;
        result.sent = true;
        return true;
    }

    void plane(ObjectLink& link, const SceneObjectInfo& info) {
        link.meshNode = floorPlane(materials_, info, link.meshNode);
        link.triangleCount = 0;
        if (link.meshNode) ++result.meshesBuilt;
    }

    /// Geometry that stands in an engine package. A proxy without one has none.
    void package(ObjectLink& link, const SceneObjectInfo& info) {
        const bool loads = info.object->GetType() == ID_LUMORA_PACKAGE_LOADER && options_.importGeometry;
        link.meshNode = loads ? options_.importGeometry(*info.object) : nullptr;
        link.isImported = link.meshNode != nullptr;
        link.triangleCount = 0;
        if (link.isImported) ++result.meshesBuilt;
    }

    static void destroyImported(ObjectLink& link) {
        ApiNodeGraph* graph = link.meshNode ? link.meshNode->graphOwner() : nullptr;
        destroyItem(graph);
        link.meshNode = nullptr;
        link.isImported = false;
    }

    void mesh(ObjectLink& link, const SceneObjectInfo& info) {
        VertexMotionSource motion;
        if (options_.motion && options_.deformation && info.motionType == MOTION_DEFORMATION)
            motion = {options_.motion->vertexTimes(), options_.motion};
        ObjectMesh built;
        if (!buildObjectMesh(collector_, materials_, info, options_.scale, motion, link.meshNode, built)) return;
        link.triangleCount = built.triangles;
        link.materials = std::move(built.materials);
        link.name = info.object->GetName();
        ++result.meshesBuilt;
    }

    void transform(ObjectLink& link, const SceneObjectInfo& info) {
        if (options_.motion && info.motionType != MOTION_NONE &&
            options_.motion->writeTransform(info, link.transformNode, options_.scale)) {
            link.matrixDirty = false;
            return;
        }
        // A transform that was animated and is so no longer is written too.
        if (!link.matrixDirty && link.transformNode->getSampleCount(A_TRANSFORM) <= 1) return;
        const EngineMatrix matrix = toEngineMatrix(info.globalMatrix, options_.scale);
        if (setArrayIfChanged(link.transformNode, A_TRANSFORM, &matrix, 1)) ++result.transforms;
        link.matrix = info.globalMatrix;
        link.matrixDirty = false;
        result.sent = true;
    }

    void layer(ObjectLink& link, const SceneObjectInfo& info, bool meshChanged) {
        if (connectThroughLayer(link.transformNode, link.layerNode, link.meshNode, info, meshChanged))
            result.sent = true;
    }

    static void drop(ObjectLink& link) {
        destroyItem(link.transformNode);
        destroyItem(link.layerNode);
        link.triangleCount = 0;
        link.materials.clear();
        link.matrixDirty = false;  // a mesh that appears later brings a new scatter
    }

    MatManager& materials_;
    const MovableUpdateOptions& options_;
    MeshCollector collector_;
};

}  // namespace

ApiNode* floorPlane(MatManager& materials, const SceneObjectInfo& info, ApiNode* held) {
    ApiNode* plane = held;
    if (!plane) plane = createNode(NT_GEO_PLANE, ApiProjectManager::rootNodeGraph(), info.object->GetName().c_str());
    const MatLink* material = info.mainMaterial ? materials.findLinkByMaterial(info.mainMaterial) : nullptr;
    connectIxIfChanged(plane, kPlaneMaterialPin, material ? material->meshNode() : materials.defaultMaterial());
    return plane;
}

ApiNode* slotGroup(ApiNode* mainGroup, std::size_t slot) {
    const auto pin = static_cast<unsigned>(slot) + 1;
    ApiNode* held = mainGroup->connectedNodeIx(pin);
    if (held && held->type() == NT_GEO_GROUP) return held;
    const std::string name = "Group_" + std::to_string(slot);
    ApiNode* group = createNode(NT_GEO_GROUP, ApiProjectManager::rootNodeGraph(), name.c_str());
    connectIxIfChanged(mainGroup, pin, group);
    return group;
}

MovableUpdateResult updateMovableObjects(ObjectCheck& state, ApiNode* mainGroup, MatManager& materials, bool force,
                                         const MovableUpdateOptions& options) {
    Update update(materials, options, state.colourTotal);
    if (!mainGroup) return update.result;
    for (ObjectLinkTable& table : state.slotLinks)
        if (!table.removed().empty()) update.result.sent = true;
    destroyRemoved(state);
    for (std::size_t slot = kFirstMovable; slot < kSlots; ++slot) {
        if (!force && state.slotState[slot] == SlotState::Same) continue;
        ObjectLinkTable& table = state.slotLinks[slot];
        if (state.slotState[slot] != SlotState::Same)
            debugLine(String(state.slotState[slot] == SlotState::Matrices ? "MESH MATRIX UPDATED grp:"
                                                                          : "MESH OBJE COUNT CHANGED grp:") +
                      String::IntToString(static_cast<Int64>(slot)) + " cnt:" + String::IntToString(table.count()));
        ApiNode* group = slotGroup(mainGroup, slot);
        if (!group) continue;
        if (table.count() > 0)
            update.slot(table, group, force || options.motion || state.slotState[slot] == SlotState::CountChanged);
        else
            setAttrIfChanged(group, A_GROUP_PIN_COUNT, 0);
        if (update.result.broken) return update.result;
        if (state.slotState[slot] == SlotState::CountChanged) update.result.sent = true;
        state.slotState[slot] = SlotState::Same;
    }
    return update.result;
}

}  // namespace lumora
