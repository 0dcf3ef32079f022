// Materials and images of a glTF file.
#pragma once

#include <map>
#include <optional>

#include "host/io/import/gltf_file.h"
#include "host/io/import/material.h"

namespace host::importer {

/// What the file says about its materials.
class GltfMaterials {
public:
    GltfMaterials(GltfFile& file, Context& context) : file_(file), context_(context) {}

    /// Nothing for a negative index.
    std::optional<MaterialDescription> describe(Int64 index);

private:
    std::optional<Filename> image(Int64 index);
    ImageUse texture(const Json& object, const char* name);

    GltfFile& file_;
    Context& context_;
    std::map<Int64, Filename> images_;
};

}  // namespace host::importer
