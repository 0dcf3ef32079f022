#include "host/io/import/gltf_mesh.h"

#include <algorithm>
#include <cmath>

namespace host::importer {
namespace {

enum Mode : Int64 { kPoints, kLines, kLineLoop, kLineStrip, kTriangles, kTriangleStrip, kTriangleFan };

constexpr int kMostUvSets = 16, kMostJointSets = 4;

/// Corner triples of a triangle mode.
std::vector<CPolygon> triangles(Int64 mode, const std::vector<UInt32>& corners, Context& context) {
    std::vector<CPolygon> out;
    const std::size_t n = corners.size();
    const auto add = [&](std::size_t a, std::size_t b, std::size_t c) {
        const auto at = [&](std::size_t i) { return static_cast<Int32>(corners[i]); };
        out.emplace_back(at(a), at(b), at(c), at(c));
    };
    if (mode == kTriangles) {
        if (n % 3 != 0) context.warn("a list of triangles has a corner or two too many, which were left out");
        out.reserve(n / 3);
        for (std::size_t i = 0; i + 2 < n; i += 3) add(i, i + 1, i + 2);
    } else if (mode == kTriangleStrip) {
        // Every other triangle of a strip turns the other way.
        for (std::size_t i = 0; i + 2 < n; ++i) i % 2 == 0 ? add(i, i + 1, i + 2) : add(i + 1, i, i + 2);
    } else {
        for (std::size_t i = 1; i + 1 < n; ++i) add(0, i, i + 1);
    }
    if (mode == kTriangleStrip)  // strips repeat corners to jump
        std::erase_if(out, [](const CPolygon& p) { return p.a == p.b || p.b == p.c || p.a == p.c; });
    return out;
}

/// Numbers the used vertices anew and lists them: many primitives may share one long buffer.
std::vector<UInt32> compact(std::vector<CPolygon>& polygons) {
    Int32 low = polygons.front().a, high = low;
    for (const CPolygon& p : polygons)
        for (Int32 k = 0; k < 3; ++k) {
            low = std::min(low, p[k]);
            high = std::max(high, p[k]);
        }
    std::vector<Int32> number(static_cast<std::size_t>(high - low) + 1, -1);
    for (const CPolygon& p : polygons)
        for (Int32 k = 0; k < 3; ++k) number[static_cast<std::size_t>(p[k] - low)] = 0;
    std::vector<UInt32> used;
    for (std::size_t i = 0; i < number.size(); ++i)
        if (number[i] == 0) {
            number[i] = static_cast<Int32>(used.size());
            used.push_back(static_cast<UInt32>(low) + static_cast<UInt32>(i));
        }
    for (CPolygon& p : polygons) {
        const auto n = [&](Int32 v) { return number[static_cast<std::size_t>(v - low)]; };
        p = {n(p.a), n(p.b), n(p.c), n(p.c)};
    }
    return used;
}

std::vector<Vector32> vectors(const std::vector<Float32>& values) {
    std::vector<Vector32> out(values.size() / 3);
    for (std::size_t i = 0; i < out.size(); ++i) out[i] = {values[3 * i], values[3 * i + 1], values[3 * i + 2]};
    return out;
}

void addTarget(std::vector<Vector32>& values, const std::vector<Float32>& change, Float weight) {
    const auto w = static_cast<Float32>(weight);
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] += Vector32(change[3 * i], change[3 * i + 1], change[3 * i + 2]) * w;
}

void morph(GltfFile& file, const Json& primitive, const std::vector<Float>& weights, const std::vector<UInt32>& used,
           Mesh& mesh) {
    const Json* targets = member(primitive, "targets");
    if (!targets || !targets->is_array()) return;
    for (std::size_t i = 0; i < std::min(targets->size(), weights.size()); ++i) {
        if (weights[i] == 0 || !std::isfinite(weights[i])) continue;
        const Json& target = (*targets)[i];
        if (const Int64 a = intOr(target, "POSITION", -1); a >= 0)
            addTarget(mesh.points, file.floats(a, 3, &used), weights[i]);
        if (const Int64 a = intOr(target, "NORMAL", -1); a >= 0 && !mesh.normals.empty())
            addTarget(mesh.normals, file.floats(a, 3, &used), weights[i]);
    }
}

void skin(GltfFile& file, const Json& attributes, const std::vector<Matrix>& matrices, const std::vector<UInt32>& used,
          Mesh& mesh, Context& context) {
    std::vector<UInt32> joints;
    std::vector<Float32> weights;
    std::size_t sets = 0;
    while (sets < kMostJointSets && intOr(attributes, ("JOINTS_" + std::to_string(sets)).c_str(), -1) >= 0 &&
           intOr(attributes, ("WEIGHTS_" + std::to_string(sets)).c_str(), -1) >= 0)
        ++sets;
    if (sets == 0) {
        context.warn("a mesh with a skin has no joints and weights; it stays as it is");
        return;
    }
    const std::size_t per = sets * 4;
    joints.resize(used.size() * per);
    weights.resize(used.size() * per);
    for (std::size_t s = 0; s < sets; ++s) {
        const auto j = file.integers(intOr(attributes, ("JOINTS_" + std::to_string(s)).c_str(), -1), 4, &used);
        const auto w = file.floats(intOr(attributes, ("WEIGHTS_" + std::to_string(s)).c_str(), -1), 4, &used);
        for (std::size_t i = 0; i < used.size(); ++i)
            for (std::size_t k = 0; k < 4; ++k) {
                if (w[i * 4 + k] > 0 && j[i * 4 + k] >= matrices.size())
                    throw ImportError("a vertex refers to joint " + std::to_string(j[i * 4 + k]) + " of a skin of " +
                                      std::to_string(matrices.size()));
                joints[i * per + s * 4 + k] = std::min<UInt32>(j[i * 4 + k], static_cast<UInt32>(matrices.size() - 1));
                weights[i * per + s * 4 + k] = w[i * 4 + k];
            }
    }
    poseBySkin(mesh, matrices, joints, weights, per);
}

}  // namespace

Mesh readGltfPrimitive(GltfFile& file, const Json& primitive, const GltfPose& pose, Context& context) {
    Mesh mesh;
    const Json* attributes = member(primitive, "attributes");
    const Int64 mode = intOr(primitive, "mode", kTriangles), indices = intOr(primitive, "indices", -1);
    const Int64 position = attributes ? intOr(*attributes, "POSITION", -1) : -1;
    if (mode < kPoints || mode > kTriangleFan)
        throw ImportError("a primitive has the unknown mode " + std::to_string(mode));
    if (position < 0) {
        context.warn("a primitive without positions was left out");
        return mesh;
    }
    if (mode < kTriangles) {
        const std::size_t n = file.accessor(indices >= 0 ? indices : position).count;
        const std::size_t lines = mode == kLines ? n / 2 : mode == kLineStrip ? n - std::min<std::size_t>(n, 1) : n;
        context.leftOut(mode == kPoints ? "points were left out" : "lines were left out", static_cast<Int64>(lines));
        return mesh;
    }
    if (const Json* draco = extension(primitive, "KHR_draco_mesh_compression")) decodeDraco(file, primitive, *draco);

    const std::size_t vertices = file.accessor(position).count;
    if (vertices > 0x7FFFFFFF) throw ImportError("a primitive has too many vertices");
    std::vector<UInt32> corners;
    if (indices >= 0) {
        corners = file.integers(indices);
        for (const UInt32 c : corners)
            if (c >= vertices)
                throw ImportError("an index is out of range: " + std::to_string(c) + ", the primitive has " +
                                  std::to_string(vertices) + " vertices");
    } else {
        if (file.floats(position, 3).size() < vertices * 3) throw ImportError("a primitive's positions are too short");
        corners.resize(vertices);
        for (std::size_t i = 0; i < vertices; ++i) corners[i] = static_cast<UInt32>(i);
    }
    mesh.polygons = triangles(mode, corners, context);
    if (mesh.polygons.empty()) return mesh;
    corners = {};
    const std::vector<UInt32> used = compact(mesh.polygons);

    mesh.points = vectors(file.floats(position, 3, &used));
    if (const Int64 a = intOr(*attributes, "NORMAL", -1); a >= 0) mesh.normals = vectors(file.floats(a, 3, &used));
    for (int set = 0; set < kMostUvSets; ++set) {
        const Int64 a = intOr(*attributes, ("TEXCOORD_" + std::to_string(set)).c_str(), -1);
        if (a < 0) break;
        const std::vector<Float32> values = file.floats(a, 2, &used);
        auto& uvs = mesh.uvs.emplace_back(used.size());
        for (std::size_t i = 0; i < uvs.size(); ++i) uvs[i] = {values[2 * i], values[2 * i + 1]};
    }
    if (const Int64 a = intOr(*attributes, "COLOR_0", -1); a >= 0) {
        const bool alpha = file.accessor(a).components == 4;
        const std::vector<Float32> values = file.floats(a, 4, &used);
        mesh.colours.resize(used.size());
        for (std::size_t i = 0; i < used.size(); ++i)
            mesh.colours[i] = {values[4 * i], values[4 * i + 1], values[4 * i + 2], alpha ? values[4 * i + 3] : 1.0f};
    }
    morph(file, primitive, pose.weights, used, mesh);
    if (pose.joints) skin(file, *attributes, *pose.joints, used, mesh, context);
    return mesh;
}

}  // namespace host::importer
