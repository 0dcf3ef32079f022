#include "host/io/import/gltf_material.h"

#include <algorithm>
#include <cmath>

namespace host::importer {
namespace {

enum Sampler : Int64 { kNearest = 9728, kClamp = 33071, kMirror = 33648 };

Int32 wrapOf(Int64 mode) {
    return mode == kClamp ? 1 : mode == kMirror ? 2 : 0;
}

Vector colourOf(const Json& object, const char* name, const Vector& fallback) {
    const std::vector<Float> v = floatsOf(object, name, 3);
    return v.empty() ? fallback : Vector(v[0], v[1], v[2]);
}

/// A surface of separate diffuse and specular colours as one colour and how metallic it is: the mix of a dielectric
/// that reflects 4 % and a metal that gives the same two brightnesses.
void metalnessFromSpecular(MaterialDescription& d, const Vector& specular) {
    constexpr Float kDielectric = 0.04;
    const auto brightness = [](const Vector& c) {
        return std::sqrt(0.299 * c.x * c.x + 0.587 * c.y * c.y + 0.114 * c.z * c.z);
    };
    const Float strongest = std::clamp(std::max({specular.x, specular.y, specular.z}), 0.0, 1.0);
    const Float reflected = brightness(specular), scattered = brightness(d.base);
    if (reflected <= kDielectric) return;
    const Float b = scattered * (1 - strongest) / (1 - kDielectric) + reflected - 2 * kDielectric;
    const Float root = std::max(0.0, b * b - 4 * kDielectric * (kDielectric - reflected));
    const Float m = std::clamp((std::sqrt(root) - b) / (2 * kDielectric), 0.0, 1.0);
    const Vector dielectric = d.base * ((1 - strongest) / (1 - kDielectric) / std::max(1 - m, 1e-4));
    const Vector metal = (specular - Vector(kDielectric * (1 - m))) / std::max(m, 1e-4);
    const auto mix = [m](Float a, Float b) { return std::clamp(a + (b - a) * m * m, 0.0, 1.0); };
    d.base = {mix(dielectric.x, metal.x), mix(dielectric.y, metal.y), mix(dielectric.z, metal.z)};
    d.metalness = m;
}

}  // namespace

std::optional<Filename> GltfMaterials::image(Int64 index) {
    if (const auto known = images_.find(index); known != images_.end()) return known->second;
    const Json& json = file_.at("images", index);
    const std::string uri = textOr(json, "uri", "");
    const std::string name = textOr(json, "name", "");
    Filename path;
    if (const Int64 view = intOr(json, "bufferView", -1); view >= 0) {
        path = context_.embedImage(file_.view(view), name);
    } else if (uri.empty()) {
        context_.warn("image " + std::to_string(index) + " has no data");
        return std::nullopt;
    } else if (const auto data = decodeDataUri(uri)) {
        path = context_.embedImage(*data, name);
    } else if (uri.find("://") != std::string::npos) {
        context_.warn("the image \"" + cleanName(uri) + "\" lies on the net and was left out");
        return std::nullopt;
    } else {
        path = context_.imagePath(decodePercent(uri));
    }
    images_[index] = path;
    return path;
}

ImageUse GltfMaterials::texture(const Json& object, const char* name) {
    const Json* info = member(object, name);
    if (!info || !info->is_object()) return {};
    const Json& texture = file_.at("textures", intOr(*info, "index", -1));

    Int64 source = intOr(texture, "source", -1);
    if (source < 0)
        if (const Json* webp = extension(texture, "EXT_texture_webp")) source = intOr(*webp, "source", -1);
    if (source < 0) {
        if (extension(texture, "KHR_texture_basisu"))
            context_.warn("images of KHR_texture_basisu cannot be read; they were left out");
        else
            context_.warn("a texture without an image was left out");
        return {};
    }
    const std::optional<Filename> path = image(source);
    if (!path) return {};

    ImageUse use;
    use.file = *path;
    use.uvSet = static_cast<Int32>(std::clamp<Int64>(intOr(*info, "texCoord", 0), 0, 15));
    if (const Int64 s = intOr(texture, "sampler", -1); s >= 0) {
        const Json& sampler = file_.at("samplers", s);
        use.wrap[0] = wrapOf(intOr(sampler, "wrapS", 0));
        use.wrap[1] = wrapOf(intOr(sampler, "wrapT", 0));
        use.interpolate = intOr(sampler, "magFilter", 0) != kNearest;
    }
    if (const Json* transform = extension(*info, "KHR_texture_transform")) {
        if (const auto v = floatsOf(*transform, "offset", 2); !v.empty()) std::copy_n(v.begin(), 2, use.offset);
        if (const auto v = floatsOf(*transform, "scale", 2); !v.empty()) std::copy_n(v.begin(), 2, use.scale);
        use.rotation = floatOr(*transform, "rotation", 0);
        use.uvSet = static_cast<Int32>(std::clamp<Int64>(intOr(*transform, "texCoord", use.uvSet), 0, 15));
    }
    return use;
}

std::optional<MaterialDescription> GltfMaterials::describe(Int64 index) {
    if (index < 0) return std::nullopt;
    const Json& json = file_.at("materials", index);
    MaterialDescription d;
    d.name = textOr(json, "name", "");
    if (d.name.empty()) d.name = "Material " + std::to_string(index + 1);
    d.twoSided = boolOr(json, "doubleSided", false);
    d.reflection = true;
    d.metalness = 1;

    if (const Json* pbr = member(json, "pbrMetallicRoughness")) {
        if (const auto v = floatsOf(*pbr, "baseColorFactor", 4); !v.empty()) {
            d.base = {v[0], v[1], v[2]};
            d.opacity = v[3];
        }
        d.baseImage = texture(*pbr, "baseColorTexture");
        d.metalness = floatOr(*pbr, "metallicFactor", 1);
        d.roughness = floatOr(*pbr, "roughnessFactor", 1);
        d.roughnessImage = d.metalnessImage = texture(*pbr, "metallicRoughnessTexture");
    }
    if (const Json* old = extension(json, "KHR_materials_pbrSpecularGlossiness")) {
        d.base = Vector(1.0);
        d.opacity = 1;
        if (const auto v = floatsOf(*old, "diffuseFactor", 4); !v.empty()) {
            d.base = {v[0], v[1], v[2]};
            d.opacity = v[3];
        }
        d.baseImage = texture(*old, "diffuseTexture");
        d.metalness = 0;
        // A file that leaves the factor at its white means no mirror, and an image of it says more than the factor.
        if (!d.baseImage && member(*old, "specularFactor") && !member(*old, "specularGlossinessTexture"))
            metalnessFromSpecular(d, colourOf(*old, "specularFactor", Vector(1.0)));
        d.roughness = 1 - floatOr(*old, "glossinessFactor", 1);
        d.roughnessImage = d.metalnessImage = {};
    }

    d.emission = colourOf(json, "emissiveFactor", {});
    d.emissionImage = texture(json, "emissiveTexture");
    if (const Json* e = extension(json, "KHR_materials_emissive_strength"))
        d.emissionStrength = floatOr(*e, "emissiveStrength", 1);

    const std::string mode = textOr(json, "alphaMode", "OPAQUE");
    d.alpha = mode == "MASK" || (mode == "BLEND" && (d.opacity < 1 || d.baseImage));
    if (mode == "MASK") d.cutoff = floatOr(json, "alphaCutoff", 0.5);
    if (d.alpha) d.opacityImage = d.baseImage;

    d.normalImage = texture(json, "normalTexture");
    if (d.normalImage) d.normalScale = floatOr(*member(json, "normalTexture"), "scale", 1);

    d.unlit = extension(json, "KHR_materials_unlit") != nullptr;
    if (const Json* t = extension(json, "KHR_materials_transmission")) {
        d.transmission = floatOr(*t, "transmissionFactor", 0);
        d.transmissionImage = texture(*t, "transmissionTexture");
        d.transmissionColour = d.base;
        // Without a volume the surface is a thin sheet: light goes straight through.
        if (const Json* volume = extension(json, "KHR_materials_volume");
            volume && floatOr(*volume, "thicknessFactor", 0) > 0) {
            const Json* ior = extension(json, "KHR_materials_ior");
            d.refraction = ior ? floatOr(*ior, "ior", 1.5) : 1.5;
            d.transmissionColour = d.transmissionColour * colourOf(*volume, "attenuationColor", Vector(1.0));
        }
    }
    return d;
}

}  // namespace host::importer
