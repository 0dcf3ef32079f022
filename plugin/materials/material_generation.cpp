#include "plugin/materials/material_generation.h"

#include <set>

#include "plugin/core/log.h"
#include "plugin/materials/material_identity.h"
#include "plugin/materials/texture_nodes.h"

namespace lumora {

namespace {

// Keys of helper nodes that no shader owns. Each channel has its own.
enum HelperKey : UInt32 {
    kEmission = 7100,
    kMixFirst = 900000,  // plus the channel's colour parameter: the mix, then its amount and colour
    kAlphaStep = 7101,
    kAlphaClamp,
    kTransparencyInvert,
    kBumpStrength,
    kNormalScale,
    kNormalOffset,
};

/// A standard material while its channels are written.
struct StandardMaterial {
    MatManager& manager;
    BaseMaterial& material;
    MatLink& link;
    const BaseContainer& data;
    ApiNode* node;

    ApiNode* texture(Int32 shaderId, TextureUse use = {}) {
        return generateTexture(manager, nullptr, P_TEXTURE, material.GetShader(shaderId), link, use);
    }
    Vector linearColour(Int32 colourId, Int32 brightnessId, const Vector& fallback) const {
        return manager.toLinear(data.GetVector(colourId, fallback) * data.GetFloat(brightnessId, 1.0));
    }
    void toPin(PinId pin, ApiNode* source) {
        if (node->hasPin(pin)) connectIfChanged(node, pin, source);
    }
    /// What a switched-off channel leaves: nothing.
    void empty(PinId pin) {
        if (node->hasPin(pin)) disconnectPin(node, pin);
    }
};

/// The texture, or its mix with the channel's colour when its strength is below one.
ApiNode* blendColorTexture(MatManager& manager, MatLink& link, UInt32 channel, ApiNode* texture, Float amount,
                           const Vector& colour) {
    if (!texture || amount == 1.0) return texture;
    ApiNode* mix = manager.reuseOrCreate(link, nullptr, kMixFirst + channel * 4, NT_TEX_MIX);
    connectIfChanged(mix, P_AMOUNT, manager.floatNode(link, kMixFirst + channel * 4 + 1, static_cast<float>(amount)));
    connectIfChanged(mix, P_TEXTURE1, manager.rgbNode(link, kMixFirst + channel * 4 + 2, colour));
    connectIfChanged(mix, P_TEXTURE2, texture);
    return mix;
}

/// The pin that takes the colour channel.
PinId colourPin(const ApiNode& node) {
    return node.type() == NT_MAT_METALLIC ? P_SPECULAR : P_DIFFUSE;
}

void writeColour(StandardMaterial& m) {
    const PinId pin = colourPin(*m.node);
    if (!m.node->hasPin(pin)) return;
    if (!m.data.GetBool(MATERIAL_USE_COLOR)) {
        setRgbNode(m.node, pin, {});
        return;
    }
    const Vector colour = m.linearColour(MATERIAL_COLOR_COLOR, MATERIAL_COLOR_BRIGHTNESS, Vector(0.8));
    ApiNode* texture = m.texture(MATERIAL_COLOR_SHADER);
    if (!texture) {
        setRgbNode(m.node, pin, toFloat3(colour));
        return;
    }
    const Float strength = m.data.GetFloat(MATERIAL_COLOR_TEXTURESTRENGTH, 1.0);
    m.toPin(pin, blendColorTexture(m.manager, m.link, MATERIAL_COLOR_COLOR, texture, strength, colour));
}

/// Radiance is the texture or colour times the channel's brightness, whatever the size of the surface.
void writeLuminance(StandardMaterial& m) {
    if (!m.data.GetBool(MATERIAL_USE_LUMINANCE)) return m.empty(P_EMISSION);
    ApiNode* emission = m.manager.reuseOrCreate(m.link, nullptr, kEmission, NT_EMIS_TEXTURE);
    if (!emission) return;
    ApiNode* texture = m.texture(MATERIAL_LUMINANCE_SHADER);
    if (!texture) {
        const Vector colour = m.manager.toLinear(m.data.GetVector(MATERIAL_LUMINANCE_COLOR, Vector(1.0)));
        texture = m.manager.rgbNode(m.link, MATERIAL_LUMINANCE_COLOR, colour);
    }
    connectIfChanged(emission, P_EMIS_TEXTURE, texture);
    setFloatIfChanged(emission, P_POWER, static_cast<float>(m.data.GetFloat(MATERIAL_LUMINANCE_BRIGHTNESS, 1.0)));
    setFloatNode(emission, P_DISTRIBUTION, m.manager.prefs.emissionPower);
    setBoolIfChanged(emission, P_SURFACE_BRIGHTNESS, true);
    setBoolIfChanged(emission, P_DOUBLE_SIDED, m.data.GetBool(MATERIAL_TWO_SIDED, true));
    m.toPin(P_EMISSION, emission);
}

/// Opacity that is 0 below the limit and 1 above it: a steep line through the limit, cut to the range.
ApiNode* stepAt(StandardMaterial& m, ApiNode* texture, Float limit) {
    ApiNode* line = m.manager.reuseOrCreate(m.link, nullptr, kAlphaStep, NT_TEX_COLORCORRECTION);
    ApiNode* clamp = m.manager.reuseOrCreate(m.link, nullptr, kAlphaClamp, NT_TEX_CLAMP);
    connectIfChanged(line, P_TEXTURE, texture);
    setFloatNode(line, P_BRIGHTNESS, static_cast<float>(0.5 / limit));
    setFloatIfChanged(line, P_CONTRAST, 1000.0f);
    connectIfChanged(clamp, P_INPUT, line);
    setFloatNode(clamp, P_START, 0.0f);
    setFloatNode(clamp, P_END, 1.0f);
    return clamp;
}

void writeOpacity(StandardMaterial& m) {
    if (!m.node->hasPin(P_OPACITY)) return;
    const bool alpha = m.data.GetBool(MATERIAL_USE_ALPHA);
    const bool clear = m.data.GetBool(MATERIAL_USE_TRANSPARENCY) && m.node->type() != NT_MAT_SPECULAR;
    if (alpha) {
        const Float cutoff = m.data.GetFloat(MATERIAL_ALPHA_CUTOFF, 0.0);
        if (ApiNode* texture = m.texture(MATERIAL_ALPHA_SHADER, {.isData = true})) {
            m.toPin(P_OPACITY, cutoff > 0.005 ? stepAt(m, texture, cutoff) : texture);
        } else {
            Float opacity = m.data.GetFloat(MATERIAL_ALPHA_VALUE, 1.0);
            if (cutoff > 0) opacity = opacity < cutoff ? 0.0 : 1.0;
            setFloatNode(m.node, P_OPACITY, static_cast<float>(opacity));
        }
    } else if (clear) {
        // What lets light straight through is a hole of that colour.
        const Vector colour =
            m.linearColour(MATERIAL_TRANSPARENCY_COLOR, MATERIAL_TRANSPARENCY_BRIGHTNESS, Vector(1.0));
        ApiNode* texture = m.texture(MATERIAL_TRANSPARENCY_SHADER);
        if (!texture) texture = m.manager.rgbNode(m.link, MATERIAL_TRANSPARENCY_COLOR, colour);
        ApiNode* invert = m.manager.reuseOrCreate(m.link, nullptr, kTransparencyInvert, NT_TEX_INVERT);
        connectIfChanged(invert, P_TEXTURE, texture);
        m.toPin(P_OPACITY, invert);
    } else {
        m.empty(P_OPACITY);
    }
}

void writeRefraction(StandardMaterial& m) {
    if (m.node->type() != NT_MAT_SPECULAR) return;
    const Vector colour = m.linearColour(MATERIAL_TRANSPARENCY_COLOR, MATERIAL_TRANSPARENCY_BRIGHTNESS, Vector(1.0));
    ApiNode* texture = m.texture(MATERIAL_TRANSPARENCY_SHADER);
    m.toPin(P_TRANSMISSION, texture ? texture : m.manager.rgbNode(m.link, MATERIAL_TRANSPARENCY_COLOR, colour));
    setFloatIfChanged(m.node, P_INDEX, static_cast<float>(m.data.GetFloat(MATERIAL_TRANSPARENCY_REFRACTION, 1.0)));
}

void writeBump(StandardMaterial& m) {
    ApiNode* texture = m.data.GetBool(MATERIAL_USE_BUMP) ? m.texture(MATERIAL_BUMP_SHADER, {.isData = true}) : nullptr;
    if (!texture) return m.empty(P_BUMP);
    ApiNode* multiply = m.manager.reuseOrCreate(m.link, nullptr, kBumpStrength, NT_TEX_MULTIPLY);
    setFloatNode(multiply, P_TEXTURE1, static_cast<float>(m.data.GetFloat(MATERIAL_BUMP_STRENGTH, 0.0)));
    connectIfChanged(multiply, P_TEXTURE2, texture);
    m.toPin(P_BUMP, multiply);
}

/// A normal map's x and y lie about one half: scaled there.
ApiNode* scaleNormals(StandardMaterial& m, ApiNode* texture, Float strength) {
    if (strength == 1.0) return texture;
    const auto s = static_cast<float>(strength), shift = 0.5f - 0.5f * s;
    ApiNode* scale = m.manager.reuseOrCreate(m.link, nullptr, kNormalScale, NT_TEX_MULTIPLY);
    setRgbNode(scale, P_TEXTURE1, {s, s, 1.0f});
    connectIfChanged(scale, P_TEXTURE2, texture);
    ApiNode* offset = m.manager.reuseOrCreate(m.link, nullptr, kNormalOffset, shift < 0 ? NT_TEX_SUBTRACT : NT_TEX_ADD);
    connectIfChanged(offset, P_TEXTURE1, scale);
    setRgbNode(offset, P_TEXTURE2, {std::abs(shift), std::abs(shift), 0.0f});
    return offset;
}

void writeNormal(StandardMaterial& m) {
    ApiNode* texture =
        m.data.GetBool(MATERIAL_USE_NORMAL) ? m.texture(MATERIAL_NORMAL_SHADER, {.isData = true}) : nullptr;
    if (!texture) return m.empty(P_NORMAL);
    m.toPin(P_NORMAL, scaleNormals(m, texture, m.data.GetFloat(MATERIAL_NORMAL_STRENGTH, 1.0)));
}

void writeReflection(StandardMaterial& m) {
    const NodeType type = m.node->type();
    if (type == NT_MAT_DIFFUSE || !m.data.GetBool(MATERIAL_USE_REFLECTION)) return;
    if (type != NT_MAT_METALLIC) {
        ApiNode* texture = m.texture(MATERIAL_REFLECTION_SHADER);
        if (!texture) {
            const Vector colour =
                m.linearColour(MATERIAL_REFLECTION_COLOR, MATERIAL_REFLECTION_BRIGHTNESS, Vector(1.0));
            texture = m.manager.rgbNode(m.link, MATERIAL_REFLECTION_COLOR, colour);
        }
        m.toPin(type == NT_MAT_SPECULAR ? P_REFLECTION : P_SPECULAR, texture);
    }
    ApiNode* roughness = m.texture(MATERIAL_REFLECTION_ROUGHNESS_SHADER, {.isData = true});
    if (!roughness)
        roughness = m.manager.floatNode(m.link, MATERIAL_REFLECTION_ROUGHNESS,
                                        static_cast<float>(m.data.GetFloat(MATERIAL_REFLECTION_ROUGHNESS, 0.0)));
    m.toPin(P_ROUGHNESS, roughness);
}

/// A mesh carries the coordinates that its texture tag chose; images that want others share them.
void reportUvSets(const StandardMaterial& m) {
    std::set<Int32> sets;
    for (const BaseShader* s = static_cast<const BaseShader*>(m.material.GetFirstShader()); s; s = s->GetNext())
        if (s->GetType() == Xbitmap) sets.insert(s->GetDataInstance()->GetInt32(BITMAPSHADER_UVSET, 0));
    if (sets.size() > 1)
        logLine(m.material.GetName() + ": its images use several UV sets; all of them are shown with the first.");
}

void generateStandard(MatManager& manager, BaseMaterial& material, MatLink& link) {
    StandardMaterial m{manager, material, link, *material.GetDataInstance(), link.node};
    reportUvSets(m);
    writeColour(m);
    writeLuminance(m);
    writeOpacity(m);
    writeRefraction(m);
    writeBump(m);
    writeNormal(m);
    writeReflection(m);
}

}  // namespace

void generateMaterial(MatManager& manager, BaseMaterial* material, MatLink* link) {
    if (!material || !link) return;
    writeMaterialAddress(*material);
    link->generated = false;
    link->bit = dirtySum(*material);
    if (!link->node) return;
    const GenerationScope scope(*link);
    filteredLine(kLogMaterials, "generate material:" + material->GetName());
    if (material->GetType() == Mmaterial) generateStandard(manager, *material, *link);
    link->generated = true;
}

ApiNode* channelColorNode(MatManager& manager, const BaseMaterial& material, MatLink& link) {
    const BaseContainer& d = *material.GetDataInstance();
    const Vector colour = d.GetVector(MATERIAL_COLOR_COLOR, Vector(0.8));
    if (ApiNode* texture =
            generateTexture(manager, nullptr, P_TEXTURE, material.GetShader(MATERIAL_COLOR_SHADER), link))
        return blendColorTexture(manager, link, MATERIAL_COLOR_COLOR, texture,
                                 d.GetFloat(MATERIAL_COLOR_TEXTURESTRENGTH, 1.0), colour);
    return manager.rgbNode(link, MATERIAL_COLOR_COLOR, colour * d.GetFloat(MATERIAL_COLOR_BRIGHTNESS, 1.0));
}

}  // namespace lumora
