#include "engine/render/surface.h"

namespace Lumora::engine {

namespace {

/// Corners of a polygon half and the weights of a hit in it. Embree splits a quad into the corners 0, 1, 3 and 2, 3, 1.
struct Interpolation {
    std::uint32_t corner[3];  ///< index into the per-corner arrays
    float weight[3];
};

[[gnu::always_inline]] inline Interpolation interpolationAt(const CompiledMesh& mesh, std::uint32_t polygon, float u,
                                                            float v) {
    const std::uint32_t c = mesh.corner(polygon);
    if (mesh.corners(polygon) == 3) return {{c, c + 1, c + 2}, {1.0f - u - v, u, v}};
    const bool first = u + v <= 1.0f;
    const std::uint32_t other = first ? 0u : 2u;
    return {{c + other, c + other + 1, c + 3 - other},
            {std::abs(1.0f - u - v), select(first, u, 1.0f - u), select(first, v, 1.0f - v)}};
}

template <typename T>
[[gnu::always_inline]] inline Float3 blend(const std::vector<T>& values, const std::uint32_t index[3],
                                           const float weight[3]) {
    return values[index[0]] * weight[0] + values[index[1]] * weight[1] + values[index[2]] * weight[2];
}

void lookUp(const std::vector<int>& indices, const std::uint32_t corner[3], std::uint32_t out[3]) {
    for (int i = 0; i < 3; ++i) out[i] = static_cast<std::uint32_t>(indices[corner[i]]);
}

float maxAbs(Float3 p) {
    return std::max(std::abs(p.x), std::max(std::abs(p.y), std::abs(p.z)));
}

/// Rounding of a point's coordinates and of the transform that placed it, plus the kernel's own distance.
float offsetFor(Float3 p, float transformScale, float rayEpsilon) {
    return 0x1p-19f * std::max(maxAbs(p), transformScale) + rayEpsilon;
}

/// Half axes of the ellipse in which a cone of diameter `width` meets a surface.
void footprintAxes(Float3 direction, Float3 normal, float width, Float3 axes[2]) {
    const float cosine = dot(direction, normal);
    const Float3 along = direction - normal * cosine;
    const float sine = length(along);
    const float half = 0.5f * width;
    if (!(sine > 1e-3f)) {
        const Frame frame(normal);
        axes[0] = frame.s * half;
        axes[1] = frame.t * half;
        return;
    }
    const Float3 unit = along * (1.0f / sine);
    axes[0] = unit * (half / std::max(std::abs(cosine), 1e-3f));
    axes[1] = cross(normal, unit) * half;
}

void faceViewer(Surface& s, Float3 ng, Float3 ns, Float3 direction) {
    s.front = dot(ng, direction) < 0.0f;
    s.normal = s.front ? ng : -ng;
    s.shadingNormal = dot(ns, s.normal) < 0.0f ? -ns : ns;
    s.at.frontFace = s.front;
}

struct UvCorners {
    Float3 a, b, c;
};

/// The footprint's half axes in the world, the object and the texture coordinates. e1, e2: edges in object space.
void fillFootprint(Surface& s, const Instance& instance, Float3 e1, Float3 e2, const UvCorners uv[3], Float3 normal,
                   const Ray& ray, float t) {
    const float width = ray.footprint.at(t);
    if (!(width > 0.0f)) return;
    footprintAxes(ray.direction, normal, width, s.at.worldAxis);
    const Float3 w1 = transformVector(instance.toWorld, e1), w2 = transformVector(instance.toWorld, e2);
    const Float3 n = cross(w1, w2);
    const float n2 = dot(n, n);
    if (!(n2 > 0.0f)) return;
    for (int i = 0; i < 2; ++i) {
        const Float3 axis = s.at.worldAxis[i];
        // How the axis is made of the two edges.
        const float x = dot(cross(axis, w2), n) / n2, y = dot(cross(w1, axis), n) / n2;
        s.at.objectAxis[i] = e1 * x + e2 * y;
        for (int set = 0; set < 3; ++set) {
            const Float3 d = (uv[set].b - uv[set].a) * x + (uv[set].c - uv[set].a) * y;
            s.at.uvAxis[set][i] = {d.x, d.y};
        }
    }
}

/// What textures ask of a hit beside its place.
void identify(Surface& s, const RenderScene& scene, const Hit& hit, const Ray& ray) {
    s.at.scene = &scene;
    s.at.instance = hit.instance;
    s.at.polygon = hit.polygon;
    s.at.offset = s.offset;
    s.at.view = ray.direction;
    s.at.shadingNormal = s.shadingNormal;
}

void fillPlane(Surface& s, const RenderScene& scene, const Hit& hit, const Ray& ray) {
    const Geometry& g = *scene.geometry;
    const Plane& plane = g.planes[hit.instance - Hit::kPlane];
    s.position = ray.at(hit.t);
    s.position += plane.normal * dot(plane.normal, plane.origin - s.position);
    const Float3 local = s.position - plane.origin;
    footprintAxes(ray.direction, plane.normal, ray.footprint.at(hit.t), s.at.worldAxis);
    const auto coordinates = [&](Float3 v) { return Float2{dot(v, plane.tangent), dot(v, plane.bitangent)}; };
    for (int set = 0; set < 3; ++set) {
        const Float2 uv = coordinates(local);
        s.at.uv[set] = {uv.x, uv.y, 0.0f};
        for (int i = 0; i < 2; ++i) s.at.uvAxis[set][i] = coordinates(s.at.worldAxis[i]);
    }
    for (int i = 0; i < 2; ++i) s.at.objectAxis[i] = s.at.worldAxis[i];
    s.at.worldPosition = s.position;
    s.at.objectPosition = local;
    s.at.worldNormal = s.at.objectNormal = plane.normal;
    s.material = scene.shading->slotMaterials[plane.slot];
    if (plane.layer != kNone) s.layer = g.layers[plane.layer];
    faceViewer(s, plane.normal, plane.normal, ray.direction);
    s.offset = offsetFor(s.position, 0.0f, scene.kernel.rayEpsilon);
    identify(s, scene, hit, ray);
}

}  // namespace

void triangleCorners(const CompiledMesh& mesh, std::uint32_t polygon, std::uint32_t half, Float3 corners[3]) {
    const std::uint32_t c = mesh.corner(polygon);
    std::uint32_t pick[3] = {c, c + 1, c + 2};
    if (mesh.corners(polygon) == 4) {
        pick[0] = half ? c + 2 : c;
        pick[1] = half ? c + 3 : c + 1;
        pick[2] = half ? c + 1 : c + 3;
    }
    for (int i = 0; i < 3; ++i) corners[i] = (*mesh.vertices)[static_cast<std::size_t>((*mesh.vertexIndices)[pick[i]])];
}

Surface surfaceAt(const RenderScene& scene, const Hit& hit, const Ray& ray) {
    Surface s;  // one object on every way out, so that it is made where the caller wants it
    if (hit.plane()) {
        fillPlane(s, scene, hit, ray);
        return s;
    }
    const Geometry& g = *scene.geometry;
    const Instance& instance = g.instances[hit.instance];
    const CompiledMesh& mesh = *g.meshes[instance.mesh];
    const Interpolation in = interpolationAt(mesh, hit.polygon, hit.u, hit.v);
    std::uint32_t index[3];
    lookUp(*mesh.vertexIndices, in.corner, index);
    const std::vector<Float3>& vertices = *mesh.vertices;
    const Float3 a = vertices[index[0]], b = vertices[index[1]], c = vertices[index[2]];

    s.at.objectPosition = a * in.weight[0] + b * in.weight[1] + c * in.weight[2];
    s.position = s.at.worldPosition = transformPoint(instance.toWorld, s.at.objectPosition);
    const Float3 across = cross(b - a, c - a);
    Float3 ng = normalize(instance.normalToWorld(across));
    if (ng == Float3{}) [[unlikely]] {
        // The squares of small lengths are out of range before the lengths are.
        ng = normalize(instance.normalToWorld(normalize(across)));
        if (ng == Float3{}) ng = -ray.direction;
    }
    Float3 ns = ng;
    if (mesh.normals) {
        lookUp(*mesh.normalIndices, in.corner, index);
        const Float3 n = normalize(blend(*mesh.normals, index, in.weight));
        if (n != Float3{}) {
            const Float3 world = normalize(instance.normalToWorld(n));
            if (world != Float3{}) ns = world;
        }
    }
    s.material = scene.shading->slotMaterials[g.meshSlot[instance.mesh] + mesh.material(hit.polygon)];
    if (scene.shading->materials[s.material].textured) {
        s.at.objectNormal = normalize(across);
        UvCorners uvCorner[3];
        for (int set = 0; set < 3; ++set) {
            const int from = mesh.uvs[set] ? set : 0;
            if (!mesh.uvs[from]) continue;
            if (from != set) {
                s.at.uv[set] = s.at.uv[0];
                uvCorner[set] = uvCorner[0];
                continue;
            }
            lookUp(*mesh.uvIndices[set], in.corner, index);
            s.at.uv[set] = blend(*mesh.uvs[set], index, in.weight);
            uvCorner[set] = {(*mesh.uvs[set])[index[0]], (*mesh.uvs[set])[index[1]], (*mesh.uvs[set])[index[2]]};
        }
        fillFootprint(s, instance, b - a, c - a, uvCorner, ng, ray, hit.t);
    }
    if (mesh.objectIndices) s.object = static_cast<std::uint32_t>((*mesh.objectIndices)[hit.polygon]);
    if (instance.firstLayer != kNone && s.object < instance.layerCount)
        s.layer = g.layers[instance.firstLayer + s.object];
    s.instanceId = instance.id;
    s.objectId = g.meshObjectId[instance.mesh];
    s.at.worldNormal = ng;
    faceViewer(s, ng, ns, ray.direction);
    s.offset = offsetFor(s.position, maxAbs(column(instance.toWorld, 3)), scene.kernel.rayEpsilon);
    identify(s, scene, hit, ray);
    return s;
}

namespace {

/// Directions in which the first two texture coordinates grow, in world space. False where there are none.
bool uvDirections(const RenderScene& scene, const Hit& hit, Float3& dpdu, Float3& dpdv) {
    const Geometry& g = *scene.geometry;
    if (hit.plane()) {
        const Plane& plane = g.planes[hit.instance - Hit::kPlane];
        dpdu = plane.tangent;
        dpdv = plane.bitangent;
        return true;
    }
    const Instance& instance = g.instances[hit.instance];
    const CompiledMesh& mesh = *g.meshes[instance.mesh];
    if (!mesh.uvs[0]) return false;
    const Interpolation in = interpolationAt(mesh, hit.polygon, hit.u, hit.v);
    std::uint32_t pi[3], ti[3];
    lookUp(*mesh.vertexIndices, in.corner, pi);
    lookUp(*mesh.uvIndices[0], in.corner, ti);
    const std::vector<Float3>&p = *mesh.vertices, &t = *mesh.uvs[0];
    const Float3 e1 = p[pi[1]] - p[pi[0]], e2 = p[pi[2]] - p[pi[0]], d1 = t[ti[1]] - t[ti[0]], d2 = t[ti[2]] - t[ti[0]];
    const float det = d1.x * d2.y - d1.y * d2.x;
    if (!(std::abs(det) > 1e-20f)) return false;
    dpdu = transformVector(instance.toWorld, (e1 * d2.y - e2 * d1.y) * (1.0f / det));
    dpdv = transformVector(instance.toWorld, (e2 * d1.x - e1 * d2.x) * (1.0f / det));
    return true;
}

}  // namespace

Float3 tangentAt(const RenderScene& scene, const Hit& hit, const Surface& surface) {
    Float3 dpdu, dpdv;
    const Float3 n = surface.shadingNormal;
    if (uvDirections(scene, hit, dpdu, dpdv)) {
        const Float3 tangent = normalize(dpdu - n * dot(n, dpdu));
        if (tangent != Float3{}) return tangent;
    }
    return Frame(n).s;
}

void applyNormal(const RenderScene& scene, const Hit& hit, const Material& material, Surface& surface) {
    if (!material.smooth) surface.shadingNormal = surface.normal;
    if (material.normal == kNoTexture || hit.plane()) return;
    Float3 dpdu, dpdv;
    if (!uvDirections(scene, hit, dpdu, dpdv)) return;
    const Float3 n = surface.shadingNormal;
    const Float3 tangent = normalize(dpdu - n * dot(n, dpdu));
    Float3 bitangent = cross(n, tangent);
    if (tangent == Float3{}) return;
    if (dot(bitangent, dpdv) < 0.0f) bitangent = -bitangent;
    const Float3 m = scene.shading->textures.color(material.normal, surface.at) * 2.0f - splat(1.0f);
    const float z = surface.front ? m.z : std::abs(m.z);
    const Float3 mapped = normalize(tangent * m.x + bitangent * m.y + n * z);
    if (mapped != Float3{} && dot(mapped, surface.normal) > 0.0f) surface.shadingNormal = mapped;
}

}  // namespace Lumora::engine
