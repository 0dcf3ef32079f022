#include "engine/compile/emission_compiler.h"

#include "engine/render/spectrum.h"

namespace Lumora::engine {

bool compileEmission(const NodeTable& nodes, TextureCompiler& textures, const TextureTable& table,
                     const NodeRecord& material, Emission& out) {
    const NodeRecord* node = nodes.input(material, P_EMISSION);
    if (!node || (node->type != NT_EMIS_TEXTURE && node->type != NT_EMIS_BLACKBODY)) return false;
    out.scale = splat(std::max(nodes.number(*node, P_POWER, 1.0f), 0.0f));
    if (node->type == NT_EMIS_BLACKBODY) {
        const float kelvin = std::clamp(nodes.number(*node, P_TEMPERATURE, 6500.0f), 500.0f, 40000.0f);
        out.scale *= blackbodyColor(kelvin);
        // Not normalised, a body is as bright beside one of 6500 kelvin as Planck's law has it.
        if (!nodes.flag(*node, P_NORMALIZE, true)) {
            out.scale *= static_cast<float>(blackbodyLuminance(kelvin) / blackbodyLuminance(6500.0));
        }
    }
    out.color = textures.onPin(*node, P_EMIS_TEXTURE, splat(1.0f));
    out.distribution = textures.onPin(*node, P_DISTRIBUTION, splat(1.0f));
    // Constants join the scale, so that what varies is all that is looked up.
    if (table.isConstant(out.distribution)) {
        out.scale *= std::max(average(table.nodes[out.distribution].value), 0.0f);
        out.distribution = kNoTexture;
    }
    if (table.isConstant(out.color)) {
        const Float3 c = table.nodes[out.color].value;
        out.scale = out.scale * Float3{std::max(c.x, 0.0f), std::max(c.y, 0.0f), std::max(c.z, 0.0f)};
        out.color = kNoTexture;
    }
    if (isBlack(out.scale) || !isFinite(out.scale)) return false;
    out.byPower = !nodes.flag(*node, P_SURFACE_BRIGHTNESS, true);
    out.doubleSided = nodes.flag(*node, P_DOUBLE_SIDED, true);
    out.onDiffuse = nodes.flag(*node, P_VISIBLE_ON_DIFFUSE, true);
    out.onSpecular = nodes.flag(*node, P_VISIBLE_ON_SPECULAR, true);
    out.transparent = nodes.flag(*node, P_TRANSPARENT_EMISSION, false);
    out.castsShadows = nodes.flag(*node, P_CAST_SHADOWS, true);
    out.samplingRate = std::clamp(nodes.number(*node, P_SAMPLING_RATE, 1.0f), 0.0f, 10000.0f);
    out.idBit = lightIdBit(std::clamp(nodes.integer(*node, P_LIGHT_PASS_ID, 1), 1, 8));
    return true;
}

std::vector<ToonLight> compileToonLights(const NodeTable& nodes, const Geometry& geometry, TextureCompiler& textures,
                                         const TextureTable& table) {
    std::vector<ToonLight> lights;
    for (const ToonPlacement& placed : geometry.toonLights) {
        ToonLight light;
        light.position = placed.position;
        light.direction = {0, 1, 0};
        if (const NodeRecord* node = nodes.find(placed.node)) {
            // A toon light has one colour: that of its texture as a whole.
            light.color = table.mean(textures.onPin(*node, P_EMIS_TEXTURE, splat(1.0f))) *
                          std::max(nodes.number(*node, P_POWER, 1.0f), 0.0f);
            if (node->type == NT_TOON_DIRECTIONAL_LIGHT) {
                light.directional = true;
                const Float3 d = normalize(nodes.vector(*node, P_SUN_DIRECTION, {0, 1, 0}));
                if (d != Float3{}) light.direction = d;
            }
        }
        lights.push_back(light);
    }
    return lights;
}

}  // namespace Lumora::engine
