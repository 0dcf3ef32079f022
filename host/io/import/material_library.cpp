#include "host/io/import/material_library.h"

#include <algorithm>
#include <cmath>

namespace host::importer {
namespace {

/// The colour of all vertices when they share one, which then leaves the mesh; white for a mesh without colours.
std::optional<Vector> takeCommonColour(Mesh& mesh) {
    if (mesh.colours.empty()) return Vector(1.0);
    const std::array<Float32, 4> first = mesh.colours.front();
    const auto same = [&](const std::array<Float32, 4>& c) {
        return c[0] == first[0] && c[1] == first[1] && c[2] == first[2];
    };
    if (!std::all_of(mesh.colours.begin(), mesh.colours.end(), same)) return std::nullopt;
    mesh.colours = {};
    const auto clean = [](Float32 v) { return std::isfinite(v) ? std::clamp<Float>(v, 0, 1) : 1.0; };
    return Vector(clean(first[0]), clean(first[1]), clean(first[2]));
}

}  // namespace

/// Images have one mode for both ways past their borders. Where coordinates pass the borders one way only, the mode of
/// that way is right for both.
void settleWrap(MaterialDescription& d, const Mesh& mesh, Context& context) {
    for (ImageUse* use : {&d.baseImage, &d.emissionImage, &d.opacityImage, &d.roughnessImage, &d.metalnessImage,
                          &d.normalImage, &d.bumpImage, &d.transmissionImage}) {
        if (!*use || use->wrap[0] == use->wrap[1]) continue;
        const auto set = static_cast<std::size_t>(use->uvSet);
        const bool have = set < mesh.uvs.size();
        const Float c = std::cos(use->rotation), s = std::sin(use->rotation);
        std::array<bool, 2> passes = {false, false};
        for (std::size_t i = 0; have && i < mesh.uvs[set].size(); ++i) {
            const Float u = mesh.uvs[set][i][0] * use->scale[0], v = mesh.uvs[set][i][1] * use->scale[1];
            const Float at[2] = {use->offset[0] + c * u + s * v, use->offset[1] - s * u + c * v};
            for (std::size_t k = 0; k < 2; ++k) passes[k] = passes[k] || at[k] < -1e-3 || at[k] > 1 + 1e-3;
        }
        if (passes[0] && passes[1]) context.warn("images that go on differently across and upwards go on as across");
        if (passes[0] != passes[1]) use->wrap[0] = use->wrap[1] = use->wrap[passes[1] ? 1 : 0];
    }
}

MaterialLibrary::Described& MaterialLibrary::described(Int64 index) {
    const auto [entry, isNew] = materials_.try_emplace(index);
    if (isNew) entry->second.description = describe_(index);
    return entry->second;
}

PolygonObject* MaterialLibrary::makeObject(Mesh& mesh, Int64 index) {
    Described& known = described(index);
    std::optional<Vector> tint = takeCommonColour(mesh);
    if (!tint && known.description && known.description->baseImage) {
        context_.leftOut("meshes show their image without the colours of their vertices", 1);
        mesh.colours = {};
        tint = Vector(1.0);
    }
    if (known.description) settleWrap(*known.description, mesh, context_);
    MaterialDescription wanted;
    if (known.description) wanted = *known.description;
    if (!tint) {
        for (std::array<Float32, 4>& c : mesh.colours)
            for (std::size_t k = 0; k < 3; ++k) c[k] *= static_cast<Float32>(wanted.base[static_cast<Int32>(k)]);
    }
    PolygonObject* object = makePolygonObject(mesh, context_);
    if (!object) return nullptr;
    context_.keep(object);

    const bool white = tint && *tint == Vector(1.0);
    if (white && !known.description) return object;
    if (!known.description) wanted.name = "Vertex colours";
    if (!tint) {
        wanted.base = Vector(1.0);
        wanted.vertexColours = static_cast<VertexTag*>(object->GetTag(Tvertexcolor));
        applyMaterial(*object, makeMaterial(wanted, context_), wanted.mainUvSet());
        return object;
    }
    const auto byte = [](Float v) { return static_cast<int>(std::lround(v * 255)); };
    BaseMaterial*& material = known.tinted[{byte(tint->x), byte(tint->y), byte(tint->z)}];
    if (!material) {
        wanted.base = {wanted.base.x * tint->x, wanted.base.y * tint->y, wanted.base.z * tint->z};
        material = makeMaterial(wanted, context_);
    }
    applyMaterial(*object, material, wanted.mainUvSet());
    return object;
}

}  // namespace host::importer
