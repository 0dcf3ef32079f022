// Primitives of glTF meshes: attributes, indices, morph targets and skins.
#pragma once

#include <vector>

#include "host/io/import/gltf_file.h"
#include "host/io/import/mesh.h"

namespace host::importer {

/// What deforms a primitive.
struct GltfPose {
    std::vector<Float> weights;                   ///< of the morph targets; missing ones count 0
    const std::vector<Matrix>* joints = nullptr;  ///< joint matrices in the scene's space; null: no skin
};

/// Reads a primitive into a mesh. Points and lines are counted as left out and give a mesh without polygons.
Mesh readGltfPrimitive(GltfFile& file, const Json& primitive, const GltfPose& pose, Context& context);

/// Decodes a primitive with KHR_draco_mesh_compression and puts its values in the place of the accessors' own.
void decodeDraco(GltfFile& file, const Json& primitive, const Json& extension);

}  // namespace host::importer
