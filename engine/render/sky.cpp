#include "engine/render/sky.h"

#include <tbb/parallel_for.h>

#include "engine/render/atmosphere.h"

namespace Lumora::engine {

namespace {

constexpr float kDegree = kPi / 180.0f;
constexpr float kSunRadius = 0.2665f * kDegree;
/// Candela per square metre, in thousands, that a radiance of one stands for: sunlight above the atmosphere has 128
/// kilolux.
constexpr float kKilocandela = 128.0f / kSunlight;
constexpr int kColumns = 48, kAbove = 96, kBelow = 24;

/// Height of the directions in a row of the tables. Rows are close together at the horizon, and none lies on it.
float rowHeight(int row) {
    const bool up = row < kAbove;
    const float t = up ? static_cast<float>(row) / (kAbove - 1) : static_cast<float>(row - kAbove) / (kBelow - 1);
    return std::sin(0.5f * kPi * std::max(t * t, 2e-6f) * (up ? 1.0f : -1.0f));
}

Float3 positive(Float3 c) {
    return {std::max(c.x, 0.0f), std::max(c.y, 0.0f), std::max(c.z, 0.0f)};
}

/// Turns the part of a colour that is of the hue `from` into the hue `to`: what is white stays white. `part` is how
/// much of the colour that is, 0 to 1.
Float3 repainted(Float3 color, Float3 from, Float3 to, float part) {
    return positive(color + (to - from) * (clamp01(part) * luminance(color) / luminance(from)));
}

float blueness(Float3 c) {
    return c.z > 0.0f ? (c.z - c.x) / c.z : 0.0f;
}
float redness(Float3 c) {
    return c.x > 0.0f ? (c.x - c.z) / c.x : 0.0f;
}

float smoothStep(float low, float high, float x) {
    const float t = clamp01((x - low) / (high - low));
    return t * t * (3.0f - 2.0f * t);
}

/// Colour of chromaticity x, y and luminance one.
Float3 fromChromaticity(float x, float y) {
    const float X = x / y, Z = (1.0f - x - y) / y;
    return {3.2404542f * X - 1.5371385f - 0.4985314f * Z, -0.9692660f * X + 1.8760108f + 0.0415560f * Z,
            0.0556434f * X - 0.2040259f + 1.0572252f * Z};
}

/// Perez's function for three quantities at once.
template <typename P>
Float3 perez(const P& p, float cosTheta, float gamma, float cosGamma) {
    const auto one = [&](float a, float b, float c, float d, float e) {
        return (1.0f + a * std::exp(b / cosTheta)) * (1.0f + c * std::exp(d * gamma) + e * cosGamma * cosGamma);
    };
    return {one(p.a.x, p.b.x, p.c.x, p.d.x, p.e.x), one(p.a.y, p.b.y, p.c.y, p.d.y, p.e.y),
            one(p.a.z, p.b.z, p.c.z, p.d.z, p.e.z)};
}

}  // namespace

Sky::Sky(const SkyParameters& parameters) : p_(parameters) {
    const Float3 level = normalize({p_.sunDirection.x, 0.0f, p_.sunDirection.z});
    if (level != Float3{}) sunSide_ = level;
    east_ = cross({0, 1, 0}, sunSide_);
    const auto atmosphere = Atmosphere::of(p_.turbidity);
    setSun(*atmosphere);
    if (p_.model == SkyModel::Analytic) {
        prepareAnalytic();
    } else {
        bake(*atmosphere);
    }
    const float disc = 2.0f * kPi * (1.0f - sunCosine_);
    const Float3 irradiance = skyIrradiance() + sunRadiance_ * (disc * std::max(p_.sunDirection.y, 0.0f));
    if (p_.model == SkyModel::Scattering) {
        // The landscape below the horizon shows what reaches it.
        for (Cell& c : below_) c.air += c.haze * irradiance;
    }
    groundRadiance_ = p_.groundColor * irradiance * kInvPi;
}

void Sky::setSun(const Atmosphere& atmosphere) {
    const float radius = kSunRadius * p_.sunSize;
    sunCosine_ = std::cos(radius);
    Spectrum light = atmosphere.sunTransmittance(0.0f, p_.sunDirection.y);
    const float passedRed = light[Spectrum::kCount - 1], passedBlue = light[0];
    for (int i = 0; i < Spectrum::kCount; ++i) light[i] *= sunlight()[i];
    reddening_ = passedRed > 0.0f ? 1.0f - passedBlue / passedRed : 1.0f;
    const Float3 plain = positive(spectrumColor(light));
    const Float3 color = repainted(plain, kNeutralSunsetColor, p_.sunsetColor, reddening_ * clamp01(redness(plain)));
    const float half = std::sin(0.5f * radius);
    sunRadiance_ = color * (1.0f / (4.0f * kPi * half * half));
}

void Sky::bake(const Atmosphere& atmosphere) {
    above_.resize(kColumns * kAbove);
    below_.resize(kColumns * kBelow);
    const std::vector<Atmosphere::Ray>& rays = atmosphere.rays(kAbove + kBelow, rowHeight);
    tbb::parallel_for(0, kAbove + kBelow, [&](int row) {
        const bool up = row < kAbove;
        const float y = rowHeight(row), across = std::sqrt(std::max(0.0f, 1.0f - y * y));
        const Atmosphere::Ray& ray = rays[static_cast<std::size_t>(row)];
        Float3 ground;
        if (!up && ray.ground) {
            constexpr float kAlbedo = 0.2f;
            Spectrum white = ray.transmittance;
            for (int w = 0; w < Spectrum::kCount; ++w) white[w] *= sunlight()[w];
            const Float3 through = positive(spectrumColor(white)) * (kAlbedo * kInvPi / kSunlight);
            ground = through / std::max(luminance(spectrumColor(sunlight())) / kSunlight, 1e-6f);
        }
        for (int column = 0; column < kColumns; ++column) {
            const float phi = kPi * static_cast<float>(column) / (kColumns - 1);
            const Float3 d = (sunSide_ * std::cos(phi) + east_ * std::sin(phi)) * across + Float3{0, y, 0};
            const float along = dot(d, p_.sunDirection);
            const Atmosphere::View v = atmosphere.view(ray, p_.sunDirection.y, along);
            const Float3 air = positive(spectrumColor(v.air)), haze = positive(spectrumColor(v.haze));
            if (up) {
                above_[static_cast<std::size_t>(row * kColumns + column)] = {air, haze};
            } else {
                // Below, haze is bright only close to the horizon; its light joins the rest, and its place takes the
                // share of the ground's light that comes through.
                below_[static_cast<std::size_t>((row - kAbove) * kColumns + column)] = {
                    air + haze * Atmosphere::hazePhase(along), ground};
            }
        }
    });
}

void Sky::prepareAnalytic() {
    // Valid for turbidities from 1.7 on; the sun may not be below the horizon, where the sky fades with twilight.
    const float t = std::clamp(p_.turbidity, 1.7f, 10.0f);
    const float height = std::asin(std::clamp(p_.sunDirection.y, -1.0f, 1.0f));
    twilight_ = smoothStep(-8.0f * kDegree, 8.0f * kDegree, height);
    twilight_ *= twilight_;
    const float s = std::min(0.5f * kPi - height, 88.0f * kDegree);
    perez_.a = {0.1787f * t - 1.4630f, -0.0193f * t - 0.2592f, -0.0167f * t - 0.2608f};
    perez_.b = {-0.3554f * t + 0.4275f, -0.0665f * t + 0.0008f, -0.0950f * t + 0.0092f};
    perez_.c = {-0.0227f * t + 5.3251f, -0.0004f * t + 0.2125f, -0.0079f * t + 0.2102f};
    perez_.d = {0.1206f * t - 2.5771f, -0.0641f * t - 0.8989f, -0.0441f * t - 1.6537f};
    perez_.e = {-0.0670f * t + 0.3703f, -0.0033f * t + 0.0452f, -0.0109f * t + 0.0529f};
    const float chi = (4.0f / 9.0f - t / 120.0f) * (kPi - 2.0f * s);
    const float s2 = s * s, s3 = s2 * s;
    const float luminance = std::max((4.0453f * t - 4.9710f) * std::tan(chi) - 0.2155f * t + 2.4192f, 0.05f);
    const float x = t * t * (0.00166f * s3 - 0.00375f * s2 + 0.00209f * s) +
                    t * (-0.02903f * s3 + 0.06377f * s2 - 0.03202f * s + 0.00394f) +
                    (0.11693f * s3 - 0.21196f * s2 + 0.06052f * s + 0.25886f);
    const float y = t * t * (0.00275f * s3 - 0.00610f * s2 + 0.00317f * s) +
                    t * (-0.04214f * s3 + 0.08970f * s2 - 0.04153f * s + 0.00516f) +
                    (0.15346f * s3 - 0.26756f * s2 + 0.06670f * s + 0.26688f);
    perez_.zenith = {luminance / kKilocandela, x, y};
    const Float3 norm = perez(perez_, 1.0f, s, std::cos(s));
    perez_.scale = {perez_.zenith.x / norm.x, perez_.zenith.y / norm.y, perez_.zenith.z / norm.z};
}

Float3 Sky::analytic(Float3 d) const {
    const float cosTheta = std::max(d.y, 0.01f);
    const float cosGamma = std::clamp(dot(d, p_.sunDirection), -1.0f, 1.0f);
    const Float3 v = perez_.scale * perez(perez_, cosTheta, std::acos(cosGamma), cosGamma);
    return positive(fromChromaticity(v.y, std::max(v.z, 0.05f))) * (std::max(v.x, 0.0f) * twilight_);
}

Float3 Sky::tinted(Float3 color, float height) const {
    color = repainted(color, kNeutralSkyColor, p_.skyColor, blueness(color));
    // The colour of the sunset lies over the horizon, the more the lower the sun.
    const float low = reddening_ * std::exp(-std::max(height, 0.0f) * 6.0f);
    return repainted(color, kNeutralSunsetColor, p_.sunsetColor, low * clamp01(redness(color)));
}

Float3 Sky::radiance(Float3 d) const {
    Float3 color;
    if (p_.model == SkyModel::Analytic) {
        color = analytic(d);
        // Nothing is known of the lower half: the haze of the horizon, darker towards the feet.
        if (d.y < 0.0f) color *= lerp(1.0f, 0.35f, smoothStep(0.0f, 0.6f, -d.y));
    } else {
        const bool up = d.y >= 0.0f;
        const std::vector<Cell>& cells = up ? above_ : below_;
        const int rows = up ? kAbove : kBelow;
        const float elevation = std::asin(std::min(std::abs(d.y), 1.0f));
        const float y = std::sqrt(elevation * (2.0f / kPi)) * static_cast<float>(rows - 1);
        const float across = std::abs(dot(d, east_)), ahead = dot(d, sunSide_);
        const float x = std::atan2(across, ahead) * (kInvPi * (kColumns - 1));
        const int i = std::min(static_cast<int>(x), kColumns - 2), j = std::min(static_cast<int>(y), rows - 2);
        const float fx = x - static_cast<float>(i), fy = y - static_cast<float>(j);
        const Cell* c = &cells[static_cast<std::size_t>(j * kColumns + i)];
        color = lerp(lerp(c[0].air, c[1].air, fx), lerp(c[kColumns].air, c[kColumns + 1].air, fx), fy);
        if (up) {
            color += lerp(lerp(c[0].haze, c[1].haze, fx), lerp(c[kColumns].haze, c[kColumns + 1].haze, fx), fy) *
                     Atmosphere::hazePhase(dot(d, p_.sunDirection));
        }
    }
    color = tinted(color, d.y);
    if (d.y < 0.0f && p_.groundStart < 90.0f) {
        const float below = std::asin(std::min(-d.y, 1.0f)) * (1.0f / kDegree) - p_.groundStart;
        color = lerp(color, groundRadiance_, smoothStep(0.0f, std::max(p_.groundBlend, 0.01f), below));
    }
    return color;
}

Float3 Sky::skyIrradiance() const {
    Float3 sum;
    constexpr int kRings = 32, kSectors = 64;
    for (int j = 0; j < kRings; ++j) {
        // Rings of equal share of the cosine-weighted hemisphere.
        const float y = std::sqrt((static_cast<float>(j) + 0.5f) / kRings), across = std::sqrt(1.0f - y * y);
        for (int i = 0; i < kSectors; ++i) {
            const float phi = 2.0f * kPi * (static_cast<float>(i) + 0.5f) / kSectors;
            sum += radiance({across * std::cos(phi), y, across * std::sin(phi)});
        }
    }
    return sum * (kPi / (kRings * kSectors));
}

}  // namespace Lumora::engine
