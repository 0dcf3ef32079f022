// The materials of a file in the document, and the objects that meshes become with them.
//
// Materials are made when a mesh first asks for them. Colours of vertices belong to a mesh and not to its material, so
// a mesh whose vertices have several colours gets a material of its own that shows them; one colour for all is a tint,
// and meshes of one tint share their material.
#pragma once

#include <array>
#include <functional>
#include <map>
#include <optional>

#include "host/io/import/material.h"
#include "host/io/import/mesh.h"

namespace host::importer {

class MaterialLibrary {
public:
    /// What the file says about a material; none for an index that means no material.
    using Describe = std::function<std::optional<MaterialDescription>(Int64 index)>;

    MaterialLibrary(Context& context, Describe describe) : context_(context), describe_(std::move(describe)) {}

    /// makePolygonObject with the material laid on it. Null when no polygon is left.
    PolygonObject* makeObject(Mesh& mesh, Int64 material);

private:
    struct Described {
        std::optional<MaterialDescription> description;
        std::map<std::array<int, 3>, BaseMaterial*> tinted;  ///< by 8-bit colour
    };
    Described& described(Int64 index);

    Context& context_;
    Describe describe_;
    std::map<Int64, Described> materials_;
};

}  // namespace host::importer
