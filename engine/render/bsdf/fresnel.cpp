#include "engine/render/bsdf/fresnel.h"

namespace Lumora::engine {

namespace {

/// Amplitudes squared and phases of the two polarisations.
struct Polarised {
    float rs, rp, phaseS, phaseP;
};

/// At an interface from index n1 to the complex index n2 + ik.
Polarised reflect(float cosI, float n1, float n2, float k) {
    const float s2 = n1 * n1 * (1.0f - cosI * cosI);
    const float a = n2 * n2 - k * k - s2, b = std::sqrt(a * a + 4.0f * n2 * n2 * k * k);
    const float u2 = std::max(0.0f, 0.5f * (b + a)), v2 = std::max(0.0f, 0.5f * (b - a));
    const float u = std::sqrt(u2), v = std::sqrt(v2), nc = n1 * cosI;
    Polarised r;
    r.rs = ((nc - u) * (nc - u) + v2) / std::max((nc + u) * (nc + u) + v2, 1e-20f);
    r.phaseS = std::atan2(2.0f * nc * v, u2 + v2 - nc * nc);
    const float re = (n2 * n2 - k * k) * cosI, im = 2.0f * n2 * k * cosI;
    const float num = (re - n1 * u) * (re - n1 * u) + (im - n1 * v) * (im - n1 * v);
    const float den = (re + n1 * u) * (re + n1 * u) + (im + n1 * v) * (im + n1 * v);
    r.rp = num / std::max(den, 1e-20f);
    const float e = (n2 * n2 + k * k) * cosI;
    r.phaseP = std::atan2(2.0f * n1 * cosI * (2.0f * n2 * k * u - (n2 * n2 - k * k) * v), e * e - n1 * n1 * (u2 + v2));
    return r;
}

/// Fourier transform of the CIE 1931 matching functions at an optical path difference in metres: Gaussians fitted by
/// Belcour and Barla.
Float3 sensitivity(float path, float shift) {
    const float phase = 2.0f * kPi * path, p2 = phase * phase;
    const auto term = [&](float value, float position, float variance) {
        return value * std::sqrt(2.0f * kPi * variance) * std::cos(position * phase + shift) * std::exp(-variance * p2);
    };
    const Float3 xyz = {term(5.4856e-13f, 1.6810e6f, 4.3278e9f) + term(9.7470e-14f, 2.2399e6f, 4.5282e9f),
                        term(4.4201e-13f, 1.7953e6f, 9.3046e9f), term(5.2481e-13f, 2.2084e6f, 6.6121e9f)};
    return xyz * (1.0f / 1.0685e-7f);
}

/// From XYZ with equal energy white to linear RGB that keeps white white.
Float3 toRgb(Float3 c) {
    return {2.3706743f * c.x - 0.9000405f * c.y - 0.4706338f * c.z,
            -0.5138850f * c.x + 1.4253036f * c.y + 0.0885814f * c.z,
            0.0052982f * c.x - 0.0146949f * c.y + 1.0093968f * c.z};
}

}  // namespace

Float3 fresnelFilm(float cosI, float width, float filmIndex, Float3 n, Float3 k) {
    cosI = std::clamp(cosI, 1e-3f, 1.0f);
    const float cosF = std::sqrt(std::max(0.0f, 1.0f - (1.0f - cosI * cosI) / (filmIndex * filmIndex)));
    const Polarised outer = reflect(cosI, 1.0f, filmIndex, 0.0f), inner = reflect(cosF, filmIndex, 1.0f, 0.0f);
    const float path = 2.0f * filmIndex * width * 1e-6f * cosF;
    const auto reflectance = [&](float nBase, float kBase) {
        const Polarised base = reflect(cosF, filmIndex, nBase, kBase);
        const float outerR[2] = {outer.rs, outer.rp}, baseR[2] = {base.rs, base.rp};
        const float phases[2] = {inner.phaseS + base.phaseS, inner.phaseP + base.phaseP};
        Float3 sum{};
        for (int p = 0; p < 2; ++p) {
            const float through = 1.0f - outerR[p], product = outerR[p] * baseR[p];
            const float incoherent = through * through * baseR[p] / std::max(1.0f - product, 1e-6f);
            sum += splat(outerR[p] + incoherent);
            float order = incoherent - through;
            const float root = std::sqrt(product);
            for (int m = 1; m <= 3; ++m) {
                order *= root;
                const float f = static_cast<float>(m);
                sum += toRgb(sensitivity(f * path, f * phases[p])) * (2.0f * order);
            }
        }
        return clamp01(sum * 0.5f);
    };
    const Float3 red = reflectance(n.x, k.x);
    if (n == splat(n.x) && k == splat(k.x)) return red;
    return {red.x, reflectance(n.y, k.y).y, reflectance(n.z, k.z).z};
}

}  // namespace Lumora::engine
