// Camera, kernel and film as plain values, read once from their nodes.
#pragma once

#include <array>
#include <cstdint>
#include <limits>

#include "engine/film/imager.h"
#include "engine/render/vec.h"

namespace Lumora::engine {

/// Thin lens. Right-handed, metres.
struct Camera {
    Float3 position{0, 0, 5}, target{}, up{0, 1, 0};
    float fov = 45.0f;  ///< degrees, across the width
    float apertureRadius = 0.0f;
    float apertureAspect = 1.0f;  ///< height to width of the lens opening
    float focalDepth = 5.0f;      ///< distance of the plane in focus
    bool autofocus = false;       ///< the plane in focus goes through what the middle of the picture shows
    bool orthographic = false;    ///< the field then spans what the perspective one spans at the target
    bool panoramic = false;       ///< equirectangular, fovX by fovY degrees
    float fovX = 360.0f, fovY = 180.0f;
    float pixelAspect = 1.0f;
    Float2 lensShift{};  ///< in widths and heights of the picture
    float nearClip = 0.0f, farClip = kInfinity;
    friend bool operator==(const Camera&, const Camera&) = default;
};

enum class DirectMode : std::uint8_t { None, AmbientOcclusion, Diffuse };

struct Kernel {
    bool path = true;  ///< path tracing, else direct lighting
    DirectMode directMode = DirectMode::AmbientOcclusion;
    std::uint32_t maxSamples = 128;
    int diffuseDepth = 8, glossyDepth = 24;  ///< bounces
    int specularDepth = 24;                  ///< bounces by mirrors and clear glass, glossy ones counted in
    float causticBlur = 0.02f;               ///< least width of facet distributions after a diffuse bounce
    float aoDistance = 3.0f;
    float filterSize = 1.2f;   ///< pixels; 1 and less is a box
    float rayEpsilon = 1e-4f;  ///< metres
    float giClamp = 1e6f;
    float terminationPower = 0.3f;  ///< Russian roulette: 0 never, 1 as hard as it may
    bool alphaChannel = false, keepEnvironment = false, alphaShadows = true;
    std::uint32_t seed = 0;
    std::uint32_t lightMask = 0x3ff;      ///< lights taken in: bit 0 the sun, 1 the environment, 2 to 9 the ids
    std::uint32_t lightMaskInverted = 0;  ///< ids for which the masks of object layers are turned about
    friend bool operator==(const Kernel&, const Kernel&) = default;
};

/// Pixels from the upper left corner.
struct Film {
    std::uint32_t width = 1024, height = 512;
    std::uint32_t regionX = 0, regionY = 0;
    std::uint32_t regionWidth = std::numeric_limits<std::uint32_t>::max();
    std::uint32_t regionHeight = std::numeric_limits<std::uint32_t>::max();
    friend bool operator==(const Film&, const Film&) = default;
};

}  // namespace Lumora::engine
