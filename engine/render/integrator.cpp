#include "engine/render/integrator.h"

#include "engine/render/sampling.h"

namespace Lumora::engine {

namespace {

/// A ray is let through this many surfaces before it is given up.
constexpr int kMaxPassed = 256;

/// Smallest start of a ray that leaves the surface it was found on.
float beyond(const Hit& hit, const Surface& surface) {
    return hit.t + std::max(2.0f * surface.offset, hit.t * 0x1p-20f);
}

/// A surface that sends back all light, to show how much there is.
Bsdf whiteBsdf(const Surface& surface, Float3 wo) {
    return Bsdf(splat(1.0f), wo, surface.shadingNormal, surface.normal);
}

}  // namespace

/// Where a path stands.
struct Integrator::Path {
    Ray ray;
    Float3 throughput{1, 1, 1};
    LightQuery previous;   ///< of the point that the ray left
    float bsdfPdf = 0.0f;  ///< of the ray's direction
    bool specular = true;  ///< the ray's direction could not have been found by sampling lights
    bool straight = true;  ///< what is seen counts as seen directly for the alpha channel
    float veil = 1.0f;     ///< what caught shadows leave of the background
    int depth = 0, passed = 0;
    int diffuse = 0, glossy = 0, mirrored = 0;  ///< bounces of each kind
    RayKind kind = RayKind::Camera;
    PathState state;

    /// Light that lights sampled at the first surface cannot hold any more: the part that may be clamped.
    bool indirect() const { return diffuse + glossy > (specular ? 0 : 1); }
    Lobes allowed(int maxDiffuse, int maxGlossy, int maxSpecular) const {
        Lobes lobes = kTransmissionLobe;
        if (diffuse < maxDiffuse) lobes |= kDiffuseLobe;
        if (glossy + mirrored < maxGlossy) lobes |= kGlossyLobe;
        if (glossy + mirrored < maxSpecular) lobes |= kSpecularLobe;
        return lobes;
    }
};

Integrator::Integrator(const RenderScene& scene) : scene_(scene), choice_(scene) {
    const Kernel& k = scene.kernel;
    maxDiffuse_ = std::max(k.diffuseDepth, 1);
    maxGlossy_ = std::max(k.glossyDepth, 1);
    maxSpecular_ = std::max(k.specularDepth, 1);
    if (!k.path && k.directMode != DirectMode::Diffuse) maxDiffuse_ = 1;
    occlusionOnly_ = !k.path && k.directMode == DirectMode::AmbientOcclusion;
    passing_ = scene.shading->transparent || scene.geometry->restricted;
}

Float3 Integrator::clampIndirect(Float3 c) const {
    const float m = maxComponent(c);
    return m > scene_.kernel.giClamp ? c * (scene_.kernel.giClamp / m) : c;
}

Float3 Integrator::transmittance(Ray ray) const {
    if (!passing_) return occluded(*scene_.geometry, ray) ? Float3{} : splat(1.0f);
    Float3 result = splat(1.0f);
    for (int i = 0; i < kMaxPassed; ++i) {
        const Hit hit = intersect(*scene_.geometry, ray);
        if (!hit.valid()) return result;
        const Material& material = scene_.shading->materials[materialAt(scene_, hit)];
        if (material.opaque && !material.fakeShadows && !scene_.geometry->restricted) return {};
        const Surface surface = surfaceAt(scene_, hit, ray);
        if (surface.layer.shadowVisible) {
            result *= shadowPass(scene_, surface.material, surface, ray.direction);
            if (!(maxComponent(result) > 1e-4f)) return {};
        }
        ray.tmin = beyond(hit, surface);
        if (!(ray.tmin < ray.tmax)) return result;
    }
    return {};
}

Float3 Integrator::directLight(const Surface& surface, const LightQuery& query, const Bsdf& bsdf,
                               Sampler& sampler) const {
    const auto u = sampler.next4();
    const LightSample light = sampleLight(scene_, choice_, query, u.data());
    if (!(light.pdf > 0.0f) || isBlack(light.radiance)) return {};
    Lobes which = 0;
    if (light.onDiffuse) which |= kDiffuseLobe;
    const bool above = dot(surface.normal, light.direction) > 0.0f;
    if (above ? light.onSpecular : light.onRefraction) which |= kGlossyLobe;
    float pdf;
    const Float3 f = bsdf.evaluate(light.direction, pdf, which);
    if (isBlack(f)) return {};
    // With ambient occlusion the environment shines through what is further away. The short rays do not reach every
    // other light, so there light sampling stands alone; as it does where rays may be blocked that light samples are
    // not.
    const bool alone = (occlusionOnly_ && !light.environment) || !light.castsShadows;
    const float weight = alone ? 1.0f : powerHeuristic(light.pdf, pdf);
    const Float3 value = f * light.radiance * (weight / light.pdf);
    if (!light.castsShadows) return value;
    const Float3 origin = above ? query.position : surface.position - surface.normal * surface.offset;
    float reach = light.distance * (1.0f - 0x1p-13f);
    // The distance is from above the surface; a ray from below it is that much shorter.
    if (!above) reach -= 2.0f * surface.offset;
    if (occlusionOnly_ && light.environment) reach = scene_.kernel.aoDistance;
    return value * transmittance({origin, light.direction, 0.0f, reach});
}

PixelSample Integrator::background(const Ray& ray) const {
    PixelSample s;
    const Kernel& k = scene_.kernel;
    if (k.alphaChannel) s.alpha = 0.0f;
    if (k.alphaChannel && !k.keepEnvironment) return s;
    const SkyLight light = skyLight(scene_, choice_, {}, ray.direction, RayKind::Camera);
    s.color = s.direct = light.environment + light.sun;
    return s;
}

Float3 Integrator::environmentHit(const Path& path) const {
    const SkyLight light = skyLight(scene_, choice_, path.previous, path.ray.direction, path.kind);
    if (path.specular) return light.environment + light.sun;
    Float3 r = light.environment * powerHeuristic(path.bsdfPdf, light.environmentPdf);
    if (!(occlusionOnly_ && light.sunPdf > 0.0f)) r += light.sun * powerHeuristic(path.bsdfPdf, light.sunPdf);
    return r;
}

bool Integrator::passes(const Path& path, const Surface& surface, Sampler& sampler) const {
    if (path.depth == 0 && !surface.layer.cameraVisible) return true;
    if (!passing_ || (scene_.shading->materials[surface.material].opaque && surface.layer.opacity >= 1.0f))
        return false;
    const float opacity = opacityOf(scene_, surface.material, surface);
    return opacity < 1.0f && sampler.next1() >= opacity;
}

/// What a surface emits towards the path, as much of it as light sampling does not find.
Float3 Integrator::emittedAlong(const Path& path, const Hit& hit, const Surface& surface) const {
    const Material& material = scene_.shading->materials[surface.material];
    if (material.emission == kNoEmission && material.kind != MaterialKind::Mix) return {};
    if (path.depth == 0 && !surface.layer.cameraVisible) return {};
    const Float3 emitted =
        emittedRadiance(scene_, surface.material, surface, -path.ray.direction, path.kind, path.previous.mask);
    if (path.specular || isBlack(emitted)) return emitted;
    const float pdf = emitterPdf(scene_, choice_, path.previous, hit, surface);
    if (occlusionOnly_) return pdf > 0.0f ? Float3{} : emitted;
    return emitted * powerHeuristic(path.bsdfPdf, pdf);
}

/// Adds the direct light of a surface to the result and sends the path on. False: it ends here.
bool Integrator::scatter(Path& path, const Hit& hit, Surface& surface, Sampler& sampler, PixelSample& result) const {
    const Kernel& kernel = scene_.kernel;
    const bool affectAlpha = scene_.shading->materials[surface.material].affectAlpha;
    Bsdf bsdf = kernel.irradiance && path.depth == 0
                    ? whiteBsdf(surface, -path.ray.direction)
                    : makeBsdf(scene_, hit, surface, -path.ray.direction, path.state, sampler);
    if (path.depth == 0) {
        if (isBlack(result.albedo)) result.albedo = clamp01(bsdf.albedo());
        result.normal = surface.shadingNormal;
    }
    if (path.specular && !isBlack(bsdf.glow())) {
        const Float3 light = path.throughput * bsdf.glow();
        result.color += light;
        result.direct += light;
    }
    if (path.straight && scene_.shading->materials[surface.material].matte) {
        catchShadow(path, hit, surface, bsdf, sampler);
        return true;
    }
    bsdf.restrict(path.allowed(maxDiffuse_, maxGlossy_, maxSpecular_));
    if (bsdf.black()) return false;
    path.throughput *= path.state.spectrum;
    const Float3 above = surface.position + surface.normal * surface.offset;
    const LightQuery query = choice_.query(surface, above, bsdf.lobes() & kTransmissionLobe);
    if (choice_.any() && bsdf.finite()) {
        const Float3 light = path.throughput * directLight(surface, query, bsdf, sampler);
        const bool first = path.diffuse + path.glossy == 0;
        result.color += first ? light : clampIndirect(light);
        if (first) result.direct += light;
    }
    const auto u = sampler.next4();
    const BsdfSample s = bsdf.sample(u.data());
    if (isBlack(s.weight)) return false;
    path.throughput *= s.weight;
    ++path.depth;
    path.specular = s.specular();
    path.bsdfPdf = s.pdf;
    path.straight = path.straight && affectAlpha && s.transmitted() && !(s.lobe & kDiffuseLobe);
    path.kind = s.transmitted() ? RayKind::Refraction : RayKind::Specular;
    if (s.lobe & kDiffuseLobe) {
        ++path.diffuse;
        path.kind = RayKind::Diffuse;
        path.state.minAlpha = kernel.causticBlur;
    } else if (s.specular()) {
        ++path.mirrored;
    } else {
        ++path.glossy;
    }
    if (path.depth > 2 && kernel.terminationPower > 0.0f) {
        const float exponent = kernel.terminationPower / 0.3f, strength = maxComponent(path.throughput);
        const float survival = std::clamp(exponent == 1.0f ? strength : std::pow(strength, exponent), 0.05f, 1.0f);
        if (u[3] >= survival) return false;
        path.throughput *= 1.0f / survival;
    }
    path.previous = query;
    const bool up = dot(surface.normal, s.direction) > 0.0f;
    path.ray = {up ? above : surface.position - surface.normal * surface.offset, s.direction, 0.0f, kInfinity,
                s.specular() ? path.ray.footprint.after(hit.t) : path.ray.footprint.scattered(hit.t, s.pdf)};
    if (occlusionOnly_ && (s.lobe & kDiffuseLobe)) path.ray.tmax = kernel.aoDistance;
    return true;
}

/// A surface that is there for its shadows only: it darkens what lies behind by the share of light that it misses.
void Integrator::catchShadow(Path& path, const Hit& hit, const Surface& surface, const Bsdf& bsdf,
                             Sampler& sampler) const {
    path.ray.tmin = beyond(hit, surface);
    ++path.passed;
    if (!choice_.any()) return;
    const auto u = sampler.next4();
    const Float3 from = surface.position + surface.normal * surface.offset;
    const LightSample light = sampleLight(scene_, choice_, choice_.query(surface, from, false), u.data());
    float pdf;
    if (!(light.pdf > 0.0f) || !light.castsShadows || isBlack(bsdf.evaluate(light.direction, pdf))) return;
    const float seen = average(transmittance({from, light.direction, 0.0f, light.distance * (1.0f - 0x1p-13f)}));
    path.throughput *= seen;
    path.veil *= seen;
}

PixelSample Integrator::trace(Ray ray, Sampler& sampler) const {
    PixelSample result;
    Path path;
    path.ray = ray;
    const auto add = [&](Float3 light) {
        const bool indirect = path.indirect();
        result.color += indirect ? clampIndirect(light) : light;
        if (!indirect) result.direct += light;
    };
    while (path.passed < kMaxPassed) {
        const Hit hit = intersect(*scene_.geometry, path.ray);
        if (!hit.valid()) {
            if (path.straight) {
                const PixelSample behind = background(path.ray);
                add(path.throughput * behind.color);
                result.alpha = 1.0f - (1.0f - behind.alpha) * path.veil;
            } else {
                add(path.throughput * environmentHit(path));
            }
            break;
        }
        Surface surface = surfaceAt(scene_, hit, path.ray);
        const Float3 emitted = emittedAlong(path, hit, surface);
        add(path.throughput * emitted);
        if (passes(path, surface, sampler)) {
            path.ray.tmin = beyond(hit, surface);
            ++path.passed;
            continue;
        }
        if (path.depth == 0) {
            result.albedo = clamp01(emitted);
            result.normal = surface.shadingNormal;
            result.depth = hit.t;
        }
        // A short ray that met something has told all that it was sent for.
        if (occlusionOnly_ && path.diffuse > 0) break;
        if (!scatter(path, hit, surface, sampler, result)) break;
    }
    if (!isFinite(result.color)) result.color = result.direct = {};
    return result;
}

}  // namespace Lumora::engine
