#include "engine/compile/material_compiler.h"

#include "engine/compile/displacement.h"
#include "engine/compile/emission_compiler.h"

namespace Lumora::engine {

namespace {

constexpr Float3 kDefaultAlbedo{0.7f, 0.7f, 0.7f};
/// Mixes of mixes beyond this are left out.
constexpr std::uint32_t kMaxNesting = 1024;
/// Mixes with no more than these in each other are evaluated part by part.
constexpr std::uint32_t kPlainRank = 4;

MaterialKind kindOf(NodeType type) {
    switch (type) {
        case NT_MAT_GLOSSY:
            return MaterialKind::Glossy;
        case NT_MAT_SPECULAR:
            return MaterialKind::Specular;
        case NT_MAT_METALLIC:
            return MaterialKind::Metallic;
        case NT_MAT_TOON:
            return MaterialKind::Toon;
        case NT_MAT_UNIVERSAL:
            return MaterialKind::Universal;
        default:
            return MaterialKind::Diffuse;
    }
}

/// The pin that holds a material's main colour.
PinId mainColor(NodeType type) {
    switch (type) {
        case NT_MAT_SPECULAR:
            return P_TRANSMISSION;
        case NT_MAT_METALLIC:
            return P_SPECULAR;
        case NT_MAT_UNIVERSAL:
            return P_ALBEDO;
        default:
            return P_DIFFUSE;
    }
}

/// Every value of a material that may hold a texture.
template <typename F>
void forEachTexture(const Material& m, F f) {
    for (const MaterialInput* input :
         {&m.albedo, &m.transmission, &m.specular, &m.specularMap, &m.metallic, &m.roughness, &m.rotation, &m.filmWidth,
          &m.sheen, &m.sheenRoughness, &m.coating, &m.coatingRoughness, &m.toonOutline}) {
        f(input->texture);
    }
    for (const TextureId id : {m.opacity, m.normal, m.bump, m.relief, m.amount, m.indexMap}) f(id);
}

}  // namespace

void MaterialMemory::clear() {
    MaterialMemory empty;
    empty.build_ = build_;
    empty.described_ = described_;
    *this = std::move(empty);
}

void MaterialMemory::concern(ItemUid uid) {
    if (const auto it = entries_.find(uid); it != entries_.end()) it->second.concerned = true;
}

MaterialCompiler::MaterialCompiler(const NodeTable& nodes, TextureCompiler& textures, MaterialMemory& memory,
                                   Dependents& dependents, const std::unordered_set<ItemUid>& changed, int clayMode,
                                   Shading& out, const LogFunction& log)
    : nodes_(nodes),
      textures_(textures),
      memory_(memory),
      dependents_(dependents),
      changed_(changed),
      clay_(clayMode),
      out_(out),
      log_(log) {
    ++memory_.build_;
    if (!out_.materials.empty()) return;
    Material fallback;
    fallback.albedo.value = kDefaultAlbedo;
    out_.materials.push_back(fallback);
}

bool MaterialCompiler::isOne(TextureId id) const {
    return id == kNoTexture || (out_.textures.isConstant(id) && average(out_.textures.nodes[id].value) >= 1.0f);
}

bool MaterialCompiler::settled(ItemUid uid) const {
    const auto it = memory_.entries_.find(uid);
    return it != memory_.entries_.end() && (!it->second.concerned || it->second.build == memory_.build_);
}

MaterialId MaterialCompiler::compile(ItemUid uid) {
    if (uid == 0) return 0;
    if (!settled(uid)) settleAll(uid);
    return memory_.entries_[uid].id;
}

void MaterialCompiler::settleAll(ItemUid uid) {
    if (const NodeRecordPtr& record = nodes_.share(uid); !record || record->type != NT_MAT_MIX) return settle(uid);
    // Parts before mixes, without recursion: mixes nest as deep as they like.
    struct Step {
        ItemUid uid;
        bool entered;
    };
    std::vector<Step> steps{{uid, false}};
    while (!steps.empty()) {
        const Step step = steps.back();
        if (settled(step.uid)) {
            steps.pop_back();
            continue;
        }
        const NodeRecordPtr record = nodes_.share(step.uid);
        if (!step.entered && record && record->type == NT_MAT_MIX) {
            steps.back().entered = true;
            open_.insert(step.uid);
            for (const PinId pin : {P_MATERIAL1, P_MATERIAL2}) {
                const ItemUid next = record->input(pin);
                if (next == 0 || settled(next)) continue;
                if (open_.contains(next)) {
                    if (log_) log_("Material \"" + record->name + "\" is among its own parts; a grey one stands in.");
                    circle_ = true;
                } else {
                    steps.push_back({next, false});
                }
            }
            continue;
        }
        settle(step.uid);
        open_.erase(step.uid);
        steps.pop_back();
    }
    circle_ = false;
}

void MaterialCompiler::settle(ItemUid uid) {
    const auto [it, added] = memory_.entries_.try_emplace(uid);
    Entry& entry = it->second;
    const NodeRecordPtr record = nodes_.share(uid);
    if (added || !sameAsBefore(entry, record)) makeNew(uid, entry, record);
    entry.build = memory_.build_;
    entry.concerned = false;
    // What was met in a circle depends on where it was entered.
    if (circle_ && record && record->type == NT_MAT_MIX) {
        memory_.circling_.insert(uid);
    } else {
        memory_.circling_.erase(uid);
    }
}

bool MaterialCompiler::sameAsBefore(Entry& entry, const NodeRecordPtr& record) {
    if (entry.record != record || circle_) return false;
    for (const ItemUid uid : entry.reads) {
        if (changed_.contains(uid)) return false;
    }
    for (const ItemUid uid : entry.parts) {
        const auto it = memory_.entries_.find(uid);
        if (it == memory_.entries_.end() || it->second.written == memory_.build_) return false;
    }
    for (const MaterialMemory::Input& input : entry.inputs) {
        const TextureId now = textures_.of(input.uid);
        if (now != input.id) return false;
        if (!textures_.changed(now)) continue;
        // Where it varies it is looked up, and only its place is known here.
        if (!input.varies || out_.textures.isConstant(now) || entry.ramps[0] != kNoRamp || entry.ramps[1] != kNoRamp)
            return false;
        lightsChanged_ = lightsChanged_ || entry.glows;
    }
    return true;
}

void MaterialCompiler::releaseSteps(const Material& m) {
    if (m.steps == kNoSteps) return;
    out_.mixSteps.edit(m.steps) = nullptr;
    memory_.freeSteps_.push_back(m.steps);
}

void MaterialCompiler::releaseData(Entry& entry) {
    if (entry.passing) --memory_.passing_;
    if (entry.emission != kNoEmission) memory_.freeEmissions_.push_back(entry.emission);
    for (const std::uint32_t ramp : entry.ramps) {
        if (ramp != kNoRamp) memory_.freeRamps_.push_back(ramp);
    }
    if (entry.id != 0) {
        releaseSteps(out_.materials[entry.id]);
        out_.materials.edit(entry.id) = {};
        memory_.freeMaterials_.push_back(entry.id);
        moved_ = wrote_ = true;
    }
    lightsChanged_ = lightsChanged_ || entry.glows;
    entry = {};
}

void MaterialCompiler::forget(ItemUid uid) {
    const auto it = memory_.entries_.find(uid);
    if (it == memory_.entries_.end()) return;
    releaseData(it->second);
    memory_.entries_.erase(it);
    memory_.circling_.erase(uid);
    dependents_.forget({uid, MadeAs::Material});
}

void MaterialCompiler::makeNew(ItemUid uid, Entry& entry, const NodeRecordPtr& record) {
    entry.written = memory_.build_;
    if (!record) {
        releaseData(entry);
        entry.written = memory_.build_;
        dependents_.forget({uid, MadeAs::Material});
        return;
    }
    const Material old = entry.id != 0 ? out_.materials[entry.id] : Material{};
    const Emission oldEmission = entry.emission != kNoEmission ? out_.emissions[entry.emission] : Emission{};
    const bool glowed = entry.glows;
    if (entry.passing) --memory_.passing_;

    std::vector<ItemUid> reads;
    TextureCompiler::Inputs inputs;
    entry.parts.clear();
    releaseSteps(old);
    nodes_.trace(&reads);
    textures_.listInputs(&inputs);
    Material m = describe(*record, entry);
    textures_.listInputs(nullptr);
    nodes_.trace(nullptr);
    markTextured(m);

    entry.record = record;
    entry.passing = !m.opaque || m.fakeShadows;
    if (entry.passing) ++memory_.passing_;
    entry.inputs.clear();
    bool looked = false;
    for (const auto& [texture, id] : inputs) {
        entry.inputs.push_back({texture, id, !out_.textures.isConstant(id)});
        looked = looked || textures_.changed(id);
    }
    entry.reads = reads;
    for (const auto& [texture, id] : inputs) reads.push_back(texture);
    reads.insert(reads.end(), entry.parts.begin(), entry.parts.end());
    dependents_.set({uid, MadeAs::Material}, std::move(reads));

    entry.emission = m.kind == MaterialKind::Mix ? kNoEmission : m.emission;  // parts have their own
    entry.ramps[0] = m.toonBody;
    entry.ramps[1] = m.toonHighlight;
    entry.glows = m.emission != kNoEmission;
    if (glowed || entry.glows) {
        const Emission now = m.emission != kNoEmission ? out_.emissions[m.emission] : Emission{};
        lightsChanged_ = lightsChanged_ || looked || glowed != entry.glows || now != oldEmission ||
                         m.kind == MaterialKind::Mix || old.kind == MaterialKind::Mix;
    }
    lightsChanged_ = lightsChanged_ || m.portal != old.portal;
    if (entry.id == 0) {
        entry.id = out_.materials.store(m, memory_.freeMaterials_);
        moved_ = true;
    } else {
        out_.materials.edit(entry.id) = m;
    }
    wrote_ = true;
    ++memory_.described_;
}

void MaterialCompiler::markTextured(Material& m) const {
    forEachTexture(m, [&](TextureId t) { m.textured = m.textured || !out_.textures.isConstant(t); });
    if (m.emission != kNoEmission) m.textured = m.textured || out_.emissions[m.emission].color != kNoTexture;
    if (m.kind == MaterialKind::Mix) {
        m.textured = m.textured || out_.materials[m.first].textured || out_.materials[m.second].textured;
    }
}

EmissionId MaterialCompiler::emission(const NodeRecord& node, EmissionId known) {
    Emission e;
    if (!compileEmission(nodes_, textures_, out_.textures, node, e)) {
        if (known != kNoEmission) memory_.freeEmissions_.push_back(known);
        return kNoEmission;
    }
    if (known == kNoEmission) return out_.emissions.store(e, memory_.freeEmissions_);
    out_.emissions.edit(known) = e;
    return known;
}

MaterialInput MaterialCompiler::input(const NodeRecord& node, PinId pin, Float3 fallback) {
    MaterialInput in;
    if (!node.pin(pin)) {
        in.value = fallback;
        return in;
    }
    const TextureId id = textures_.connected(node, pin);
    if (id == kNoTexture) {
        in.value = nodes_.vector(node, pin, fallback);
    } else if (out_.textures.isConstant(id)) {
        in.value = out_.textures.nodes[id].value;
    } else {
        in.texture = id;
    }
    return in;
}

/// The material on a pin of a mix, which was compiled before.
MaterialId MaterialCompiler::part(const NodeRecord& node, PinId pin) {
    const auto it = memory_.entries_.find(node.input(pin));
    const bool there = it != memory_.entries_.end() && settled(it->first);
    return there ? it->second.id : 0;
}

void MaterialCompiler::describeMix(const NodeRecord& node, Entry& entry, Material& m) {
    m.kind = MaterialKind::Mix;
    m.amount = textures_.onPin(node, P_AMOUNT, splat(0.5f));
    // An amount of one shows the first of the two pins, none the second.
    m.first = part(node, P_MATERIAL2);
    m.second = part(node, P_MATERIAL1);
    for (const PinId pin : {P_MATERIAL1, P_MATERIAL2}) {
        const ItemUid uid = node.input(pin);
        if (uid != 0) entry.parts.push_back(uid);
    }
    const Material &first = out_.materials[m.first], &second = out_.materials[m.second];
    m.opaque = first.opaque && second.opaque;
    m.fakeShadows = first.fakeShadows || second.fakeShadows;
    m.rank = 1 + std::max(first.rank, second.rank);
    m.emission = second.emission != kNoEmission ? second.emission : first.emission;
    if (m.rank <= kMaxNesting) return listSteps(m);
    if (log_) log_("Material \"" + node.name + "\" has too many mixes in each other; a grey one stands in.");
    m = out_.materials[0];
}

/// Of a mix with many others in it: all its parts, each once.
void MaterialCompiler::listSteps(Material& m) {
    if (m.rank <= kPlainRank) return;
    MixSteps steps;
    std::unordered_map<MaterialId, std::uint32_t> places;
    std::vector<MaterialId> open{m.first, m.second};
    while (!open.empty()) {
        const MaterialId id = open.back();
        const Material& part = out_.materials[id];
        const bool mix = part.kind == MaterialKind::Mix;
        if (places.contains(id)) {
            open.pop_back();
        } else if (!mix || (places.contains(part.first) && places.contains(part.second))) {
            places.emplace(id, static_cast<std::uint32_t>(steps.size()));
            steps.push_back(mix ? MixStep{0, part.amount, places[part.first], places[part.second]} : MixStep{id});
            open.pop_back();
        } else {
            open.insert(open.end(), {part.first, part.second});
        }
    }
    steps.push_back({0, m.amount, places[m.first], places[m.second]});
    m.steps = out_.mixSteps.store(std::make_shared<const MixSteps>(std::move(steps)), memory_.freeSteps_);
}

void MaterialCompiler::describeFacets(const NodeRecord& node, Material& m) {
    constexpr int kModels = 6;
    m.brdf = static_cast<BrdfModel>(std::clamp(nodes_.integer(node, P_BRDF, 0), 0, kModels - 1));
    m.roughness = input(node, P_ROUGHNESS, {});
    m.anisotropy = std::clamp(nodes_.number(node, P_ANISOTROPY, 0.0f), -1.0f, 1.0f);
    m.rotation = input(node, P_ROTATION, {});
    m.index =
        std::clamp(nodes_.number(node, node.type == NT_MAT_UNIVERSAL ? P_INDEX_UNIVERSAL : P_INDEX, 1.3f), 1.0f, 8.0f);
    m.dispersion = std::clamp(nodes_.number(node, P_DISPERSION, 0.0f), 0.0f, 1.0f);
    if (node.type != NT_MAT_METALLIC && node.type != NT_MAT_UNIVERSAL) return;
    m.specularMap = input(node, P_SPECULAR_MAP, splat(1.0f));
    m.indexMode = static_cast<IndexMode>(std::clamp(nodes_.integer(node, P_IOR_MODE, 0), 0, 2));
    Float3 n[3];
    const PinId pins[3] = {P_INDEX, P_INDEX2, P_INDEX3};
    for (int i = 0; i < 3; ++i) {
        n[i] = nodes_.vector(node, pins[i], {});
        // A channel without an index takes that of red.
        if (!(n[i].x > 0.0f) && !(n[i].y > 0.0f)) n[i] = n[0];
    }
    m.metalIndex = {n[0].x, n[1].x, n[2].x};
    m.metalExtinction = {n[0].y, n[1].y, n[2].y};
}

void MaterialCompiler::describeLayers(const NodeRecord& node, Material& m) {
    m.filmWidth = input(node, P_FILM_WIDTH, {});
    m.filmIndex = std::clamp(nodes_.number(node, P_FILM_INDEX, 1.45f), 1.0f, 8.0f);
    if (node.pin(P_SHEEN)) {
        m.sheen = input(node, P_SHEEN, {});
        m.sheenRoughness = input(node, P_SHEEN_ROUGHNESS, splat(0.2f));
    }
    if (node.pin(P_COATING)) {
        m.coating = input(node, P_COATING, {});
        m.coatingRoughness = input(node, P_COATING_ROUGHNESS, {});
        m.coatingIndex = std::clamp(nodes_.number(node, P_COATING_IOR, 1.5f), 1.0f, 8.0f);
    }
}

/// What the material's own displacement adds to its shading; a mix without one takes that of its parts, in the order in
/// which the mesh looks for it.
void MaterialCompiler::describeRelief(const NodeRecord& node, Material& m) {
    const NodeRecord* displacement = nodes_.input(node, P_DISPLACEMENT);
    if (!displacement) {
        if (node.type != NT_MAT_MIX) return;
        const Material &first = out_.materials[part(node, P_MATERIAL1)],
                       &second = out_.materials[part(node, P_MATERIAL2)];
        const Material& from = first.displaced ? first : second;
        m.displaced = from.displaced;
        m.relief = from.relief;
        m.reliefHeight = from.reliefHeight;
        return;
    }
    m.displaced = true;
    const Displacement::Height height = readHeight(nodes_, *displacement);
    if (!height.flatShading) return;
    const TextureId id = textures_.connected(*displacement, P_TEXTURE);
    if (out_.textures.isConstant(id)) return;
    m.relief = id;
    m.reliefHeight = height.scale;
}

void MaterialCompiler::describeToon(const NodeRecord& node, Entry& entry, Material& m) {
    m.toonBody = toonRamp(node, P_TOON_DIFFUSE_RAMP, entry.ramps[0]);
    m.toonHighlight = toonRamp(node, P_TOON_SPECULAR_RAMP, entry.ramps[1]);
    m.outlined = textures_.connected(node, P_TOON_OUTLINE) != kNoTexture;
    m.toonOutline = input(node, P_TOON_OUTLINE, {});
    m.outlineWidth = std::clamp(nodes_.number(node, P_WIDTH, 0.3f), 0.0f, 1.0f);
    m.toonLighting = static_cast<ToonLighting>(std::clamp(nodes_.integer(node, P_TOON_LIGHT_MODE, 0), 0, 2));
}

std::uint32_t MaterialCompiler::toonRamp(const NodeRecord& node, PinId pin, std::uint32_t known) {
    const TextureId id = textures_.connected(node, pin);
    if (id == kNoTexture) {
        if (known != kNoRamp) memory_.freeRamps_.push_back(known);
        return kNoRamp;
    }
    ToonRamp ramp;
    for (std::size_t i = 0; i < ToonRamp::kSize; ++i) {
        const float x = (static_cast<float>(i) + 0.5f) / static_cast<float>(ToonRamp::kSize);
        ramp.values[i] = clamp01(out_.textures.ramp(id, x, {}));
    }
    if (known == kNoRamp) return out_.toonRamps.store(ramp, memory_.freeRamps_);
    out_.toonRamps.edit(known) = ramp;
    return known;
}

void MaterialCompiler::describeSurface(const NodeRecord& node, Entry& entry, Material& m) {
    const Float3 one = splat(1.0f);
    m.kind = kindOf(node.type);
    describeFacets(node, m);
    describeLayers(node, m);
    switch (m.kind) {
        case MaterialKind::Specular:
            m.specular = input(node, P_REFLECTION, one);
            m.transmission = input(node, P_TRANSMISSION, one);
            break;
        case MaterialKind::Metallic:
            m.specular = input(node, P_SPECULAR, one);
            break;
        case MaterialKind::Universal:
            m.albedo = input(node, P_ALBEDO, kDefaultAlbedo);
            m.specular = input(node, P_SPECULAR, one);
            m.metallic = input(node, P_UNIVERSAL_SPECULAR_MAP, {});
            m.transmission = input(node, P_TRANSMISSION, {});
            m.indexMap = textures_.connected(node, P_IOR_MAP);
            break;
        default:
            m.albedo = input(node, P_DIFFUSE, kDefaultAlbedo);
            m.specular = input(node, P_SPECULAR, one);
            m.transmission = input(node, P_TRANSMISSION, {});
            break;
    }
    if (m.kind == MaterialKind::Toon) describeToon(node, entry, m);
    m.matte = nodes_.flag(node, P_MATTE, false);
    m.fakeShadows = nodes_.flag(node, P_FAKE_SHADOWS, false) && !m.transmission.none();
    m.affectAlpha = nodes_.flag(node, P_REFRACTION_ALPHA, false);
    m.edgeRadius = std::max(nodes_.number(node, P_EDGES_ROUNDING, 0.0f), 0.0f);
    m.normal = textures_.connected(node, P_NORMAL);
    m.bump = textures_.connected(node, P_BUMP);
    if (m.bump != kNoTexture && out_.textures.isConstant(m.bump)) m.bump = kNoTexture;
    describeRelief(node, m);
}

Material MaterialCompiler::describe(const NodeRecord& node, Entry& entry) {
    Material m;
    if (node.type == NT_MAT_PORTAL) {
        m.kind = MaterialKind::Clear;
        m.opaque = false;
        m.portal = nodes_.flag(node, P_ENABLED, true);
        return m;
    }
    if (node.type == NT_MAT_MIX) {
        describeMix(node, entry, m);
        if (clay_ == CLAY_OFF) describeRelief(node, m);
        return m;
    }
    m.smooth = nodes_.flag(node, P_SMOOTH, true);
    if (node.pin(P_OPACITY)) m.opacity = textures_.onPin(node, P_OPACITY, splat(1.0f));
    m.opaque = isOne(m.opacity);
    m.emission = emission(node, entry.emission);
    if (clay_ == CLAY_OFF) {
        describeSurface(node, entry, m);
    } else {
        m.albedo.value = kDefaultAlbedo;
        if (clay_ != CLAY_GREY) m.albedo = input(node, mainColor(node.type), kDefaultAlbedo);
    }
    return m;
}

}  // namespace Lumora::engine
