#include "engine/compile/shading_compiler.h"

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
        for (const TextureId t :
             {material.albedo, material.opacity, material.emission, material.normal, material.amount}) {
            material.textured = material.textured || !out_.textures.isConstant(t);
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
    TextureId emission(const NodeRecord& node, Material& material);
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

TextureId MaterialCompiler::emission(const NodeRecord& node, Material& material) {
    const NodeRecord* source = nodes_.input(node, P_EMISSION);
    if (!source || (source->type != NT_EMIS_TEXTURE && source->type != NT_EMIS_BLACKBODY)) return kNoTexture;
    const float power = std::max(nodes_.number(*source, P_POWER, 1.0f), 0.0f);
    Float3 scale = splat(power);
    if (source->type == NT_EMIS_BLACKBODY) {
        const float kelvin = std::clamp(nodes_.number(*source, P_TEMPERATURE, 6500.0f), 500.0f, 40000.0f);
        scale = blackbodyColor(kelvin) * power;
        // Without normalisation a hotter body is brighter, by the law of Stefan and Boltzmann.
        if (!nodes_.flag(*source, P_NORMALIZE, true)) scale *= std::pow(kelvin / 6500.0f, 4.0f);
    }
    TextureId color = textures_.onPin(*source, P_EMIS_TEXTURE, splat(1.0f));
    // A constant distribution dims the light; one that varies over directions is not looked at.
    const TextureId distribution = textures_.onPin(*source, P_DISTRIBUTION, splat(1.0f));
    if (out_.textures.isConstant(distribution)) {
        scale *= average(out_.textures.nodes[distribution].value);
    }
    color = textures_.multiply(color, textures_.constant(scale));
    if (out_.textures.isConstant(color) && isBlack(out_.textures.nodes[color].value)) return kNoTexture;
    material.emitsFromBack = nodes_.flag(*source, P_DOUBLE_SIDED, true);
    return color;
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
    m.emission = emission(node, m);
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

Float3 blackbodyColor(float temperature) {
    // Planckian locus by the cubic fits of Kim et al. (US patent 7024034), valid from 1667 to 25000 kelvin.
    const float t = std::clamp(temperature, 1667.0f, 25000.0f), r = 1000.0f / t;
    const float x = t <= 4000.0f ? ((-0.2661239f * r - 0.2343589f) * r + 0.8776956f) * r + 0.179910f
                                 : ((-3.0258469f * r + 2.1070379f) * r + 0.2226347f) * r + 0.240390f;
    float y;
    if (t <= 2222.0f) {
        y = ((-1.1063814f * x - 1.34811020f) * x + 2.18555832f) * x - 0.20219683f;
    } else if (t <= 4000.0f) {
        y = ((-0.9549476f * x - 1.37418593f) * x + 2.09137015f) * x - 0.16748867f;
    } else {
        y = ((3.0817580f * x - 5.87338670f) * x + 3.75112997f) * x - 0.37001483f;
    }
    const Float3 xyz = {x / y, 1.0f, (1.0f - x - y) / y};
    const Float3 rgb = {3.2404542f * xyz.x - 1.5371385f * xyz.y - 0.4985314f * xyz.z,
                        -0.9692660f * xyz.x + 1.8760108f * xyz.y + 0.0415560f * xyz.z,
                        0.0556434f * xyz.x - 0.2040259f * xyz.y + 1.0572252f * xyz.z};
    const Float3 positive = {std::max(rgb.x, 0.0f), std::max(rgb.y, 0.0f), std::max(rgb.z, 0.0f)};
    return positive * (1.0f / luminance(positive));
}

}  // namespace Lumora::engine
