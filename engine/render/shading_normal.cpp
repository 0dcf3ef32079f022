// Normals that are not the mesh's own: bump maps and rounded edges.
#include "engine/render/sampling.h"
#include "engine/render/surface.h"

namespace Lumora::engine {

namespace {

/// Height that a bump texture's one stands for, metres.
constexpr float kBumpHeight = 0.01f;
/// Rays sent about for one rounded normal.
constexpr int kEdgeProbes = 8;
/// A ray's footprint is at least this wide when slopes are measured, in parts of the distance to the origin: less is
/// rounding error.
constexpr float kLeastStep = 1e-5f;

}  // namespace

void applyBump(const RenderScene& scene, const Material& material, const Material& moving, Surface& surface) {
    const TextureTable& textures = scene.shading->textures;
    TextureContext at = surface.at;
    Float3 a = at.worldAxis[0], b = at.worldAxis[1];
    // The half axes of a footprint that is a point say nothing.
    const float least = kLeastStep * (length(surface.position) + 1e-3f);
    if (dot(a, a) < least * least || dot(b, b) < least * least) {
        const float la = length(a), lb = length(b);
        if (!(la > 0.0f) || !(lb > 0.0f)) return;
        const float grow = least / std::min(la, lb);
        for (int i = 0; i < 2; ++i) {
            at.worldAxis[i] *= grow;
            at.objectAxis[i] *= grow;
            for (auto& axis : at.uvAxis) axis[i] = {axis[i].x * grow, axis[i].y * grow};
        }
        a = at.worldAxis[0];
        b = at.worldAxis[1];
    }
    // Slopes from differences over the footprint (Mikkelsen, "Bump Mapping Unparametrized Surfaces on the GPU", 2010).
    const TextureContext along = at.moved(1.0f, 0.0f), across = at.moved(0.0f, 1.0f);
    float da = 0.0f, db = 0.0f;
    const auto add = [&](TextureId texture, float height) {
        const float h = textures.scalar(texture, at);
        da += (textures.scalar(texture, along) - h) * height;
        db += (textures.scalar(texture, across) - h) * height;
    };
    if (material.bump != kNoTexture) add(material.bump, kBumpHeight);
    if (moving.relief != kNoTexture) {
        // An instance is scaled with its relief.
        const float object = length(at.objectAxis[0]);
        add(moving.relief, object > 0.0f ? moving.reliefHeight * length(a) / object : 0.0f);
    }
    if (da == 0.0f && db == 0.0f) return;
    const Float3 n = surface.shadingNormal, ra = cross(b, n), rb = cross(n, a);
    const float determinant = dot(a, ra);
    if (!(std::abs(determinant) > 0.0f)) return;
    const Float3 slope = (ra * da + rb * db) * (1.0f / determinant);
    const Float3 bent = normalize(surface.front ? n - slope : n + slope);
    if (bent != Float3{} && dot(bent, surface.normal) > 0.0f) surface.shadingNormal = bent;
}

void roundEdges(const RenderScene& scene, const Hit& hit, float radius, Surface& surface, Sampler& sampler) {
    if (hit.plane()) return;
    // The mean normal of the same object within the radius, found by rays along the normal and across it.
    const Frame frame(surface.normal);
    const Float3 axes[3] = {frame.n, frame.s, frame.t};
    constexpr float kChance[3] = {0.5f, 0.125f, 0.125f};  // across, either way
    Float3 sum = surface.shadingNormal * 1e-3f;
    for (int i = 0; i < kEdgeProbes; ++i) {
        const auto u = sampler.next4();
        const int axis = u[2] < 0.5f ? 0 : u[2] < 0.75f ? 1 : 2;
        const Float3 z = axes[axis], x = axes[(axis + 1) % 3], y = axes[(axis + 2) % 3];
        const Float2 d = sampleDisk({u[0], u[1]});
        const float half = radius * std::sqrt(std::max(0.0f, 1.0f - d.x * d.x - d.y * d.y));
        // A probe from either side: edges bend away from the viewer and towards him.
        const float sign = axis == 0 || u[3] < 0.5f ? 1.0f : -1.0f;
        const Float3 start = surface.position + (x * d.x + y * d.y) * radius + z * (half * sign);
        const Ray ray{start, z * -sign, 0.0f, 2.0f * half};
        const Hit found = intersect(*scene.geometry, ray);
        if (!found.valid() || found.instance != hit.instance) continue;
        Surface other = surfaceAt(scene, found, ray);
        if (other.front != surface.front) continue;
        // How likely any of the axes finds the point, by the projected area.
        float chance = 0.0f;
        for (int k = 0; k < 3; ++k) chance += kChance[k] * std::abs(dot(axes[k], other.normal));
        sum += other.shadingNormal * (1.0f / std::max(chance, 0.05f));
    }
    const Float3 rounded = normalize(sum);
    if (rounded != Float3{} && dot(rounded, surface.normal) > 0.0f) surface.shadingNormal = rounded;
}

}  // namespace Lumora::engine
