// From material nodes to the tables that the kernels shade with.
#pragma once

#include "engine/compile/material_compiler.h"
#include "engine/compile/texture_compiler.h"
#include "engine/render/scene.h"

namespace Lumora::engine {

/// Makes the tables for one state of the scene after the other. What an edit does not concern is neither looked at nor
/// copied: the tables share it with those that were handed out before. Build thread only.
class ShadingCompiler {
public:
    /// What the geometry's slots need. `changed`: all nodes that were changed, added or removed since the last call.
    /// `slotsStay`: the geometry's slots are those of the last call. Clay: 1 makes all materials grey, 2 keeps colours
    /// only. The same pointer as before means that nothing changed. Where it throws, call forget().
    std::shared_ptr<const Shading> compile(const NodeTable& nodes, const Geometry& geometry, bool slotsStay,
                                           const std::vector<ItemUid>& changed, ImageStore& images, int clayMode,
                                           const LogFunction& log);
    /// Lets everything go; the next build compiles all anew.
    void forget();
    /// Whether there is something to go on from.
    bool remembers() const { return last_ != nullptr; }

    /// Textures and materials described since the beginning.
    std::uint64_t texturesDescribed() const { return textures_.described(); }
    std::uint64_t materialsDescribed() const { return materials_.described(); }

private:
    struct Build {
        const NodeTable& nodes;
        const Geometry& geometry;
        ImageStore& images;
        int clay;
        const LogFunction& log;
    };
    void run(const Build& build, bool slotsStay, std::vector<ItemUid> changed);
    void fillSlots(const Geometry& geometry, MaterialCompiler& materials, Shading& out);
    bool makeToonLights(const Build& build, bool concerned, TextureCompiler& textures, Shading& out);

    TextureMemory textures_;
    MaterialMemory materials_;
    Dependents dependents_;
    std::shared_ptr<const Shading> last_;
    std::vector<ToonPlacement> toonPlacements_;
    int clay_ = 0;
    std::uint64_t lights_ = 0;
};

}  // namespace Lumora::engine
