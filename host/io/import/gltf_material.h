// Materials and images of a glTF file.
#pragma once

#include <map>
#include <optional>

#include "host/io/import/gltf_file.h"
#include "host/io/import/material.h"

namespace host::importer {

/// Makes host materials of those of the file, each when it is first asked for.
class GltfMaterials {
public:
    GltfMaterials(GltfFile& file, Context& context) : file_(file), context_(context) {}

    struct Entry {
        BaseMaterial* material = nullptr;
        Int32 uvSet = 0;  ///< that the texture tag should name
    };
    /// Nothing for a negative index.
    Entry material(Int64 index);

private:
    std::optional<Filename> image(Int64 index);
    ImageUse texture(const Json& object, const char* name);

    GltfFile& file_;
    Context& context_;
    std::map<Int64, Entry> materials_;
    std::map<Int64, Filename> images_;
};

}  // namespace host::importer
