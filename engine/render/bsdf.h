// How a point of a surface scatters light: built once for each hit, on the stack, from a material and the point.
//
// Every material is a stack: coating, over sheen, over a base that is part metal and part dielectric. The dielectric's
// body is diffuse or clear. Layers let through what they do not reflect, by tables of their directional albedos; the
// smaller of the two directions' shares counts, so that no energy is made and the directions may be exchanged.
//
// Directions point away from the surface. Refracted light is not scaled by the squared index (the integrator carries
// basic radiance), so that a clear surface in a uniform field shows nothing.
#pragma once

#include <concepts>

#include "engine/render/bsdf/albedo_tables.h"
#include "engine/render/bsdf/microfacet.h"
#include "engine/render/bsdf/toon.h"
#include "engine/render/sampler.h"
#include "engine/render/sampling.h"
#include "engine/render/surface.h"

namespace Lumora::engine {

/// Kinds of scattering, to be combined.
using Lobes = std::uint8_t;
inline constexpr Lobes kDiffuseLobe = 1, kGlossyLobe = 2, kSpecularLobe = 4, kTransmissionLobe = 8, kAllLobes = 15;

struct BsdfSample {
    Float3 direction;
    Float3 weight;     ///< value times cosine over density; black: the path ends
    float pdf = 0.0f;  ///< by solid angle; with a specular lobe meaningless
    Lobes lobe = 0;    ///< one of diffuse, glossy, specular; with the bit of transmission
    float eta = 1.0f;  ///< index of the side that the path goes to over the one that it comes from

    bool specular() const { return lobe & kSpecularLobe; }
    bool transmitted() const { return lobe & kTransmissionLobe; }
};

/// The values of a material at one point, as seen from one side.
struct SurfaceModel {
    Float3 diffuse, diffuseTransmission;
    float diffuseRoughness = 0.0f;

    BrdfModel brdf = BrdfModel::Compensated;
    IndexMode indexMode = IndexMode::Artistic;
    float ax = 0.0f, ay = 0.0f;  ///< widths of the facet distribution; zero: smooth
    float eta = 1.5f;            ///< index beyond the surface over the one before it
    Float3 reflection;           ///< tint of the dielectric's reflection
    Float3 refraction;           ///< tint of what goes through
    float clear = 0.0f;          ///< share of the dielectric's body that is clear
    float metallic = 0.0f;       ///< share of metal
    Float3 metal;                ///< tint of its reflection; Artistic: reflectance head-on
    Float3 metalIndex, metalExtinction;
    float filmWidth = 0.0f, filmIndex = 1.0f;  ///< micrometres

    Float3 sheen;
    float sheenRoughness = 0.2f;
    Float3 coating;
    float coatingAlpha = 0.0f, coatingEta = 1.5f;

    bool stepped = false;  ///< scatters as `toon` says and by nothing else
    ToonModel toon;
    Float3 glow;  ///< radiance that is seen of it whatever the light
};

class Bsdf {
public:
    /// Scatters nothing.
    Bsdf() = default;
    /// `wo` to the viewer, `normal` for shading and `geometric` on its side; `tangent`, where not zero, is the
    /// direction of anisotropy.
    Bsdf(const SurfaceModel& model, Float3 wo, Float3 normal, Float3 geometric, Float3 tangent)
        : m_(model), geometric_(geometric) {
        prepare(wo, normal, tangent);
    }
    /// The same, with the model written in place: `fill` takes a SurfaceModel&.
    template <std::invocable<SurfaceModel&> Fill>
    Bsdf(const Fill& fill, Float3 wo, Float3 normal, Float3 geometric, Float3 tangent) : geometric_(geometric) {
        fill(m_);
        prepare(wo, normal, tangent);
    }
    /// The same for what is diffuse and nothing else: most hits of most scenes, so all of it is inline.
    Bsdf(Float3 diffuse, Float3 wo, Float3 normal, Float3 geometric);

    /// Value times |cosine| towards a light, and the density with which sample() would go there. Specular lobes give
    /// nothing. Only the kinds of scattering in `which` count for the value, all for the density.
    Float3 evaluate(Float3 toLight, float& pdf, Lobes which = kAllLobes) const {
        return plain_ ? evaluatePlain(toLight, pdf, which) : evaluateStack(toLight, pdf, which);
    }
    /// A direction to go on in. `u`: three uniform numbers.
    BsdfSample sample(const float u[3]) const { return plain_ ? samplePlain(u) : sampleStack(u); }

    /// About the share of white light from all around that comes back or through.
    Float3 albedo() const { return albedo_; }
    /// Radiance that is seen of it whatever the light: drawn lines and drawings without lights.
    Float3 glow() const { return m_.glow; }
    Lobes lobes() const { return lobes_; }
    /// Whether evaluate() can give anything.
    bool finite() const { return lobes_ & (kDiffuseLobe | kGlossyLobe); }
    bool black() const { return lobes_ == 0; }
    /// Leaves out kinds of scattering that the path has had enough of.
    void restrict(Lobes allowed) {
        if (lobes_ & ~allowed) leaveOut(~allowed);
    }
    Float3 normal() const { return frame_.n; }

private:
    /// What sample() chooses among.
    enum Part { kToon, kDiffuse, kDiffuseThrough, kFacets, kBounces, kSheen, kCoating, kParts };

    /// Index beyond the surface. An opaque body is looked at from outside only.
    float surfaceEta() const { return m_.clear > 0.0f || m_.eta >= 1.0f ? m_.eta : 1.0f / m_.eta; }
    void prepare(Float3 wo, Float3 normal, Float3 tangent);
    void face(Float3 wo, Float3 normal);
    Float3 evaluatePlain(Float3 toLight, float& pdf, Lobes which) const;
    Float3 evaluateStack(Float3 toLight, float& pdf, Lobes which) const;
    BsdfSample samplePlain(const float u[3]) const;
    BsdfSample sampleStack(const float u[3]) const;
    void leaveOut(int lobes);
    void prepareFacets();
    void prepareLayers();
    void choose(const std::array<float, kParts>& weights);
    void fresnel(float cosine, Float3& reflected, Float3& refracted) const;
    Float3 metalReflectance(float cosine) const;
    Float3 diffuseShare(float cosine) const;
    Float3 coatingPass(float cosine) const;
    Float3 layersPass(float cosine) const;
    float terminator(Float3 wi, Float3 direction) const;
    Float3 value(Float3 wi, Float3 direction, Lobes which, float& pdf) const;
    Float3 facetsValue(Float3 wi, float& pdf) const;
    Float3 bouncesValue(Float3 wi, float& pdf) const;
    Float3 coatingValue(Float3 wi, float& pdf) const;
    bool sampleFacets(Float2 u, float choice, Float3& wi) const;
    BsdfSample sampleSmooth(float choice) const;
    BsdfSample sampleSmoothCoating() const;

    SurfaceModel m_;
    Frame frame_{Float3{0, 0, 1}};
    Float3 geometric_{0, 0, 1};
    Float3 wo_{0, 0, 1};
    Lobes lobes_ = 0;
    bool smooth_ = true, smoothCoating_ = true, plain_ = false, coated_ = false, sheened_ = false, layered_ = false;
    std::array<float, kParts> chance_{};
    Float3 albedo_;
    Microfacets facets_, coatingFacets_;

    // Diffuse below a dielectric.
    AlbedoCurve belowReflection_;
    bool covered_ = false;
    Float3 diffuseScale_{1, 1, 1};  ///< of the view direction, normalisation included
    // Light that bounced between facets.
    AlbedoCurve mirrorCurve_, glassCurve_, glassCurveBeyond_;
    Float3 bouncesMetal_, bouncesReflected_, bouncesRefracted_;
    float bouncesThrough_ = 0.0f;  ///< share of samples of this part that go through
    // Layers.
    AlbedoCurve coatingCurve_, sheenCurve_;
    float sheenScale_ = 1.0f;
    Float3 layersPassView_{1, 1, 1};
};

inline void Bsdf::face(Float3 wo, Float3 normal) {
    /// Shading normals turn away from the viewer no further than this cosine.
    constexpr float kMinViewCosine = 1e-3f;
    frame_ = Frame(normal);
    // A normal that the viewer cannot face is bent until he can.
    const float facing = dot(normal, wo);
    if (facing < kMinViewCosine) [[unlikely]]
        frame_ = Frame(normalize(normal + wo * (kMinViewCosine - facing)));
}

inline Bsdf::Bsdf(Float3 diffuse, Float3 wo, Float3 normal, Float3 geometric) : geometric_(geometric) {
    face(wo, normal);
    m_.diffuse = albedo_ = diffuse;
    if (isBlack(diffuse)) return;
    lobes_ = kDiffuseLobe;
    plain_ = true;
}

/// Softens the edge of the shadow that facets of a smooth mesh throw on themselves (Chiang et al., "Taming the Shadow
/// Terminator", 2019).
inline float Bsdf::terminator(Float3 wi, Float3 direction) const {
    if (frame_.n == geometric_) return 1.0f;
    const float g = dot(geometric_, direction) / std::max(wi.z * dot(geometric_, frame_.n), 1e-6f);
    return g >= 1.0f ? 1.0f : g <= 0.0f ? 0.0f : g * (1.0f + g - g * g);
}

inline Float3 Bsdf::evaluatePlain(Float3 toLight, float& pdf, Lobes which) const {
    pdf = 0.0f;
    const float cosine = dot(frame_.n, toLight);
    if (!(dot(geometric_, toLight) > 0.0f) || cosine < 1e-6f) return {};
    pdf = cosine * kInvPi;
    return which & kDiffuseLobe ? m_.diffuse * (pdf * terminator({0.0f, 0.0f, cosine}, toLight)) : Float3{};
}

inline BsdfSample Bsdf::samplePlain(const float u[3]) const {
    BsdfSample s;
    const Float3 wi = sampleCosineHemisphere({u[0], u[1]});
    s.direction = frame_.toWorld(wi);
    s.pdf = wi.z * kInvPi;
    s.lobe = kDiffuseLobe;
    if (dot(s.direction, geometric_) > 0.0f && s.pdf > 0.0f) s.weight = m_.diffuse * terminator(wi, s.direction);
    return s;
}

/// What a path knows that changes how surfaces look to it.
struct PathState {
    float minAlpha = 0.0f;     ///< rough surfaces are at least this rough: the blur of caustics
    float wavelength = 0.0f;   ///< micrometres, once the path was dispersed; zero before
    Float3 spectrum{1, 1, 1};  ///< factor that dispersion put on the path at this surface
};

/// The material at a hit: a mix picks one of its parts by chance, the normal is bent. `path.spectrum` is set anew.
Bsdf makeBsdf(const RenderScene& scene, const Hit& hit, Surface& surface, Float3 wo, PathState& path, Sampler& sampler);

/// Share of light that a shadow ray in that direction brings through a surface.
Float3 shadowPass(const RenderScene& scene, MaterialId material, const Surface& surface, Float3 direction);

}  // namespace Lumora::engine
