#include "engine/compile/shading_compiler.h"

#include "engine/compile/emission_compiler.h"

namespace Lumora::engine {

namespace {

/// The slots, and the toon lights, are made of nodes, too.
constexpr Made kSlots{1, MadeAs::Single}, kToonLights{2, MadeAs::Single};

}  // namespace

void ShadingCompiler::forget() {
    textures_.clear();
    materials_.clear();
    dependents_.clear();
    toonPlacements_.clear();
    last_ = nullptr;
}

std::shared_ptr<const Shading> ShadingCompiler::compile(const NodeTable& nodes, const Geometry& geometry,
                                                        bool slotsStay, const std::vector<ItemUid>& changed,
                                                        ImageStore& images, int clayMode, const LogFunction& log) {
    if (clayMode != clay_ || textures_.worn()) forget();
    clay_ = clayMode;
    const Build build{nodes, geometry, images, clayMode, log};
    // Images that are not in memory yet are read together, on all cores. Then what waits for them is made.
    ImageStore::Deferral deferral(images);
    run(build, slotsStay, changed);
    if (deferral.load()) {
        std::vector<ItemUid> waiting = textures_.waiting();
        if (images.takeReplaced()) {
            const std::vector<ItemUid> others = textures_.outdated(nodes, images, log);
            waiting.insert(waiting.end(), others.begin(), others.end());
        }
        run(build, true, std::move(waiting));
    }
    return last_;
}

void ShadingCompiler::fillSlots(const Geometry& geometry, MaterialCompiler& materials, Shading& out) {
    out.slotMaterials.clear();
    out.slotMaterials.reserve(geometry.slots.size());
    for (const ItemUid uid : geometry.slots) out.slotMaterials.push_back(materials.compile(uid));
}

bool ShadingCompiler::makeToonLights(const Build& build, bool concerned, TextureCompiler& textures, Shading& out) {
    if (!concerned && toonPlacements_ == build.geometry.toonLights) return false;
    std::vector<ItemUid> sources;
    TextureCompiler::Inputs inputs;
    build.nodes.trace(&sources);
    textures.listInputs(&inputs);
    out.toonLights = compileToonLights(build.nodes, build.geometry, textures, out.textures);
    textures.listInputs(nullptr);
    build.nodes.trace(nullptr);
    for (const auto& [uid, id] : inputs) sources.push_back(uid);
    dependents_.set(kToonLights, std::move(sources));
    toonPlacements_ = build.geometry.toonLights;
    return true;
}

void ShadingCompiler::run(const Build& build, bool slotsStay, std::vector<ItemUid> changed) {
    const bool first = !last_;
    auto out = first ? std::make_shared<Shading>() : std::make_shared<Shading>(*last_);
    const std::unordered_set<ItemUid> changedSet(changed.begin(), changed.end());
    changed.insert(changed.end(), textures_.circling().begin(), textures_.circling().end());
    changed.insert(changed.end(), materials_.circling().begin(), materials_.circling().end());
    const auto concerned = dependents_.concernedBy(changed);
    for (const Made& made : concerned) {
        if (made.as == MadeAs::Texture) textures_.concern(made.uid);
        if (made.as == MadeAs::Material) materials_.concern(made.uid);
    }

    TextureCompiler textures(build.nodes, build.images, out->textures, build.log, &textures_, &dependents_);
    MaterialCompiler materials(build.nodes, textures, materials_, dependents_, changedSet, build.clay, *out, build.log);
    const bool newSlots = first || !slotsStay;
    if (newSlots) {
        fillSlots(build.geometry, materials, *out);
        dependents_.set(kSlots, build.geometry.slots);
    }
    for (const Made& made : concerned) {
        if (made.as == MadeAs::Material && materials_.knows(made.uid)) materials.compile(made.uid);
    }
    if (materials.moved() && !first) fillSlots(build.geometry, materials, *out);
    const bool toonLights = makeToonLights(build, concerned.contains(kToonLights), textures, *out);

    // What nothing is made from any more goes, and with it what it alone was made from.
    for (std::vector<ItemUid> released = dependents_.takeReleased(); !released.empty();
         released = dependents_.takeReleased()) {
        for (const ItemUid uid : released) {
            if (dependents_.used(uid)) continue;
            textures.forget(uid);
            materials.forget(uid);
        }
    }
    textures.finish();
    if (!newSlots && !materials.wrote() && !textures.wrote() && !toonLights) return;
    out->transparent = materials_.transparent();
    if (newSlots || materials.lightsChanged() || materials.moved()) ++lights_;
    out->lights = lights_;
    last_ = std::move(out);
}

}  // namespace Lumora::engine
