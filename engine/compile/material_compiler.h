// From material nodes to materials: textures where something varies, constants elsewhere.
#pragma once

#include "engine/compile/texture_compiler.h"
#include "engine/render/scene.h"

namespace Lumora::engine {

class MaterialCompiler {
public:
    /// Puts materials and their textures into `out`, which gets the default material first. Clay: 1 makes all materials
    /// grey, 2 keeps colours only.
    MaterialCompiler(const NodeTable& nodes, ImageStore& images, TextureMemory& textures, int clayMode, Shading& out,
                     const LogFunction& log);

    /// The material of a node; made once. 0, the default one, where there is none.
    MaterialId compile(ItemUid uid);
    std::vector<ToonLight> toonLights(const Geometry& geometry);
    /// Call once, when all is compiled: the textures are remembered for the next build.
    void finish() { textures_.finish(); }

private:
    Material describe(const NodeRecord& node);
    void describeMix(const NodeRecord& node, Material& m);
    void describeSurface(const NodeRecord& node, Material& m);
    void describeFacets(const NodeRecord& node, Material& m);
    void describeLayers(const NodeRecord& node, Material& m);
    void describeToon(const NodeRecord& node, Material& m);
    /// Index of the ramp on a pin; kNoRamp without one.
    std::uint32_t toonRamp(const NodeRecord& node, PinId pin);
    EmissionId emission(const NodeRecord& node);
    MaterialInput input(const NodeRecord& node, PinId pin, Float3 fallback);
    MaterialInput connectedInput(const NodeRecord& node, PinId pin);
    /// Whether the texture is exactly one everywhere.
    bool isOne(TextureId id) const;

    const NodeTable& nodes_;
    TextureCompiler textures_;
    int clay_;
    Shading& out_;
    const LogFunction& log_;
    std::unordered_map<ItemUid, MaterialId> known_;
    std::unordered_set<ItemUid> open_;  ///< being compiled: a mix among its own parts reads as the default material
};

}  // namespace Lumora::engine
