#include "engine/compile/material_compiler.h"

#include "engine/compile/emission_compiler.h"

namespace Lumora::engine {

namespace {

constexpr Float3 kDefaultAlbedo{0.7f, 0.7f, 0.7f};
constexpr std::size_t kMaxNesting = 64;

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
    for (const TextureId id : {m.opacity, m.normal, m.bump, m.amount, m.indexMap}) f(id);
}

}  // namespace

MaterialCompiler::MaterialCompiler(const NodeTable& nodes, ImageStore& images, TextureMemory& textures, int clayMode,
                                   Shading& out, const LogFunction& log)
    : nodes_(nodes), textures_(nodes, images, out.textures, log, &textures), clay_(clayMode), out_(out), log_(log) {
    Material fallback;
    fallback.albedo.value = kDefaultAlbedo;
    out_.materials.push_back(fallback);
}

bool MaterialCompiler::isOne(TextureId id) const {
    return id == kNoTexture || (out_.textures.isConstant(id) && average(out_.textures.nodes[id].value) >= 1.0f);
}

MaterialId MaterialCompiler::compile(ItemUid uid) {
    if (uid == 0) return 0;
    if (const auto it = known_.find(uid); it != known_.end()) return it->second;
    const NodeRecord* node = nodes_.find(uid);
    if (!node) return 0;
    if (open_.size() >= kMaxNesting || !open_.insert(uid).second) {
        if (log_) log_("Material \"" + node->name + "\" is among its own parts; a grey one stands in.");
        return 0;
    }
    Material material = describe(*node);
    forEachTexture(material,
                   [&](TextureId t) { material.textured = material.textured || !out_.textures.isConstant(t); });
    if (material.emission != kNoEmission) {
        material.textured = material.textured || out_.emissions[material.emission].color != kNoTexture;
    }
    if (material.kind == MaterialKind::Mix) {
        material.textured =
            material.textured || out_.materials[material.first].textured || out_.materials[material.second].textured;
    }
    open_.erase(uid);
    const auto id = static_cast<MaterialId>(out_.materials.size());
    out_.materials.push_back(material);
    known_.emplace(uid, id);
    return id;
}

std::vector<ToonLight> MaterialCompiler::toonLights(const Geometry& geometry) {
    return compileToonLights(nodes_, geometry, textures_, out_.textures);
}

EmissionId MaterialCompiler::emission(const NodeRecord& node) {
    Emission e;
    if (!compileEmission(nodes_, textures_, out_.textures, node, e)) return kNoEmission;
    out_.emissions.push_back(e);
    return static_cast<EmissionId>(out_.emissions.size() - 1);
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

MaterialInput MaterialCompiler::connectedInput(const NodeRecord& node, PinId pin) {
    return node.input(pin) ? input(node, pin, {}) : MaterialInput{};
}

void MaterialCompiler::describeMix(const NodeRecord& node, Material& m) {
    m.kind = MaterialKind::Mix;
    m.amount = textures_.onPin(node, P_AMOUNT, splat(0.5f));
    // An amount of one shows the first of the two pins, none the second.
    m.first = compile(node.input(P_MATERIAL2));
    m.second = compile(node.input(P_MATERIAL1));
    m.opaque = out_.materials[m.first].opaque && out_.materials[m.second].opaque;
    m.fakeShadows = out_.materials[m.first].fakeShadows || out_.materials[m.second].fakeShadows;
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

void MaterialCompiler::describeToon(const NodeRecord& node, Material& m) {
    m.toonBody = toonRamp(node, P_TOON_DIFFUSE_RAMP);
    m.toonHighlight = toonRamp(node, P_TOON_SPECULAR_RAMP);
    m.outlined = node.input(P_TOON_OUTLINE) != 0;
    if (m.outlined) m.toonOutline = input(node, P_TOON_OUTLINE, {});
    m.outlineWidth = std::clamp(nodes_.number(node, P_WIDTH, 0.3f), 0.0f, 1.0f);
    m.toonLighting = static_cast<ToonLighting>(std::clamp(nodes_.integer(node, P_TOON_LIGHT_MODE, 0), 0, 2));
}

std::uint32_t MaterialCompiler::toonRamp(const NodeRecord& node, PinId pin) {
    const TextureId id = textures_.connected(node, pin);
    if (id == kNoTexture) return kNoRamp;
    ToonRamp ramp;
    for (std::size_t i = 0; i < ToonRamp::kSize; ++i) {
        const float x = (static_cast<float>(i) + 0.5f) / static_cast<float>(ToonRamp::kSize);
        ramp.values[i] = clamp01(out_.textures.ramp(id, x, {}));
    }
    out_.toonRamps.push_back(ramp);
    return static_cast<std::uint32_t>(out_.toonRamps.size() - 1);
}

void MaterialCompiler::describeSurface(const NodeRecord& node, Material& m) {
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
            m.transmission = connectedInput(node, P_TRANSMISSION);
            m.indexMap = textures_.connected(node, P_IOR_MAP);
            break;
        default:
            m.albedo = input(node, P_DIFFUSE, kDefaultAlbedo);
            m.specular = input(node, P_SPECULAR, one);
            m.transmission = connectedInput(node, P_TRANSMISSION);
            break;
    }
    if (m.kind == MaterialKind::Toon) describeToon(node, m);
    m.matte = nodes_.flag(node, P_MATTE, false);
    m.fakeShadows = nodes_.flag(node, P_FAKE_SHADOWS, false) && !m.transmission.none();
    m.affectAlpha = nodes_.flag(node, P_REFRACTION_ALPHA, false);
    m.edgeRadius = std::max(nodes_.number(node, P_EDGES_ROUNDING, 0.0f), 0.0f);
    m.normal = textures_.connected(node, P_NORMAL);
    m.bump = textures_.connected(node, P_BUMP);
}

Material MaterialCompiler::describe(const NodeRecord& node) {
    Material m;
    if (node.type == NT_MAT_PORTAL) {
        m.kind = MaterialKind::Clear;
        m.opaque = false;
        m.portal = nodes_.flag(node, P_ENABLED, true);
        return m;
    }
    if (node.type == NT_MAT_MIX) {
        describeMix(node, m);
        return m;
    }
    m.smooth = nodes_.flag(node, P_SMOOTH, true);
    if (node.pin(P_OPACITY)) m.opacity = textures_.onPin(node, P_OPACITY, splat(1.0f));
    m.opaque = isOne(m.opacity);
    m.emission = emission(node);
    if (clay_ == CLAY_OFF) {
        describeSurface(node, m);
    } else {
        m.albedo.value = kDefaultAlbedo;
        if (clay_ != CLAY_GREY) m.albedo = input(node, mainColor(node.type), kDefaultAlbedo);
    }
    return m;
}

}  // namespace Lumora::engine
