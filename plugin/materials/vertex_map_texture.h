// Weights and colours of points as images.
#pragma once

#include "plugin/core/scene_object_info.h"
#include "plugin/materials/material_manager.h"

namespace lumora {

/// The image of a vertex map shader: a grid with one tile for each polygon of the tag's object, looked up with UV set
/// 2, which meshes with such a tag carry. It is drawn again when the tag, the polygons or the shader have changed.
/// Null, with a line in the log, without a tag or an object with polygons.
ApiNode* vertexMapTexture(MatManager& manager, BaseShader& shader, MatLink& link);

/// The object's mesh was built again: draws the vertex maps that lie on it again where they, or the points, changed.
void updateVertexMaps(MatManager& manager, const SceneObjectInfo& info);

}  // namespace lumora
