#include "engine/compile/shading_compiler.h"

#include "engine/compile/emission_compiler.h"

namespace Lumora::engine {

namespace {

constexpr Float3 kDefaultAlbedo{0.7f, 0.7f, 0.7f};

class MaterialCompiler {
public:
    MaterialCompiler(const NodeTable& nodes, ImageStore& images, int clayMode, Shading& out, const LogFunction& log)
        : nodes_(nodes), textures_(nodes, images, out.textures, log), clay_(clayMode), out_(out), log_(log) {
        Material fallback;
        fallback.albedo = textures_.constant(kDefaultAlbedo);
        out_.materials.push_back(fallback);
    }

    MaterialId compile(ItemUid uid) {
        if (uid == 0) return 0;
        if (const auto it = known_.find(uid); it != known_.end()) return it->second;
        const NodeRecord* node = nodes_.find(uid);
        if (!node) return 0;
        if (open_.size() >= 64 || !open_.insert(uid).second) {
            if (log_) log_("Material \"" + node->name + "\" is among its own parts; a grey one stands in.");
            return 0;
        }
        Material material = describe(*node);
        for (const TextureId t : {material.albedo, material.opacity, material.normal, material.amount}) {
            material.textured = material.textured || !out_.textures.isConstant(t);
        }
        if (material.emission != kNoEmission) {
            material.textured = material.textured || out_.emissions[material.emission].color != kNoTexture;
        }
        if (material.kind == MaterialKind::Mix) {
            material.textured = material.textured || out_.materials[material.first].textured ||
                                out_.materials[material.second].textured;
        }
        open_.erase(uid);
        const auto id = static_cast<MaterialId>(out_.materials.size());
        out_.materials.push_back(material);
        known_.emplace(uid, id);
        return id;
    }

private:
    Material describe(const NodeRecord& node);
    /// The pin that holds a material's main colour.
    static PinId mainColor(NodeType type) {
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
    EmissionId emission(const NodeRecord& node);
    /// Whether the texture is exactly one everywhere.
    bool isOne(TextureId id) const {
        return id == kNoTexture || (out_.textures.isConstant(id) && average(out_.textures.nodes[id].value) >= 1.0f);
    }

    const NodeTable& nodes_;
    TextureCompiler textures_;
    int clay_;
    Shading& out_;
    const LogFunction& log_;
    std::unordered_map<ItemUid, MaterialId> known_;
    std::unordered_set<ItemUid> open_;
};

EmissionId MaterialCompiler::emission(const NodeRecord& node) {
    Emission e;
    if (!compileEmission(nodes_, textures_, out_.textures, node, e)) return kNoEmission;
    out_.emissions.push_back(e);
    return static_cast<EmissionId>(out_.emissions.size() - 1);
}

Material MaterialCompiler::describe(const NodeRecord& node) {
    Material m;
    if (node.type == NT_MAT_PORTAL) {
        m.kind = MaterialKind::Clear;
        m.opaque = false;
        return m;
    }
    if (node.type == NT_MAT_MIX) {
        m.kind = MaterialKind::Mix;
        m.amount = textures_.onPin(node, P_AMOUNT, splat(0.5f));
        // An amount of one shows the first of the two pins, none the second.
        m.first = compile(node.input(P_MATERIAL2));
        m.second = compile(node.input(P_MATERIAL1));
        m.opaque = out_.materials[m.first].opaque && out_.materials[m.second].opaque;
        return m;
    }
    m.smooth = nodes_.flag(node, P_SMOOTH, true);
    if (node.pin(P_OPACITY)) m.opacity = textures_.onPin(node, P_OPACITY, splat(1.0f));
    m.opaque = isOne(m.opacity);
    m.emission = emission(node);
    if (clay_ == CLAY_GREY) {
        m.albedo = textures_.constant(kDefaultAlbedo);
        return m;
    }
    m.albedo = textures_.onPin(node, mainColor(node.type), kDefaultAlbedo);
    if (node.type == NT_MAT_SPECULAR && m.opaque) {
        // Light goes straight through clear surfaces; a thin film of their colour stays to be seen.
        constexpr float kClearest = 0.85f;
        m.opacity = textures_.constant(splat(1.0f - kClearest * clamp01(average(out_.textures.mean(m.albedo)))));
        m.opaque = isOne(m.opacity);
    }
    if (clay_ == CLAY_OFF) m.normal = textures_.connected(node, P_NORMAL);
    return m;
}

}  // namespace

namespace {

std::shared_ptr<const Shading> compileOnce(const NodeTable& nodes, const Geometry& geometry, ImageStore& images,
                                           int clayMode, const LogFunction& log) {
    auto out = std::make_shared<Shading>();
    MaterialCompiler compiler(nodes, images, clayMode, *out, log);
    out->slotMaterials.reserve(geometry.slots.size());
    for (const ItemUid uid : geometry.slots) out->slotMaterials.push_back(compiler.compile(uid));
    for (const MaterialId id : out->slotMaterials) {
        if (!out->materials[id].opaque) out->transparent = true;
    }
    return out;
}

}  // namespace

std::shared_ptr<const Shading> compileShading(const NodeTable& nodes, const Geometry& geometry, ImageStore& images,
                                              int clayMode, const LogFunction& log) {
    // Images that are not in memory yet are read together, on all cores; the materials are then made with them.
    std::vector<std::string> lines;
    ImageStore::Deferral deferral(images);
    auto made = compileOnce(nodes, geometry, images, clayMode, [&lines](const std::string& l) { lines.push_back(l); });
    if (deferral.load()) return compileOnce(nodes, geometry, images, clayMode, log);
    for (const std::string& line : lines) {
        if (log) log(line);
    }
    return made;
}

}  // namespace Lumora::engine
