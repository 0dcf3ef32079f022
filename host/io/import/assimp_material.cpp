#include "host/io/import/assimp_material.h"

#include <assimp/GltfMaterial.h>
#include <assimp/material.h>

#include <algorithm>
#include <cmath>

namespace host::importer {
namespace {

Vector colour(const aiMaterial& material, const char* key, unsigned type, unsigned index, const Vector& fallback) {
    aiColor3D c;
    return material.Get(key, type, index, c) == AI_SUCCESS ? Vector(c.r, c.g, c.b) : fallback;
}

Float number(const aiMaterial& material, const char* key, unsigned type, unsigned index, Float fallback) {
    float value = 0;
    return material.Get(key, type, index, value) == AI_SUCCESS && std::isfinite(value) ? value : fallback;
}

Int32 wrapOf(int mode) {
    return mode == aiTextureMapMode_Clamp || mode == aiTextureMapMode_Decal ? 1
           : mode == aiTextureMapMode_Mirror                                ? 2
                                                                            : 0;
}

}  // namespace

std::optional<Filename> AssimpMaterials::image(const std::string& name) {
    if (const aiTexture* embedded = scene_.GetEmbeddedTexture(name.c_str())) {
        if (embedded->mHeight != 0) {
            context_.warn("an embedded image without a file format was left out");
            return std::nullopt;
        }
        const auto* bytes = reinterpret_cast<const UChar*>(embedded->pcData);
        std::string label = embedded->mFilename.C_Str();
        label = label.substr(label.find_last_of("/\\") + 1);
        return context_.embedImage({bytes, embedded->mWidth}, label.substr(0, label.find_last_of('.')));
    }
    return context_.imagePath(name);
}

ImageUse AssimpMaterials::texture(const aiMaterial& material, std::initializer_list<aiTextureType> types) {
    for (const aiTextureType type : types) {
        aiString path;
        if (material.GetTexture(type, 0, &path) != AI_SUCCESS || path.length == 0) continue;
        const std::optional<Filename> file = image(path.C_Str());
        if (!file) return {};
        ImageUse use;
        use.file = *file;
        int value = 0;
        if (material.Get(AI_MATKEY_UVWSRC(type, 0), value) == AI_SUCCESS) use.uvSet = std::clamp(value, 0, 7);
        if (material.Get(AI_MATKEY_MAPPINGMODE_U(type, 0), value) == AI_SUCCESS) use.wrap[0] = wrapOf(value);
        if (material.Get(AI_MATKEY_MAPPINGMODE_V(type, 0), value) == AI_SUCCESS) use.wrap[1] = wrapOf(value);
        aiUVTransform transform;
        if (material.Get(AI_MATKEY_UVTRANSFORM(type, 0), transform) == AI_SUCCESS) {
            // From v upwards to v downwards.
            use.scale[0] = transform.mScaling.x;
            use.scale[1] = transform.mScaling.y;
            use.offset[0] = transform.mTranslation.x;
            use.offset[1] = 1.0 - transform.mTranslation.y - transform.mScaling.y;
        }
        return use;
    }
    return {};
}

std::optional<MaterialDescription> AssimpMaterials::describe(Int64 index) {
    if (index < 0 || index >= scene_.mNumMaterials) return std::nullopt;
    const aiMaterial& m = *scene_.mMaterials[index];
    const std::string name = m.GetName().C_Str();
    // PLY has no materials of its own either, but for an image that it may name.
    const bool madeUp = name == AI_DEFAULT_MATERIAL_NAME || suffix_ == "ply";
    if (madeUp && m.GetTextureCount(aiTextureType_DIFFUSE) == 0) return std::nullopt;

    MaterialDescription d;
    d.name = name.empty() ? "Material " + std::to_string(index + 1) : name;
    d.base = colour(m, AI_MATKEY_BASE_COLOR, colour(m, AI_MATKEY_COLOR_DIFFUSE, Vector(0.8)));
    d.baseImage = texture(m, {aiTextureType_BASE_COLOR, aiTextureType_DIFFUSE});
    // In FBX and Collada an image stands in the place of the colour. In OBJ it is multiplied, but writers are known to
    // leave the colour black.
    if (d.baseImage && (suffix_ != "obj" || d.base.IsZero())) d.base = Vector(1.0);

    d.emission = colour(m, AI_MATKEY_COLOR_EMISSIVE, {});
    d.emissionImage = texture(m, {aiTextureType_EMISSION_COLOR, aiTextureType_EMISSIVE});
    if (d.emissionImage && (suffix_ != "obj" || d.emission.IsZero())) d.emission = Vector(1.0);
    d.emissionStrength = number(m, AI_MATKEY_EMISSIVE_INTENSITY, 1);

    d.opacity = number(m, AI_MATKEY_OPACITY, 1);
    d.opacityImage = texture(m, {aiTextureType_OPACITY});
    d.opacityChannel = 1;
    d.alpha = d.opacity < 1 || static_cast<bool>(d.opacityImage);
    if (d.opacityImage && d.opacity == 0) d.opacity = 1;

    // Blinn-Phong exponents to roughness: B. Walter et al., "Microfacet Models for Refraction", 2007.
    const Vector specular = colour(m, AI_MATKEY_COLOR_SPECULAR, {});
    const Float shininess = number(m, AI_MATKEY_SHININESS, 0);
    Float roughness = shininess > 0 ? std::sqrt(2 / (shininess + 2)) : 1;
    roughness = number(m, AI_MATKEY_ROUGHNESS_FACTOR, roughness);
    d.metalness = number(m, AI_MATKEY_METALLIC_FACTOR, 0);
    d.roughness = roughness;
    d.roughnessImage = texture(m, {aiTextureType_DIFFUSE_ROUGHNESS});
    d.metalnessImage = texture(m, {aiTextureType_METALNESS});
    d.roughnessChannel = d.metalnessChannel = 1;
    if (d.roughnessImage) d.roughness = 1;
    if (d.metalnessImage) d.metalness = 1;
    d.reflection = (!specular.IsZero() && shininess > 0) || roughness < 1 || d.metalness > 0 || d.roughnessImage;

    d.normalImage = texture(m, {aiTextureType_NORMAL_CAMERA, aiTextureType_NORMALS});
    d.bumpImage = texture(m, {aiTextureType_HEIGHT});
    int twoSided = 0;
    d.twoSided = m.Get(AI_MATKEY_TWOSIDED, twoSided) == AI_SUCCESS && twoSided != 0;
    d.refraction = std::max(1.0, number(m, AI_MATKEY_REFRACTI, 1));

    return d;
}

}  // namespace host::importer
