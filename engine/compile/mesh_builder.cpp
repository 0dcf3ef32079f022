#include "engine/compile/mesh_builder.h"

#include <embree3/rtcore.h>
#include <tbb/blocked_range.h>
#include <tbb/parallel_reduce.h>

#include <stdexcept>

#include "engine/compile/displacement.h"
#include "engine/compile/subdivision.h"

namespace Lumora::engine {

namespace {

/// Beyond this the squares of lengths leave the range of float.
constexpr float kMaxCoordinate = 1e18f;
constexpr int kMaxMaterials = 65536;
/// Meshes of more polygons get Embree's compact leaves: half the memory for a little speed.
constexpr std::size_t kCompactFrom = 4'000'000;

template <typename T>
bool empty(const SharedArray<T>& a) {
    return !a || a->empty();
}

template <typename T>
SharedArray<T> array(const NodeRecord& node, AttributeId id) {
    const Value* value = node.attribute(id);
    const auto* v = value ? std::get_if<SharedArray<T>>(value) : nullptr;
    return v && *v && !(*v)->empty() ? *v : nullptr;
}

struct Range {
    int lowest = std::numeric_limits<int>::max(), highest = std::numeric_limits<int>::min();
};

Range rangeOf(const std::vector<int>& values) {
    return tbb::parallel_reduce(
        tbb::blocked_range<std::size_t>(0, values.size(), 65536), Range{},
        [&](const tbb::blocked_range<std::size_t>& r, Range range) {
            for (std::size_t i = r.begin(); i != r.end(); ++i) {
                range.lowest = std::min(range.lowest, values[i]);
                range.highest = std::max(range.highest, values[i]);
            }
            return range;
        },
        [](Range a, Range b) {
            return Range{std::min(a.lowest, b.lowest), std::max(a.highest, b.highest)};
        });
}

bool indicesFit(const SharedArray<int>& indices, std::size_t count) {
    const Range r = rangeOf(*indices);
    return r.lowest >= 0 && static_cast<std::size_t>(r.highest) < count;
}

struct Bounds {
    Float3 lower = splat(kInfinity), upper = splat(-kInfinity);
    bool usable = true;
};

Bounds boundsOf(const std::vector<Float3>& points) {
    return tbb::parallel_reduce(
        tbb::blocked_range<std::size_t>(0, points.size(), 65536), Bounds{},
        [&](const tbb::blocked_range<std::size_t>& r, Bounds b) {
            for (std::size_t i = r.begin(); i != r.end(); ++i) {
                const Float3 p = points[i];
                const float m = std::max(std::abs(p.x), std::max(std::abs(p.y), std::abs(p.z)));
                if (!(m <= kMaxCoordinate) || !isFinite(p)) b.usable = false;
                b.lower = {std::min(b.lower.x, p.x), std::min(b.lower.y, p.y), std::min(b.lower.z, p.z)};
                b.upper = {std::max(b.upper.x, p.x), std::max(b.upper.y, p.y), std::max(b.upper.z, p.z)};
            }
            return b;
        },
        [](const Bounds& a, const Bounds& b) {
            return Bounds{
                {std::min(a.lower.x, b.lower.x), std::min(a.lower.y, b.lower.y), std::min(a.lower.z, b.lower.z)},
                {std::max(a.upper.x, b.upper.x), std::max(a.upper.y, b.upper.y), std::max(a.upper.z, b.upper.z)},
                a.usable && b.usable};
        });
}

/// Counts corners; why is set when a polygon has other than three or four.
struct Corners {
    std::size_t total = 0, triangles = 0;
    bool usable = true;
};

Corners countCorners(const std::vector<int>& perPolygon) {
    return tbb::parallel_reduce(
        tbb::blocked_range<std::size_t>(0, perPolygon.size(), 65536), Corners{},
        [&](const tbb::blocked_range<std::size_t>& r, Corners c) {
            for (std::size_t i = r.begin(); i != r.end(); ++i) {
                const int n = perPolygon[i];
                if (n != 3 && n != 4) c.usable = false;
                c.total += static_cast<std::size_t>(n);
                c.triangles += n == 3;
            }
            return c;
        },
        [](Corners a, Corners b) {
            return Corners{a.total + b.total, a.triangles + b.triangles, a.usable && b.usable};
        });
}

bool checkPerPolygon(const SharedArray<int>& values, std::size_t polygons, int limit, const char* name,
                     std::string& why) {
    if (!values) return true;
    if (values->size() != polygons) {
        why = std::string("as many ") + name + " indices as polygons are needed";
        return false;
    }
    const Range r = rangeOf(*values);
    if (r.lowest < 0 || r.highest >= limit) {
        why = std::string("a ") + name + " index is out of range";
        return false;
    }
    return true;
}

/// Takes over per-corner values with their indices. Without indices the values are one for each corner, or one for each
/// vertex.
bool takeCorners(const SharedArray<Float3>& values, const SharedArray<int>& indices, const MeshSource& source,
                 const char* name, SharedArray<Float3>& toValues, SharedArray<int>& toIndices, std::string& why) {
    if (!values) return true;
    const std::size_t corners = source.vertexIndices->size();
    if (indices) {
        if (indices->size() != corners) {
            why = std::string("as many ") + name + " indices as corners are needed";
            return false;
        }
        if (!indicesFit(indices, values->size())) {
            why = std::string("a ") + name + " index is out of range";
            return false;
        }
        toIndices = indices;
    } else if (values->size() == corners) {
        auto counting = std::make_shared<std::vector<int>>(corners);
        for (std::size_t i = 0; i < corners; ++i) (*counting)[i] = static_cast<int>(i);
        toIndices = std::move(counting);
    } else if (values->size() == source.vertices->size()) {
        toIndices = source.vertexIndices;
    } else {
        why = std::string("the number of ") + name + "s fits neither corners nor vertices";
        return false;
    }
    toValues = values;
    return true;
}

void checkEmbree(RTCDeviceTy* device) {
    switch (rtcGetDeviceError(device)) {
        case RTC_ERROR_NONE:
            return;
        case RTC_ERROR_OUT_OF_MEMORY:
            throw std::bad_alloc();
        default:
            throw std::runtime_error("Embree could not build a mesh");
    }
}

void buildMixed(CompiledMesh& mesh, const std::vector<int>& perPolygon) {
    const std::vector<int>& indices = *mesh.vertexIndices;
    mesh.firstCorner.resize(perPolygon.size());
    mesh.quadIndices.resize(4 * perPolygon.size());
    std::uint32_t corner = 0;
    for (std::size_t p = 0; p < perPolygon.size(); ++p) {
        mesh.firstCorner[p] = corner;
        const auto n = static_cast<std::uint32_t>(perPolygon[p]);
        for (std::uint32_t i = 0; i < 4; ++i) {
            mesh.quadIndices[4 * p + i] = static_cast<std::uint32_t>(indices[corner + std::min(i, n - 1)]);
        }
        corner += n;
    }
}

void buildEmbree(RTCDeviceTy* device, CompiledMesh& mesh) {
    const bool triangles = mesh.cornersPerPolygon == 3;
    const EmbreeGeometry geometry(
        rtcNewGeometry(device, triangles ? RTC_GEOMETRY_TYPE_TRIANGLE : RTC_GEOMETRY_TYPE_QUAD));
    // Embree reads vertices 16 bytes at a time, so four readable bytes must follow the last.
    const Float3* vertices = mesh.vertices->data();
    if (mesh.vertices->capacity() == mesh.vertices->size()) {
        mesh.paddedVertices.reserve(mesh.vertices->size() + 1);
        mesh.paddedVertices.assign(mesh.vertices->begin(), mesh.vertices->end());
        vertices = mesh.paddedVertices.data();
    }
    rtcSetSharedGeometryBuffer(geometry.get(), RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, vertices, 0,
                               sizeof(Float3), mesh.vertices->size());
    const void* indices = mesh.cornersPerPolygon ? static_cast<const void*>(mesh.vertexIndices->data())
                                                 : static_cast<const void*>(mesh.quadIndices.data());
    rtcSetSharedGeometryBuffer(geometry.get(), RTC_BUFFER_TYPE_INDEX, 0,
                               triangles ? RTC_FORMAT_UINT3 : RTC_FORMAT_UINT4, indices, 0, triangles ? 12 : 16,
                               mesh.polygons);
    rtcCommitGeometry(geometry.get());
    mesh.scene.reset(rtcNewScene(device));
    // The filter is that of instances struck out of the top level.
    const int compact = mesh.polygons >= kCompactFrom ? RTC_SCENE_FLAG_COMPACT : RTC_SCENE_FLAG_NONE;
    rtcSetSceneFlags(mesh.scene.get(), static_cast<RTCSceneFlags>(compact | RTC_SCENE_FLAG_CONTEXT_FILTER_FUNCTION));
    rtcAttachGeometry(mesh.scene.get(), geometry.get());
    rtcCommitScene(mesh.scene.get());
    checkEmbree(device);
}

/// The mesh without its hierarchy, or null with the reason.
std::shared_ptr<CompiledMesh> checkedMesh(const MeshSource& source, std::string& why) {
    if (empty(source.verticesPerPolygon) && empty(source.vertexIndices)) return nullptr;
    if (empty(source.vertices) || empty(source.verticesPerPolygon) || empty(source.vertexIndices)) {
        why = "vertices, corner counts and vertex indices are needed together";
        return nullptr;
    }
    const std::size_t polygons = source.verticesPerPolygon->size();
    if (source.vertexIndices->size() > std::numeric_limits<std::uint32_t>::max()) {
        why = "more corners than can be numbered";
        return nullptr;
    }
    const Corners corners = countCorners(*source.verticesPerPolygon);
    if (!corners.usable) {
        why = "a polygon has other than three or four corners";
    } else if (corners.total != source.vertexIndices->size()) {
        why = "the corner counts do not add up to the number of vertex indices";
    } else if (!indicesFit(source.vertexIndices, source.vertices->size())) {
        why = "a vertex index is out of range";
    }
    if (!why.empty()) return nullptr;

    auto mesh = std::make_shared<CompiledMesh>();
    const Bounds bounds = boundsOf(*source.vertices);
    if (!bounds.usable) {
        why = "a vertex is not finite or too far away";
        return nullptr;
    }
    if (!checkPerPolygon(source.materialIndices, polygons, kMaxMaterials, "material", why)) return nullptr;
    if (!checkPerPolygon(source.objectIndices, polygons, std::numeric_limits<int>::max(), "object", why))
        return nullptr;
    mesh->vertices = source.vertices;
    mesh->vertexIndices = source.vertexIndices;
    mesh->materialIndices = source.materialIndices;
    mesh->objectIndices = source.objectIndices;
    if (!takeCorners(source.normals, source.normalIndices, source, "normal", mesh->normals, mesh->normalIndices, why)) {
        return nullptr;
    }
    for (int set = 0; set < 3; ++set) {
        if (!takeCorners(source.uvs[set], source.uvIndices[set], source, "texture coordinate", mesh->uvs[set],
                         mesh->uvIndices[set], why)) {
            return nullptr;
        }
    }
    mesh->boundsMin = bounds.lower;
    mesh->boundsMax = bounds.upper;
    mesh->polygons = static_cast<std::uint32_t>(polygons);
    mesh->triangles = static_cast<std::uint32_t>(2 * polygons - corners.triangles);
    mesh->maxMaterial = source.materialIndices ? rangeOf(*source.materialIndices).highest : 0;
    if (corners.triangles == polygons) mesh->cornersPerPolygon = 3;
    if (corners.triangles == 0) mesh->cornersPerPolygon = 4;
    if (mesh->cornersPerPolygon == 0) buildMixed(*mesh, *source.verticesPerPolygon);
    return mesh;
}

Subdivision subdivisionOf(const NodeRecord& node) {
    Subdivision s;
    s.level = std::clamp(node.attributeValue<int>(A_SUBD_LEVEL, 0), 0, 1000);
    if (s.level == 0) return s;
    s.boundary = static_cast<Boundary>(std::clamp(node.attributeValue<int>(A_SUBD_BOUNDARY, 0), 0, 3));
    const float sharpness = node.attributeValue<float>(A_SUBD_SHARPNESS, 0.0f);
    if (sharpness > 0.0f) s.sharpness = std::min(sharpness, 10.0f);
    return s;
}

}  // namespace

std::uint64_t CompiledMesh::extraBytes() const {
    return firstCorner.capacity() * sizeof(std::uint32_t) + quadIndices.capacity() * sizeof(std::uint32_t) +
           paddedVertices.capacity() * sizeof(Float3);
}

MeshSource meshSource(const NodeRecord& node) {
    MeshSource s;
    s.vertices = array<Float3>(node, A_VERTICES);
    s.vertexSamples = timeSamples(node, A_VERTICES);
    s.normals = array<Float3>(node, A_NORMALS);
    s.uvs[0] = array<Float3>(node, A_UVWS);
    s.uvs[1] = array<Float3>(node, A_UVWS_2);
    s.uvs[2] = array<Float3>(node, A_UVWS_3);
    s.verticesPerPolygon = array<int>(node, A_VERTICES_PER_POLY);
    s.vertexIndices = array<int>(node, A_POLY_VERTEX_INDICES);
    s.normalIndices = array<int>(node, A_POLY_NORMAL_INDICES);
    s.uvIndices[0] = array<int>(node, A_POLY_UVW_INDICES);
    s.uvIndices[1] = array<int>(node, A_POLY_UVW_INDICES_2);
    s.uvIndices[2] = array<int>(node, A_POLY_UVW_INDICES_3);
    s.materialIndices = array<int>(node, A_POLY_MATERIAL_INDICES);
    s.objectIndices = array<int>(node, A_POLY_OBJECT_INDICES);
    s.subdivision = subdivisionOf(node);
    return s;
}

std::shared_ptr<const CompiledMesh> buildMesh(RTCDeviceTy* device, const MeshSource& source, std::string& why) {
    if (source.vertexSamples > 1 && source.vertices) {
        auto first = std::make_shared<std::vector<Float3>>();
        first->reserve(source.vertices->size() / source.vertexSamples + 1);
        for (std::size_t i = 0; i + source.vertexSamples <= source.vertices->size(); i += source.vertexSamples) {
            first->push_back((*source.vertices)[i]);
        }
        MeshSource still = source;
        still.vertices = std::move(first);
        still.vertexSamples = 1;
        return buildMesh(device, still, why);
    }
    why.clear();
    std::shared_ptr<CompiledMesh> mesh = checkedMesh(source, why);
    if (!mesh) return nullptr;
    SharedArray<int> perPolygon = source.verticesPerPolygon;
    const auto replace = [&](const MeshSource& refined, const char* what) {
        if (!refined.vertices) return true;
        std::string broken;
        mesh = checkedMesh(refined, broken);
        perPolygon = refined.verticesPerPolygon;
        if (!mesh) why = std::string("its ") + what + " leaves no usable surface, " + broken;
        return mesh != nullptr;
    };
    if (source.subdivision.level > 0 &&
        !replace(subdivide(*mesh, *perPolygon, source.subdivision, why), "subdivision")) {
        return nullptr;
    }
    if (source.displacement && !replace(displace(*mesh, *perPolygon, *source.displacement, why), "displacement")) {
        return nullptr;
    }
    buildEmbree(device, *mesh);
    return mesh;
}

}  // namespace Lumora::engine
