#include "engine/render/info_kernel.h"

#include "engine/render/info_channel.h"
#include "engine/render/mesh_corners.h"
#include "engine/render/sampling.h"

namespace Lumora::engine {

namespace {

constexpr int kMaxPassed = 256;  ///< surfaces that a ray is let through

float beyond(const Hit& hit, const Surface& surface) {
    return hit.t + std::max(2.0f * surface.offset, hit.t * 0x1p-20f);
}

struct TextureAxes {
    Float3 uv, tangent, bitangent;  ///< unit vectors in which u and v grow; zero where there are no coordinates
};

TextureAxes textureAxes(const RenderScene& scene, const Hit& hit, int set) {
    TextureAxes axes;
    const Geometry& g = *scene.geometry;
    if (hit.plane()) {
        const Plane& plane = g.planes[hit.instance - Hit::kPlane];
        axes.tangent = plane.tangent;
        axes.bitangent = plane.bitangent;
        return axes;
    }
    const Instance& instance = g.instances[hit.instance];
    const CompiledMesh& mesh = *g.meshes[instance.mesh];
    if (!mesh.uvs[set]) set = 0;
    if (!mesh.uvs[set]) return axes;
    const CornerWeights at = cornerWeights(mesh, hit.polygon, hit.u, hit.v);
    Float3 p[3], t[3];
    valuesAt(*mesh.vertices, *mesh.vertexIndices, at, p);
    valuesAt(*mesh.uvs[set], *mesh.uvIndices[set], at, t);
    axes.uv = blend(t, at);
    axes.uv.z = 0.0f;
    const Float3 d1 = t[1] - t[0], d2 = t[2] - t[0], e1 = p[1] - p[0], e2 = p[2] - p[0];
    const float det = d1.x * d2.y - d1.y * d2.x;
    if (!(std::abs(det) > 1e-20f)) return axes;
    axes.tangent = normalize(transformVector(instance.toWorld, (e1 * d2.y - e2 * d1.y) * (1.0f / det)));
    axes.bitangent = normalize(transformVector(instance.toWorld, (e2 * d1.x - e1 * d2.x) * (1.0f / det)));
    return axes;
}

/// Identity of the material on a surface: its node, which keeps its number through edits.
std::uint64_t materialNode(const Geometry& g, const Hit& hit) {
    if (hit.plane()) return g.slots[g.planes[hit.instance - Hit::kPlane].slot];
    const std::uint32_t mesh = g.instances[hit.instance].mesh;
    return g.slots[g.meshSlot[mesh] + g.meshes[mesh]->material(hit.polygon)];
}

/// A number for each object of each instance.
std::uint64_t objectNumber(const Hit& hit, const Surface& surface) {
    const std::uint64_t object = surface.objectId >= 0 ? static_cast<std::uint64_t>(surface.objectId) + (1ull << 40)
                                                       : static_cast<std::uint64_t>(hit.instance) + 1;
    return object + (static_cast<std::uint64_t>(surface.object) << 44);
}

float distanceToSegment(Float3 p, Float3 a, Float3 b) {
    const Float3 along = b - a;
    const float l2 = dot(along, along);
    const float t = l2 > 0.0f ? clamp01(dot(p - a, along) / l2) : 0.0f;
    return length(p - a - along * t);
}

}  // namespace

InfoKernel::InfoKernel(const RenderScene& scene, const CameraRays& camera)
    : scene_(scene),
      camera_(camera),
      settings_(scene.kernel.info),
      passing_(scene.shading->transparent || scene.geometry->restricted) {}

bool InfoKernel::passes(const Surface& surface, Sampler& sampler) const {
    if (!surface.layer.cameraVisible) return true;
    if (!passing_ || settings_.channel == InfoChannel::Opacity) return false;
    const float opacity = opacityOf(scene_, surface.material, surface);
    return opacity < settings_.opacityThreshold && sampler.next1() >= opacity;
}

/// Lines of a pixel's width along the edges of the polygons, over a faint shade of the surface.
Float3 InfoKernel::wireframe(const Ray& ray, const Hit& hit, const Surface& surface) const {
    const float facing = std::abs(dot(surface.normal, ray.direction));
    const Float3 fill = splat(0.2f * facing);
    if (hit.plane()) return fill;
    const Instance& instance = scene_.geometry->instances[hit.instance];
    const CompiledMesh& mesh = *scene_.geometry->meshes[instance.mesh];
    const std::uint32_t first = mesh.corner(hit.polygon), count = mesh.corners(hit.polygon);
    Float3 corners[4];
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto vertex = static_cast<std::size_t>((*mesh.vertexIndices)[first + i]);
        corners[i] = transformPoint(instance.toWorld, (*mesh.vertices)[vertex]);
    }
    float nearest = kInfinity;
    for (std::uint32_t i = 0; i < count; ++i)
        nearest = std::min(nearest, distanceToSegment(surface.position, corners[i], corners[(i + 1) % count]));
    const float pixel = ray.footprint.at(hit.t);
    if (nearest > 0.75f * (pixel > 0.0f ? pixel : 1e-3f)) return fill;
    return settings_.highlightBackfaces && !surface.front ? Float3{1.0f, 0.1f, 0.1f} : splat(1.0f);
}

float InfoKernel::ambientOcclusion(const Surface& surface, Sampler& sampler) const {
    const auto u = sampler.next4();
    const Float3 direction = Frame(surface.shadingNormal).toWorld(sampleCosineHemisphere({u[0], u[1]}));
    if (!(dot(direction, surface.normal) > 0.0f)) return 0.0f;
    Ray ray{surface.position + surface.normal * surface.offset, direction, 0.0f, settings_.aoDistance};
    if (!passing_ || !settings_.aoAlphaShadows) return occluded(*scene_.geometry, ray) ? 0.0f : 1.0f;
    float open = 1.0f;
    for (int i = 0; i < kMaxPassed && open > 1e-3f; ++i) {
        const Hit hit = intersect(*scene_.geometry, ray);
        if (!hit.valid()) return open;
        const Surface on = surfaceAt(scene_, hit, ray);
        open *= 1.0f - opacityOf(scene_, on.material, on);
        ray.tmin = beyond(hit, on);
        if (!(ray.tmin < ray.tmax)) return open;
    }
    return open > 1e-3f ? open : 0.0f;
}

Float3 InfoKernel::value(const Ray& ray, const Hit& hit, Surface& surface, Sampler& sampler) const {
    const Float3 smooth = surface.shadingNormal;
    // Bends the normal, and picks one of the parts of a mix.
    PathState path;
    const auto bend = [&] {
        if (settings_.bump) makeBsdf(scene_, hit, surface, -ray.direction, path, sampler);
    };
    switch (settings_.channel) {
        case InfoChannel::GeometricNormal:
            return surface.normal;
        case InfoChannel::ShadingNormal:
            bend();
            return surface.shadingNormal;
        case InfoChannel::SmoothNormal:
            return smooth;
        case InfoChannel::Position:
            return surface.position;
        case InfoChannel::Depth:
            return splat(camera_.depth(ray, hit.t));
        case InfoChannel::MaterialId:
            return idColor(materialNode(*scene_.geometry, hit));
        case InfoChannel::TextureCoordinate:
            return hit.plane() ? Float3{surface.at.uv[0].x, surface.at.uv[0].y, 0.0f}
                               : textureAxes(scene_, hit, settings_.uvSet).uv;
        case InfoChannel::Tangent:
            return textureAxes(scene_, hit, settings_.uvSet).tangent;
        case InfoChannel::TangentNormal: {
            bend();
            const TextureAxes axes = textureAxes(scene_, hit, settings_.uvSet);
            const Float3 n = surface.shadingNormal;
            const Float3 t = normalize(axes.tangent - smooth * dot(smooth, axes.tangent));
            if (t == Float3{}) return {0.0f, 0.0f, 1.0f};
            Float3 b = cross(smooth, t);
            if (dot(b, axes.bitangent) < 0.0f) b = -b;
            return {dot(n, t), dot(n, b), dot(n, smooth)};
        }
        case InfoChannel::Wireframe:
            return wireframe(ray, hit, surface);
        case InfoChannel::ObjectId:
            return idColor(objectNumber(hit, surface));
        case InfoChannel::AmbientOcclusion:
            bend();
            return splat(ambientOcclusion(surface, sampler));
        case InfoChannel::MotionVector:
            return {};  // nothing moves within a picture
        case InfoChannel::RenderLayerId:
            return idColor(surface.layer.layerId);
        case InfoChannel::RenderLayerMask:
            return splat(scene_.kernel.layer.holds(surface.layer.layerId) ? 1.0f : 0.0f);
        case InfoChannel::Opacity:
            return splat(opacityOf(scene_, surface.material, surface));
        case InfoChannel::BakingGroupId:
            return idColor(surface.layer.bakingGroup);
        case InfoChannel::ObjectLayerColor:
            return surface.layer.color;
        case InfoChannel::LightPassId: {
            const EmissionId emission = scene_.shading->materials[surface.material].emission;
            if (emission == kNoEmission) return {};
            const std::uint32_t bit = scene_.shading->emissions[emission].idBit;
            for (int id = 1; id <= 8; ++id) {
                if (bit == lightIdBit(id)) return idColor(static_cast<std::uint64_t>(id));
            }
            return {};
        }
        case InfoChannel::Roughness:
        case InfoChannel::IndexOfRefraction:
        case InfoChannel::DiffuseFilter:
        case InfoChannel::ReflectionFilter:
        case InfoChannel::RefractionFilter:
        case InfoChannel::TransmissionFilter:
            makeBsdf(scene_, hit, surface, -ray.direction, path, sampler);
            return materialValue(surface);
    }
    return {};
}

/// What the material itself says, without light.
Float3 InfoKernel::materialValue(const Surface& surface) const {
    const Material& m = scene_.shading->materials[surface.material];
    const TextureTable& textures = scene_.shading->textures;
    const bool diffuse = m.kind == MaterialKind::Diffuse, clear = m.kind == MaterialKind::Specular,
               universal = m.kind == MaterialKind::Universal;
    const auto color = [&](const MaterialInput& input) { return clamp01(input.color(textures, surface.at)); };
    switch (settings_.channel) {
        case InfoChannel::Roughness:
            return splat(clamp01(m.roughness.scalar(textures, surface.at)));
        case InfoChannel::IndexOfRefraction:
            return splat(m.indexMap == kNoTexture ? m.index : textures.scalar(m.indexMap, surface.at));
        case InfoChannel::DiffuseFilter:
            return clear || m.kind == MaterialKind::Metallic ? Float3{} : color(m.albedo);
        case InfoChannel::ReflectionFilter:
            return diffuse ? Float3{} : color(m.specular);
        case InfoChannel::RefractionFilter:
            return clear || universal ? color(m.transmission) : Float3{};
        case InfoChannel::TransmissionFilter:
            return diffuse ? color(m.transmission) : Float3{};
        default:
            return {};
    }
}

PixelSample InfoKernel::trace(Ray ray, Sampler& sampler) const {
    PixelSample result;
    for (int passed = 0; passed < kMaxPassed; ++passed) {
        const Hit hit = intersect(*scene_.geometry, ray);
        if (!hit.valid()) break;
        Surface surface = surfaceAt(scene_, hit, ray);
        if (passes(surface, sampler)) {
            ray.tmin = beyond(hit, surface);
            continue;
        }
        result.color = value(ray, hit, surface, sampler);
        return result;
    }
    if (scene_.kernel.alphaChannel) {
        result.alpha = 0.0f;
    } else {
        result.color = splat(infoBackground(settings_));
    }
    return result;
}

}  // namespace Lumora::engine
