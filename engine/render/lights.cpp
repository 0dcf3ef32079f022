#include "engine/render/lights.h"

#include "engine/render/portals.h"
#include "engine/render/sampling.h"
#include "engine/render/world_polygon.h"

namespace Lumora::engine {

namespace {

LightReceiver worldReceiver(const LightQuery& query) {
    return {query.position, query.normal, query.bothSides, query.mask};
}

/// The same place in the space of an emitter's mesh. Which side of a plane a point is on survives any affine map.
LightReceiver objectReceiver(const LightQuery& query, const Instance& instance) {
    const Float3 n = query.normal;
    const Float3 normal = normalize({dot(column(instance.toWorld, 0), n), dot(column(instance.toWorld, 1), n),
                                     dot(column(instance.toWorld, 2), n)});
    // The rows of the inverse are those of the transform of normals over the determinant.
    const NormalTransform& rows = instance.normalToWorld;
    const Float3 d = query.position - column(instance.toWorld, 3);
    const float scale = 1.0f / std::abs(determinant(instance.toWorld));
    return {Float3{dot(rows.x, d), dot(rows.y, d), dot(rows.z, d)} * scale, normal, query.bothSides, query.mask};
}

LightChances chancesOf(const LightChoice& choice, const LightQuery& query) {
    return query.chances.known ? query.chances : choice.chancesAt(query);
}

/// Of the one or two shapes of a polygon one, by area. Takes its share off u.
const LightShape& pickShape(const WorldPolygon& world, float& u, float& chance) {
    chance = 1.0f;
    const float all = world.area();
    if (world.count == 1 || !(all > 0.0f)) return world.parts[0];
    const float first = world.parts[0].area / all;
    const bool other = u >= first;
    chance = other ? 1.0f - first : first;
    u = std::min(other ? (u - first) / chance : u / chance, 0x1.fffffep-1f);
    return world.parts[other];
}

/// The lamp that stands for the polygon picked from a large set. `chance` is what the lamp had, and then what the
/// polygon has.
Lamp lampOfSet(const RenderScene& scene, const Emitter& emitter, const LightQuery& query, double pick, Float2& u,
               float& chance) {
    const EmitterSet& set = *scene.lights->sets[emitter.set];
    const Instance& instance = scene.geometry->instances[emitter.instance];
    float inside = 0.0f, part = 0.0f;
    Lamp lamp;
    lamp.polygon = set.polygon(set.sample(objectReceiver(query, instance), pick, inside));
    chance *= inside;
    if (!(inside > 0.0f)) return lamp;
    const CompiledMesh& mesh = *scene.geometry->meshes[instance.mesh];
    lamp.shape = pickShape(WorldPolygon(instance, mesh, lamp.polygon), u.x, part);
    chance *= part;
    const std::uint32_t slot = mesh.material(lamp.polygon);
    lamp.slot = scene.geometry->meshSlot[instance.mesh] + slot;
    if (emitter.firstShare != kNone) lamp.share = emitter.firstShare + slot;
    return lamp;
}

LightSample sampleEmitter(const RenderScene& scene, float chance, const LightQuery& query, double pick, Float2 u) {
    const Lights& lights = *scene.lights;
    LightSample s;
    std::uint32_t index = 0;
    if (lights.lamps.size() > 1) {
        float chosen = 0.0f;
        index = lights.tree.sample(worldReceiver(query), pick, chosen);
        chance *= chosen;
        if (!(chosen > 0.0f)) return s;
    } else if (!(lights.bounds.mask & query.mask)) {
        return s;
    }
    Lamp lamp = lights.lamps[index];
    const Emitter& emitter = lights.emitters[lamp.emitter];
    if (lamp.slot == kNone) {
        lamp = lampOfSet(scene, emitter, query, pick, u, chance);
        if (!(chance > 0.0f)) return s;
    }
    const ShapePoint point = samplePoint(lamp.shape, query.position, u);
    if (!(point.density > 0.0f)) return s;
    s.distance = point.distance;
    s.direction = point.direction;
    s.pdf = chance * point.density;
    const LampSlot& slot = lights.slots[lamp.slot];
    s.onDiffuse = slot.onDiffuse;
    s.onSpecular = s.onRefraction = slot.onSpecular;
    s.castsShadows = slot.castsShadows;
    if (slot.plain && !scene.geometry->restricted) {
        if (!(point.facing > 0.0f || slot.bothSides) || !(slot.mask & query.mask)) return s;
        s.radiance = slot.radiance;
        if (slot.byPower && lamp.share != kNone) s.radiance *= lights.powerShares[lamp.share];
        return s;
    }
    Hit hit;
    hit.t = s.distance;
    hit.instance = emitter.instance;
    hit.polygon = lamp.polygon;
    hit.u = point.u;
    hit.v = point.v;
    const Surface surface = surfaceAt(scene, hit, {query.position, s.direction, 0.0f, kInfinity});
    s.radiance = lightingRadiance(scene, surface.material, surface, -s.direction, query.mask);
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
    : mask(scene.kernel.lightMask), invertedMask(scene.kernel.lightMaskInverted), scene_(&scene) {
    emitters = scene.lights->any();
    if (const Environment* e = scene.environment.get()) {
        const bool openings = !scene.lights->portals.empty() && e->meanLuminance() > 0.0f;
        environment = e->canSample() || openings;
        sun = !isBlack(e->sunRadiance) && e->sunCosine < 1.0f;
    }
    several_ = int{emitters} + int{environment} + int{sun} > 1;
}

/// By a guess of the irradiance from each kind. Nothing is known of shadows, so none gets much less than its share.
LightChances LightChoice::chancesAt(const LightQuery& query) const {
    LightChances c;
    const std::uint32_t m = query.mask;
    c.known = true;
    if (!several_) {
        c.emitters = emitters ? 1.0f : 0.0f;
        c.environment = environment && m & kEnvironmentBit ? 1.0f : 0.0f;
        c.sun = sun && m & kSunBit ? 1.0f : 0.0f;
        return c;
    }
    if (emitters) c.emitters = importance(scene_->lights->bounds, worldReceiver(query));
    const Environment* e = scene_->environment.get();
    if (environment && m & kEnvironmentBit) c.environment = kPi * e->meanLuminance();
    if (sun && m & kSunBit) {
        float cosine = query.normal == Float3{} ? 1.0f : dot(query.normal, e->sunDirection);
        if (query.bothSides) cosine = std::abs(cosine);
        const float reach = std::sqrt(std::max(0.0f, 1.0f - e->sunCosine * e->sunCosine));
        if (cosine > -reach) c.sun = e->sunIrradiance() * std::max(cosine, 0.05f);
    }
    const float sum = c.emitters + c.environment + c.sun;
    if (!(sum > 0.0f)) return {0.0f, 0.0f, 0.0f, true};
    constexpr float kFloor = 0.25f;
    const auto lift = [&](float x) { return x > 0.0f ? x / sum + kFloor : 0.0f; };
    c = {lift(c.emitters), lift(c.environment), lift(c.sun), true};
    const float scale = 1.0f / (c.emitters + c.environment + c.sun);
    return {c.emitters * scale, c.environment * scale, c.sun * scale, true};
}

LightSample sampleLight(const RenderScene& scene, const LightChoice& choice, const LightQuery& query,
                        const float u[4]) {
    const LightChances c = chancesOf(choice, query);
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
    float chance = chancesOf(choice, query).emitters;
    if (!(chance > 0.0f)) return 0.0f;
    const Instance& instance = scene.geometry->instances[hit.instance];
    const CompiledMesh& mesh = *scene.geometry->meshes[instance.mesh];
    const LampSlot& slot = lights.slots[scene.geometry->meshSlot[instance.mesh] + mesh.material(hit.polygon)];
    const bool other = hit.u + hit.v > 1.0f;
    std::uint32_t lamp = emitter.firstLamp;
    if (!set.large()) {
        lamp += set.firstShape[place];
        if (other && set.firstShape[place + 1] - set.firstShape[place] > 1) ++lamp;
    }
    if (lights.lamps.size() > 1) {
        chance *= lights.tree.probability(worldReceiver(query), lamp);
    } else if (!(lights.bounds.mask & query.mask)) {
        return 0.0f;
    }
    if (set.large() && chance > 0.0f) chance *= set.probability(objectReceiver(query, instance), place);
    if (!(chance > 0.0f)) return 0.0f;
    // What shines through all that is between is found by light sampling alone.
    if (!slot.castsShadows) return kInfinity;
    const Float3 d = surface.position - query.position;
    const float distance2 = dot(d, d), cosine = std::abs(dot(surface.normal, d)) / std::sqrt(distance2);
    if (!set.large()) return chance * pointDensity(lights.lamps[lamp].shape, query.position, distance2, cosine);
    const WorldPolygon world(instance, mesh, hit.polygon);
    const LightShape& part = world.parts[other && world.count > 1];
    if (world.count > 1) chance *= part.area / world.area();
    return chance * pointDensity(part, query.position, distance2, cosine);
}

SkyLight skyLight(const RenderScene& scene, const LightChoice& choice, const LightQuery& query, Float3 direction,
                  RayKind kind) {
    SkyLight s;
    const bool visible = seesVisible(scene, kind);
    const Environment* e = visible ? scene.visible.get() : scene.environment.get();
    if (!e) return s;
    const bool sampled = !visible && kind != RayKind::Camera && choice.any();
    const LightChances c = sampled && (choice.environment || choice.sun) ? chancesOf(choice, query) : LightChances{};
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
