// Weights and colours of points as images.
#pragma once

#include "plugin/materials/material_manager.h"

namespace lumora {

/// The image of a vertex map shader: a grid with one tile for each polygon of the tag's object, looked up with UV set
/// 2, which meshes with such a tag carry. It is drawn again when the tag, the polygons or the shader have changed.
/// Null, with a line in the log, without a tag or an object with polygons.
ApiNode* vertexMapTexture(MatManager& manager, BaseShader& shader, MatLink& link);

}  // namespace lumora
