// Stacked materials: several texture tags on one selection as layers, each with the alpha of its own opacity, folded
// into one material in a graph of its own on the mesh's pin.
#pragma once

#include "plugin/core/scene_object_info.h"

namespace lumora {

class MatManager;

/// Builds the stack of each of the record's entries that has one, on the mesh's material pins. The mesh has been
/// evaluated. Null is fine.
void buildStackedMaterials(MatManager& materials, ApiNode* mesh, const SceneObjectInfo& info);
/// Destroys the stacks on the mesh's pins, which are empty afterwards. Null is fine.
void destroyStackedGraphs(ApiNode* mesh);

}  // namespace lumora
