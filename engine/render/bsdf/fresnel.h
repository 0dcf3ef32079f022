// Reflectance of smooth interfaces: dielectrics, conductors, and both under a thin film.
#pragma once

#include "engine/render/vec.h"

namespace Lumora::engine {

/// Fraction of unpolarised light that an interface between dielectrics reflects. `eta`: index beyond the interface over
/// the index before it. `cosI` in [0, 1]; `cosT` receives the refracted cosine, zero with total reflection.
inline float fresnelDielectric(float cosI, float eta, float& cosT) {
    const float sin2 = (1.0f - cosI * cosI) / (eta * eta);
    if (sin2 >= 1.0f) {
        cosT = 0.0f;
        return 1.0f;
    }
    cosT = std::sqrt(1.0f - sin2);
    const float parallel = (eta * cosI - cosT) / (eta * cosI + cosT);
    const float perpendicular = (cosI - eta * cosT) / (cosI + eta * cosT);
    return 0.5f * (parallel * parallel + perpendicular * perpendicular);
}

/// The same for a conductor of complex index n + ik, relative to the medium before it (Born and Wolf, "Principles of
/// Optics").
inline float fresnelConductor(float cosI, float n, float k) {
    const float c2 = cosI * cosI, s2 = 1.0f - c2, n2 = n * n, k2 = k * k;
    const float t0 = n2 - k2 - s2, a2b2 = std::sqrt(t0 * t0 + 4.0f * n2 * k2);
    const float t1 = a2b2 + c2, a = std::sqrt(std::max(0.0f, 0.5f * (a2b2 + t0))), t2 = 2.0f * cosI * a;
    const float rs = (t1 - t2) / std::max(t1 + t2, 1e-20f);
    const float t3 = c2 * a2b2 + s2 * s2, t4 = t2 * s2;
    return clamp01(0.5f * (rs + rs * (t3 - t4) / std::max(t3 + t4, 1e-20f)));
}

/// Schlick's approximation (1994).
inline Float3 fresnelSchlick(float cosI, Float3 f0) {
    const float m = clamp01(1.0f - cosI), m2 = m * m, m5 = m2 * m2 * m;
    return f0 + (splat(1.0f) - f0) * m5;
}

/// Reflectance of a film of `width` micrometres and index `filmIndex` in air on a base of complex index n + ik for each
/// channel; the interference of all orders, integrated over the colour matching functions in Fourier space (Belcour and
/// Barla, "A Practical Extension to Microfacet Theory for the Modeling of Varying Iridescence", SIGGRAPH 2017).
Float3 fresnelFilm(float cosI, float width, float filmIndex, Float3 n, Float3 k);

}  // namespace Lumora::engine
