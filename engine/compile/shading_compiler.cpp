#include "engine/compile/shading_compiler.h"

#include "engine/compile/material_compiler.h"

namespace Lumora::engine {

namespace {

std::shared_ptr<const Shading> compileOnce(const NodeTable& nodes, const Geometry& geometry, ImageStore& images,
                                           TextureMemory& textures, int clayMode, const LogFunction& log) {
    auto out = std::make_shared<Shading>();
    MaterialCompiler compiler(nodes, images, textures, clayMode, *out, log);
    out->slotMaterials.reserve(geometry.slots.size());
    for (const ItemUid uid : geometry.slots) out->slotMaterials.push_back(compiler.compile(uid));
    for (const MaterialId id : out->slotMaterials) {
        if (!out->materials[id].opaque || out->materials[id].fakeShadows) out->transparent = true;
    }
    out->toonLights = compiler.toonLights(geometry);
    compiler.finish();
    return out;
}

}  // namespace

std::shared_ptr<const Shading> compileShading(const NodeTable& nodes, const Geometry& geometry, ImageStore& images,
                                              TextureMemory& textures, int clayMode, const LogFunction& log) {
    // Images that are not in memory yet are read together, on all cores; the materials are then made with them.
    std::vector<std::string> lines;
    ImageStore::Deferral deferral(images);
    auto made = compileOnce(nodes, geometry, images, textures, clayMode,
                            [&lines](const std::string& l) { lines.push_back(l); });
    if (deferral.load()) return compileOnce(nodes, geometry, images, textures, clayMode, log);
    for (const std::string& line : lines) {
        if (log) log(line);
    }
    return made;
}

}  // namespace Lumora::engine
