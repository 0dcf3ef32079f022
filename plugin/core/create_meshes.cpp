// The send's geometry: the main group, a mesh for each slot, lights and instances.
#include <algorithm>
#include <span>

#include "engine/api/lumora_api.h"
#include "plugin/core/globals.h"
#include "plugin/core/log.h"
#include "plugin/core/object_link.h"
#include "plugin/core/prefs.h"
#include "plugin/core/send.h"
#include "plugin/core/send_thread.h"
#include "plugin/core/session.h"
#include "plugin/core/singletons.h"
#include "plugin/geometry/engine_matrix.h"
#include "plugin/geometry/instance_manager.h"
#include "plugin/geometry/mesh_collector.h"
#include "plugin/geometry/movable_objects.h"
#include "plugin/geometry/object_layer.h"
#include "plugin/materials/material_manager.h"
#include "plugin/scene/light_collector.h"

namespace lumora {

namespace {

constexpr int kMainGroupPins = 8;
constexpr unsigned kLightPin = 0, kInstancePin = 5;

String slotText(std::size_t slot, unsigned pin, std::size_t count) {
    return "[" + String::IntToString(static_cast<Int64>(slot)) + "] geoSlot:" + String::IntToString(pin) +
           " cnt:" + String::IntToString(static_cast<Int64>(count)) + " Mesh:";
}

/// An empty slot keeps a group of its own, so that later updates have something to connect to.
void connectEmptySlot(ApiNode* mainGroup, std::size_t slot, unsigned pin, std::size_t count) {
    debugLine("MESH null " + slotText(slot, pin, count));
    ObjectLink& link = singletons().objectLinks->add(0, nullptr, nullptr, Matrix(), 0);
    link.count = static_cast<Int32>(count);
    const String name = "Group_" + String::IntToString(static_cast<Int64>(slot));
    connectIxIfChanged(mainGroup, pin,
                       createNode(Lumora::NT_GEO_GROUP, Lumora::ApiProjectManager::rootNodeGraph(), name.c_str()));
}

/// One engine layer for each object that wants one, by its place in the list.
ApiNode* makeLayerMap(ApiNode* mesh, std::span<const SceneObjectInfo> objects) {
    ApiNode* map = createLayerMap(mesh);
    for (std::size_t k = 0; k < objects.size(); ++k)
        if (objects[k].needsLayer) updateObjectLayer(map, objects[k], kFirstLayerPin + static_cast<unsigned>(k));
    return map;
}

/// The slot's floors, each an infinite plane under a scatter, beside what else the slot holds.
ApiNode* addFloors(std::span<const SceneObjectInfo> objects, std::size_t slot, ApiNode* geometry) {
    const auto isFloor = [](const SceneObjectInfo& info) { return info.object && info.object->GetType() == Ofloor; };
    const auto count = std::count_if(objects.begin(), objects.end(), isFloor);
    if (count == 0) return geometry;
    Lumora::ApiNodeGraph& graph = Lumora::ApiProjectManager::rootNodeGraph();
    const String name = "Group_" + String::IntToString(static_cast<Int64>(slot));
    ApiNode* group = createNode(Lumora::NT_GEO_GROUP, graph, name.c_str());
    setAttrIfChanged(group, Lumora::A_GROUP_PIN_COUNT, static_cast<int>(count) + (geometry ? 1 : 0));
    unsigned pin = 0;
    if (geometry) connectIxIfChanged(group, pin++, geometry);
    for (const SceneObjectInfo& info : objects) {
        if (!isFloor(info)) continue;
        ApiNode* scatter = createNode(Lumora::NT_GEO_SCATTER, graph, info.object->GetName().c_str());
        const EngineMatrix matrix = toEngineMatrix(info.globalMatrix, globals().unitScale);
        setArrayIfChanged(scatter, Lumora::A_TRANSFORM, &matrix, 1);
        ApiNode* layer = nullptr;
        connectThroughLayer(scatter, layer, floorPlane(*singletons().matMngr, info), info, true);
        connectIxIfChanged(group, pin++, scatter);
    }
    return group;
}

/// False when the send was broken off.
bool sendSlot(lumoraLive& session, ApiNode* mainGroup, std::size_t slot, unsigned pin) {
    std::span<const SceneObjectInfo> objects = session.collections.meshSlots[slot];
    MeshCollector& builder = *singletons().meshBuilder;
    builder.releaseBuffers();
    builder.setGraph(nullptr);
    builder.colorTableSize = session.collections.colourTotal;
    ApiNode* mesh = builder.exportSingleMesh(objects, globals().unitScale, true);
    if (sendBroken()) return false;
    if (!mesh) {
        if (ApiNode* floors = addFloors(objects, slot, nullptr))
            connectIxIfChanged(mainGroup, pin, floors);
        else
            connectEmptySlot(mainGroup, slot, pin, objects.size());
        return true;
    }
    builder.finishSingleMesh();
    debugLine("  >> MESHNO:" + slotText(slot, pin, objects.size()) + mesh->name());
    ApiNode* layerMap = session.collections.slotNeedsLayerMap[slot] ? makeLayerMap(mesh, objects) : nullptr;
    connectIxIfChanged(mainGroup, pin, addFloors(objects, slot, layerMap ? layerMap : mesh));

    ObjectLink& link = singletons().objectLinks->add(0, nullptr, nullptr, Matrix(), 0);
    link.name = mesh->name();
    link.meshNode = mesh;
    link.layerNode = layerMap;
    link.count = static_cast<Int32>(objects.size());
    link.triangleCount = static_cast<Int32>(builder.triangleCount);
    link.materialCount = singletons().matMngr->linkCount() + 1;
    link.materials = builder.allMaterials;
    session.collections.usedMaterials.insert(session.collections.usedMaterials.end(), builder.allMaterials.begin(),
                                             builder.allMaterials.end());
    return true;
}

}  // namespace

namespace {

/// The objects of the movable slots, one by one, from the records of the send's own walk.
void sendMovableObjects(lumoraLive& session, ObjectCheck& check) {
    if (!check.checkCollected(session.sendDoc, session.collections)) return;
    MovableUpdateOptions options;
    options.scale = globals().unitScale;
    options.finalRender = session.finalRender;
    const MovableUpdateResult done =
        updateMovableObjects(check, session.mainGroup, *singletons().matMngr, true, options);
    debugLine("MOVABLE OBJ:" + String::IntToString(done.meshesBuilt) +
              " triangles:" + String::IntToString(done.triangleCount));
}

}  // namespace

InstanceOptions instanceOptions(const lumoraLive& session) {
    const Singletons& all = singletons();
    InstanceOptions options;
    options.scale = globals().unitScale;
    options.finalRender = session.finalRender;
    options.reuseMeshes = !all.prefs || all.prefs->getBool(PREF_SHARED_MESH);
    // As of the last check, or of the send's own walk.
    options.colourTotal = all.sendThread ? all.sendThread->objectCheck.colourTotal : 0;
    if (options.colourTotal == 0) options.colourTotal = session.collections.colourTotal;
    options.meshLinks = all.objectLinks.get();
    return options;
}

void createMeshes(lumoraLive& session, bool allSlots) {
    SceneCollections& found = session.collections;
    ApiNode* mainGroup = createNode(Lumora::NT_GEO_GROUP, Lumora::ApiProjectManager::rootNodeGraph(), "Main Group");
    if (!mainGroup) return;
    session.mainGroup = mainGroup;
    setAttrIfChanged(mainGroup, Lumora::A_GROUP_PIN_COUNT, kMainGroupPins);
    connectIfChanged(session.renderTarget, Lumora::P_RENDER_GEOMETRY, mainGroup);

    LightCollector& lights = *singletons().lightCollector;
    lights.clear();
    for (const SceneObjectInfo& info : found.lights) lights.add(info);
    for (const SceneObjectInfo& info : found.sunLights) lights.add(info);
    if (!lights.lights().empty())
        connectIxIfChanged(mainGroup, kLightPin, lights.build(mainGroup, globals().unitScale));

    globals().firstSlot = 1;
    for (std::size_t slot = 0; slot < found.meshSlots.size(); ++slot) {
        const auto pin = static_cast<unsigned>(slot) + 1;
        if (found.meshSlots[slot].empty() || (slot > 0 && !allSlots))
            connectEmptySlot(mainGroup, slot, pin, found.meshSlots[slot].size());
        else if (!sendSlot(session, mainGroup, slot, pin))
            return;
    }

    if (SendThread* thread = singletons().sendThread.get()) {
        thread->objectCheck.clear();
        if (!allSlots) sendMovableObjects(session, thread->objectCheck);
    }
    if (sendBroken()) return;

    globals().instancePin = kInstancePin;
    globals().particlePin = 6;
    globals().hairPin = 7;
    if (!found.instances.empty())
        singletons().instances->buildInstances(session.sendDoc, mainGroup, kInstancePin, found.instances,
                                               instanceOptions(session), true);
    // The records of many instances are large, and each check makes its own.
    found.instances.release();
    debugLine("TOTAL OBJ:" + String::IntToString(static_cast<Int64>(found.meshSlots[0].size())) +
              " CONVERTED OBJ:" + String::IntToString(singletons().meshBuilder->objectCount));
    session.collectItems("export to single mesh");
}

}  // namespace lumora
