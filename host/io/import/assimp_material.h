// Materials of a file that assimp read.
#pragma once

#include <assimp/scene.h>

#include <optional>
#include <string>

#include "host/io/import/material.h"

namespace host::importer {

class AssimpMaterials {
public:
    AssimpMaterials(const aiScene& scene, Context& context, const std::string& suffix)
        : scene_(scene), context_(context), suffix_(suffix) {}

    /// Nothing for the material that assimp makes up for files without any.
    std::optional<MaterialDescription> describe(Int64 index);

private:
    ImageUse texture(const aiMaterial& material, std::initializer_list<aiTextureType> types);
    std::optional<Filename> image(const std::string& name);

    const aiScene& scene_;
    Context& context_;
    std::string suffix_;
};

}  // namespace host::importer
