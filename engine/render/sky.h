// The sky over a landscape and its sun.
#pragma once

#include <memory>
#include <vector>

#include "engine/render/vec.h"

namespace Lumora::engine {

enum class SkyModel : std::uint8_t {
    Analytic,   ///< Preetham, Shirley and Smits, "A Practical Analytic Model for Daylight", 1999
    Scattering  ///< light marched through the atmosphere, twilight included
};

inline constexpr Float3 kNeutralSkyColor{0.05f, 0.3f, 1.0f}, kNeutralSunsetColor{0.6f, 0.12f, 0.02f};

struct SkyParameters {
    SkyModel model = SkyModel::Scattering;
    Float3 sunDirection{0, 1, 0};  ///< towards the sun, unit length
    float turbidity = 2.2f;
    float sunSize = 1.0f;  ///< of the disc's radius, 1: as it is; the light it gives does not change
    /// What the sky's blue and the red of a low sun become: as they stand here they leave the colours alone.
    Float3 skyColor = kNeutralSkyColor, sunsetColor = kNeutralSunsetColor;
    Float3 groundColor;         ///< albedo of the ground that hides the lower part of the sky
    float groundStart = 90.0f;  ///< degrees below the horizon at which the ground begins
    float groundBlend = 1.0f;   ///< degrees over which it comes in
    friend bool operator==(const SkyParameters&, const SkyParameters&) = default;
};

/// Radiance by direction, in a unit in which sunlight above the atmosphere has the irradiance kSunlight.
class Sky {
public:
    explicit Sky(const SkyParameters& parameters);

    /// Without the sun's disc.
    Float3 radiance(Float3 direction) const;
    const SkyParameters& parameters() const { return p_; }
    Float3 sunRadiance() const { return sunRadiance_; }  ///< of the disc; black at night
    float sunCosine() const { return sunCosine_; }       ///< of the disc's angular radius

private:
    struct Perez {
        Float3 a, b, c, d, e;  ///< coefficients of Y, x and y
        Float3 zenith, scale;
    };
    void setSun(const class Atmosphere& atmosphere);
    void bake(const Atmosphere& atmosphere);
    void prepareAnalytic();
    Float3 analytic(Float3 direction) const;
    Float3 tinted(Float3 color, float height) const;
    /// Irradiance of level ground from the upper half, by the tables or the formula.
    Float3 skyIrradiance() const;

    SkyParameters p_;
    Float3 sunRadiance_, groundRadiance_;
    float reddening_ = 0.0f, twilight_ = 1.0f;
    float sunCosine_ = 1.0f;
    Float3 east_{1, 0, 0}, sunSide_{0, 0, 1};  ///< level directions across and towards the sun
    Perez perez_;
    struct Cell {
        Float3 air, haze;
    };
    std::vector<Cell> above_, below_;  ///< by height and angle from the sun's azimuth
};

}  // namespace Lumora::engine
