#include "engine/render/lights.h"

#include "engine/render/mix.h"
#include "engine/render/portals.h"
#include "engine/render/sampling.h"
#include "engine/render/world_polygon.h"

namespace Lumora::engine {

namespace {

LightReceiver worldReceiver(const LightQuery& query) {
    return {query.position, query.normal, query.bothSides, query.mask};
}

/// The same place in the space of an emitter's mesh. Which side of a plane a point is on survives any affine map.
LightReceiver objectReceiver(const LightQuery& query, const Emitter& emitter, const Instance& instance) {
    const Float3 n = query.normal;
    const Float3 normal = normalize({dot(column(instance.toWorld, 0), n), dot(column(instance.toWorld, 1), n),
                                     dot(column(instance.toWorld, 2), n)});
    return {transformPoint(emitter.toObject, query.position), normal, query.bothSides, query.mask};
}

/// Radiance for each watt or for each unit of radiance.
float shareOf(const RenderScene& scene, const Emission& emission, const Surface& surface) {
    if (!emission.byPower) return 1.0f;
    const std::uint32_t index = scene.lights->emitterOf(surface.at.instance);
    if (index == kNone) return 1.0f;
    const Emitter& emitter = scene.lights->emitters[index];
    if (emitter.firstShare == kNone) return 1.0f;
    const CompiledMesh& mesh = *scene.geometry->meshes[scene.geometry->instances[emitter.instance].mesh];
    return scene.lights->powerShares[emitter.firstShare + mesh.material(surface.at.polygon)];
}

/// Where a distribution is looked up: its texture sees the direction of the light as a point of the unit sphere. In
/// texture coordinates the lower edge of the picture is where the front of the surface looks.
TextureContext distributionContext(const RenderScene& scene, const Surface& surface, Float3 outgoing) {
    TextureContext at;
    at.scene = &scene;
    at.instance = surface.at.instance;
    at.polygon = surface.at.polygon;
    at.frontFace = surface.front;
    at.worldPosition = at.worldNormal = at.shadingNormal = outgoing;
    Float3 local = outgoing;
    const Float3 front = surface.front ? surface.normal : -surface.normal;
    Float3 reference{1, 0, 0};
    if (surface.at.instance < scene.geometry->instances.size()) {
        const Instance& instance = scene.geometry->instances[surface.at.instance];
        const NormalTransform& n = instance.normalToWorld;
        local = normalize({dot(n.x, outgoing), dot(n.y, outgoing), dot(n.z, outgoing)});
        reference = column(instance.toWorld, 0);
        if (std::abs(dot(reference, front)) > 0.99f * length(reference)) reference = column(instance.toWorld, 2);
    }
    at.objectPosition = at.objectNormal = local;
    const Float3 right = normalize(reference - front * dot(reference, front)), ahead = cross(front, right);
    const Float2 uv = directionToMap({dot(outgoing, right), -dot(outgoing, front), dot(outgoing, ahead)});
    at.uv[0] = at.uv[1] = at.uv[2] = {uv.x, uv.y, 0.0f};
    return at;
}

/// What the transparency of a material leaves of its light. Of an even opacity only a camera takes notice: it makes a
/// lamp invisible, not weak. A texture of opacity masks the light for everybody.
float shownEmission(const RenderScene& scene, const Material& m, const Emission& e, const Surface& surface,
                    RayKind kind, bool lighting) {
    if (m.opaque || e.transparent || m.opacity == kNoTexture) return 1.0f;
    if ((lighting || kind != RayKind::Camera) && scene.shading->textures.isConstant(m.opacity)) return 1.0f;
    return clamp01(scene.shading->textures.scalar(m.opacity, surface.at));
}

/// `lighting`: to light a surface, whatever the kind of its reflection.
Float3 emissionOf(const RenderScene& scene, MaterialId id, const Surface& surface, Float3 outgoing, RayKind kind,
                  bool lighting, std::uint32_t mask) {
    const Material& m = scene.shading->materials[id];
    if (m.emission == kNoEmission) return {};
    if (m.kind == MaterialKind::Mix) {
        return mixed<Float3>(*scene.shading, id, surface.at, [&](MaterialId part) {
            return emissionOf(scene, part, surface, outgoing, kind, lighting, mask);
        });
    }
    const Emission& e = scene.shading->emissions[m.emission];
    if (!(surface.front || e.doubleSided) || !(lighting || e.visibleTo(kind)) || !(e.idBit & mask)) return {};
    Float3 r = e.scale;
    if (e.color != kNoTexture) r = r * scene.shading->textures.color(e.color, surface.at);
    if (e.distribution != kNoTexture) {
        r *= scene.shading->textures.scalar(e.distribution, distributionContext(scene, surface, outgoing));
    }
    r *= shareOf(scene, e, surface) * shownEmission(scene, m, e, surface, kind, lighting);
    return {std::max(r.x, 0.0f), std::max(r.y, 0.0f), std::max(r.z, 0.0f)};
}

/// Chances of the kinds of light at one point.
struct Chances {
    float emitters = 0.0f, environment = 0.0f, sun = 0.0f;
};

/// By a guess of the irradiance from each kind. Nothing is known of shadows, so none gets much less than its share.
Chances chancesAt(const RenderScene& scene, const LightChoice& choice, const LightQuery& query) {
    Chances c;
    if (choice.emitters) {
        c.emitters = scene.lights->tree.bounds().importance(query.position, query.normal, query.bothSides, query.mask);
    }
    const Environment* e = scene.environment.get();
    if (choice.environment && (query.mask & kEnvironmentBit)) c.environment = kPi * e->meanLuminance();
    if (choice.sun && (query.mask & kSunBit)) {
        float cosine = query.normal == Float3{} ? 1.0f : dot(query.normal, e->sunDirection);
        if (query.bothSides) cosine = std::abs(cosine);
        const float reach = std::sqrt(std::max(0.0f, 1.0f - e->sunCosine * e->sunCosine));
        if (cosine > -reach) c.sun = e->sunIrradiance() * std::max(cosine, 0.05f);
    }
    const float sum = c.emitters + c.environment + c.sun;
    if (!(sum > 0.0f)) return {};
    constexpr float kFloor = 0.25f;
    const auto lift = [&](float x) { return x > 0.0f ? x / sum + kFloor : 0.0f; };
    c = {lift(c.emitters), lift(c.environment), lift(c.sun)};
    const float total = c.emitters + c.environment + c.sun;
    return {c.emitters / total, c.environment / total, c.sun / total};
}

LightSample sampleEmitter(const RenderScene& scene, float chance, const LightQuery& query, double pick, Float2 u) {
    const Lights& lights = *scene.lights;
    LightSample s;
    float chosen = 0.0f, inside = 0.0f;
    const Emitter& emitter = lights.emitters[lights.tree.sample(worldReceiver(query), pick, chosen)];
    if (!(chosen > 0.0f)) return s;
    const EmitterSet& set = *lights.sets[emitter.set];
    const Instance& instance = scene.geometry->instances[emitter.instance];
    std::uint32_t place = 0;
    if (set.polygons.size() > 1) {
        place = set.sample(objectReceiver(query, emitter, instance), pick, inside);
        if (!(inside > 0.0f)) return s;
        chosen *= inside;
    }
    const std::uint32_t polygon = set.polygons[place];
    const CompiledMesh& mesh = *scene.geometry->meshes[instance.mesh];
    const WorldPolygon world(instance, mesh, polygon);
    const PolygonPoint point = pointOn(world, query.position, u);
    const Float3 d = point.position - query.position;
    const float distance2 = dot(d, d);
    if (!(distance2 > 0.0f)) return s;
    s.distance = std::sqrt(distance2);
    s.direction = d * (1.0f / s.distance);
    // The sign of the determinant keeps the front of a mirrored instance where the polygon's winding has it.
    Float3 normal = normalize(cross(point.edgeA, point.edgeB));
    if (determinant(instance.toWorld) < 0.0f) normal = -normal;
    const float facing = -dot(normal, s.direction), cosine = std::abs(facing);
    if (!(cosine > 0.0f)) return s;
    s.pdf = chance * chosen * pointDensity(world, query.position, distance2, cosine);
    const MaterialId id =
        scene.shading->slotMaterials[scene.geometry->meshSlot[instance.mesh] + mesh.material(polygon)];
    const Material& material = scene.shading->materials[id];
    const EmissionId first = material.emission;
    if (first == kNoEmission) return s;
    const Emission& e = scene.shading->emissions[first];
    s.onDiffuse = e.onDiffuse;
    s.onSpecular = s.onRefraction = e.onSpecular;
    s.castsShadows = e.castsShadows;
    const bool plain = material.kind != MaterialKind::Mix && material.opaque && !scene.geometry->restricted &&
                       e.color == kNoTexture && e.distribution == kNoTexture && !e.byPower;
    if (plain) {
        if ((facing > 0.0f || e.doubleSided) && (e.idBit & query.mask)) s.radiance = e.scale;
        return s;
    }
    Hit hit;
    hit.t = s.distance;
    hit.instance = emitter.instance;
    hit.polygon = polygon;
    hit.u = point.u;
    hit.v = point.v;
    const Surface surface = surfaceAt(scene, hit, {query.position, s.direction, 0.0f, kInfinity});
    s.radiance = emissionOf(scene, surface.material, surface, -s.direction, RayKind::Camera, true, query.mask) *
                 clamp01(surface.layer.opacity);
    return s;
}

LightSample sampleSun(const Environment& environment, float chance, Float2 u) {
    LightSample s;
    s.direction = Frame(environment.sunDirection).toWorld(sampleCone(u, environment.sunCosine));
    s.pdf = chance / (2.0f * kPi * (1.0f - environment.sunCosine));
    s.radiance = environment.sunRadiance;
    return s;
}

/// Whether rays of a kind see the visible environment in place of the one that lights the scene.
bool seesVisible(const RenderScene& scene, RayKind kind) {
    const Environment* v = scene.visible.get();
    if (!v) return false;
    switch (kind) {
        case RayKind::Camera:
            return v->showBackplate;
        case RayKind::Specular:
            return v->showReflections;
        case RayKind::Refraction:
            return v->showRefractions;
        case RayKind::Diffuse:
            break;
    }
    return false;
}

}  // namespace

LightChoice::LightChoice(const RenderScene& scene)
    : mask(scene.kernel.lightMask), invertedMask(scene.kernel.lightMaskInverted) {
    emitters = scene.lights->any();
    if (const Environment* e = scene.environment.get()) {
        const bool openings = !scene.lights->portals.empty() && e->meanLuminance() > 0.0f;
        environment = e->canSample() || openings;
        sun = !isBlack(e->sunRadiance) && e->sunCosine < 1.0f;
    }
}

Float3 emittedRadiance(const RenderScene& scene, MaterialId id, const Surface& surface, Float3 outgoing, RayKind kind,
                       std::uint32_t mask) {
    return emissionOf(scene, id, surface, outgoing, kind, false, mask) * clamp01(surface.layer.opacity);
}

float opacityOf(const RenderScene& scene, MaterialId id, const Surface& surface) {
    const Shading& shading = *scene.shading;
    const float o = clamp01(surface.layer.opacity);
    if (shading.materials[id].opaque) return o;
    return o * mixed<float>(shading, id, surface.at, [&](MaterialId part) {
               const Material& m = shading.materials[part];
               if (m.kind == MaterialKind::Clear) return 0.0f;
               return m.opacity == kNoTexture ? 1.0f : clamp01(shading.textures.scalar(m.opacity, surface.at));
           });
}

LightSample sampleLight(const RenderScene& scene, const LightChoice& choice, const LightQuery& query,
                        const float u[4]) {
    const Chances c = chancesAt(scene, choice, query);
    // Two numbers make one that is fine enough to tell a million lights apart.
    double pick = std::min(static_cast<double>(u[0]) + static_cast<double>(u[1]) * 0x1p-24, 0x1.fffffffffffffp-1);
    if (pick < static_cast<double>(c.emitters)) {
        return sampleEmitter(scene, c.emitters, query, pick / static_cast<double>(c.emitters), {u[2], u[3]});
    }
    pick -= static_cast<double>(c.emitters);
    if (c.environment > 0.0f && (pick < static_cast<double>(c.environment) || !(c.sun > 0.0f))) {
        LightSample s;
        const Environment& environment = *scene.environment;
        const float share = portalShare(*scene.lights);
        const auto portion = static_cast<float>(std::min(pick / static_cast<double>(c.environment), 0.99999999));
        if (portion < share) {
            float portalDensity = 0.0f;
            s.direction = samplePortals(*scene.lights, query.position, portion / share, {u[2], u[3]}, portalDensity);
            s.radiance = environment.radiance(s.direction);
            s.pdf = share * portalDensity + (1.0f - share) * environment.pdf(s.direction);
            if (!(portalDensity > 0.0f)) return {};
        } else {
            s.radiance = environment.sample({u[2], u[3]}, s.direction, s.pdf);
            if (share > 0.0f) {
                s.pdf = share * portalPdf(*scene.lights, query.position, s.direction) + (1.0f - share) * s.pdf;
            }
        }
        s.pdf *= c.environment;
        s.environment = true;
        s.onSpecular = !seesVisible(scene, RayKind::Specular);
        s.onRefraction = !seesVisible(scene, RayKind::Refraction);
        return s;
    }
    if (!(c.sun > 0.0f)) return {};
    LightSample s = sampleSun(*scene.environment, c.sun, {u[2], u[3]});
    s.onSpecular = !seesVisible(scene, RayKind::Specular);
    s.onRefraction = !seesVisible(scene, RayKind::Refraction);
    return s;
}

float emitterPdf(const RenderScene& scene, const LightChoice& choice, const LightQuery& query, const Hit& hit,
                 const Surface& surface) {
    if (!choice.emitters || hit.plane()) return 0.0f;
    const Lights& lights = *scene.lights;
    const std::uint32_t index = lights.emitterOf(hit.instance);
    if (index == kNone) return 0.0f;
    const Emitter& emitter = lights.emitters[index];
    const EmitterSet& set = *lights.sets[emitter.set];
    const std::uint32_t place = set.find(hit.polygon);
    if (place == kNone) return 0.0f;
    float chosen = chancesAt(scene, choice, query).emitters;
    if (!(chosen > 0.0f)) return 0.0f;
    const EmissionId emission = scene.shading->materials[surface.material].emission;
    // What shines through all that is between is found by light sampling alone.
    if (emission != kNoEmission && !scene.shading->emissions[emission].castsShadows) return kInfinity;
    chosen *= lights.tree.probability(worldReceiver(query), index);
    const Instance& instance = scene.geometry->instances[hit.instance];
    if (set.polygons.size() > 1 && chosen > 0.0f) {
        chosen *= set.probability(objectReceiver(query, emitter, instance), place);
    }
    if (!(chosen > 0.0f)) return 0.0f;
    const WorldPolygon world(instance, *scene.geometry->meshes[instance.mesh], hit.polygon);
    const Float3 d = surface.position - query.position;
    const float distance2 = dot(d, d), cosine = std::abs(dot(surface.normal, d)) / std::sqrt(distance2);
    return chosen * pointDensity(world, query.position, distance2, cosine);
}

SkyLight skyLight(const RenderScene& scene, const LightChoice& choice, const LightQuery& query, Float3 direction,
                  RayKind kind) {
    SkyLight s;
    const bool visible = seesVisible(scene, kind);
    const Environment* e = visible ? scene.visible.get() : scene.environment.get();
    if (!e) return s;
    const bool sampled = !visible && kind != RayKind::Camera && choice.any();
    const Chances c = sampled && (choice.environment || choice.sun) ? chancesAt(scene, choice, query) : Chances{};
    if (query.mask & kEnvironmentBit) {
        s.environment = e->radiance(direction);
        if (c.environment > 0.0f) {
            const float share = portalShare(*scene.lights);
            s.environmentPdf = e->pdf(direction);
            if (share > 0.0f) {
                s.environmentPdf =
                    share * portalPdf(*scene.lights, query.position, direction) + (1.0f - share) * s.environmentPdf;
            }
            s.environmentPdf *= c.environment;
        }
    }
    if (query.mask & kSunBit) {
        s.sun = e->sunDisc(direction);
        if (!isBlack(s.sun)) s.sunPdf = c.sun / (2.0f * kPi * (1.0f - e->sunCosine));
    }
    return s;
}

}  // namespace Lumora::engine
