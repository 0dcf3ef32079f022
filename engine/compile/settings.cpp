#include "engine/compile/settings.h"

#include <algorithm>

#include "engine/render/emission.h"

namespace Lumora::engine {

Camera readCamera(const NodeTable& nodes, const NodeRecord& target) {
    Camera c;
    const NodeRecord* node = nodes.input(target, P_CAMERA);
    if (!node) return c;
    c.position = nodes.vector(*node, P_POSITION, c.position);
    c.target = nodes.vector(*node, P_TARGET, c.target);
    c.up = nodes.vector(*node, P_UP, c.up);
    c.focalDepth = nodes.number(*node, P_FOCAL_DEPTH, length(c.target - c.position));
    c.autofocus = nodes.flag(*node, P_AUTOFOCUS, false);
    // Apertures are given as the radius of the opening in centimetres.
    c.apertureRadius = std::max(nodes.number(*node, P_APERTURE, 0.0f), 0.0f) * 0.01f;
    c.apertureAspect = std::clamp(nodes.number(*node, P_APERTURE_ASPECT, 1.0f), 0.01f, 100.0f);
    c.nearClip = std::max(nodes.number(*node, P_NEAR_CLIP, 0.0f), 0.0f);
    const float far = nodes.number(*node, P_FAR_CLIP, kInfinity);
    c.farClip = far > c.nearClip ? far : kInfinity;
    if (node->type == NT_CAM_PANORAMIC) {
        c.panoramic = true;
        c.apertureRadius = 0.0f;
        c.fovX = std::clamp(nodes.number(*node, P_FOV_X, 360.0f), 1.0f, 360.0f);
        c.fovY = std::clamp(nodes.number(*node, P_FOV_Y, 180.0f), 1.0f, 180.0f);
        return c;
    }
    c.fov = std::clamp(nodes.number(*node, P_FOV, c.fov), 0.01f, 179.0f);
    c.orthographic = nodes.flag(*node, P_ORTHOGRAPHIC, false);
    c.pixelAspect = std::clamp(nodes.number(*node, P_PIXEL_ASPECT, 1.0f), 0.01f, 100.0f);
    const Float3 shift = nodes.vector(*node, P_LENS_SHIFT, {});
    c.lensShift = {shift.x, shift.y};
    return c;
}

namespace {

/// The set of lights under a pin; empty when nothing is connected.
std::uint32_t lightSet(const NodeTable& nodes, const NodeRecord& kernel, PinId pin) {
    const NodeRecord* set = nodes.input(kernel, pin);
    return set && set->type == NT_BIT_MASK
               ? static_cast<std::uint32_t>(set->attributeValue<int>(A_VALUE, 0)) & kAllLights
               : 0;
}

void readLightSets(const NodeTable& nodes, const NodeRecord& node, Kernel& k) {
    constexpr int kTakeOut = 1;
    if (nodes.input(node, P_LIGHT_IDS)) {
        const std::uint32_t set = lightSet(nodes, node, P_LIGHT_IDS);
        k.lightMask = nodes.integer(node, P_LIGHT_IDS_ACTION, 0) == kTakeOut ? kAllLights & ~set : set;
    }
    k.lightMaskInverted = lightSet(nodes, node, P_LIGHT_IDS_INVERTED);
}

}  // namespace

Kernel readKernel(const NodeTable& nodes, const NodeRecord& target) {
    Kernel k;
    const NodeRecord* node = nodes.input(target, P_KERNEL);
    if (!node) return k;
    k.path = node->type != NT_KERNEL_DIRECT && node->type != NT_KERNEL_INFO;
    k.maxSamples = static_cast<std::uint32_t>(std::clamp(nodes.integer(*node, P_MAX_SAMPLES, 128), 1, 1000000));
    k.filterSize = std::clamp(nodes.number(*node, P_FILTER_SIZE, 1.2f), 1.0f, 8.0f);
    k.alphaChannel = nodes.flag(*node, P_ALPHA_CHANNEL, false);
    k.keepEnvironment = nodes.flag(*node, P_KEEP_ENVIRONMENT, false);
    k.alphaShadows = nodes.flag(*node, P_ALPHA_SHADOWS, true);
    readLightSets(nodes, *node, k);
    k.rayEpsilon = nodes.number(*node, P_RAY_EPSILON, 1e-4f);
    k.terminationPower = std::clamp(nodes.number(*node, P_PATH_TERMINATION_POWER, 0.3f), 0.0f, 1.0f);
    if (k.path) {
        k.diffuseDepth = std::clamp(nodes.integer(*node, P_MAX_DIFFUSE_DEPTH, 8), 1, 1024);
        k.glossyDepth = std::clamp(nodes.integer(*node, P_MAX_GLOSSY_DEPTH, 24), 1, 1024);
        k.specularDepth = k.glossyDepth;
        k.causticBlur = std::clamp(nodes.number(*node, P_CAUSTIC_BLUR, 0.02f), 0.0f, 1.0f);
        const float clampAt = nodes.number(*node, P_GI_CLAMP, 1e6f);
        k.giClamp = clampAt > 0.0f ? clampAt : 1e6f;
    } else {
        k.diffuseDepth = std::clamp(nodes.integer(*node, P_DIFFUSE_DEPTH, 2), 1, 1024);
        k.glossyDepth = std::clamp(nodes.integer(*node, P_GLOSSY_DEPTH, 2), 1, 1024);
        k.specularDepth = std::clamp(nodes.integer(*node, P_SPECULAR_DEPTH, 5), 1, 1024);
        k.causticBlur = 0.0f;
        k.aoDistance = std::max(nodes.number(*node, P_AO_DISTANCE, 3.0f), 0.0f);
        switch (nodes.integer(*node, P_GI_MODE, 3)) {
            case 4:
                k.directMode = DirectMode::Diffuse;
                break;
            case 3:
                k.directMode = DirectMode::AmbientOcclusion;
                break;
            default:
                k.directMode = DirectMode::None;
                break;
        }
    }
    return k;
}

Film readFilm(const NodeTable& nodes, const NodeRecord& target) {
    Film f;
    const NodeRecord* node = nodes.input(target, P_FILM_SETTINGS);
    if (!node) return f;
    const auto pair = [&](PinId id, Float3 fallback, std::uint32_t least, std::uint32_t& x, std::uint32_t& y) {
        const Float3 v = nodes.vector(*node, id, fallback);
        const auto bring = [least](float n) {
            return static_cast<std::uint32_t>(
                std::clamp(n, static_cast<float>(least), static_cast<float>(kMaxFilmEdge)));
        };
        x = bring(v.x);
        y = bring(v.y);
    };
    pair(P_RESOLUTION, {1024, 512, 0}, 1, f.width, f.height);
    pair(P_REGION_START, {}, 0, f.regionX, f.regionY);
    pair(P_REGION_SIZE, {65536, 65536, 0}, 1, f.regionWidth, f.regionHeight);
    return f;
}

}  // namespace Lumora::engine
