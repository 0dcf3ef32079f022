#include "engine/render/spectrum.h"

namespace Lumora::engine {

namespace {

/// A lobe of the fit: a Gaussian of different width on its two sides.
double lobe(double wavelength, double peak, double below, double above) {
    const double t = (wavelength - peak) * (wavelength < peak ? below : above);
    return std::exp(-0.5 * t * t);
}

/// Planck's law up to a factor that all wavelengths and temperatures share.
double planck(double nanometres, double kelvin) {
    const double micrometres = nanometres * 1e-3;
    constexpr double kSecondRadiation = 14387.77;  // micrometre kelvin
    return std::pow(micrometres, -5.0) / std::expm1(kSecondRadiation / (micrometres * kelvin));
}

Xyz blackbody(double kelvin) {
    Xyz sum;
    constexpr double kStep = 5.0;
    for (double w = 360.0; w <= 830.0; w += kStep) {
        const Xyz o = observer(w);
        const double p = planck(w, kelvin) * kStep;
        sum.x += p * o.x;
        sum.y += p * o.y;
        sum.z += p * o.z;
    }
    return sum;
}

}  // namespace

Xyz observer(double w) {
    return {1.056 * lobe(w, 599.8, 0.0264, 0.0323) + 0.362 * lobe(w, 442.0, 0.0624, 0.0374) -
                0.065 * lobe(w, 501.1, 0.0490, 0.0382),
            0.821 * lobe(w, 568.8, 0.0213, 0.0247) + 0.286 * lobe(w, 530.9, 0.0613, 0.0322),
            1.217 * lobe(w, 437.0, 0.0845, 0.0278) + 0.681 * lobe(w, 459.0, 0.0385, 0.0725)};
}

Float3 toLinearSrgb(const Xyz& c) {
    return {static_cast<float>(3.2404542 * c.x - 1.5371385 * c.y - 0.4985314 * c.z),
            static_cast<float>(-0.9692660 * c.x + 1.8760108 * c.y + 0.0415560 * c.z),
            static_cast<float>(0.0556434 * c.x - 0.2040259 * c.y + 1.0572252 * c.z)};
}

Float3 blackbodyColor(double kelvin) {
    Xyz c = blackbody(kelvin);
    c = {c.x / c.y, 1.0, c.z / c.y};
    const Float3 rgb = toLinearSrgb(c);
    const Float3 positive = {std::max(rgb.x, 0.0f), std::max(rgb.y, 0.0f), std::max(rgb.z, 0.0f)};
    return positive * (1.0f / luminance(positive));
}

double blackbodyLuminance(double kelvin) {
    return blackbody(kelvin).y;
}

}  // namespace Lumora::engine
