// From a material and a point to the values that scatter light there.
#include "engine/render/bsdf.h"
#include "engine/render/bsdf/fresnel.h"
#include "engine/render/lights.h"
#include "engine/render/mix.h"

namespace Lumora::engine {

namespace {

/// Widths of the facet distribution along and across the direction of anisotropy.
void setRoughness(SurfaceModel& m, float roughness, float anisotropy, float minAlpha) {
    const float r = clamp01(roughness), alpha = std::max(r * r, minAlpha);
    // Burley, "Physically Based Shading at Disney" (2012).
    const float aspect = std::sqrt(1.0f - 0.9f * std::min(std::abs(anisotropy), 1.0f));
    m.ax = anisotropy >= 0.0f ? alpha / aspect : alpha * aspect;
    m.ay = anisotropy >= 0.0f ? alpha * aspect : alpha / aspect;
}

/// Weight of red, green and blue at a wavelength, each with mean one over 0.4 to 0.7 micrometres.
Float3 spectrumAt(float wavelength) {
    const float x = (wavelength - 0.4f) / 0.3f;
    const auto hat = [](float v) { return 3.0f * std::max(0.0f, 1.0f - std::abs(v)); };
    const float w = 3.0f * x;  // blue about 0.5, green about 1.5, red about 2.5; the ends wrap to keep the sums at one
    const auto around = [&](float middle) { return hat(w - middle) + hat(w - middle - 3.0f) + hat(w - middle + 3.0f); };
    return {around(2.5f), around(1.5f), around(0.5f)};
}

class Resolver {
public:
    Resolver(const RenderScene& scene, const Material& material, const Surface& surface, PathState& path, Float3 wo,
             Sampler& sampler, SurfaceModel& result)
        : shading_(*scene.shading),
          textures_(scene.shading->textures),
          wo_(wo),
          m_(material),
          surface_(surface),
          path_(path),
          sampler_(sampler),
          result_(result) {}

    void resolve() {
        SurfaceModel& r = result_;
        switch (m_.kind) {
            case MaterialKind::Diffuse:
                diffuse();
                break;
            case MaterialKind::Toon:
                toon();
                break;
            case MaterialKind::Glossy:
                r.diffuse = color(m_.albedo);
                r.reflection = color(m_.specular);
                r.eta = m_.index;
                facets();
                layers();
                break;
            case MaterialKind::Specular:
                r.reflection = color(m_.specular);
                r.refraction = color(m_.transmission);
                r.clear = 1.0f;
                clearIndex(m_.index);
                facets();
                layers();
                break;
            case MaterialKind::Metallic:
                r.metallic = 1.0f;
                metal(color(m_.specular));
                facets();
                layers();
                break;
            case MaterialKind::Universal:
                universal();
                break;
            case MaterialKind::Mix:
            case MaterialKind::Clear:
                break;
        }
    }

private:
    /// Into [0, 1]; what is not a number is zero.
    static float unit(float v) { return v > 0.0f ? std::min(v, 1.0f) : 0.0f; }
    Float3 color(const MaterialInput& input) const {
        const Float3 c = input.color(textures_, surface_.at);
        return {unit(c.x), unit(c.y), unit(c.z)};
    }
    float scalar(const MaterialInput& input) const { return unit(input.scalar(textures_, surface_.at)); }

    void diffuse() {
        SurfaceModel& r = result_;
        r.diffuse = color(m_.albedo);
        r.diffuseRoughness = scalar(m_.roughness);
        if (m_.transmission.none()) return;
        r.diffuseTransmission = color(m_.transmission);
        // What goes through is not there to be reflected.
        r.diffuse *= splat(1.0f) - r.diffuseTransmission;
    }

    void toon() {
        SurfaceModel& r = result_;
        const float facing = dot(surface_.shadingNormal, wo_);
        r.stepped = true;
        r.toon.body = m_.toonBody == kNoRamp ? &ToonRamp::body() : &shading_.toonRamps[m_.toonBody];
        r.toon.highlight = m_.toonHighlight == kNoRamp ? &ToonRamp::highlight() : &shading_.toonRamps[m_.toonHighlight];
        if (m_.outlined && facing < m_.outlineWidth) {
            r.glow = color(m_.toonOutline);
            return;
        }
        r.toon.diffuse = color(m_.albedo);
        r.toon.specular = color(m_.specular);
        const float rough = std::clamp(scalar(m_.roughness), 0.05f, 1.0f);
        r.toon.exponent = std::max(2.0f / (rough * rough) - 2.0f, 8.0f);
        if (m_.toonLighting == ToonLighting::Scene) return;
        const Frame frame(surface_.shadingNormal);
        const auto local = [&](Float3 v) { return Float3{dot(frame.s, v), dot(frame.t, v), dot(frame.n, v)}; };
        // As bright as the colour is, where the light falls straight.
        const auto lit = [&](Float3 direction) {
            const Float3 wi = local(direction);
            return wi.z > 0.0f ? r.toon.value(local(wo_), wi) * (2.0f * kPi) : Float3{};
        };
        if (m_.toonLighting == ToonLighting::Camera) {
            r.glow = lit(wo_);
        } else {
            for (const ToonLight& light : shading_.toonLights) {
                const Float3 direction =
                    light.directional ? light.direction : normalize(light.position - surface_.position);
                r.glow += lit(direction) * light.color;
            }
        }
        r.toon.diffuse = r.toon.specular = {};
    }

    void universal() {
        SurfaceModel& r = result_;
        const Float3 albedo = color(m_.albedo), specular = color(m_.specular);
        r.metallic = scalar(m_.metallic);
        r.reflection = specular;
        r.refraction = color(m_.transmission);
        r.clear = maxComponent(r.refraction);
        const float index = m_.indexMap == kNoTexture ? m_.index : indexFromMap();
        if (r.clear > 0.0f) {
            clearIndex(index);
        } else {
            r.eta = index;
        }
        r.diffuse = albedo;
        if (r.metallic > 0.0f) metal(m_.indexMode == IndexMode::SpectralIndex ? specular : albedo);
        facets();
        layers();
    }

    float indexFromMap() const {
        const float index = textures_.scalar(m_.indexMap, surface_.at);
        return index > 1.0f ? std::min(index, 8.0f) : 1.0f;
    }

    void metal(Float3 tint) {
        SurfaceModel& r = result_;
        r.indexMode = m_.indexMode;
        r.metal = tint * color(m_.specularMap);
        r.metalIndex = m_.metalIndex;
        r.metalExtinction = m_.metalExtinction;
    }

    void facets() {
        SurfaceModel& r = result_;
        r.brdf = m_.brdf;
        setRoughness(r, scalar(m_.roughness), m_.anisotropy, path_.minAlpha);
        r.filmWidth = scalar(m_.filmWidth);
        r.filmIndex = m_.filmIndex;
    }

    void layers() {
        SurfaceModel& r = result_;
        if (!m_.sheen.none()) {
            r.sheen = color(m_.sheen);
            r.sheenRoughness = scalar(m_.sheenRoughness);
        }
        if (!m_.coating.none()) {
            r.coating = color(m_.coating);
            const float rough = scalar(m_.coatingRoughness);
            r.coatingAlpha = std::max(rough * rough, path_.minAlpha);
            r.coatingEta = m_.coatingIndex;
        }
    }

    /// The index of a clear body from the side of the viewer, by Cauchy's law where it disperses. A dispersed path goes
    /// on with one wavelength.
    void clearIndex(float index) {
        if (m_.dispersion > 0.0f) {
            if (!(path_.wavelength > 0.0f)) {
                path_.wavelength = 0.4f + 0.3f * sampler_.next1();
                path_.spectrum = spectrumAt(path_.wavelength);
            }
            constexpr float kSodium = 0.5893f;  // the index is told for the yellow line
            const float l = path_.wavelength;
            index = std::max(index + m_.dispersion * (1.0f / (l * l) - 1.0f / (kSodium * kSodium)), 1.0f);
        }
        result_.eta = surface_.front ? index : 1.0f / index;
    }

    const Shading& shading_;
    const TextureTable& textures_;
    Float3 wo_;
    const Material& m_;
    const Surface& surface_;
    PathState& path_;
    Sampler& sampler_;
    SurfaceModel& result_;
};

/// One of the parts of a mix, by what it has to say at the point. The path has not passed through, so each part counts
/// by what it holds back.
MaterialId chosenPart(const RenderScene& scene, MaterialId id, const Surface& surface, Sampler& sampler) {
    const Shading& shading = *scene.shading;
    const Material* mix = &shading.materials[id];
    const auto amount = [&](TextureId of) { return clamp01(shading.textures.scalar(of, surface.at)); };
    const auto held = [](float t, float first, float second) {
        const float a = (1.0f - t) * first, b = t * second;
        return a + b > 0.0f ? b / (a + b) : t;
    };
    if (!mix->opaque && mix->steps != kNoSteps) {
        const MixSteps& steps = *shading.mixSteps[mix->steps];
        MixValues<float> opacity(steps.size());
        Surface plain = surface;
        plain.layer = {};
        mixSteps(
            shading, steps, surface.at, [&](MaterialId part) { return opacityOf(scene, part, plain); }, opacity);
        std::size_t i = steps.size() - 1;
        while (!steps[i].leaf()) {
            const float t = held(amount(steps[i].amount), opacity[steps[i].first], opacity[steps[i].second]);
            i = sampler.next1() < t ? steps[i].second : steps[i].first;
        }
        return steps[i].material;
    }
    while (mix->kind == MaterialKind::Mix) {
        float t = amount(mix->amount);
        if (!mix->opaque) t = held(t, opacityOf(scene, mix->first, surface), opacityOf(scene, mix->second, surface));
        id = sampler.next1() < t ? mix->second : mix->first;
        mix = &shading.materials[id];
    }
    return id;
}

}  // namespace

Bsdf makeBsdf(const RenderScene& scene, const Hit& hit, Surface& surface, Float3 wo, PathState& path,
              Sampler& sampler) {
    const Shading& shading = *scene.shading;
    const Material* material = &shading.materials[surface.material];
    const Material& moving = *material;
    if (material->kind == MaterialKind::Mix) {
        surface.material = chosenPart(scene, surface.material, surface, sampler);
        material = &shading.materials[surface.material];
    }
    if (material->kind == MaterialKind::Clear) return {};
    if (material->edgeRadius > 0.0f) roundEdges(scene, hit, material->edgeRadius, surface, sampler);
    applyNormal(scene, hit, *material, surface);
    if (material->bump != kNoTexture || (moving.relief != kNoTexture && material->smooth)) {
        applyBump(scene, *material, moving, surface);
    }
    path.spectrum = splat(1.0f);
    if (material->kind == MaterialKind::Diffuse && material->transmission.none() && material->roughness.none()) {
        const Float3 diffuse = clamp01(material->albedo.color(shading.textures, surface.at));
        return Bsdf(diffuse, wo, surface.shadingNormal, surface.normal);
    }
    Float3 tangent;
    if (material->anisotropy != 0.0f) {
        tangent = tangentAt(scene, hit, surface);
        const float turn = 2.0f * kPi * material->rotation.scalar(shading.textures, surface.at);
        if (turn != 0.0f) {
            tangent = tangent * std::cos(turn) + cross(surface.shadingNormal, tangent) * std::sin(turn);
        }
    }
    const auto fill = [&](SurfaceModel& model) {
        Resolver(scene, *material, surface, path, wo, sampler, model).resolve();
    };
    return Bsdf(fill, wo, surface.shadingNormal, surface.normal, tangent);
}

Float3 shadowPass(const RenderScene& scene, MaterialId id, const Surface& surface, Float3 direction) {
    const Material& m = scene.shading->materials[id];
    if (m.kind == MaterialKind::Mix) {
        Surface plain = surface;
        plain.layer = {};
        const Float3 inside = mixed<Float3>(*scene.shading, id, surface.at,
                                            [&](MaterialId part) { return shadowPass(scene, part, plain, direction); });
        return lerp(splat(1.0f), inside, clamp01(surface.layer.opacity));
    }
    const bool byAlpha = scene.kernel.alphaShadows || m.opaque;
    const float opacity = byAlpha ? opacityOf(scene, id, surface) : 1.0f;
    if (!m.fakeShadows) return splat(1.0f - opacity);
    // The light goes on in a straight line, as through a thin pane.
    float cosT;
    const float f = fresnelDielectric(std::abs(dot(surface.shadingNormal, direction)), std::max(m.index, 1.0f), cosT);
    const Float3 tint = clamp01(m.transmission.color(scene.shading->textures, surface.at));
    return lerp(splat(1.0f), tint * (1.0f - f), opacity);
}

}  // namespace Lumora::engine
