// Where the pictures of a material layer lie, when its texture tag places them otherwise than the mesh's coordinates.
#pragma once

#include "plugin/core/scene_object_info.h"
#include "plugin/materials/engine_write.h"

namespace lumora {

/// Places a texture as `tag` says, on an object whose mesh has the coordinates of `meshTag` (null: untiled UVW). With
/// the same projection that is a transform of the coordinates; another projection that the engine knows replaces them.
/// Textures without a projection are left alone. `scale`: metres per scene unit.
void applyTagProjection(ApiNode* texture, const BaseObject* object, const TextureTag& tag, const TextureTag* meshTag,
                        float scale);

}  // namespace lumora
