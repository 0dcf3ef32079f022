#include "engine/render/atmosphere.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include "engine/render/spectrum.h"

namespace Lumora::engine {

namespace {

constexpr float kGround = 6360.0f, kTop = 6460.0f;
constexpr float kAirHeight = 8.0f, kHazeHeight = 1.2f;
constexpr float kViewerHeight = 0.05f;
/// Share of white light that the ground sends back into the atmosphere.
constexpr float kGroundAlbedo = 0.2f;

/// Absorption of ozone, square metres times 1e-25 for each molecule, and how many there are in a cubic metre of the
/// densest layer for 300 Dobson units (a layer from 10 to 40 km, densest at 25).
constexpr std::array<float, Spectrum::kCount> kOzone = {0.0276f, 0.158f, 0.492f, 1.48f,  2.755f,
                                                        4.266f,  4.701f, 3.74f,  2.238f, 1.209f};
constexpr float kOzoneMolecules = 5.37e18f;

/// Densities of air, haze and ozone relative to their densest.
Float3 densities(float height) {
    const float h = std::max(height, 0.0f);
    return {std::exp(-h / kAirHeight), std::exp(-h / kHazeHeight), std::max(0.0f, 1.0f - std::abs(h - 25.0f) / 15.0f)};
}

float wavelength(int i) {
    return Spectrum::kFirst + Spectrum::kStep * static_cast<float>(i);
}

/// Distance to a sphere around the planet's middle from a radius inside it.
float toSphere(float r, float cosine, float radius) {
    const float root = std::sqrt(std::max(0.0f, r * r * (cosine * cosine - 1.0f) + radius * radius));
    return std::max(-r * cosine + root, 0.0f);
}

/// Whether a ray from a radius above the ground meets it, and how far away.
bool meetsGround(float r, float cosine, float& distance) {
    const float d = r * r * (cosine * cosine - 1.0f) + kGround * kGround;
    if (!(cosine < 0.0f) || d < 0.0f) return false;
    distance = std::max(-r * cosine - std::sqrt(d), 0.0f);
    return true;
}

/// Where tables of what lies between a point and the top are looked up, by height and by distance to the top: rays that
/// graze the ground, along which most changes, lie far apart in them. Rays that meet the ground have no place.
struct PlaceInTable {
    static constexpr int kCosines = 256, kHeights = 64;
    std::size_t cell = 0;
    float x = 0.0f, y = 0.0f;

    PlaceInTable(float height, float cosine) {
        const float r = kGround + std::clamp(height, 0.0f, kTop - kGround);
        const float rho = std::sqrt(std::max(0.0f, r * r - kGround * kGround));
        const float d = toSphere(r, cosine, kTop), least = kTop - r, most = rho + horizon();
        x = clamp01((d - least) / std::max(most - least, 1e-6f)) * (kCosines - 1);
        y = clamp01(rho / horizon()) * (kHeights - 1);
        const int i = std::min(static_cast<int>(x), kCosines - 2), j = std::min(static_cast<int>(y), kHeights - 2);
        x -= static_cast<float>(i);
        y -= static_cast<float>(j);
        cell = static_cast<std::size_t>(j * kCosines + i);
    }
    static float horizon() {
        static const float distance = std::sqrt(kTop * kTop - kGround * kGround);
        return distance;
    }
};

/// Columns of air, haze and ozone from a height to the top. They know no wavelength and no turbidity, so one table
/// serves all.
const std::vector<Float3>& columns() {
    const auto march = [](float r, float cosine, float distance) {
        Float3 sum;
        constexpr int kSteps = 64;
        float before = 0.0f;
        for (int s = 1; s <= kSteps; ++s) {
            // Short steps at the start, where the densities are.
            const float q = static_cast<float>(s) / kSteps, t = distance * q * q, middle = 0.5f * (before + t);
            const float h = std::sqrt(middle * middle + 2.0f * r * cosine * middle + r * r) - kGround;
            sum += densities(h) * (t - before);
            before = t;
        }
        return sum;
    };
    static const std::vector<Float3> table = [&] {
        constexpr int kCosines = PlaceInTable::kCosines, kHeights = PlaceInTable::kHeights;
        std::vector<Float3> cells(kCosines * kHeights);
        const float horizon = PlaceInTable::horizon();
        tbb::parallel_for(0, kHeights, [&](int j) {
            const float rho = horizon * static_cast<float>(j) / (kHeights - 1);
            const float r = std::sqrt(rho * rho + kGround * kGround), least = kTop - r, most = rho + horizon;
            for (int i = 0; i < kCosines; ++i) {
                const float d = least + (most - least) * static_cast<float>(i) / (kCosines - 1);
                const float cosine = d > 0.0f ? (horizon * horizon - rho * rho - d * d) / (2.0f * r * d) : 1.0f;
                cells[static_cast<std::size_t>(j * kCosines + i)] = march(r, std::clamp(cosine, -1.0f, 1.0f), d);
            }
        });
        return cells;
    }();
    return table;
}

/// The sun's spectrum up to a factor: near enough to a black body of 5778 kelvin.
float sunSpectrum(int i) {
    const double um = static_cast<double>(wavelength(i)) * 1e-3;
    return static_cast<float>(std::pow(um, -5.0) / std::expm1(14387.77 / (um * 5778.0)));
}

/// Between four cells of a table: two beside each other in each row.
inline Spectrum blend(const Spectrum* low, const Spectrum* high, float x, float y, float factor) {
    const float a = (1.0f - x) * (1.0f - y) * factor, b = x * (1.0f - y) * factor;
    const float c = (1.0f - x) * y * factor, d = x * y * factor;
    Spectrum s;
    for (int w = 0; w < Spectrum::kCount; ++w) s[w] = low[0][w] * a + low[1][w] * b + high[0][w] * c + high[1][w] * d;
    return s;
}

float airPhase(float cosine) {
    return 3.0f / (16.0f * kPi) * (1.0f + cosine * cosine);
}

}  // namespace

const Spectrum& sunlight() {
    static const Spectrum light = [] {
        Spectrum s;
        for (int i = 0; i < Spectrum::kCount; ++i) s[i] = sunSpectrum(i);
        const float scale = kSunlight / luminance(spectrumColor(s));
        for (float& v : s.v) v *= scale;
        return s;
    }();
    return light;
}

Float3 spectrumColor(const Spectrum& s) {
    static const std::array<Float3, Spectrum::kCount> primaries = [] {
        std::array<Float3, Spectrum::kCount> p;
        for (int i = 0; i < Spectrum::kCount; ++i) {
            // The observer over the band that a wavelength stands for; the outer bands reach to the ends of sight.
            Xyz band;
            const double first = i == 0 ? 380.0 : static_cast<double>(wavelength(i)) - 15.0;
            const double last = i == Spectrum::kCount - 1 ? 740.0 : static_cast<double>(wavelength(i)) + 15.0;
            for (double w = first + 2.5; w < last; w += 5.0) {
                const Xyz o = observer(w);
                band.x += o.x;
                band.y += o.y;
                band.z += o.z;
            }
            p[static_cast<std::size_t>(i)] = toLinearSrgb(band) * (1.0f / 21.4f);
        }
        // White is what the sun sends, as a camera set to daylight has it; blue skies are the bluer for it.
        Float3 white;
        for (int i = 0; i < Spectrum::kCount; ++i) white += p[static_cast<std::size_t>(i)] * sunSpectrum(i);
        const float level = luminance(white);
        for (Float3& c : p) c = c * Float3{level / white.x, level / white.y, level / white.z};
        return p;
    }();
    Float3 c;
    for (int i = 0; i < Spectrum::kCount; ++i) c += primaries[static_cast<std::size_t>(i)] * s[i];
    return c;
}

Atmosphere::Atmosphere(float turbidity) {
    // Haze after Angstrom, by the fit of Preetham et al. 1999.
    const float beta = std::max(0.04608f * turbidity - 0.04586f, 0.0005f);
    constexpr float kHazeAlbedo = 0.93f;
    for (int i = 0; i < Spectrum::kCount; ++i) {
        const float nm = wavelength(i);
        air_[i] = 1.154e-2f * std::pow(550.0f / nm, 4.08f);
        haze_[i] = beta * std::pow(nm * 1e-3f, -1.3f) / kHazeHeight;
        hazeScatter_[i] = haze_[i] * kHazeAlbedo;
        ozone_[i] = kOzone[static_cast<std::size_t>(i)] * 1e-25f * kOzoneMolecules * 1e3f;
    }
    buildTransmittance();
    buildMultiple();
}

std::shared_ptr<const Atmosphere> Atmosphere::of(float turbidity) {
    static std::mutex lock;
    static std::shared_ptr<const Atmosphere> last;
    static float lastTurbidity = 0.0f;
    {
        const std::lock_guard guard(lock);
        if (last && lastTurbidity == turbidity) return last;
    }
    // Made without the lock: it takes a while, and works on all processors.
    auto made = std::make_shared<const Atmosphere>(turbidity);
    const std::lock_guard guard(lock);
    last = made;
    lastTurbidity = turbidity;
    return made;
}

float Atmosphere::hazePhase(float c) {
    // Cornette and Shanks 1992.
    constexpr float g = 0.76f;
    const float d = std::max(1.0f + g * g - 2.0f * g * c, 1e-4f);
    return 3.0f / (8.0f * kPi) * (1.0f - g * g) * (1.0f + c * c) / ((2.0f + g * g) * d * std::sqrt(d));
}

Atmosphere::Coefficients Atmosphere::at(float height) const {
    const Float3 d = densities(height);
    Coefficients c;
    for (int i = 0; i < Spectrum::kCount; ++i) {
        c.scatterAir[i] = air_[i] * d.x;
        c.scatterHaze[i] = hazeScatter_[i] * d.y;
        c.extinction[i] = air_[i] * d.x + haze_[i] * d.y + ozone_[i] * d.z;
    }
    return c;
}

void Atmosphere::buildTransmittance() {
    const std::vector<Float3>& cells = columns();
    transmittance_.resize(cells.size());
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, cells.size(), 256), [&](const auto& range) {
        for (std::size_t c = range.begin(); c != range.end(); ++c) {
            for (int i = 0; i < Spectrum::kCount; ++i) {
                transmittance_[c][i] =
                    std::exp(-(air_[i] * cells[c].x + haze_[i] * cells[c].y + ozone_[i] * cells[c].z));
            }
        }
    });
}

Spectrum Atmosphere::sunTransmittance(float height, float cosine) const {
    const float r = kGround + std::max(height, 0.0f);
    // The horizon seen from there; the sun's disc takes a little while to sink behind it.
    const float horizon = -std::sqrt(std::max(0.0f, 1.0f - (kGround / r) * (kGround / r)));
    const float shown = clamp01((cosine - horizon) / 0.01f + 0.5f);
    if (!(shown > 0.0f)) return {};
    const PlaceInTable place(height, std::max(cosine, horizon));
    const Spectrum* t = &transmittance_[place.cell];
    return blend(t, t + PlaceInTable::kCosines, place.x, place.y, shown);
}

void Atmosphere::buildMultiple() {
    multiple_.assign(kHeights * kCosines, {});
    tbb::parallel_for(0, kHeights * kCosines, [&](int cell) {
        const int j = cell / kCosines, i = cell % kCosines;
        const float q = (static_cast<float>(j) + 0.5f) / kHeights, height = (kTop - kGround) * q * q;
        const float sunCosine = 2.0f * (static_cast<float>(i) + 0.5f) / kCosines - 1.0f;
        const Float3 sun = {std::sqrt(std::max(0.0f, 1.0f - sunCosine * sunCosine)), sunCosine, 0.0f};
        const float r = kGround + height;
        constexpr int kRings = 6, kSectors = 6, kSteps = 16;
        // Light of the second order, and the share that each further order keeps of the one before.
        Spectrum second, share;
        for (int ring = 0; ring < kRings; ++ring) {
            for (int sector = 0; sector < kSectors; ++sector) {
                const float c = 2.0f * (static_cast<float>(ring) + 0.5f) / kRings - 1.0f;
                const float phi = 2.0f * kPi * (static_cast<float>(sector) + 0.5f) / kSectors;
                const float s = std::sqrt(1.0f - c * c);
                const Float3 d = {s * std::cos(phi), c, s * std::sin(phi)};
                float distance = toSphere(r, c, kTop);
                const bool ground = meetsGround(r, c, distance);
                Spectrum through = Spectrum::constant(1.0f);
                float before = 0.0f;
                for (int step = 1; step <= kSteps; ++step) {
                    const float f = static_cast<float>(step) / kSteps, t = distance * f * f;
                    const float middle = 0.5f * (before + t), length = t - before;
                    before = t;
                    const Float3 p = Float3{0, r, 0} + d * middle;
                    const float pr = std::sqrt(dot(p, p)), h = pr - kGround;
                    const Coefficients k = at(h);
                    const Spectrum light = sunTransmittance(h, dot(p, sun) / pr);
                    for (int w = 0; w < Spectrum::kCount; ++w) {
                        const float scatter = k.scatterAir[w] + k.scatterHaze[w], e = std::max(k.extinction[w], 1e-9f);
                        const float passed = std::exp(-e * length), gathered = through[w] * (1.0f - passed) / e;
                        second[w] += scatter * gathered * light[w] / (4.0f * kPi);
                        share[w] += scatter * gathered;
                        through[w] *= passed;
                    }
                }
                if (!ground) continue;
                const Float3 p = Float3{0, r, 0} + d * distance;
                const float cosine = dot(p, sun) / std::sqrt(dot(p, p));
                const Spectrum light = sunTransmittance(0.0f, cosine);
                for (int w = 0; w < Spectrum::kCount; ++w) {
                    second[w] += through[w] * light[w] * std::max(cosine, 0.0f) * kGroundAlbedo * kInvPi;
                }
            }
        }
        Spectrum& out = multiple_[static_cast<std::size_t>(cell)];
        for (int w = 0; w < Spectrum::kCount; ++w) {
            const float mean = second[w] / (kRings * kSectors);
            const float kept = std::min(share[w] / (kRings * kSectors), 0.95f);
            out[w] = mean / (1.0f - kept);
        }
    });
}

Spectrum Atmosphere::multiple(float height, float sunCosine) const {
    const float x = clamp01(0.5f * sunCosine + 0.5f) * kCosines - 0.5f;
    const float y = std::sqrt(clamp01(height / (kTop - kGround))) * kHeights - 0.5f;
    const float cx = std::clamp(x, 0.0f, kCosines - 1.001f), cy = std::clamp(y, 0.0f, kHeights - 1.001f);
    const int i = static_cast<int>(cx), j = static_cast<int>(cy);
    const float fx = cx - static_cast<float>(i), fy = cy - static_cast<float>(j);
    const Spectrum* m = &multiple_[static_cast<std::size_t>(j * kCosines + i)];
    return blend(m, m + kCosines, fx, fy, 1.0f);
}

Atmosphere::Ray Atmosphere::ray(float height) const {
    const float r = kGround + kViewerHeight;
    Ray ray;
    float distance = toSphere(r, height, kTop);
    ray.ground = meetsGround(r, height, distance);
    ray.transmittance = Spectrum::constant(1.0f);
    float before = 0.0f;
    for (int i = 0; i < Ray::kSteps; ++i) {
        Ray::Step& step = ray.steps[static_cast<std::size_t>(i)];
        const float f = static_cast<float>(i + 1) / Ray::kSteps, t = distance * f * f, length = t - before;
        step.middle = 0.5f * (before + t);
        step.radius = std::sqrt(step.middle * step.middle + 2.0f * r * height * step.middle + r * r);
        before = t;
        const Coefficients k = at(step.radius - kGround);
        for (int w = 0; w < Spectrum::kCount; ++w) {
            const float e = std::max(k.extinction[w], 1e-9f), passed = std::exp(-e * length);
            const float gathered = ray.transmittance[w] * (1.0f - passed) / e * sunlight()[w];
            step.air[w] = gathered * k.scatterAir[w];
            step.haze[w] = gathered * k.scatterHaze[w];
            ray.transmittance[w] *= passed;
        }
    }
    return ray;
}

const std::vector<Atmosphere::Ray>& Atmosphere::rays(int rows, float (*heightOf)(int row)) const {
    std::call_once(raysMade_, [&] {
        for (int i = 0; i < rows; ++i) rays_.push_back(ray(heightOf(i)));
    });
    return rays_;
}

Atmosphere::View Atmosphere::view(const Ray& ray, float sunHeight, float along) const {
    const float r = kGround + kViewerHeight, phase = airPhase(along);
    View v;
    for (const Ray::Step& step : ray.steps) {
        const float height = step.radius - kGround, cosine = (r * sunHeight + step.middle * along) / step.radius;
        const Spectrum light = sunTransmittance(height, cosine), more = multiple(height, cosine);
        for (int w = 0; w < Spectrum::kCount; ++w) {
            v.air[w] += step.air[w] * phase * light[w] + (step.air[w] + step.haze[w]) * more[w];
            v.haze[w] += step.haze[w] * light[w];
        }
    }
    return v;
}

}  // namespace Lumora::engine
