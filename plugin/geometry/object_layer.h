// Object layers: opacity, visibility, colour and ids of an object as the engine takes them.
#pragma once

#include "plugin/core/scene_object_info.h"

namespace lumora {

/// First pin of an object layer map with a layer; layer k belongs to object k of the geometry below.
inline constexpr unsigned kFirstLayerPin = 1;

/// A new object layer map in the project's root graph, over the geometry. Null when the engine refuses.
ApiNode* createLayerMap(ApiNode* geometry);
/// Makes the layer on that pin of the map agree with the record; it is made when it is missing. True when anything was
/// written. Null is fine.
bool updateObjectLayer(ApiNode* layerMap, const SceneObjectInfo& info, unsigned pin = kFirstLayerPin);
/// Puts the mesh under the scatter: through the layer map `layer`, which is made when the record needs one and is
/// missing, or directly; a map that is not needed is destroyed. True when anything was written.
bool connectThroughLayer(ApiNode* scatter, ApiNode*& layer, ApiNode* mesh, const SceneObjectInfo& info,
                         bool meshChanged);

}  // namespace lumora
