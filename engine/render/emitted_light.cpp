#include "engine/render/emitted_light.h"

#include "engine/render/mix.h"

namespace Lumora::engine {

namespace {

/// Radiance for a power of one or for a radiance of one.
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
    at.within = true;
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

}  // namespace

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

Float3 lightingRadiance(const RenderScene& scene, MaterialId id, const Surface& surface, Float3 outgoing,
                        std::uint32_t mask) {
    return emissionOf(scene, id, surface, outgoing, RayKind::Camera, true, mask) * clamp01(surface.layer.opacity);
}

}  // namespace Lumora::engine
