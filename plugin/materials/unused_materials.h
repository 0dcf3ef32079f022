// Materials of a document by their use: what a mix is made of, what no object shows, what stands there twice.
#pragma once

#include <atomic>
#include <vector>

#include "plugin/core/prelude.h"

namespace lumora {

/// Links of a mix material to its two parts.
inline constexpr Int32 kMixParts[] = {1271, 1272};

/// The material behind its sub materials, depth first, each once. Nothing once `cancel` is set.
std::vector<BaseMaterial*> expandMaterial(BaseMaterial& material, const std::atomic<bool>& cancel);

/// Fills `unused` with the materials that no object of the document shows, in list order. `onlyRendered`: objects that
/// are not rendered do not count. `skipConsumed`: nor do those that a generator above them consumes.
void collectUnusedMaterials(BaseDocument& document, std::vector<BaseMaterial*>& unused, bool onlyRendered,
                            bool skipConsumed);
/// Removes them, in one undo step. The number of removed materials.
Int32 removeUnusedMaterials(BaseDocument& document);

/// Has the host merge like materials of the active document. What the plug-in keeps in materials is taken out first,
/// but for parts of mixes, so that it does not tell two like ones apart.
void removeDuplicatedMaterials();
/// Materials of this plug-in in the active document note their own address.
void bindMaterialSlots();

}  // namespace lumora
