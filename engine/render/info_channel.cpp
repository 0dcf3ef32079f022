#include "engine/render/info_channel.h"

#include "engine/render/sampler.h"

namespace Lumora::engine {

namespace {

using C = InfoChannel;
using S = InfoShade;

// In the order of InfoChannel.
constexpr InfoChannelRow kRows[kInfoChannelCount] = {
    {C::GeometricNormal, "Geometric normals", RP_GEOMETRIC_NORMAL, P_PASS_GEOMETRIC_NORMAL, S::Signed},
    {C::ShadingNormal, "Shading normals", RP_SHADING_NORMAL, P_PASS_SHADING_NORMAL, S::Signed},
    {C::Position, "Position", RP_POSITION, P_PASS_POSITION, S::Value},
    {C::Depth, "Z-depth", RP_Z_DEPTH, P_PASS_Z_DEPTH, S::ByDepth},
    {C::MaterialId, "Material ID", RP_MATERIAL_ID, P_PASS_MATERIAL_ID, S::Value},
    {C::TextureCoordinate, "Texture coordinates", RP_UV, P_PASS_UV, S::ByTexture},
    {C::Tangent, "Tangent", RP_TANGENT, P_PASS_TANGENT, S::Signed},
    {C::Wireframe, "Wireframe", RP_WIREFRAME, P_PASS_WIREFRAME, S::Value},
    {C::SmoothNormal, "Vertex normal", RP_VERTEX_NORMAL, P_PASS_VERTEX_NORMAL, S::Signed},
    {C::ObjectId, "Object layer ID", RP_OBJECT_ID, P_PASS_OBJECT_ID, S::Value},
    {C::AmbientOcclusion, "Ambient occlusion", RP_AO, P_PASS_AO, S::Value},
    {C::MotionVector, "Motion vector", RP_MOTION_VECTOR, P_PASS_MOTION_VECTOR, S::BySpeed},
    {C::RenderLayerId, "Render layer ID", RP_LAYER_ID, P_PASS_LAYER_ID, S::Value},
    {C::RenderLayerMask, "Render layer mask", RP_LAYER_MASK, P_PASS_LAYER_MASK, S::Value},
    {C::LightPassId, "Light pass ID", RP_LIGHT_ID, P_PASS_LIGHT_ID, S::Value},
    {C::TangentNormal, "Tangent normal", RP_BEAUTY, P_DYNAMIC, S::Signed},
    {C::Opacity, "Opacity", RP_OPACITY, P_PASS_OPACITY, S::Value},
    {C::BakingGroupId, "Baking group ID", RP_BAKING_GROUP_ID, P_PASS_BAKING_GROUP_ID, S::Value},
    {C::Roughness, "Roughness", RP_INFO_ROUGHNESS, P_PASS_INFO_ROUGHNESS, S::Value},
    {C::IndexOfRefraction, "IOR", RP_INFO_IOR, P_PASS_INFO_IOR, S::ByIndex},
    {C::DiffuseFilter, "Diffuse filter", RP_INFO_DIFFUSE_FILTER, P_PASS_INFO_DIFFUSE_FILTER, S::Value},
    {C::ReflectionFilter, "Reflection filter", RP_INFO_REFLECTION_FILTER, P_PASS_INFO_REFLECTION_FILTER, S::Value},
    {C::RefractionFilter, "Refraction filter", RP_INFO_REFRACTION_FILTER, P_PASS_INFO_REFRACTION_FILTER, S::Value},
    {C::TransmissionFilter, "Transmission filter", RP_INFO_TRANSMISSION_FILTER, P_PASS_INFO_TRANSMISSION_FILTER,
     S::Value},
    {C::ObjectLayerColor, "Object layer color", RP_OBJECT_LAYER_COLOR, P_PASS_OBJECT_LAYER_COLOR, S::Value},
};

}  // namespace

const InfoChannelRow& infoChannelRow(InfoChannel channel) {
    return kRows[static_cast<std::size_t>(channel)];
}

const InfoChannelRow* infoChannelOf(RenderPassId pass) {
    for (const InfoChannelRow& row : kRows) {
        if (row.pin != P_DYNAMIC && row.pass == pass) return &row;
    }
    return nullptr;
}

float infoBackground(const InfoSettings& settings) {
    switch (settings.channel) {
        case C::Depth:
            return settings.depthMax;  // as far as can be shown, so that edges stay finite
        case C::AmbientOcclusion:
            return 1.0f;
        default:
            return 0.0f;
    }
}

Float3 shownInfo(const InfoSettings& settings, Float3 value) {
    switch (infoChannelRow(settings.channel).shade) {
        case S::Value:
            break;
        case S::Signed:
            value = splat(0.5f) + value * 0.5f;
            break;
        case S::ByDepth:
            value *= 1.0f / settings.depthMax;
            break;
        case S::ByTexture:
            value *= 1.0f / settings.uvMax;
            break;
        case S::ByIndex:
            value = value - splat(1.0f);
            break;
        case S::BySpeed:
            value = splat(0.5f) + value * (0.5f / settings.speedMax);
            break;
    }
    return clamp01(value);
}

Float3 idColor(std::uint64_t id) {
    if (id == 0) return {};
    const std::uint32_t h = sobol::hash(static_cast<std::uint32_t>(id), static_cast<std::uint32_t>(id >> 32));
    // Hues all around, at three degrees each of saturation and brightness.
    const float hue = sobol::toUnit(h) * 6.0f;
    const float low = 0.15f * static_cast<float>(h & 3u), high = 1.0f - 0.12f * static_cast<float>(h >> 2 & 3u);
    const auto channel = [&](float shift) {
        const float x = std::fmod(hue + shift, 6.0f);
        return lerp(low, high, clamp01(2.0f - std::abs(x - 2.0f)));
    };
    return {channel(2.0f), channel(0.0f), channel(4.0f)};
}

}  // namespace Lumora::engine
