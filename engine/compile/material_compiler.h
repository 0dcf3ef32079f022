// From material nodes to materials: textures where something varies, constants elsewhere.
//
// As with textures, what was described is remembered: a build describes again only the materials that an edit concerns.
#pragma once

#include "engine/compile/texture_compiler.h"
#include "engine/render/scene.h"

namespace Lumora::engine {

/// The materials of the last build, and what each was made from. Build thread only.
class MaterialMemory {
public:
    /// Materials described since the beginning: what changes cost.
    std::uint64_t described() const { return described_; }
    /// Lets everything go; the next build compiles all anew.
    void clear();
    /// The material of a node is to be looked at again. Unknown nodes are ignored.
    void concern(ItemUid uid);
    bool knows(ItemUid uid) const { return entries_.contains(uid); }
    /// Mixes in circles: they are described in each build.
    const std::unordered_set<ItemUid>& circling() const { return circling_; }
    /// Whether some material lets light pass.
    bool transparent() const { return passing_ > 0; }

private:
    friend class MaterialCompiler;
    struct Input {
        ItemUid uid = 0;
        TextureId id = kNoTexture;
        bool varies = false;
    };
    struct Entry {
        NodeRecordPtr record;        ///< null: there is no such node, the default material stands in
        std::vector<ItemUid> reads;  ///< other nodes that values came from
        std::vector<Input> inputs;   ///< textures
        std::vector<ItemUid> parts;  ///< of a mix
        MaterialId id = 0;           ///< 0: none of its own
        EmissionId emission = kNoEmission;
        std::uint32_t ramps[2] = {kNoRamp, kNoRamp};
        bool glows = false;         ///< it, or some part of it, emits light
        bool passing = false;       ///< light may pass
        bool concerned = false;     ///< to be looked at again
        std::uint64_t build = 0;    ///< the last build that looked at it
        std::uint64_t written = 0;  ///< the last build that described it
    };
    std::unordered_map<ItemUid, Entry> entries_;
    std::unordered_set<ItemUid> circling_;
    std::vector<std::uint32_t> freeMaterials_, freeEmissions_, freeRamps_, freeSteps_;
    std::uint64_t build_ = 0, described_ = 0;
    std::size_t passing_ = 0;
};

class MaterialCompiler {
public:
    /// Writes materials into `out`, which holds those of the build before, or nothing. `changed`: nodes that are others
    /// now. Clay: 1 makes all materials grey, 2 keeps colours only.
    MaterialCompiler(const NodeTable& nodes, TextureCompiler& textures, MaterialMemory& memory, Dependents& dependents,
                     const std::unordered_set<ItemUid>& changed, int clayMode, Shading& out, const LogFunction& log);

    /// The material of a node; made once. 0, the default one, where there is none.
    MaterialId compile(ItemUid uid);
    /// Lets the material of a node go that nothing is made from any more.
    void forget(ItemUid uid);

    bool wrote() const { return wrote_; }
    /// Whether a node has got another material than it had.
    bool moved() const { return moved_; }
    /// Whether something changed that lights are chosen by.
    bool lightsChanged() const { return lightsChanged_; }

private:
    using Entry = MaterialMemory::Entry;

    bool settled(ItemUid uid) const;
    void settle(ItemUid uid);
    void settleAll(ItemUid uid);
    bool sameAsBefore(Entry& entry, const NodeRecordPtr& record);
    void makeNew(ItemUid uid, Entry& entry, const NodeRecordPtr& record);
    void releaseData(Entry& entry);
    void releaseSteps(const Material& m);
    MaterialId part(const NodeRecord& node, PinId pin);

    Material describe(const NodeRecord& node, Entry& entry);
    void describeMix(const NodeRecord& node, Entry& entry, Material& m);
    void describeSurface(const NodeRecord& node, Entry& entry, Material& m);
    void describeFacets(const NodeRecord& node, Material& m);
    void describeLayers(const NodeRecord& node, Material& m);
    void describeRelief(const NodeRecord& node, Material& m);
    void describeToon(const NodeRecord& node, Entry& entry, Material& m);
    void listSteps(Material& m);
    void markTextured(Material& m) const;
    /// Index of the ramp on a pin; kNoRamp without one.
    std::uint32_t toonRamp(const NodeRecord& node, PinId pin, std::uint32_t known);
    EmissionId emission(const NodeRecord& node, EmissionId known);
    MaterialInput input(const NodeRecord& node, PinId pin, Float3 fallback);
    /// Whether the texture is exactly one everywhere.
    bool isOne(TextureId id) const;

    const NodeTable& nodes_;
    TextureCompiler& textures_;
    MaterialMemory& memory_;
    Dependents& dependents_;
    const std::unordered_set<ItemUid>& changed_;
    int clay_;
    Shading& out_;
    const LogFunction& log_;
    std::unordered_set<ItemUid> open_;  ///< on the way to a mix: one among its own parts reads as the default material
    bool circle_ = false;
    bool wrote_ = false, moved_ = false, lightsChanged_ = false;
};

}  // namespace Lumora::engine
