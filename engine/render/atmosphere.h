// Scattering of sunlight in a clear or hazy atmosphere, spectrally.
//
// Single scattering is marched along the view ray (Nishita et al., "Display of the Earth Taking into Account
// Atmospheric Scattering", 1993); all higher orders are one isotropic term from a table (Hillaire, "A Scalable and
// Production Ready Sky and Atmosphere Rendering Technique", 2020); air mass is looked up (Bruneton and Neyret,
// "Precomputed Atmospheric Scattering", 2008). Air, haze and ozone each have a profile over height. Lengths in
// kilometres.
#pragma once

#include <array>
#include <memory>
#include <mutex>
#include <vector>

#include "engine/render/vec.h"

namespace Lumora::engine {

/// Values at the wavelengths of the atmosphere.
struct Spectrum {
    static constexpr int kCount = 10;
    static constexpr float kFirst = 410.0f, kStep = 30.0f;  ///< nanometres
    std::array<float, kCount> v{};

    static Spectrum constant(float value) {
        Spectrum s;
        s.v.fill(value);
        return s;
    }
    float& operator[](int i) { return v[static_cast<std::size_t>(i)]; }
    float operator[](int i) const { return v[static_cast<std::size_t>(i)]; }
};

/// Sunlight as it arrives above the atmosphere, on a surface that faces it. Its luminance is kSunlight.
inline constexpr float kSunlight = 4.0f;
const Spectrum& sunlight();
/// Linear sRGB of a spectrum; components may be negative.
Float3 spectrumColor(const Spectrum& s);

class Atmosphere {
public:
    /// Turbidity: optical thickness of air with haze over that of air alone; 1 is none.
    explicit Atmosphere(float turbidity);
    /// The same, kept for the next that asks for it. Any thread.
    static std::shared_ptr<const Atmosphere> of(float turbidity);

    /// What of the sunlight reaches a height from a direction with that cosine to the zenith; zero from below the
    /// horizon.
    Spectrum sunTransmittance(float height, float cosine) const;

    /// Light scattered into a view ray from near the ground.
    struct View {
        Spectrum air;   ///< by air, and by all orders but the first
        Spectrum haze;  ///< first order by haze, before the phase function
    };
    /// What a view ray from near the ground passes through, whatever its azimuth and wherever the sun is.
    class Ray {
    public:
        Spectrum transmittance;  ///< of all of it
        bool ground = false;     ///< it ends on the ground

    private:
        friend class Atmosphere;
        static constexpr int kSteps = 32;
        struct Step {
            float middle = 0.0f, radius = 0.0f;
            Spectrum air, haze;  ///< share of sunlight that reaches the step and comes back along the ray from it
        };
        std::array<Step, kSteps> steps;
    };
    Ray ray(float height) const;  ///< `height`: of the direction, its y
    /// The rays of the rows of a table, by the height of each row: made once. Any thread.
    const std::vector<Ray>& rays(int rows, float (*heightOf)(int row)) const;
    /// The light that comes along a ray. `sunHeight`: the sun's y; `along`: cosine between ray and sun.
    View view(const Ray& ray, float sunHeight, float along) const;

    /// Phase function of haze.
    static float hazePhase(float cosine);

private:
    struct Coefficients {
        Spectrum scatterAir, scatterHaze, extinction;
    };
    Coefficients at(float height) const;
    Spectrum multiple(float height, float sunCosine) const;
    void buildMultiple();

    void buildTransmittance();
    mutable std::once_flag raysMade_;
    mutable std::vector<Ray> rays_;

    static constexpr int kHeights = 8, kCosines = 32;
    std::vector<Spectrum> transmittance_;        ///< to the top, as the table of columns has it
    Spectrum air_, haze_, hazeScatter_, ozone_;  ///< coefficients for each kilometre at full density
    std::vector<Spectrum> multiple_;
};

}  // namespace Lumora::engine
