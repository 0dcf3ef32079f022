#include "engine/compile/imager_settings.h"

#include <algorithm>

#include "engine/film/lut.h"
#include "engine/film/response.h"

namespace Lumora::engine {

void ImagerReader::readLut(const NodeTable& nodes, const NodeRecord& imager, const LogFunction& log) {
    const NodeRecord* node = nodes.input(imager, P_LUT);
    const std::string file = node ? node->attributeValue<std::string>(A_FILENAME, {}) : std::string();
    const std::uint32_t reloads = node ? node->reloads : 0;
    if (file == file_ && reloads == reloads_) return;
    file_ = file;
    reloads_ = reloads;
    lut_ = nullptr;
    if (file.empty()) return;
    std::string error;
    lut_ = Lut::load(file, error);
    if (!lut_ && log) log(error);
}

Imager ImagerReader::read(const NodeTable& nodes, const NodeRecord& target, const LogFunction& log) {
    Imager i;
    const NodeRecord* node = nodes.input(target, P_IMAGER);
    if (!node) return i;
    const auto number = [&](PinId pin, float fallback, float low, float high) {
        const float v = nodes.number(*node, pin, fallback);
        return v >= low ? std::min(v, high) : low;  // also of what is no number
    };
    const auto whole = [&](PinId pin, int fallback, int low, int high) {
        return std::clamp(nodes.integer(*node, pin, fallback), low, high);
    };
    const auto flag = [&](PinId pin, bool fallback) { return nodes.flag(*node, pin, fallback); };
    i.exposure = number(P_EXPOSURE, 1.0f, 0.0f, 1e9f);
    i.gamma = number(P_GAMMA, 1.0f, 0.01f, 100.0f);
    i.response = nodes.integer(*node, P_RESPONSE, 401);
    i.neutralResponse = flag(P_NEUTRAL_RESPONSE, false);
    i.order = whole(P_RESPONSE_ORDER, 0, 0, kImagerOrders - 1);
    i.whitePoint = nodes.vector(*node, P_WHITE_POINT, i.whitePoint);
    i.saturation = number(P_COLOR_SATURATION, 1.0f, 0.0f, 1e3f);
    i.vignetting = number(P_VIGNETTING, 0.0f, 0.0f, 1.0f);
    i.highlightCompression = number(P_HIGHLIGHT_COMPRESSION, 0.0f, 0.0f, 1.0f);
    i.saturateToWhite = number(P_WHITE_SATURATION, 0.0f, 0.0f, 1.0f);
    i.hotPixels = number(P_HOT_PIXEL_REMOVAL, 1.0f, 0.0f, 1.0f);
    i.premultipliedAlpha = flag(P_PREMULTIPLIED_ALPHA, false);
    i.disablePartialAlpha = flag(P_DISABLE_PARTIAL_ALPHA, false);
    i.dither = flag(P_DITHERING, false);
    i.minDisplaySamples = whole(P_MIN_DISPLAY_SAMPLES, 1, 1, 1000000);
    i.maxTonemapInterval = whole(P_MAX_TONEMAP_INTERVAL, 10, 1, 3600);
    i.denoiser.on = flag(P_DENOISER, false);
    i.denoiser.volumes = flag(P_DENOISE_VOLUMES, false);
    i.denoiser.onCompletion = flag(P_DENOISE_ON_COMPLETION, true);
    i.denoiser.interval = whole(P_DENOISE_INTERVAL, 20, 1, 3600);
    i.denoiser.minSamples = whole(P_DENOISE_MIN_SAMPLES, 10, 1, 1000000);
    i.denoiser.blend = number(P_DENOISER_BLEND, 0.0f, 0.0f, 1.0f);
    readLut(nodes, *node, log);
    i.lut = lut_;
    if (const NodeRecord* lut = nodes.input(*node, P_LUT))
        i.lutStrength = std::clamp(nodes.number(*lut, P_STRENGTH, 1.0f), 0.0f, 1.0f);
    if (!knownResponse(i.response) && i.response != loggedResponse_ && log) {
        loggedResponse_ = i.response;
        log("There is no camera response " + std::to_string(i.response) + "; the picture is shown as sRGB.");
    }
    return i;
}

PostProcessing readPost(const NodeTable& nodes, const NodeRecord& target) {
    PostProcessing p;
    const NodeRecord* node = nodes.input(target, P_POST_PROCESSING);
    if (!node) return p;
    const auto number = [&](PinId pin, float fallback, float low, float high) {
        const float v = nodes.number(*node, pin, fallback);
        return v >= low ? std::min(v, high) : low;
    };
    p.on = nodes.flag(*node, P_POST_ENABLED, false);
    p.bloomPower = number(P_BLOOM_POWER, 1.0f, 0.0f, 1e5f);
    p.glarePower = number(P_GLARE_POWER, 0.1f, 0.0f, 1e5f);
    p.rays = std::clamp(nodes.integer(*node, P_GLARE_RAY_COUNT, 3), 1, 8);
    p.angle = number(P_GLARE_ANGLE, 15.0f, -90.0f, 90.0f);
    p.blur = number(P_GLARE_BLUR, 0.01f, 0.0f, 0.5f);
    p.spectralIntensity = number(P_SPECTRAL_INTENSITY, 0.0f, 0.0f, 1.0f);
    p.spectralShift = number(P_SPECTRAL_SHIFT, 2.0f, 0.0f, 6.0f);
    return p;
}

}  // namespace Lumora::engine
