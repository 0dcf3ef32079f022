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

}  // namespace

Integrator::Integrator(const RenderScene& scene) : scene_(scene), choice_(scene) {
    const Kernel& k = scene.kernel;
    maxDepth_ = std::max(k.diffuseDepth, 1);
    if (!k.path && k.directMode != DirectMode::Diffuse) maxDepth_ = 1;
    occlusionOnly_ = !k.path && k.directMode == DirectMode::AmbientOcclusion;
    passing_ = scene.shading->transparent || scene.geometry->restricted;
}

Float3 Integrator::clampIndirect(Float3 c) const {
    const float m = maxComponent(c);
    return m > scene_.kernel.giClamp ? c * (scene_.kernel.giClamp / m) : c;
}

float Integrator::transmittance(Ray ray) const {
    if (!passing_) return occluded(*scene_.geometry, ray) ? 0.0f : 1.0f;
    float result = 1.0f;
    for (int i = 0; i < kMaxPassed; ++i) {
        const Hit hit = intersect(*scene_.geometry, ray);
        if (!hit.valid()) return result;
        const Surface surface = surfaceAt(scene_, hit, ray);
        if (surface.layer.shadowVisible) {
            const bool byAlpha = scene_.kernel.alphaShadows || scene_.shading->materials[surface.material].opaque;
            result *= 1.0f - (byAlpha ? opacityOf(scene_, surface.material, surface) : 1.0f);
            if (!(result > 1e-4f)) return 0.0f;
        }
        ray.tmin = beyond(hit, surface);
        if (!(ray.tmin < ray.tmax)) return result;
    }
    return 0.0f;
}

Float3 Integrator::directLight(const Surface& surface, Float3 albedo, Sampler& sampler) const {
    const auto u = sampler.next4();
    const Float3 from = surface.position + surface.normal * surface.offset;
    const LightSample light = sampleLight(scene_, choice_, choice_.query(surface, from, false), u.data());
    if (!(light.pdf > 0.0f) || isBlack(light.radiance)) return {};
    const float cosine = dot(surface.shadingNormal, light.direction);
    if (!(cosine > 0.0f) || !(dot(surface.normal, light.direction) > 0.0f)) return {};
    // With ambient occlusion the environment shines through what is further away. The short rays do not reach every
    // other light, so there light sampling stands alone.
    const bool alone = occlusionOnly_ && !light.environment;
    const float weight = alone ? 1.0f : powerHeuristic(light.pdf, cosine * kInvPi);
    const Float3 value = albedo * light.radiance * (cosine * kInvPi * weight / light.pdf);
    float reach = light.distance * (1.0f - 0x1p-13f);
    if (occlusionOnly_ && light.environment) reach = scene_.kernel.aoDistance;
    if (!light.onDiffuse) return {};
    return light.castsShadows ? value * transmittance({from, light.direction, 0.0f, reach}) : value;
}

PixelSample Integrator::background(const Ray& ray) const {
    PixelSample s;
    const Kernel& k = scene_.kernel;
    if (k.alphaChannel) s.alpha = 0.0f;
    if (k.alphaChannel && !k.keepEnvironment) return s;
    const Environment* e =
        scene_.visible && scene_.visible->showBackplate ? scene_.visible.get() : scene_.environment.get();
    if (e) s.color = s.direct = e->radiance(ray.direction) + e->sunDisc(ray.direction);
    return s;
}

Float3 Integrator::environmentHit(const LightQuery& query, Float3 direction, float bsdfPdf) const {
    const SkyLight light = skyLight(scene_, choice_, query, direction);
    Float3 r = light.environment * powerHeuristic(bsdfPdf, light.environmentPdf);
    if (!(occlusionOnly_ && light.sunPdf > 0.0f)) r += light.sun * powerHeuristic(bsdfPdf, light.sunPdf);
    return r;
}

PixelSample Integrator::trace(Ray ray, Sampler& sampler) const {
    const Kernel& kernel = scene_.kernel;
    const TextureTable& textures = scene_.shading->textures;
    PixelSample result;
    Float3 throughput = splat(1.0f);
    LightQuery previous;
    float bsdfPdf = 0.0f;
    int depth = 0;
    // Light after a number of bounces.
    const auto add = [&](Float3 light, int bounces) {
        result.color += bounces > 1 ? clampIndirect(light) : light;
        if (bounces <= 1) result.direct += light;
    };
    for (int passed = 0; passed < kMaxPassed;) {
        const Hit hit = intersect(*scene_.geometry, ray);
        if (!hit.valid()) {
            if (depth == 0) return background(ray);
            add(throughput * environmentHit(previous, ray.direction, bsdfPdf), depth);
            break;
        }
        Surface surface = surfaceAt(scene_, hit, ray);
        const Material* material = &scene_.shading->materials[surface.material];
        bool pass = depth == 0 && !surface.layer.cameraVisible;
        if (!pass && passing_ && (!material->opaque || surface.layer.opacity < 1.0f)) {
            const float opacity = opacityOf(scene_, surface.material, surface);
            pass = opacity < 1.0f && sampler.next1() >= opacity;
        }
        if (pass) {
            ray.tmin = beyond(hit, surface);
            ++passed;
            continue;
        }
        const Float3 emitted = emittedRadiance(scene_, surface.material, surface, -ray.direction,
                                               depth == 0 ? RayKind::Camera : RayKind::Diffuse, previous.mask);
        if (!isBlack(emitted)) {
            float weight = 1.0f;
            if (depth > 0) {
                const float pdf = emitterPdf(scene_, choice_, previous, hit, surface);
                weight = !occlusionOnly_ ? powerHeuristic(bsdfPdf, pdf) : pdf > 0.0f ? 0.0f : 1.0f;
            }
            add(throughput * emitted * weight, depth);
        }
        if (depth == 0) {
            result.albedo = clamp01(emitted);
            result.normal = surface.shadingNormal;
            result.depth = hit.t;
        }
        if (depth >= maxDepth_) break;

        for (int nested = 0; material->kind == MaterialKind::Mix && nested < 16; ++nested) {
            const float t = clamp01(textures.scalar(material->amount, surface.at));
            material = &scene_.shading->materials[sampler.next1() < t ? material->second : material->first];
        }
        if (material->kind != MaterialKind::Diffuse) break;
        applyNormal(scene_, hit, *material, surface);
        const Float3 albedo = clamp01(textures.color(material->albedo, surface.at));
        if (depth == 0) {
            if (isBlack(emitted)) result.albedo = albedo;
            result.normal = surface.shadingNormal;
        }
        if (isBlack(albedo)) break;

        if (choice_.any()) add(throughput * directLight(surface, albedo, sampler), depth + 1);

        const auto u = sampler.next4();
        const Float3 local = sampleCosineHemisphere({u[0], u[1]});
        const Float3 direction = Frame(surface.shadingNormal).toWorld(local);
        bsdfPdf = local.z * kInvPi;
        if (!(dot(direction, surface.normal) > 0.0f) || !(bsdfPdf > 0.0f)) break;
        throughput *= albedo;
        ++depth;
        if (depth > 2 && kernel.terminationPower > 0.0f) {
            const float exponent = kernel.terminationPower / 0.3f, strength = maxComponent(throughput);
            const float survival = std::clamp(exponent == 1.0f ? strength : std::pow(strength, exponent), 0.05f, 1.0f);
            if (u[2] >= survival) break;
            throughput *= 1.0f / survival;
        }
        previous = choice_.query(surface, surface.position + surface.normal * surface.offset, false);
        ray = {previous.position, direction, 0.0f, occlusionOnly_ ? kernel.aoDistance : kInfinity,
               ray.footprint.scattered(hit.t, bsdfPdf)};
    }
    if (!isFinite(result.color)) result.color = result.direct = {};
    return result;
}

}  // namespace Lumora::engine
