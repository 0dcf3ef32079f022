#include "engine/render/lights.h"

#include "engine/render/sampling.h"

namespace Lumora::engine {

namespace {

struct WorldTriangle {
    Float3 a, b, c, normal;  ///< normal on the front
    float area = 0.0f, objectArea = 0.0f;
};

WorldTriangle worldTriangle(const Instance& instance, const CompiledMesh& mesh, std::uint32_t polygon,
                            std::uint32_t half) {
    Float3 p[3];
    triangleCorners(mesh, polygon, half, p);
    WorldTriangle r;
    const Float3 n = cross(p[1] - p[0], p[2] - p[0]);
    r.objectArea = 0.5f * length(n);
    r.a = transformPoint(instance.toWorld, p[0]);
    r.b = transformPoint(instance.toWorld, p[1]);
    r.c = transformPoint(instance.toWorld, p[2]);
    r.area = 0.5f * length(cross(r.b - r.a, r.c - r.a));
    r.normal = normalize(instance.normalToWorld(n));
    return r;
}

struct Choice {
    std::uint32_t instance = 0, triangle = 0;
    float probability = 0.0f;
};

Choice chooseTriangle(const Lights& lights, Float3 from, Float2 u) {
    Choice c;
    if (!lights.tree.empty()) {
        const Lights::Item& item = lights.items[lights.tree.sample(from, u, c.probability)];
        c.instance = item.instance;
        c.triangle = item.triangle;
        return c;
    }
    const std::uint32_t index = lights.distribution.sample(u.x);
    const Emitter& emitter = lights.emitters[index];
    const EmitterSet& set = *lights.sets[emitter.set];
    const std::uint32_t entry = set.distribution.sample(u.y);
    c.instance = emitter.instance;
    c.triangle = set.triangles[entry];
    c.probability = lights.distribution.probability(index) * set.distribution.probability(entry);
    return c;
}

LightSample sampleEmitter(const RenderScene& scene, float chance, const LightQuery& query, const float u[4]) {
    const Float3 from = query.position;
    const Lights& lights = *scene.lights;
    LightSample s;
    const Choice chosen = chooseTriangle(lights, from, {u[0], u[1]});
    const Instance& instance = scene.geometry->instances[chosen.instance];
    const CompiledMesh& mesh = *scene.geometry->meshes[instance.mesh];
    const std::uint32_t polygon = chosen.triangle >> 1, half = chosen.triangle & 1;
    const WorldTriangle t = worldTriangle(instance, mesh, polygon, half);
    if (!(t.area > 0.0f)) return s;
    const Float2 b = sampleTriangle({u[2], u[3]});
    const Float3 p = t.a * (1.0f - b.x - b.y) + t.b * b.x + t.c * b.y;
    const Float3 d = p - from;
    const float distance2 = dot(d, d);
    if (!(distance2 > 0.0f)) return s;
    s.distance = std::sqrt(distance2);
    s.direction = d * (1.0f / s.distance);
    const float cosine = std::abs(dot(t.normal, s.direction));
    if (!(cosine > 0.0f)) return s;
    s.pdf = chance * chosen.probability * distance2 / (cosine * t.area);
    const MaterialId id =
        scene.shading->slotMaterials[scene.geometry->meshSlot[instance.mesh] + mesh.material(polygon)];
    const Material& material = scene.shading->materials[id];
    if (material.kind != MaterialKind::Mix && material.emission != kNoEmission) {
        const Emission& e = scene.shading->emissions[material.emission];
        if (!(e.idBit & query.mask)) return s;
        s.onDiffuse = e.onDiffuse;
        s.onSpecular = e.onSpecular;
        s.castsShadows = e.castsShadows;
        const bool plain =
            material.opaque && !scene.geometry->restricted && e.color == kNoTexture && e.distribution == kNoTexture;
        if (plain) {
            if (e.doubleSided || dot(t.normal, s.direction) < 0.0f) s.radiance = e.scale;
            return s;
        }
    }
    // Both halves carry barycentrics as Embree would report them.
    Hit hit;
    hit.t = s.distance;
    hit.instance = chosen.instance;
    hit.polygon = polygon;
    hit.u = half ? 1.0f - b.x : b.x;
    hit.v = half ? 1.0f - b.y : b.y;
    const Surface surface = surfaceAt(scene, hit, {from, s.direction, 0.0f, kInfinity});
    s.radiance = emittedRadiance(scene, surface.material, surface, -s.direction, RayKind::Camera, query.mask);
    if (!material.opaque || scene.geometry->restricted) s.radiance *= opacityOf(scene, surface.material, surface);
    return s;
}

LightSample sampleSun(const Environment& environment, float chance, const float u[4]) {
    LightSample s;
    s.direction = Frame(environment.sunDirection).toWorld(sampleCone({u[2], u[3]}, environment.sunCosine));
    s.pdf = chance / (2.0f * kPi * (1.0f - environment.sunCosine));
    s.radiance = environment.sunRadiance;
    return s;
}

}  // namespace

LightChoice::LightChoice(const RenderScene& scene)
    : mask(scene.kernel.lightMask), invertedMask(scene.kernel.lightMaskInverted) {
    if (!scene.lights->emitters.empty()) emitters = 1.0f;
    if (scene.environment && !scene.environment->distribution.empty()) environment = 1.0f;
    if (scene.environment && !isBlack(scene.environment->sunRadiance) && scene.environment->sunCosine < 1.0f)
        sun = 1.0f;
    const float sum = emitters + environment + sun;
    if (sum > 0.0f) {
        emitters /= sum;
        environment /= sum;
        sun /= sum;
    }
}

Float3 emittedRadiance(const RenderScene& scene, MaterialId id, const Surface& surface, Float3 outgoing, RayKind kind,
                       std::uint32_t mask) {
    const Material& m = scene.shading->materials[id];
    if (m.kind == MaterialKind::Mix) {
        const float t = clamp01(scene.shading->textures.scalar(m.amount, surface.at));
        return lerp(emittedRadiance(scene, m.first, surface, outgoing, kind, mask),
                    emittedRadiance(scene, m.second, surface, outgoing, kind, mask), t);
    }
    if (m.emission == kNoEmission) return {};
    const Emission& e = scene.shading->emissions[m.emission];
    if (!(surface.front || e.doubleSided) || !e.visibleTo(kind) || !(e.idBit & mask)) return {};
    if (e.color == kNoTexture) return e.scale;
    const Float3 r = scene.shading->textures.color(e.color, surface.at) * e.scale;
    return {std::max(r.x, 0.0f), std::max(r.y, 0.0f), std::max(r.z, 0.0f)};
}

float opacityOf(const RenderScene& scene, MaterialId id, const Surface& surface) {
    const Material& m = scene.shading->materials[id];
    float o = clamp01(surface.layer.opacity);
    if (m.opaque) return o;
    switch (m.kind) {
        case MaterialKind::Clear:
            return 0.0f;
        case MaterialKind::Mix: {
            const float t = clamp01(scene.shading->textures.scalar(m.amount, surface.at));
            Surface plain = surface;
            plain.layer = {};
            o *= lerp(opacityOf(scene, m.first, plain), opacityOf(scene, m.second, plain), t);
            return o;
        }
        default:
            break;
    }
    return m.opacity == kNoTexture ? o : o * clamp01(scene.shading->textures.scalar(m.opacity, surface.at));
}

LightSample sampleLight(const RenderScene& scene, const LightChoice& choice, const LightQuery& query,
                        const float u[4]) {
    float pick = u[0];
    if (pick < choice.emitters) {
        const float v[4] = {std::min(pick / choice.emitters, 0x1.fffffep-1f), u[1], u[2], u[3]};
        return sampleEmitter(scene, choice.emitters, query, v);
    }
    pick -= choice.emitters;
    if (choice.environment > 0.0f && (pick < choice.environment || choice.sun <= 0.0f)) {
        LightSample s;
        s.radiance = scene.environment->sample({u[2], u[3]}, s.direction, s.pdf);
        s.pdf *= choice.environment;
        s.environment = true;
        if (!(query.mask & kEnvironmentBit)) s.radiance = {};
        return s;
    }
    return choice.sun > 0.0f && (query.mask & kSunBit) ? sampleSun(*scene.environment, choice.sun, u) : LightSample{};
}

float emitterPdf(const RenderScene& scene, const LightChoice& choice, const LightQuery& query, const Hit& hit,
                 const Surface& surface) {
    if (choice.emitters <= 0.0f || hit.plane()) return 0.0f;
    const Lights& lights = *scene.lights;
    const std::uint32_t index = lights.instanceEmitter[hit.instance];
    if (index == kNone) return 0.0f;
    const EmitterSet& set = *lights.sets[lights.emitters[index].set];
    const Instance& instance = scene.geometry->instances[hit.instance];
    const CompiledMesh& mesh = *scene.geometry->meshes[instance.mesh];
    const float weight = set.slotWeight[mesh.material(hit.polygon)];
    if (!(weight > 0.0f)) return 0.0f;
    const std::uint32_t half = halfOf(mesh, hit.polygon, hit.u, hit.v);
    const WorldTriangle t = worldTriangle(instance, mesh, hit.polygon, half);
    if (!(t.area > 0.0f)) return 0.0f;
    float chosen;
    if (lights.tree.empty()) {
        chosen = lights.distribution.probability(index) *
                 static_cast<float>(t.objectArea * weight / set.distribution.total());
    } else {
        const std::uint32_t code = 2 * hit.polygon + half;
        const auto entry = std::lower_bound(set.triangles.begin(), set.triangles.end(), code);
        if (entry == set.triangles.end() || *entry != code) return 0.0f;
        chosen = lights.tree.probability(
            query.position, lights.firstItem[index] + static_cast<std::uint32_t>(entry - set.triangles.begin()));
    }
    const Float3 d = surface.position - query.position;
    const float distance2 = dot(d, d);
    const float cosine = std::abs(dot(t.normal, d)) / std::sqrt(distance2);
    if (!(cosine > 0.0f)) return 0.0f;
    return choice.emitters * chosen * distance2 / (cosine * t.area);
}

SkyLight skyLight(const RenderScene& scene, const LightChoice& choice, const LightQuery& query, Float3 direction) {
    SkyLight s;
    const Environment* e = scene.environment.get();
    if (!e) return s;
    if (query.mask & kEnvironmentBit) {
        s.environment = e->radiance(direction);
        if (choice.environment > 0.0f) s.environmentPdf = choice.environment * e->pdf(direction);
    }
    if (query.mask & kSunBit) {
        s.sun = e->sunDisc(direction);
        if (!isBlack(s.sun)) s.sunPdf = choice.sun / (2.0f * kPi * (1.0f - e->sunCosine));
    }
    return s;
}

}  // namespace Lumora::engine
