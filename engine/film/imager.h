// What the imager, the denoiser and post processing are told: plain values, read once from their nodes.
#pragma once

#include <cstdint>
#include <memory>

#include "engine/render/vec.h"

namespace Lumora::engine {

class Lut;

struct Denoiser {
    bool on = false, volumes = false;
    bool onCompletion = true;  ///< only once all samples are there, else every `interval` seconds too
    int interval = 20;         ///< seconds
    int minSamples = 10;       ///< below these it does not run
    float blend = 0.0f;        ///< share of the noisy picture in the result
    friend bool operator==(const Denoiser&, const Denoiser&) = default;
};

/// The steps that make the picture of the exposed light.
enum class ImagerStep : std::uint8_t { Response, Gamma, Lut };
inline constexpr int kImagerOrders = 6;
inline constexpr ImagerStep kImagerOrder[kImagerOrders][3] = {
    {ImagerStep::Response, ImagerStep::Gamma, ImagerStep::Lut},
    {ImagerStep::Gamma, ImagerStep::Response, ImagerStep::Lut},
    {ImagerStep::Lut, ImagerStep::Response, ImagerStep::Gamma},
    {ImagerStep::Lut, ImagerStep::Gamma, ImagerStep::Response},
    {ImagerStep::Response, ImagerStep::Lut, ImagerStep::Gamma},
    {ImagerStep::Gamma, ImagerStep::Lut, ImagerStep::Response}};

struct Imager {
    float exposure = 1.0f, gamma = 1.0f;
    int response = 401;            ///< id of a response curve (film/response.h)
    bool neutralResponse = false;  ///< the curve without its tint
    int order = 0;                 ///< row of kImagerOrder
    std::shared_ptr<const Lut> lut;
    float lutStrength = 1.0f;
    Float3 whitePoint{1, 1, 1};
    float saturation = 1.0f, vignetting = 0.0f;
    float highlightCompression = 0.0f, saturateToWhite = 0.0f;
    float hotPixels = 1.0f;  ///< 1: all stay; less: pixels go that outshine their neighbours by less
    bool premultipliedAlpha = false, disablePartialAlpha = false, dither = false;
    int minDisplaySamples = 1;
    int maxTonemapInterval = 10;  ///< seconds
    Denoiser denoiser;
    friend bool operator==(const Imager&, const Imager&) = default;
};

/// Light that the lens scatters.
struct PostProcessing {
    bool on = false;
    float bloomPower = 1.0f, glarePower = 0.1f;
    int rays = 3;                    ///< lines through each bright point
    float angle = 15.0f;             ///< degrees from the horizontal, of the first
    float blur = 0.01f;              ///< width of a ray, in heights of the picture
    float spectralIntensity = 0.0f;  ///< 0 to 1: how much of a ray is split into colours
    float spectralShift = 2.0f;      ///< exponent of the wavelength in a ray's length
    friend bool operator==(const PostProcessing&, const PostProcessing&) = default;
};

}  // namespace Lumora::engine
