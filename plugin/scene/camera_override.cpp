#include "plugin/scene/camera_override.h"

#include "plugin/core/ids.h"
#include "plugin/render/document_conversion.h"
#include "plugin/scene/camera_pins.h"

namespace lumora {

namespace {

using Form = PinForm;

enum : Int32 {
    TAG_EXPOSURE = 1424,
    TAG_FSTOP = 1425,
    TAG_ISO = 1426,
    TAG_RESPONSE = 1428,
    TAG_LUT_FILE = 1478,
    TAG_DENOISER = 1482,
};

const TagPin kImager[] = {
    {1427, P_GAMMA, Form::Float, 1.0},
    {1454, P_VIGNETTING, Form::Float},
    {1429, P_COLOR_SATURATION, Form::Float, 0.3},
    {1430, P_HOT_PIXEL_REMOVAL, Form::Float, 1.0},
    {1431, P_WHITE_SATURATION, Form::Float, 1.0},
    {1432, P_PREMULTIPLIED_ALPHA, Form::Bool},
    {1433, P_MIN_DISPLAY_SAMPLES, Form::Int, 1},
    {1460, P_DISABLE_PARTIAL_ALPHA, Form::Bool},
    {1477, P_RESPONSE_ORDER, Form::Int},
    {1481, P_MAX_TONEMAP_INTERVAL, Form::Int, 10},
    {1469, P_NEUTRAL_RESPONSE, Form::Bool},
    {1434, P_DITHERING, Form::Bool, 1},
    {1435, P_HIGHLIGHT_COMPRESSION, Form::Float},
    {1436, P_WHITE_POINT, Form::Vector3, 0, {1, 1, 1}},
    {TAG_DENOISER, P_DENOISER, Form::Bool},
};

const TagPin kDenoiser[] = {
    {1485, P_DENOISE_ON_COMPLETION, Form::Bool},  {1488, P_DENOISE_VOLUMES, Form::Bool},
    {1484, P_DENOISE_INTERVAL, Form::Int, 20},    {1486, P_DENOISER_BLEND, Form::Float},
    {1483, P_DENOISE_MIN_SAMPLES, Form::Int, 10},
};

const TagPin kPost[] = {
    {1521, P_BLOOM_POWER, Form::Float, 1.0},    {1522, P_GLARE_POWER, Form::Float, 0.1},
    {1523, P_GLARE_RAY_COUNT, Form::Int, 3},    {1524, P_GLARE_ANGLE, Form::Float, 15.0},
    {1525, P_GLARE_BLUR, Form::Float, 0.01},    {1526, P_SPECTRAL_INTENSITY, Form::Float, 0.0},
    {1527, P_SPECTRAL_SHIFT, Form::Float, 2.0},
};

template <std::size_t N>
bool writeAll(ApiNode* node, const TagPin (&rows)[N], const BaseContainer& tag) {
    bool changed = false;
    for (const TagPin& row : rows) changed |= writeTagPin(node, row, tag);
    return changed;
}

float exposure(const BaseContainer& tag, Int32 storedVersion) {
    const auto value = [&](Int32 id, Float missing) { return static_cast<float>(tag.GetFloat(id, missing)); };
    const float stored = value(TAG_EXPOSURE, 1.0);
    if (storedVersion >= kVersionExposure) return stored;
    const float fstop = value(TAG_FSTOP, 2.8);
    if (fstop == 0) return stored;
    // Earlier versions stored the factors of a photographic exposure.
    return value(TAG_ISO, 100.0) * (stored / (fstop * fstop)) * 0.1f * 118.0f / 255.0f;
}

bool overrideImager(ApiNode* imager, const BaseContainer& tag, RenderSettings& settings) {
    // The list of the tag counts the curves from this number on.
    constexpr Int32 kFirstResponse = 5000, kDefaultResponse = 99;
    bool changed = setFloatIfChanged(imager, P_EXPOSURE, exposure(tag, settings.storedVersion()));
    changed |= setIntIfChanged(imager, P_RESPONSE, tag.GetInt32(TAG_RESPONSE, kDefaultResponse) - kFirstResponse);
    changed |= writeAll(imager, kImager, tag);
    changed |= settings.applyLutFile(imager, tag.GetString(TAG_LUT_FILE));
    if (tag.GetBool(TAG_DENOISER)) changed |= writeAll(imager, kDenoiser, tag);
    return changed;
}

}  // namespace

bool applyCameraOverrides(ApiNode* renderTarget, const BaseContainer& tag, RenderSettings& settings) {
    if (!renderTarget) return false;
    settings.postOverridden = tag.GetBool(CAMERATAG_POST, false);
    bool changed = false;
    if (settings.postOverridden) {
        ApiNode* post = settings.createPostNode();
        changed |= writeAll(post, kPost, tag);
        changed |= setBoolIfChanged(post, P_POST_ENABLED, true);
    } else {
        changed |= settings.applyPost();
    }
    ApiNode* imager = renderTarget->connectedNode(P_IMAGER);
    settings.imagerOverridden = imager && tag.GetBool(CAMERATAG_IMAGER, false);
    changed |= settings.imagerOverridden ? overrideImager(imager, tag, settings) : settings.applyImager();
    if (changed) SpecialEventAdd(MSG_POST_SWITCHED);
    return changed;
}

}  // namespace lumora
