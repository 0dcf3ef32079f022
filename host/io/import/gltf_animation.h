// Animations of a glTF file.
#pragma once

#include <map>

#include "host/io/import/animation.h"
#include "host/io/import/gltf_file.h"

namespace host::importer {

struct GltfAnimation {
    std::map<Int64, NodeAnimation> nodes;         ///< by node
    std::map<Int64, std::vector<Float>> weights;  ///< morph weights at time 0, by node
    Float lastKey = 0;                            ///< seconds
};

/// The first animation of the file; the others are named in a warning, since all of them at once have no meaning.
GltfAnimation readGltfAnimation(GltfFile& file, Context& context);

}  // namespace host::importer
