#include "plugin/geometry/object_layer.h"

#include "plugin/materials/engine_write.h"

namespace lumora {

ApiNode* createLayerMap(ApiNode* geometry) {
    ApiNode* map = createNode(NT_GEO_LAYER_MAP, ApiProjectManager::rootNodeGraph());
    connectIfChanged(map, P_GEOMETRY, geometry);
    evaluateItem(map);  // only now the layers' pins exist
    return map;
}

bool updateObjectLayer(ApiNode* layerMap, const SceneObjectInfo& info, unsigned pin) {
    if (!layerMap) return false;
    const ApiNode* held = layerMap->connectedNodeIx(pin);
    ApiNode* layer = ownedInputIx(layerMap, pin, NT_OBJECT_LAYER);
    bool written = layer && layer != held;
    written |= setFloatIfChanged(layer, P_LAYER_OPACITY, static_cast<float>(info.opacity));
    written |= setBoolIfChanged(layer, P_CAMERA_VISIBILITY, info.cameraVisible);
    written |= setBoolIfChanged(layer, P_SHADOW_VISIBILITY, info.shadowVisible);
    written |= setIntIfChanged(layer, P_LAYER_ID, info.layerId);
    written |= setIntIfChanged(layer, P_LIGHT_PASS_MASK, info.lightPassMask);
    // The engine takes this colour in steps of 8 bits.
    if (ApiNode* colour = layer ? layer->connectedNode(P_OBJECT_COLOR) : nullptr)
        written |= setAttrIfChanged(colour, A_VALUE, toFloat3(info.objectColor * 255.0));
    written |= setIntIfChanged(layer, P_BAKING_GROUP_ID, info.bakingGroupId);
    return written;
}

bool connectThroughLayer(ApiNode* scatter, ApiNode*& layer, ApiNode* mesh, const SceneObjectInfo& info,
                         bool meshChanged) {
    if (!info.needsLayer) {
        bool written = connectIfChanged(scatter, P_GEOMETRY, mesh);
        written |= layer != nullptr;
        destroyItem(layer);
        return written;
    }
    bool written = !layer;
    if (!layer) layer = createLayerMap(mesh);
    written |= connectIfChanged(scatter, P_GEOMETRY, layer);
    written |= connectIfChanged(layer, P_GEOMETRY, mesh);
    if (meshChanged) evaluateItem(layer);
    written |= updateObjectLayer(layer, info);
    return written;
}

}  // namespace lumora
