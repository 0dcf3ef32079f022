// Host materials' parameters on engine nodes.
#pragma once

#include "plugin/materials/material_manager.h"

namespace lumora {

/// Makes every pin of the link's node agree with the material. The same for a first build and for an update: it clears
/// nothing and writes differences only. Materials of unknown types keep the node's own values.
void generateMaterial(MatManager& manager, BaseMaterial* material, MatLink* link);

/// The colour channel of a standard material as one node, in document colours as they stand. Never null for a link
/// whose graph takes nodes.
ApiNode* channelColorNode(MatManager& manager, const BaseMaterial& material, MatLink& link);

}  // namespace lumora
