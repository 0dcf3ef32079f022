#include "engine/compile/settings.h"

#include <algorithm>

#include "engine/compile/camera_keys.h"
#include "engine/render/emission.h"
#include "engine/render/info_channel.h"

namespace Lumora::engine {

namespace {

Stereo readStereo(const NodeTable& nodes, const NodeRecord& node) {
    Stereo s;
    s.output = static_cast<StereoOutput>(std::clamp(nodes.integer(node, P_STEREO_OUTPUT, 0), 0, 6));
    s.mode = static_cast<StereoMode>(std::clamp(nodes.integer(node, P_STEREO_MODE, 1), 0, 2));
    s.eyeDistance = std::clamp(nodes.number(node, P_STEREO_DISTANCE, s.eyeDistance), 0.0f, 1000.0f);
    s.falloff = std::clamp(nodes.number(node, P_STEREO_FALLOFF, s.falloff), 0.0f, 100.0f);
    s.blackoutLatitude = std::clamp(nodes.number(node, P_STEREO_FALLOFF_ANGLE, 90.0f), 0.0f, 90.0f);
    s.swapEyes = nodes.flag(node, P_SWAP_EYES, false);
    s.leftFilter = nodes.vector(node, P_LEFT_FILTER, s.leftFilter);
    s.rightFilter = nodes.vector(node, P_RIGHT_FILTER, s.rightFilter);
    return s;
}

void readLens(const NodeTable& nodes, const NodeRecord& node, Camera& c) {
    c.focalDepth = nodes.number(node, P_FOCAL_DEPTH, length(c.target - c.position));
    c.autofocus = nodes.flag(node, P_AUTOFOCUS, false);
    // Apertures are given as the radius of the opening in centimetres.
    c.apertureRadius = std::max(nodes.number(node, P_APERTURE, 0.0f), 0.0f) * 0.01f;
    c.apertureAspect = std::clamp(nodes.number(node, P_APERTURE_ASPECT, 1.0f), 0.01f, 100.0f);
    c.apertureEdge = std::clamp(nodes.number(node, P_APERTURE_EDGE, 1.0f), 1.0f, 3.0f);
    c.bokehSides = std::clamp(nodes.integer(node, P_BOKEH_SIDES, 6), 3, 64);
    c.bokehRotation = nodes.number(node, P_BOKEH_ROTATION, 0.0f);
    c.bokehRoundness = clamp01(nodes.number(node, P_BOKEH_ROUNDNESS, 1.0f));
    c.nearClip = std::max(nodes.number(node, P_NEAR_CLIP, 0.0f), 0.0f);
    const float far = nodes.number(node, P_FAR_CLIP, kInfinity);
    c.farClip = far > c.nearClip ? far : kInfinity;
}

Baking readBaking(const NodeTable& nodes, const NodeRecord& node) {
    Baking b;
    b.group = nodes.integer(node, P_BAKING_GROUP_ID, 1);
    b.uvSet = std::clamp(nodes.integer(node, P_UV_SET, 1), 1, 3) - 1;
    b.padding = std::clamp(nodes.integer(node, P_BAKE_PADDING, 4), 0, 16);
    b.tolerance = clamp01(nodes.number(node, P_TOLERANCE, 0.5f));
    b.outwards = nodes.flag(node, P_BAKE_OUTWARDS, true);
    b.fromPosition = nodes.flag(node, P_BAKE_FROM_POSITION, false);
    const Float3 start = nodes.vector(node, P_UV_REGION_START, {}),
                 size = nodes.vector(node, P_UV_REGION_SIZE, splat(1.0f));
    b.regionStart = {start.x, start.y};
    b.regionSize = {size.x, size.y};
    return b;
}

}  // namespace

Camera readCamera(const NodeTable& nodes, const NodeRecord& target, float time, float fps) {
    Camera c;
    const NodeRecord* node = nodes.input(target, P_CAMERA);
    if (!node) return c;
    c.position = nodes.vector(*node, P_POSITION, c.position);
    if (node->type == NT_CAM_BAKING) {
        c.kind = CameraKind::Baking;
        c.baking = readBaking(nodes, *node);
        return c;
    }
    c.target = nodes.vector(*node, P_TARGET, c.target);
    c.up = nodes.vector(*node, P_UP, c.up);
    readCameraKeys(nodes, target, *node, time, fps, c);
    readLens(nodes, *node, c);
    c.stereo = readStereo(nodes, *node);
    if (node->type == NT_CAM_PANORAMIC) {
        c.kind = CameraKind::Panoramic;
        c.projection = static_cast<Panorama>(
            std::clamp(nodes.integer(*node, P_CAMERA_MODE, 0), 0, static_cast<int>(Panorama::Fisheye)));
        c.fovX = std::clamp(nodes.number(*node, P_FOV_X, 360.0f), 0.01f, 360.0f);
        c.fovY = std::clamp(nodes.number(*node, P_FOV_Y, 180.0f), 0.01f, 180.0f);
        c.keepUpright = nodes.flag(*node, P_KEEP_UPRIGHT, false);
        return c;
    }
    c.fov = std::clamp(nodes.number(*node, P_FOV, c.fov), 0.001f, 179.0f);
    c.orthographic = nodes.flag(*node, P_ORTHOGRAPHIC, false);
    c.perspectiveCorrection = nodes.flag(*node, P_PERSPECTIVE_CORRECTION, false);
    c.distortion = clamp01(nodes.number(*node, P_DISTORTION, 0.0f));
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
    constexpr int kTakeIn = 1;  // else the lights of the set are left out
    if (nodes.input(node, P_LIGHT_IDS)) {
        const std::uint32_t set = lightSet(nodes, node, P_LIGHT_IDS);
        k.lightMask = nodes.integer(node, P_LIGHT_IDS_ACTION, kTakeIn) == kTakeIn ? set : kAllLights & ~set;
    }
    k.lightMaskInverted = lightSet(nodes, node, P_LIGHT_IDS_INVERTED);
}

}  // namespace

namespace {

std::uint32_t count(const NodeTable& nodes, const NodeRecord& node, PinId pin, int fallback, int most) {
    return static_cast<std::uint32_t>(std::clamp(nodes.integer(node, pin, fallback), 1, most));
}

Adaptive readAdaptive(const NodeTable& nodes, const NodeRecord& node) {
    Adaptive a;
    a.on = nodes.flag(node, P_ADAPTIVE_SAMPLING, false);
    if (!a.on) return a;
    a.threshold = std::clamp(nodes.number(node, P_NOISE_THRESHOLD, a.threshold), 0.0f, 1.0f);
    a.minSamples = count(nodes, node, P_MIN_ADAPTIVE_SAMPLES, 256, 1000000);
    a.expectedExposure = std::max(nodes.number(node, P_EXPECTED_EXPOSURE, 0.0f), 0.0f);
    a.group = 1u << (count(nodes, node, P_PIXEL_GROUPING, 2, 3) - 1);
    return a;
}

Metropolis readMetropolis(const NodeTable& nodes, const NodeRecord& node) {
    Metropolis m;
    m.exploration = clamp01(nodes.number(node, P_EXPLORATION_STRENGTH, m.exploration));
    m.directImportance = std::clamp(nodes.number(node, P_DIRECT_LIGHT_IMPORTANCE, m.directImportance), 0.01f, 1.0f);
    m.maxRejects = std::clamp(nodes.integer(node, P_MAX_REJECTS, m.maxRejects), 1, 1000000);
    m.chains = std::clamp(nodes.integer(node, P_PARALLELISM, m.chains), 1, 8);
    m.chunk = count(nodes, node, P_WORK_CHUNK_SIZE, 8, 64);
    return m;
}

/// What the info channel kernel and the passes node have in common.
InfoSettings readInfo(const NodeTable& nodes, const NodeRecord& node) {
    InfoSettings i;
    i.channel = static_cast<InfoChannel>(std::clamp(nodes.integer(node, P_INFO_CHANNEL, 1), 0, kInfoChannelCount - 1));
    i.sampling = static_cast<InfoSampling>(std::clamp(nodes.integer(node, P_DISTRIBUTED_TRACING, 0), 0, 2));
    i.bump = nodes.flag(node, P_BUMP, true);
    i.highlightBackfaces = nodes.flag(node, P_HIGHLIGHT_BACKFACES, false);
    i.aoAlphaShadows = nodes.flag(node, P_AO_ALPHA_SHADOWS, false);
    i.opacityThreshold = clamp01(nodes.number(node, P_OPACITY_THRESHOLD, 1.0f));
    i.uvSet = std::clamp(nodes.integer(node, P_UV_SET, 1), 1, 3) - 1;
    i.uvMax = std::max(nodes.number(node, P_UV_MAX, 1.0f), 1e-5f);
    i.depthMax = std::max(nodes.number(node, P_Z_DEPTH_MAX, 5.0f), 1e-4f);
    i.speedMax = std::max(nodes.number(node, P_MAX_SPEED, 1.0f), 1e-5f);
    i.aoDistance = std::max(nodes.number(node, P_AO_DISTANCE, 3.0f), 1e-4f);
    return i;
}

RenderLayer readLayer(const NodeTable& nodes, const NodeRecord& target) {
    RenderLayer layer;
    const NodeRecord* node = nodes.input(target, P_RENDER_LAYER);
    if (!node) return layer;
    layer.on = nodes.flag(*node, P_ENABLED, false);
    layer.id = std::clamp(nodes.integer(*node, P_LAYER_ID, 1), 1, 255);
    layer.inverted = nodes.flag(*node, P_INVERT, false);
    return layer;
}

/// How samples are spread over pixels, units of work and chains.
void readSampling(const NodeTable& nodes, const NodeRecord& target, const NodeRecord& node, Kernel& k) {
    k.staticNoise = nodes.flag(node, P_STATIC_NOISE, false);
    k.irradiance = nodes.flag(node, P_IRRADIANCE_MODE, false);
    k.coherentRatio = clamp01(nodes.number(node, P_COHERENT_RATIO, 0.0f));
    k.firstBatch = count(nodes, node, P_PARALLEL_SAMPLES, 16, 64);
    k.longestBatch = std::max(k.firstBatch, count(nodes, node, P_MAX_TILE_SAMPLES, 32, 64));
    k.layer = readLayer(nodes, target);
    switch (k.kind) {
        case KernelKind::Path:
        case KernelKind::Direct:
            k.adaptive = readAdaptive(nodes, node);
            break;
        case KernelKind::Metropolis:
            k.metropolis = readMetropolis(nodes, node);
            k.firstBatch = k.longestBatch = k.metropolis.chunk;
            break;
        case KernelKind::Info:
            k.info = readInfo(nodes, node);
            break;
    }
}

KernelKind kindOf(NodeType type) {
    switch (type) {
        case NT_KERNEL_DIRECT:
            return KernelKind::Direct;
        case NT_KERNEL_PMC:
            return KernelKind::Metropolis;
        case NT_KERNEL_INFO:
            return KernelKind::Info;
        default:
            return KernelKind::Path;
    }
}

}  // namespace

Kernel readKernel(const NodeTable& nodes, const NodeRecord& target) {
    Kernel k;
    const NodeRecord* node = nodes.input(target, P_KERNEL);
    if (!node) return k;
    k.kind = kindOf(node->type);
    readSampling(nodes, target, *node, k);
    k.path = k.kind == KernelKind::Path || k.kind == KernelKind::Metropolis;
    k.maxSamples = static_cast<std::uint32_t>(std::clamp(nodes.integer(*node, P_MAX_SAMPLES, 128), 1, 1000000));
    k.filterSize = std::clamp(nodes.number(*node, P_FILTER_SIZE, 1.2f), 1.0f, 16.0f);
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

InfoPasses readInfoPasses(const NodeTable& nodes, const NodeRecord& target) {
    InfoPasses p;
    const NodeRecord* node = nodes.input(target, P_RENDER_PASSES);
    if (!node) return p;
    for (int i = 0; i < kInfoChannelCount; ++i) {
        const InfoChannelRow& row = infoChannelRow(static_cast<InfoChannel>(i));
        if (row.pin != P_DYNAMIC && nodes.flag(*node, row.pin, false)) p.channels.push_back(row.channel);
    }
    p.maxSamples = count(nodes, *node, P_PASS_INFO_MAX_SAMPLES, 128, 1000000);
    p.settings = readInfo(nodes, *node);
    p.noise = nodes.flag(*node, P_PASS_NOISE, false);
    return p;
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
