#include "plugin/geometry/stacked_materials.h"

#include <cstdint>

#include "plugin/materials/material_generation.h"
#include "plugin/materials/material_manager.h"

namespace lumora {

namespace {

/// Marks the graphs that are stacks.
void* const kStackMark = reinterpret_cast<void*>(std::uintptr_t{101});

/// The stack graph behind the pin, or null.
ApiNodeGraph* stackOnPin(const ApiNode* mesh, unsigned pin) {
    const ApiNode* linker = mesh->connectedNodeIx(pin);
    if (!linker || linker->type() != NT_OUT_MATERIAL) return nullptr;
    ApiNodeGraph* graph = linker->graphOwner();
    return graph && graph->pluginData() == kStackMark ? graph : nullptr;
}

}  // namespace

void destroyStackedGraphs(ApiNode* mesh) {
    if (!mesh) return;
    for (unsigned pin = mesh->staticPinCount(); pin < mesh->pinCount(); ++pin)
        if (ApiNodeGraph* graph = stackOnPin(mesh, pin)) destroyItem(graph);
}

void buildStackedMaterials(MatManager& /*materials*/, ApiNode* mesh, const SceneObjectInfo& info) {
    if (!mesh || info.stackedTagIndex == -1) return;
}

}  // namespace lumora
