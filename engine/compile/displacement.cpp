#include "engine/compile/displacement.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <unordered_set>

#include "engine/compile/subdivision.h"
#include "engine/compile/texture_compiler.h"

namespace Lumora::engine {

namespace {

/// A displaced mesh gets no more polygons than this.
constexpr std::uint64_t kMaxPolygons = 500'000;
constexpr int kMaxNesting = 64;

/// The displacement node of a material: its own, or of a mix the first of its parts that has one. Parts that several
/// mixes share are looked at once.
ItemUid displacementNode(const NodeTable& nodes, ItemUid material) {
    const NodeRecord* top = material ? nodes.peek(material) : nullptr;
    if (!top) return 0;
    if (top->type != NT_MAT_MIX) return top->input(P_DISPLACEMENT);
    std::unordered_set<ItemUid> seen;
    std::vector<ItemUid> open{material};
    while (!open.empty()) {
        const ItemUid uid = open.back();
        open.pop_back();
        const NodeRecord* node = uid && seen.insert(uid).second ? nodes.peek(uid) : nullptr;
        if (!node || !node->pin(P_DISPLACEMENT)) continue;
        if (const ItemUid own = node->input(P_DISPLACEMENT)) return own;
        if (node->type == NT_MAT_MIX) open.insert(open.end(), {node->input(P_MATERIAL2), node->input(P_MATERIAL1)});
    }
    return 0;
}

void gather(const NodeTable& nodes, ItemUid uid, std::vector<NodeRecordPtr>& out, int depth = 0) {
    const NodeRecordPtr& record = nodes.share(uid);
    if (!record || depth > kMaxNesting || std::find(out.begin(), out.end(), record) != out.end()) return;
    out.push_back(record);
    for (const PinRecord& pin : record->pins) {
        if (pin.input) gather(nodes, pin.input, out, depth + 1);
    }
}

std::vector<Float3> vertexNormals(const std::vector<Float3>& vertices, const std::vector<int>& quads) {
    std::vector<Float3> normals(vertices.size());
    for (std::size_t i = 0; i + 3 < quads.size(); i += 4) {
        const auto at = [&](std::size_t k) { return static_cast<std::size_t>(quads[i + k]); };
        const Float3 n = cross(vertices[at(2)] - vertices[at(0)], vertices[at(3)] - vertices[at(1)]);
        for (std::size_t k = 0; k < 4; ++k) normals[at(k)] += n;
    }
    for (Float3& n : normals) n = normalize(n);
    return normals;
}

/// Which way each vertex moves: along the mean of its corners' normals, so that vertices that lie in one place and have
/// the same normals stay together.
std::vector<Float3> directions(const MeshSource& fine, const std::vector<Float3>& flat) {
    std::vector<Float3> out(flat.size());
    const std::vector<int>& indices = *fine.vertexIndices;
    for (std::size_t c = 0; c < indices.size(); ++c) {
        out[static_cast<std::size_t>(indices[c])] +=
            (*fine.normals)[static_cast<std::size_t>((*fine.normalIndices)[c])];
    }
    for (std::size_t v = 0; v < out.size(); ++v) {
        out[v] = normalize(out[v]);
        if (out[v] == Float3{} || !isFinite(out[v])) out[v] = flat[v];
    }
    return out;
}

/// Gives the moved corners normals: those of the polygons, or, with `smooth`, the ones that they had, turned as far as
/// the polygons were. `before` and `after` are the normals of the vertices by their polygons.
void bendNormals(MeshSource& fine, const std::vector<Float3>& before, const std::vector<Float3>& after,
                 const std::vector<char>& moved, bool smooth) {
    const std::vector<int>& indices = *fine.vertexIndices;
    auto normals = std::make_shared<std::vector<Float3>>();
    auto normalIndices = std::make_shared<std::vector<int>>(indices.size());
    normals->reserve(before.size() + 1);
    // Most vertices have one normal for all their corners.
    struct First {
        int from = -1, to = -1;
        char moved = 0;
    };
    std::vector<First> first(before.size());
    for (std::size_t c = 0; c < indices.size(); ++c) {
        const auto v = static_cast<std::size_t>(indices[c]);
        const int from = (*fine.normalIndices)[c];
        First& known = first[v];
        if (known.to < 0 || known.from != from || known.moved != moved[c]) {
            const Float3 old = (*fine.normals)[static_cast<std::size_t>(from)];
            Float3 n = !moved[c] ? old : smooth ? normalize(old + (after[v] - before[v])) : after[v];
            if (n == Float3{} || !isFinite(n)) n = after[v];
            const int to = static_cast<int>(normals->size());
            normals->push_back(n);
            if (known.to < 0) known = {from, to, moved[c]};
            (*normalIndices)[c] = to;
        } else {
            (*normalIndices)[c] = known.to;
        }
    }
    fine.normals = std::move(normals);
    fine.normalIndices = std::move(normalIndices);
}

}  // namespace

std::shared_ptr<const Displacement> displacementOf(const NodeTable& nodes, const NodeRecord& mesh, ImageStore& images,
                                                   const LogFunction& log) {
    std::vector<ItemUid> found;
    for (std::size_t i = mesh.staticPinCount; i < mesh.pins.size(); ++i) {
        found.push_back(displacementNode(nodes, mesh.pins[i].input));
    }
    if (std::all_of(found.begin(), found.end(), [](ItemUid uid) { return uid == 0; })) return nullptr;
    auto out = std::make_shared<Displacement>();
    TextureCompiler textures(nodes, images, out->textures, log);
    for (const ItemUid uid : found) {
        Displacement::Height height;
        const NodeRecord* node = uid ? nodes.find(uid) : nullptr;
        if (node) {
            gather(nodes, uid, out->sources);
            height.texture = textures.connected(*node, P_TEXTURE);
            height.scale = nodes.number(*node, P_AMOUNT, 0.001f);
            height.middle = nodes.number(*node, P_MID_LEVEL, 0.0f);
            out->level = std::max(out->level, std::clamp(nodes.integer(*node, P_LEVEL, 10), 0, 16));
        }
        out->byMaterial.push_back(height);
    }
    textures.finish();
    out->nodes = std::move(found);
    return out;
}

bool movesOtherwise(const NodeRecord* before, const NodeRecord& after) {
    if (!after.pin(P_DISPLACEMENT)) return false;
    if (!before) return after.input(P_DISPLACEMENT) != 0;
    if (before->input(P_DISPLACEMENT) != after.input(P_DISPLACEMENT)) return true;
    return after.type == NT_MAT_MIX && (before->input(P_MATERIAL1) != after.input(P_MATERIAL1) ||
                                        before->input(P_MATERIAL2) != after.input(P_MATERIAL2));
}

MeshSource displace(const CompiledMesh& mesh, const std::vector<int>& perPolygon, const Displacement& displacement,
                    std::string& note) {
    int level = 0;
    for (std::uint64_t n = mesh.vertexIndices->size(); level < displacement.level && n <= kMaxPolygons; n *= 4) ++level;
    // Sharp sides everywhere: the polygons keep their shape and are only divided.
    const bool smooth = mesh.normals && mesh.normalIndices;
    MeshSource fine = subdivide(mesh, perPolygon, {std::max(level, 1), Boundary::EdgesAndCorners, 10.0f}, note, smooth);
    if (!fine.vertices) return fine;
    const std::vector<int>& indices = *fine.vertexIndices;
    const std::vector<Float3>& vertices = *fine.vertices;
    const std::vector<Float3> flat = vertexNormals(vertices, indices);
    const std::vector<Float3> normals = smooth ? directions(fine, flat) : flat;
    const std::size_t corners = indices.size();
    std::vector<float> heights(corners);
    std::vector<char> moved(corners);
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, corners, 4096), [&](const auto& range) {
        for (std::size_t c = range.begin(); c != range.end(); ++c) {
            const auto material =
                fine.materialIndices ? static_cast<std::size_t>((*fine.materialIndices)[c / 4]) : std::size_t{0};
            if (material >= displacement.byMaterial.size()) continue;
            const Displacement::Height& height = displacement.byMaterial[material];
            if (height.texture == kNoTexture) continue;
            TextureContext at;
            const auto v = static_cast<std::size_t>(indices[c]);
            at.worldPosition = at.objectPosition = vertices[v];
            at.worldNormal = at.objectNormal = at.shadingNormal = normals[v];
            at.view = -normals[v];
            for (int set = 0; set < 3; ++set) {
                const int from = fine.uvs[set] ? set : 0;
                if (fine.uvs[from])
                    at.uv[set] = (*fine.uvs[from])[static_cast<std::size_t>((*fine.uvIndices[from])[c])];
            }
            const float value = displacement.textures.scalar(height.texture, at);
            heights[c] = std::isfinite(value) ? (value - height.middle) * height.scale : 0.0f;
            moved[c] = 1;
        }
    });
    // A vertex goes where the mean of its corners says, so that seams of the texture tear nothing.
    std::vector<float> sum(vertices.size());
    std::vector<int> count(vertices.size());
    for (std::size_t c = 0; c < corners; ++c) {
        sum[static_cast<std::size_t>(indices[c])] += heights[c];
        ++count[static_cast<std::size_t>(indices[c])];
    }
    auto displaced = std::make_shared<std::vector<Float3>>();
    displaced->reserve(vertices.size() + 1);
    for (std::size_t v = 0; v < vertices.size(); ++v) {
        displaced->push_back(vertices[v] + normals[v] * (sum[v] / static_cast<float>(std::max(count[v], 1))));
    }
    bendNormals(fine, flat, vertexNormals(*displaced, indices), moved, smooth);
    fine.vertices = std::move(displaced);
    return fine;
}

}  // namespace Lumora::engine
