#include "engine/render/bake_map.h"

#include <embree3/rtcore.h>

#include <array>
#include <new>

#include "engine/render/surface.h"

namespace Lumora::engine {

namespace {

/// The baking group of a polygon.
int groupOf(const Geometry& g, const Instance& instance, const CompiledMesh& mesh, std::uint32_t polygon) {
    if (instance.firstLayer == kNone) return ObjectLayer{}.bakingGroup;
    const auto object = mesh.objectIndices ? static_cast<std::uint32_t>((*mesh.objectIndices)[polygon]) : 0u;
    return object < instance.layerCount ? g.layers[instance.firstLayer + object].bakingGroup
                                        : ObjectLayer{}.bakingGroup;
}

/// Corners of a polygon half, as triangleCorners() numbers them.
std::array<std::uint32_t, 3> cornersOf(const CompiledMesh& mesh, std::uint32_t polygon, std::uint32_t half) {
    const std::uint32_t c = mesh.corner(polygon);
    if (mesh.corners(polygon) == 3) return {c, c + 1, c + 2};
    if (half == 0) return {c, c + 1, c + 3};
    return {c + 2, c + 3, c + 1};
}

}  // namespace

BakeMap::BakeMap(const RenderScene& scene) : scene_(scene), device_(rtcNewDevice(nullptr)) {
    const Baking& baking = scene.camera.baking;
    pixel_ = {baking.regionSize.x / static_cast<float>(scene.film.width),
              baking.regionSize.y / static_cast<float>(scene.film.height)};
    if (!device_) throw std::bad_alloc();
    collect();
    buildTree();
}

void BakeMap::collect() {
    const Geometry& g = *scene_.geometry;
    const Baking& baking = scene_.camera.baking;
    for (std::uint32_t i = 0; i < g.instances.size(); ++i) {
        const Instance& instance = g.instances[i];
        const CompiledMesh& mesh = *g.meshes[instance.mesh];
        const auto& uvs = mesh.uvs[baking.uvSet];
        if (!uvs) continue;
        for (std::uint32_t p = 0; p < mesh.polygons; ++p) {
            if (groupOf(g, instance, mesh, p) != baking.group) continue;
            const std::uint32_t halves = mesh.corners(p) == 4 ? 2 : 1;
            for (std::uint32_t half = 0; half < halves; ++half) {
                triangles_.push_back({i, p, half});
                for (const std::uint32_t c : cornersOf(mesh, p, half)) {
                    const Float3 uv = (*uvs)[static_cast<std::size_t>((*mesh.uvIndices[baking.uvSet])[c])];
                    corners_.push_back({uv.x, uv.y, 0.0f});
                }
            }
        }
    }
}

void BakeMap::buildTree() {
    if (triangles_.empty()) return;
    const EmbreeGeometry geometry(rtcNewGeometry(device_.get(), RTC_GEOMETRY_TYPE_TRIANGLE));
    auto* vertices = static_cast<float*>(rtcSetNewGeometryBuffer(geometry.get(), RTC_BUFFER_TYPE_VERTEX, 0,
                                                                 RTC_FORMAT_FLOAT3, sizeof(Float3), corners_.size()));
    auto* indices = static_cast<std::uint32_t*>(rtcSetNewGeometryBuffer(
        geometry.get(), RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, 3 * sizeof(std::uint32_t), triangles_.size()));
    if (!vertices || !indices) throw std::bad_alloc();
    for (std::size_t i = 0; i < corners_.size(); ++i) {
        vertices[3 * i] = corners_[i].x;
        vertices[3 * i + 1] = corners_[i].y;
        vertices[3 * i + 2] = 0.0f;
        indices[i] = static_cast<std::uint32_t>(i);
    }
    corners_ = {};
    rtcCommitGeometry(geometry.get());
    tree_.reset(rtcNewScene(device_.get()));
    rtcSetSceneFlags(tree_.get(), RTC_SCENE_FLAG_ROBUST);
    rtcAttachGeometry(tree_.get(), geometry.get());
    rtcCommitScene(tree_.get());
    if (rtcGetDeviceError(device_.get()) != RTC_ERROR_NONE) throw std::bad_alloc();
}

bool BakeMap::find(Float2 uv, Found& found) const {
    if (!(std::abs(uv.x) + std::abs(uv.y) <= kFarthestRay)) return false;
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    RTCRayHit query{};
    query.ray.org_x = uv.x;
    query.ray.org_y = uv.y;
    query.ray.org_z = 1.0f;
    query.ray.dir_z = -1.0f;
    query.ray.tfar = 2.0f;
    query.ray.mask = ~0u;
    query.hit.geomID = RTC_INVALID_GEOMETRY_ID;
    query.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
    rtcIntersect1(tree_.get(), &context, &query);
    if (query.hit.geomID == RTC_INVALID_GEOMETRY_ID) return false;
    found = {query.hit.primID, query.hit.u, query.hit.v};
    return true;
}

/// The point itself, else one nearby: within the tolerance of the edges, then within the padding.
bool BakeMap::findNear(Float2 uv, Found& found) const {
    if (find(uv, found)) return true;
    const Baking& baking = scene_.camera.baking;
    constexpr int kDirections = 16;
    const auto around = [&](float radius) {
        for (int i = 0; i < kDirections; ++i) {
            const float angle = 2.0f * kPi * static_cast<float>(i) / kDirections;
            if (find({uv.x + pixel_.x * radius * std::cos(angle), uv.y + pixel_.y * radius * std::sin(angle)}, found))
                return true;
        }
        return false;
    };
    if (baking.tolerance > 0.0f && around(baking.tolerance)) return true;
    for (int ring = 1; ring <= baking.padding; ++ring) {
        if (around(static_cast<float>(ring))) return true;
    }
    return false;
}

bool BakeMap::ray(Float2 film, Ray& out) const {
    if (!tree_) return false;
    const Baking& baking = scene_.camera.baking;
    Found found;
    if (!findNear(
            {baking.regionStart.x + film.x * baking.regionSize.x, baking.regionStart.y + film.y * baking.regionSize.y},
            found)) {
        return false;
    }
    const Triangle& t = triangles_[found.triangle];
    const Instance& instance = scene_.geometry->instances[t.instance];
    Float3 p[3];
    triangleCorners(*scene_.geometry->meshes[instance.mesh], t.polygon, t.half, p);
    const Float3 normal = normalize(instance.normalToWorld(cross(p[1] - p[0], p[2] - p[0])));
    if (normal == Float3{}) return false;
    const Float3 at =
        transformPoint(instance.toWorld, p[0] * (1.0f - found.u - found.v) + p[1] * found.u + p[2] * found.v);
    // Far enough off the surface to see it for certain, too near for anything to stand between.
    const float scale = std::max(maxComponent({std::abs(at.x), std::abs(at.y), std::abs(at.z)}), 1e-2f);
    const float gap = 0x1p-15f * scale;
    out = {};
    if (baking.fromPosition && length(at - scene_.camera.position) > 2.0f * gap) {
        const Float3 way = at - scene_.camera.position;
        const float distance = length(way);
        const float slope = std::max(std::abs(dot(way, normal)) / distance, 0.05f);
        out.direction = way * (1.0f / distance);
        out.origin = at - out.direction * (gap / slope);
        if (!baking.outwards) out.tmax = 2.0f * gap / slope;
        return true;
    }
    out.origin = at + normal * gap;
    out.direction = -normal;
    if (!baking.outwards) out.tmax = 2.0f * gap;
    return true;
}

}  // namespace Lumora::engine
